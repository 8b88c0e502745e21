// Parents that are not older than their progeny, by the sort variable.
#include <fmt/format.h>

#include <algorithm>
#include <unordered_map>

#include "kve/check/parents.h"
#include "kve/check/thresholds.h"

namespace kve::companion {

namespace {

// ---- As a whole

int64_t count_not_older(const Parents& at, const SortReading& reading) {
    int64_t n = 0;
    visit_links(at.pedigree, [&](int32_t animal, int32_t parent, bool) {
        if (at.has_record(parent) &&
            at.is_not_older(reading.value_of(at.sort(animal)), reading.value_of(at.sort(parent))))
            ++n;
    });
    return n;
}

// Read as dates the values are days of the calendar.
bool are_days(const Parents& at, const SortReading& reading) {
    if (reading.of_one == nullptr) return true;
    int64_t n_known = 0, n_days = 0;
    for (int32_t j = 1; j <= at.pedigree.n_records; ++j) {
        if (at.sort(j) <= 0) continue;
        const int64_t value = reading.value_of(at.sort(j));
        ++n_known;
        n_days += value <= at.today && is_date(static_cast<int32_t>(value)) ? 1 : 0;
    }
    return static_cast<double>(n_days) >= kNearlyAllDates * static_cast<double>(n_known);
}

bool tell_variable(Parents& at, std::string words, std::string hint) {
    at.look.findings.add({"sort-variable", at.job.severity_of_order(), at.place(1),
                          std::move(words), std::move(hint)});
    return true;
}

}  // namespace

bool tell_whole_variable(Parents& at) {
    const Vec<int32_t>& values = at.pedigree.book.birth;
    const bool are_equal =
        at.n_links > 0 && std::all_of(values.begin(), values.begin() + at.pedigree.n_records,
                                      [&](int32_t value) { return value == values(1); });
    if (are_equal)
        return tell_variable(
            at,
            fmt::format("the sort variable is {} in all records, so that nothing tells parents "
                        "from progeny",
                        values(1)),
            "Write dates of birth, or generations: kve ped makes them from the parents");
    const auto n = static_cast<double>(at.n_not_older);
    if (at.n_not_older < kFewestNotOlder || n < kManyNotOlder * static_cast<double>(at.n_links))
        return false;
    for (const SortReading& reading : kOtherReadings)
        if (are_days(at, reading) &&
            static_cast<double>(count_not_older(at, reading)) <= kLeftByReading * n)
            return tell_variable(
                at,
                fmt::format("{} of {} parents are not older than their progeny; the sort variable "
                            "seems to be {}",
                            at.n_not_older, at.n_links, reading.words),
                reading.proposal);
    return false;
}

namespace {

// ---- One by one

constexpr const char* kCorrectEither = "Correct the sort variable, or the parent";

struct Link {
    int32_t animal, parent;
    bool is_sire;
};

// The smallest sort variable of the progeny of these animals, 0 none.
std::unordered_map<int32_t, int32_t> find_first_progeny(const Parents& at,
                                                        const std::vector<Link>& links) {
    std::unordered_map<int32_t, int32_t> first;
    for (const Link& link : links) first[link.animal] = 0;
    visit_links(at.pedigree, [&](int32_t animal, int32_t parent, bool) {
        const auto found = first.find(parent);
        const int32_t sort = at.sort(animal);
        if (found != first.end() && sort > 0 && (found->second == 0 || sort < found->second))
            found->second = sort;
    });
    return first;
}

// Of an animal without a sort variable: those that would fit.
std::string fitting_values(const Parents& at, int32_t animal, int32_t first_progeny) {
    int32_t after = 0;
    for (const bool is_sire : {true, false})
        if (const int32_t parent = at.pedigree.parent_of(animal, is_sire);
            parent != 0 && at.has_record(parent))
            after = std::max(after, at.sort(parent));
    if (after <= 0) return kCorrectEither;
    if (first_progeny > after)
        return fmt::format("A value above {}, of its parents, and below {}, of its progeny, fits",
                           after, first_progeny);
    return fmt::format("A value above {}, that of its parents, fits", after);
}

void tell_not_older(Parents& at, const Link& link, int32_t first_progeny) {
    const std::string parent =
        fmt::format("its {} {} (line {}) has {}", at.part(link.is_sire), at.id(link.parent),
                    at.line(link.parent), at.sort(link.parent));
    const int32_t own = at.sort(link.animal);
    const std::string words =
        own == 0 ? fmt::format(
                       "{} has the sort variable 0 and {}; it would come ahead of its "
                       "parents",
                       at.id(link.animal), parent)
                 : fmt::format("{} has the sort variable {} and {}: the parent is not older",
                               at.id(link.animal), own, parent);
    at.look.findings.add(
        {"parent-not-older", at.job.severity_of_order(), at.place(link.animal), words,
         own == 0 ? fitting_values(at, link.animal, first_progeny) : kCorrectEither});
}

void tell_all_not_older(Parents& at) {
    std::vector<Link> links;
    int64_t n = 0;
    visit_links(at.pedigree, [&](int32_t animal, int32_t parent, bool is_sire) {
        if (!at.has_record(parent) || !at.is_not_older(at.sort(animal), at.sort(parent))) return;
        if (at.has_odd_date(animal)) {
            at.misplaced.insert(animal);
        } else if (at.has_odd_date(parent)) {
            at.misplaced.insert(parent);
        } else if (++n <= Findings::kKeptOfCode) {
            links.push_back({animal, parent, is_sire});
        }
    });
    const auto first_progeny = find_first_progeny(at, links);
    for (const Link& link : links) tell_not_older(at, link, first_progeny.at(link.animal));
    at.look.findings.count_more("parent-not-older", at.job.severity_of_order(),
                                n - std::ssize(links));
}

// KVE1 compares parents that it has inserted by the sort variable 0, from the second progeny on.
void tell_below_inserted(Parents& at) {
    if (at.n_without_order < 2) return;
    std::unordered_set<int32_t> met;
    visit_links(at.pedigree, [&](int32_t animal, int32_t parent, bool) {
        if (!at.is_not_older(at.sort(animal), 0) || !at.is_inserted_parent(parent) ||
            met.insert(parent).second)
            return;
        at.look.findings.add(
            {"parent-not-older", at.job.severity_of_order(), at.place(animal),
             fmt::format("{} has the sort variable {} and its parent {} has no record, for which "
                         "KVE1 takes 0: the parent is not older",
                         at.id(animal), at.sort(animal), at.id(parent)),
             "Give the parent a record, or the progeny a sort variable above 0"});
    });
}

}  // namespace

void tell_birth_order(Parents& at) {
    if (at.n_not_older > 0) tell_all_not_older(at);
    tell_below_inserted(at);
}

}  // namespace kve::companion
