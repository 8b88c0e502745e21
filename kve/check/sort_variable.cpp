#include "kve/check/sort_variable.h"

#include <algorithm>
#include <chrono>

#include "kve/check/thresholds.h"

namespace kve::companion {

namespace {

constexpr int32_t kFirstYear = 1850, kLastYear = 2200;

bool is_year(int64_t value) { return value >= kFirstYear && value <= kLastYear; }

int64_t day_month_year(int32_t value) {
    return value % 10000 * int64_t{10000} + value / 10000 % 100 * int64_t{100} + value / 1000000;
}

int64_t month_day_year(int32_t value) {
    return value % 10000 * int64_t{10000} + value / 1000000 * int64_t{100} + value / 10000 % 100;
}

// 991231 before 000101.
int64_t short_date(int32_t value) {
    constexpr int32_t kFirstOfCentury = 400000;
    return value < kFirstOfCentury ? int64_t{value} + 20000000 : int64_t{value} + 19000000;
}

int64_t falling(int32_t value) { return -int64_t{value}; }

}  // namespace

const std::array<SortReading, kSortReadings> kOtherReadings{{
    {"dates with the day first, such as 11062020", "with the day first", "Write them as 20200611",
     day_month_year},
    {"dates with the month first, such as 06112020", "with the month first",
     "Write them as 20200611", month_day_year},
    {"dates without the century, such as 200611", "without the century", "Write them as 20200611",
     short_date},
    {"numbers that are larger for older animals", nullptr,
     "Write them with a minus, so that they rise", falling},
}};

SortKind find_sort_kind(const Vec<int32_t>& values, int32_t n) {
    constexpr int32_t kLooked = 2000;
    int32_t n_known = 0, n_years = 0, n_dates = 0;
    for (int32_t j = 1; j <= n; j += std::max(1, n / kLooked)) {
        if (values(j) <= 0) continue;
        ++n_known;
        n_years += is_year(values(j)) ? 1 : 0;
        n_dates += is_date(values(j)) ? 1 : 0;
    }
    const auto nearly_all = [n_known](int32_t found) {
        return found > 0 && found >= kNearlyAllDates * n_known;
    };
    if (nearly_all(n_dates)) return SortKind::dates;
    return nearly_all(n_years) ? SortKind::years : SortKind::numbers;
}

bool is_date(int32_t value) {
    const int32_t year = value / 10000, month = value / 100 % 100, day = value % 100;
    if (!is_year(year)) return false;
    if (day == 0) return month <= 12;
    return (std::chrono::year(year) / std::chrono::month(static_cast<unsigned>(month)) /
            std::chrono::day(static_cast<unsigned>(day)))
        .ok();
}

int32_t date_of_today() {
    const std::chrono::year_month_day today(
        std::chrono::floor<std::chrono::days>(std::chrono::system_clock::now()));
    return int{today.year()} * 10000 + static_cast<int32_t>(unsigned{today.month()}) * 100 +
           static_cast<int32_t>(unsigned{today.day()});
}

double ParentAges::median() const {
    int64_t below = 0;
    for (std::size_t bin = 0; bin < bins_.size(); ++bin)
        if ((below += bins_[bin]) * 2 >= n_) return (static_cast<double>(bin) + 0.5) / kBinsPerYear;
    return 0;
}

}  // namespace kve::companion
