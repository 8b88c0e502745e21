// What the animals of a pedigree are to each other: loops, the order of births, ages.
#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <map>
#include <new>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "kve/check/pedigree_book.h"
#include "kve/check/sort_variable.h"
#include "kve/pedigree/loops.h"

namespace kve::companion {

namespace {

constexpr std::size_t kBlock = 64;  // animals whose parents are looked up together
constexpr std::size_t kMostOddAges = 1'000'000;

struct OddAge {
    int32_t animal;
    bool is_sire;
    float years;
};

struct Parents {
    Look& look;
    const PedigreeJob& job;
    PedigreeBook& pedigree;
    FactorLevels* levels;
    SortKind kind = SortKind::numbers;
    int32_t today = date_of_today();
    int64_t n_links = 0;          // to parents with a record
    int64_t n_not_older = 0;      // of them
    int64_t n_equal = 0;          // that have the same sort variable
    int64_t n_without_order = 0;  // progeny that are 0 or below, of parents without a record
    ParentAges sires{}, dams{};
    std::vector<OddAge> odd_ages{};  // that may be odd: what is usual is known at the end
    // Animals with a date that is none, which puts a parent behind its progeny.
    std::unordered_set<int32_t> misplaced{};

    int32_t id(int32_t animal) const { return pedigree.id(animal); }
    int32_t sort(int32_t animal) const { return pedigree.book.birth(animal); }
    bool has_record(int32_t animal) const { return animal <= pedigree.n_records; }
    Place place(int32_t animal) const { return {job.file, pedigree.book.line(animal), 0}; }
    // One that KVE1 inserts, not as an animal of the data but as a parent.
    bool is_inserted_parent(int32_t animal) const {
        return !has_record(animal) &&
               (levels == nullptr || levels->places.find(id(animal)) == nullptr);
    }
    bool is_not_older(int64_t own, int64_t parents) const {
        return own < parents || (own == parents && job.needs_order());
    }
};

// ---- Linking

// Beyond these an age may be odd, whatever the species.
constexpr double kYoungest = 0.66, kOldestDam = 10, kOldestSire = 30;

// As far as one can tell: a number that is no date is told elsewhere.
bool is_known(const Parents& at, int32_t birth) {
    return at.kind == SortKind::years || (is_date(birth) && birth <= at.today);
}

// Told as such, and with it what it does to the order.
bool has_odd_date(const Parents& at, int32_t animal) {
    const int32_t date = at.sort(animal);
    return at.kind == SortKind::dates && date > 0 && !is_known(at, date);
}

void look_at_age(Parents& at, int32_t animal, bool is_sire, int32_t own, int32_t parents) {
    if (own <= 0 || parents <= 0 || own <= parents) return;
    const double years = years_between(parents, own, at.kind);
    (is_sire ? at.sires : at.dams).add(years);
    const bool is_odd = years < kYoungest || years > (is_sire ? kOldestSire : kOldestDam);
    if (is_odd && is_known(at, own) && is_known(at, parents) && at.odd_ages.size() < kMostOddAges)
        at.odd_ages.push_back({animal, is_sire, static_cast<float>(years)});
}

void link(Parents& at, int32_t animal, int32_t& parent, bool is_sire) {
    if (parent <= 0) {
        parent = 0;
        return;
    }
    int32_t number = at.pedigree.number_of(parent);
    if (number == 0) number = at.pedigree.add_animal(parent);
    parent = number;
    const int32_t own = at.sort(animal);
    if (!at.has_record(number)) {
        // KVE1 gives it the sort variable 0.
        if (at.is_not_older(own, 0)) ++at.n_without_order;
        return;
    }
    const int32_t parents = at.sort(number);
    ++at.n_links;
    if (at.is_not_older(own, parents)) ++at.n_not_older;
    if (own == parents) ++at.n_equal;
    if (at.kind != SortKind::numbers) look_at_age(at, animal, is_sire, own, parents);
}

void link_all(Parents& at) {
    Herdbook& book = at.pedigree.book;
    const int32_t n = at.pedigree.n_records, block = static_cast<int32_t>(kBlock);
    for (int32_t first = 1; first <= n; first += block) {
        const int32_t last = std::min(n, first + block - 1);
        for (int32_t j = first; j <= last; ++j) {
            at.pedigree.index.expect(book.parents(j).sire);
            at.pedigree.index.expect(book.parents(j).dam);
        }
        for (int32_t j = first; j <= last; ++j)
            for (const int32_t parent : {book.parents(j).sire, book.parents(j).dam})
                if (const int32_t number = parent > 0 ? at.pedigree.number_of(parent) : 0;
                    number > 0 && number <= n)
                    __builtin_prefetch(&book.birth(number));
        for (int32_t j = first; j <= last; ++j) {
            link(at, j, book.parents(j).sire, true);
            link(at, j, book.parents(j).dam, false);
        }
    }
    at.pedigree.fit_tables();
}

// ---- Loops

std::string chain_of(const Parents& at, const Loop& loop) {
    std::string text;
    const std::size_t n = loop.animals.size();
    for (std::size_t k = 0; k < std::min(n, kLongestLoopTold); ++k)
        text += fmt::format("{} -> ", at.id(loop.animals[(loop.broken + k) % n]));
    if (n > kLongestLoopTold) text += fmt::format("... ({} animals) -> ", n);
    return text + fmt::format("{}", at.id(loop.animals[loop.broken]));
}

void break_and_tell_loops(Parents& at) {
    static_cast<void>(break_loops(at.pedigree.book, [&at](const Loop& loop) {
        at.look.findings.error(
            "pedigree-loop", at.place(loop.animals[loop.broken]),
            fmt::format("a loop, each the progeny of the next: {}", chain_of(at, loop)),
            "One of the parents is wrong; the link in this line is the likeliest");
    }));
}

// ---- The order of births

std::string bound_words(int64_t after, int64_t before) {
    if (after > 0 && before > 0)
        return fmt::format("A value above {}, of its parents, and below {}, of its progeny, fits",
                           after, before);
    if (after > 0) return fmt::format("A value above {}, that of its parents, fits", after);
    return "Correct the sort variable, or the parent";
}

// The smallest sort variable of the progeny of these animals, 0 none.
std::unordered_map<int32_t, int32_t> find_first_progeny(const Parents& at,
                                                        const std::vector<int32_t>& animals) {
    std::unordered_map<int32_t, int32_t> first;
    for (const int32_t animal : animals) first[animal] = 0;
    for (int32_t j = 1; j <= at.pedigree.n_records; ++j)
        for (const int32_t parent :
             {at.pedigree.book.parents(j).sire, at.pedigree.book.parents(j).dam}) {
            if (parent == 0 || at.sort(j) <= 0) continue;
            const auto found = first.find(parent);
            if (found != first.end() && (found->second == 0 || at.sort(j) < found->second))
                found->second = at.sort(j);
        }
    return first;
}

void tell_not_older(Parents& at, int32_t animal, bool is_sire, int32_t first_progeny) {
    const ParentPair& p = at.pedigree.book.parents(animal);
    const int32_t parent = is_sire ? p.sire : p.dam;
    const int32_t own = at.sort(animal);
    const char* part = is_sire ? "sire" : at.job.dam_called();
    int64_t after = 0;
    for (const int32_t one : {p.sire, p.dam})
        if (one != 0 && at.has_record(one)) after = std::max<int64_t>(after, at.sort(one));
    const bool is_missing = own == 0;
    std::string words = is_missing
                            ? fmt::format(
                                  "{} has the sort variable 0 and its {} {} (line {}) has {}; it "
                                  "would come ahead of its parents",
                                  at.id(animal), part, at.id(parent), at.pedigree.book.line(parent),
                                  at.sort(parent))
                            : fmt::format(
                                  "{} has the sort variable {} and its {} {} (line {}) has {}: the "
                                  "parent is not older",
                                  at.id(animal), own, part, at.id(parent),
                                  at.pedigree.book.line(parent), at.sort(parent));
    const Severity severity = at.job.needs_order() ? Severity::error : Severity::warning;
    at.look.findings.add({"parent-not-older", severity, at.place(animal), std::move(words),
                          bound_words(is_missing ? after : 0, first_progeny)});
}

void tell_all_not_older(Parents& at) {
    struct Link {
        int32_t animal;
        bool is_sire;
    };
    std::vector<Link> links;
    std::vector<int32_t> animals;
    int64_t n = 0;
    for (int32_t j = 1; j <= at.pedigree.n_records; ++j)
        for (const bool is_sire : {true, false}) {
            const ParentPair& p = at.pedigree.book.parents(j);
            const int32_t parent = is_sire ? p.sire : p.dam;
            if (parent == 0 || !at.has_record(parent) ||
                !at.is_not_older(at.sort(j), at.sort(parent)))
                continue;
            if (const int32_t odd = has_odd_date(at, j)        ? j
                                    : has_odd_date(at, parent) ? parent
                                                               : 0;
                odd != 0) {
                at.misplaced.insert(odd);
                continue;
            }
            if (++n > Findings::kShownOfCode) continue;
            links.push_back({j, is_sire});
            animals.push_back(j);
        }
    const auto first_progeny = find_first_progeny(at, animals);
    for (const auto& [animal, is_sire] : links)
        tell_not_older(at, animal, is_sire, first_progeny.at(animal));
    at.look.findings.count_more("parent-not-older",
                                at.job.needs_order() ? Severity::error : Severity::warning,
                                n - std::ssize(links));
}

// The sort variable as a whole. True when it is told to be another thing than it should be.
bool tell_whole_variable(Parents& at) {
    const Vec<int32_t>& values = at.pedigree.book.birth;
    const int32_t n = at.pedigree.n_records;
    const auto tell = [&at](std::string words, std::string hint) {
        at.look.findings.add({"sort-variable",
                              at.job.needs_order() ? Severity::error : Severity::warning,
                              {at.job.file, at.pedigree.book.line(1), 0},
                              std::move(words),
                              std::move(hint)});
        return true;
    };
    if (at.n_links > 0 && std::all_of(values.begin(), values.begin() + n,
                                      [&](int32_t value) { return value == values(1); }))
        return tell(fmt::format("the sort variable is {} in all records, so that nothing tells "
                                "parents from progeny",
                                values(1)),
                    "Write dates of birth, or generations: kve ped makes them from the parents");
    constexpr double kMany = 0.05;
    if (at.n_not_older < 3 ||
        static_cast<double>(at.n_not_older) < kMany * static_cast<double>(at.n_links))
        return false;
    for (const SortReading& reading : kOtherReadings) {
        int64_t n_left = 0;
        for (int32_t j = 1; j <= n; ++j)
            for (const int32_t parent :
                 {at.pedigree.book.parents(j).sire, at.pedigree.book.parents(j).dam})
                if (parent != 0 && at.has_record(parent) &&
                    at.is_not_older(reading.value_of(values(j)), reading.value_of(values(parent))))
                    ++n_left;
        if (n_left * 10 > at.n_not_older) continue;
        return tell(fmt::format("{} of {} parents are not older than their progeny; the sort "
                                "variable seems to be {}",
                                at.n_not_older, at.n_links, reading.words),
                    reading.proposal);
    }
    return false;
}

// KVE1 compares parents that it has inserted by the sort variable 0, from the second progeny on.
void tell_below_inserted(Parents& at) {
    if (at.n_without_order < 2) return;
    std::unordered_map<int32_t, int32_t> first;
    for (int32_t j = 1; j <= at.pedigree.n_records; ++j)
        for (const int32_t parent :
             {at.pedigree.book.parents(j).sire, at.pedigree.book.parents(j).dam}) {
            if (parent == 0 || !at.is_not_older(at.sort(j), 0) || !at.is_inserted_parent(parent))
                continue;
            if (first.try_emplace(parent, j).second) continue;
            const Severity severity = at.job.needs_order() ? Severity::error : Severity::warning;
            at.look.findings.add(
                {"parent-not-older", severity, at.place(j),
                 fmt::format("{} has the sort variable {} and its parent {} has no record, for "
                             "which KVE1 takes 0: the parent is not older",
                             at.id(j), at.sort(j), at.id(parent)),
                 "Give the parent a record, or the progeny a sort variable above 0"});
        }
}

void look_at_order(Parents& at) {
    if (tell_whole_variable(at)) {
        if (at.n_not_older + at.n_equal > 0) break_and_tell_loops(at);
        return;
    }
    // In every loop there is a parent that is not older than its progeny.
    if (at.n_not_older + at.n_equal > 0) break_and_tell_loops(at);
    if (at.n_not_older > 0) tell_all_not_older(at);
    tell_below_inserted(at);
}

// ---- Ages

void tell_odd_ages(Parents& at) {
    constexpr int64_t kFewest = 20;  // ages that tell what is usual
    for (const OddAge& odd : at.odd_ages) {
        const ParentAges& ages = odd.is_sire ? at.sires : at.dams;
        if (ages.count() < kFewest) continue;
        const double median = ages.median();
        const double youngest = at.kind == SortKind::dates ? std::min(median / 4, kYoungest) : 0;
        const double oldest =
            odd.is_sire ? std::max(10 * median, kOldestSire) : std::max(5 * median, kOldestDam);
        const auto years = static_cast<double>(odd.years);
        if (years >= youngest && years <= oldest) continue;
        const ParentPair& p = at.pedigree.book.parents(odd.animal);
        const int32_t parent = odd.is_sire ? p.sire : p.dam;
        if (parent == 0 || at.look.findings.counts_only("parent-age", Severity::warning))
            continue;  // 0 in a broken loop
        at.look.findings.warn(
            "parent-age", at.place(odd.animal),
            fmt::format("{}, {}: its {} {} of {} would be {:.1f} years old at its birth, the usual "
                        "age is {:.1f}",
                        at.id(odd.animal), at.sort(odd.animal),
                        odd.is_sire ? "sire" : at.job.dam_called(), at.id(parent), at.sort(parent),
                        years, median),
            "One of the two dates or the parent is wrong");
    }
}

// Another way to read it, in which it is a day; null when there is none.
const SortReading* find_reading(const Parents& at, int32_t date) {
    for (const SortReading& reading : kOtherReadings) {
        if (reading.of_one == nullptr) continue;
        const int64_t value = reading.value_of(date);
        if (value > 0 && value <= at.today && value % 100 != 0 &&
            is_date(static_cast<int32_t>(value)))
            return &reading;
    }
    return nullptr;
}

struct OddDates {
    std::vector<int32_t> animals{};
    bool is_order_lost = false;

    void take(const Parents& at, int32_t animal) {
        animals.push_back(animal);
        is_order_lost = is_order_lost || at.misplaced.contains(animal);
    }
};

void tell_dates(Parents& at, const OddDates& odd, const std::string& words,
                const std::string& hint) {
    const bool stops = odd.is_order_lost && at.job.needs_order();
    at.look.findings.add(
        {"birth-date", stops ? Severity::error : Severity::warning, at.place(odd.animals[0]),
         words +
             (stops ? "; a parent is then not older than its progeny, and KVE1 would stop" : ""),
         hint});
}

void tell_date(Parents& at, int32_t animal, const SortReading* reading) {
    OddDates odd;
    odd.take(at, animal);
    const int32_t date = at.sort(animal);
    const bool is_to_come = date > at.today && is_date(date);
    std::string words =
        fmt::format("{}: {} is {}", at.id(animal), date,
                    is_to_come ? "a day to come" : "no day of the calendar, as others are");
    if (reading != nullptr)
        words += fmt::format("; {} it is {}", reading->of_one, reading->value_of(date));
    tell_dates(at, odd, words, "KVE1 sorts by the number as it stands; an unknown date is 0");
}

// Many that are written in one other way are told together.
void look_at_dates(Parents& at) {
    constexpr int64_t kMany = 5;
    std::map<const SortReading*, OddDates> by_reading;
    for (int32_t j = 1; j <= at.pedigree.n_records; ++j)
        if (has_odd_date(at, j)) by_reading[find_reading(at, at.sort(j))].take(at, j);
    for (const auto& [reading, odd] : by_reading) {
        if (reading == nullptr || std::ssize(odd.animals) < kMany) {
            for (const int32_t animal : odd.animals) tell_date(at, animal, reading);
            continue;
        }
        const int32_t date = at.sort(odd.animals[0]);
        tell_dates(at, odd,
                   fmt::format("{} dates in lines {}-{} are no days of the calendar, as others "
                               "are, but {}: {} is {}",
                               odd.animals.size(), at.pedigree.book.line(odd.animals[0]),
                               at.pedigree.book.line(odd.animals.back()), reading->of_one, date,
                               reading->value_of(date)),
                   reading->proposal);
    }
}

}  // namespace

void look_at_parents(Look& look, const PedigreeJob& job, PedigreeBook& pedigree,
                     FactorLevels* levels) {
    Parents at{.look = look, .job = job, .pedigree = pedigree, .levels = levels};
    at.kind = find_sort_kind(pedigree.book.birth, pedigree.n_records);
    link_all(at);
    look_at_order(at);
    tell_odd_ages(at);
    if (at.kind == SortKind::dates) look_at_dates(at);
    look_at_parts(look, job, pedigree);
}

}  // namespace kve::companion
