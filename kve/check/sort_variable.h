// What the sort variable of a pedigree means, and what its differences between parents and progeny
// tell.
#pragma once

#include <array>
#include <cstdint>

#include "base/arrays.h"

namespace kve::companion {

enum class SortKind : int8_t { numbers, years, dates };

// Dates are numbers such as 20200611; a month or day of 0 is not known.
SortKind find_sort_kind(const Vec<int32_t>& values, int32_t n);

// A number that is a day of the calendar, as far as it is known.
bool is_date(int32_t value);
int32_t date_of_today();

// In years; exact to some days.
inline double years_between(int32_t from, int32_t to, SortKind kind) {
    if (kind == SortKind::years) return to - from;
    const auto days = [](int32_t date) {
        return date / 10000 * 372 + date / 100 % 100 * 31 + date % 100;
    };
    return (days(to) - days(from)) / 372.0;
}

// Ages of parents at the birth of their progeny.
class ParentAges {
 public:
    void add(double years) {
        const int64_t bin = static_cast<int64_t>(years * kBinsPerYear);
        ++bins_[static_cast<std::size_t>(bin < 0 ? 0 : bin >= kBins ? kBins - 1 : bin)];
        ++n_;
    }
    int64_t count() const { return n_; }
    double median() const;

 private:
    static constexpr int64_t kBinsPerYear = 50, kBins = 3000;
    std::array<int64_t, kBins> bins_{};
    int64_t n_ = 0;
};

// Other ways to read the values, for a variable that has parents born after their progeny.
struct SortReading {
    const char* words;                   // what the values may be
    const char* of_one;                  // how one is read, null when that is no day
    const char* proposal;                // how to write them
    int64_t (*value_of)(int32_t value);  // that rises with the birth
};
inline constexpr int kSortReadings = 4;
extern const std::array<SortReading, kSortReadings> kOtherReadings;

}  // namespace kve::companion
