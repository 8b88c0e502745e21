// Ages of parents and dates of birth that cannot be.
#include <fmt/format.h>

#include <algorithm>
#include <map>

#include "kve/check/parents.h"
#include "kve/check/thresholds.h"

namespace kve::companion {

namespace {

// The ages that are no longer odd beside what is usual.
struct AgeRange {
    double youngest, oldest;
};

AgeRange usual_ages(const Parents& at, bool is_sire, double median) {
    return {at.kind == SortKind::dates ? std::min(kYoungPart * median, kYoungestParent) : 0,
            is_sire ? std::max(kOldSireFactor * median, kOldestSire)
                    : std::max(kOldDamFactor * median, kOldestDam)};
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
    for (const OddAge& odd : at.odd_ages) {
        const ParentAges& ages = odd.is_sire ? at.sires : at.dams;
        if (ages.count() < kFewestAges) continue;
        const double median = ages.median();
        const AgeRange usual = usual_ages(at, odd.is_sire, median);
        const auto years = static_cast<double>(odd.years);
        const int32_t parent = at.pedigree.parent_of(odd.animal, odd.is_sire);  // 0: broken loop
        if ((years >= usual.youngest && years <= usual.oldest) || parent == 0 ||
            at.look.findings.counts_only("parent-age", Severity::warning))
            continue;
        at.look.findings.warn(
            "parent-age", at.place(odd.animal),
            fmt::format("{}, {}: its {} {} of {} would be {:.1f} years old at its birth, the usual "
                        "age is {:.1f}",
                        at.id(odd.animal), at.sort(odd.animal), at.part(odd.is_sire), at.id(parent),
                        at.sort(parent), years, median),
            "One of the two dates or the parent is wrong");
    }
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
