// Ages of parents and dates of birth that cannot be.
#include <fmt/format.h>

#include <algorithm>
#include <map>

#include "kve/check/parents.h"
#include "kve/check/thresholds.h"

namespace kve::companion {

namespace {

const ParentAges& ages_of(const Parents& at, const OddAge& odd) {
    return odd.is_sire ? at.sires : at.dams;
}

// Not only beyond what is odd in some species, but for this pedigree, too.
bool is_far_from_usual(const Parents& at, const OddAge& odd) {
    if (ages_of(at, odd).count() < kFewestAges) return false;
    const double median = ages_of(at, odd).median(), years = static_cast<double>(odd.years);
    const double youngest =
        at.kind == SortKind::dates ? std::min(kYoungPart * median, kYoungestParent) : 0;
    const double oldest = odd.is_sire ? std::max(kOldSireFactor * median, kOldestSire)
                                      : std::max(kOldDamFactor * median, kOldestDam);
    return years < youngest || years > oldest;
}

// With several progeny it is the date of the parent that is wrong.
void tell_ages(Parents& at, int32_t parent, const std::vector<OddAge>& odd) {
    const OddAge& first = odd[0];
    const char* part = at.part(first.is_sire);
    const double median = ages_of(at, first).median();
    if (std::ssize(odd) > kLinesAlike)
        return at.look.findings.warn(
            "parent-age", at.place(parent),
            fmt::format(
                "{}, {}: it would be {:.1f} years old at the birth of {} (line {}), of which it is "
                "the {}, and so with {} others; the usual age is {:.1f}",
                at.id(parent), at.sort(parent), first.years, at.id(first.animal),
                at.line(first.animal), part, odd.size() - 1, median),
            "Its date is wrong, or it is another animal");
    for (const OddAge& one : odd)
        if (!at.look.findings.counts_only("parent-age", Severity::warning))
            at.look.findings.warn(
                "parent-age", at.place(one.animal),
                fmt::format("{}, {}: its {} {} of {} would be {:.1f} years old at its birth, the "
                            "usual age is {:.1f}",
                            at.id(one.animal), at.sort(one.animal), part, at.id(parent),
                            at.sort(parent), one.years, median),
                "One of the two dates or the parent is wrong");
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

}  // namespace

void look_at_ages(Parents& at) {
    std::map<int32_t, std::vector<OddAge>> by_parent;
    for (const OddAge& odd : at.odd_ages)
        if (const int32_t parent = at.pedigree.parent_of(odd.animal, odd.is_sire);
            parent != 0 && is_far_from_usual(at, odd))  // 0 in a broken loop
            by_parent[parent].push_back(odd);
    for (const auto& [parent, odd] : by_parent) tell_ages(at, parent, odd);
}

// Many that are written in one other way are told together.
void look_at_dates(Parents& at) {
    std::map<const SortReading*, OddDates> by_reading;
    for (int32_t j = 1; j <= at.pedigree.n_records; ++j)
        if (at.has_odd_date(j)) by_reading[find_reading(at, at.sort(j))].take(at, j);
    for (const auto& [reading, odd] : by_reading) {
        if (reading == nullptr || std::ssize(odd.animals) < kManyDates) {
            for (const int32_t animal : odd.animals) tell_date(at, animal, reading);
            continue;
        }
        const int32_t date = at.sort(odd.animals[0]);
        tell_dates(
            at, odd,
            fmt::format("{} dates in lines {}-{} are no days of the calendar, as others "
                        "are, but {}: {} is {}",
                        odd.animals.size(), at.line(odd.animals[0]), at.line(odd.animals.back()),
                        reading->of_one, date, reading->value_of(date)),
            reading->proposal);
    }
}

}  // namespace kve::companion
