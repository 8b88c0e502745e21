// What the fields of a table say: signs of missing values, numbers, dates.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kve::companion {

// The texts that stand for a missing value. One that is a number stands for all ways to write it:
// -999 is -999.0, too.
class MissingSigns {
 public:
    explicit MissingSigns(const std::vector<std::string>& signs);

    bool operator()(std::string_view text) const {
        return text.empty() ? is_empty_missing_
                            : begins_[static_cast<unsigned char>(text.front())] && looks_so(text);
    }

 private:
    bool looks_so(std::string_view text) const;

    std::vector<std::string> texts_;
    std::vector<double> numbers_;
    std::array<bool, 256> begins_{};
    bool is_empty_missing_ = false;
};

// Nothing, NA, N/A, NaN, NULL, ".", "*" and -999.
const std::vector<std::string>& usual_missing_signs();

bool is_utf8(std::string_view text);

// The whole text, nothing beside it. No infinities, and the decimal sign is the one given.
std::optional<double> parse_real(std::string_view text, char decimal_sign = '.');
std::optional<int64_t> parse_integer(std::string_view text);

// 20200611: sorts as the days do, and is the number that KVE1 takes as a sort variable.
using Date = int32_t;

// The order of the parts, whatever stands between them (. - / or nothing): a time of day behind a
// blank or a T does not count. A year has four digits.
enum class DateOrder { year_month_day, day_month_year, month_day_year, year_only };

// Nothing when it is no day of the calendar in the years 1 to 9999. A year alone is its first of
// July, so that it sorts between those that are known better.
std::optional<Date> parse_date(std::string_view text, DateOrder order);

// The order in which all these texts are dates; the first of those above when several are
// possible, and nothing when none is.
std::optional<DateOrder> find_date_order(const std::vector<std::string_view>& texts);

int32_t year_of(Date date);
int32_t month_of(Date date);
// From one to the other, over the calendar.
int32_t days_between(Date from, Date to);

}  // namespace kve::companion
