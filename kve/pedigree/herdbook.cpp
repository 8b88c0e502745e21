#include "kve/pedigree/herdbook.h"

#include <fmt/format.h>

#include <chrono>

namespace kve::companion {

namespace {

std::chrono::year_month_day date_of(int32_t day) {
    return std::chrono::sys_days(std::chrono::days(day));
}

}  // namespace

double units_per_year(BirthUnit unit) { return unit == BirthUnit::days ? kDaysPerYear : 1.0; }

int32_t readable_birth(int32_t birth, BirthUnit unit) {
    if (unit != BirthUnit::days) return birth;
    const auto date = date_of(birth);
    constexpr int kYear = 10000, kMonth = 100;
    return int{date.year()} * kYear + static_cast<int>(unsigned{date.month()}) * kMonth +
           static_cast<int>(unsigned{date.day()});
}

int32_t year_of_birth(int32_t birth, BirthUnit unit) {
    return unit == BirthUnit::days ? int{date_of(birth).year()} : birth;
}

std::string birth_text(int32_t birth, BirthUnit unit) {
    if (birth == kNoBirth) return "an unknown date";
    if (unit != BirthUnit::days) return fmt::format("{}", birth);
    const auto date = date_of(birth);
    return fmt::format("{:04}-{:02}-{:02}", int{date.year()}, unsigned{date.month()},
                       unsigned{date.day()});
}

}  // namespace kve::companion
