#include "kve/tables/values.h"

#include <algorithm>
#include <charconv>
#include <chrono>
#include <cmath>

namespace kve::companion {

MissingSigns::MissingSigns(const std::vector<std::string>& signs) {
    for (const std::string& sign : signs) {
        if (sign.empty()) {
            is_empty_missing_ = true;
            continue;
        }
        texts_.push_back(sign);
        begins_[static_cast<unsigned char>(sign.front())] = true;
        if (const std::optional<double> number = parse_real(sign)) numbers_.push_back(*number);
    }
}

bool MissingSigns::looks_so(std::string_view text) const {
    if (std::ranges::find(texts_, text) != texts_.end()) return true;
    if (numbers_.empty()) return false;
    const std::optional<double> number = parse_real(text);
    return number && std::ranges::find(numbers_, *number) != numbers_.end();
}

const std::vector<std::string>& usual_missing_signs() {
    static const std::vector<std::string> signs = {"",     "NA", "N/A", "NaN", "nan",
                                                   "NULL", ".",  "*",   "-999"};
    return signs;
}

bool is_utf8(std::string_view text) {
    for (std::size_t at = 0; at < text.size();) {
        const auto c = static_cast<unsigned char>(text[at++]);
        int more = c < 0x80 ? 0 : c >= 0xC2 && c < 0xE0 ? 1 : c >= 0xE0 && c < 0xF0 ? 2 : 3;
        if (more == 3 && (c < 0xF0 || c > 0xF4)) return false;
        for (; more > 0; --more)
            if (at == text.size() || (static_cast<unsigned char>(text[at++]) & 0xC0) != 0x80)
                return false;
    }
    return true;
}

namespace {

// A sign behind the plus is left to be refused.
std::string_view without_plus(std::string_view text) {
    return text.size() > 1 && text[0] == '+' && text[1] != '-' ? text.substr(1) : text;
}

// Up to 15 digits and a power of ten up to 10**15 are doubles without error, so that their quotient
// is the double next to the number. False for what is left to from_chars.
bool parse_plain(std::string_view text, double& value) {
    constexpr std::size_t kMostDigits = 15;
    constexpr double kPowers[] = {1e0, 1e1, 1e2,  1e3,  1e4,  1e5,  1e6,  1e7,
                                  1e8, 1e9, 1e10, 1e11, 1e12, 1e13, 1e14, 1e15};
    const bool is_negative = text.front() == '-';
    const std::size_t first = is_negative ? 1 : 0;
    if (text.size() <= first || text.size() > first + kMostDigits) return false;
    int64_t digits = 0;
    std::size_t decimals = 0;
    bool has_digit = false, has_point = false;
    for (std::size_t k = first; k < text.size(); ++k) {
        const auto digit = static_cast<unsigned char>(text[k] - '0');
        if (digit < 10) {
            digits = 10 * digits + digit;
            has_digit = true;
        } else if (text[k] == '.' && !has_point) {
            has_point = true;
            decimals = text.size() - k - 1;
        } else {
            return false;
        }
    }
    if (!has_digit) return false;
    value = static_cast<double>(digits);
    if (decimals > 0) value /= kPowers[decimals];
    if (is_negative) value = -value;
    return true;
}

}  // namespace

std::optional<double> parse_real(std::string_view text, char decimal_sign) {
    text = without_plus(text);
    if (text.empty()) return {};
    char own[64];
    if (decimal_sign != '.') {
        if (text.size() > sizeof own || text.find('.') != text.npos) return {};
        std::replace_copy(text.begin(), text.end(), own, decimal_sign, '.');
        text = {own, text.size()};
    }
    double value = 0.0;
    if (parse_plain(text, value)) return value;
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, value);
    if (error != std::errc() || stop != end || !std::isfinite(value)) return {};
    return value;
}

std::optional<int64_t> parse_integer(std::string_view text) {
    text = without_plus(text);
    int64_t value = 0;
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, value);
    if (error != std::errc() || stop != end) return {};
    return value;
}

namespace {

std::chrono::year_month_day calendar_day(Date date) {
    return std::chrono::year_month_day{std::chrono::year{year_of(date)},
                                       std::chrono::month{static_cast<unsigned>(month_of(date))},
                                       std::chrono::day{static_cast<unsigned>(date % 100)}};
}

bool is_digit(char c) { return c >= '0' && c <= '9'; }

// The digits of a date in up to three parts; a text of eight digits is cut by the order.
bool cut_date(std::string_view text, DateOrder order, std::array<std::string_view, 3>& parts) {
    if (text.size() == 8 && std::ranges::all_of(text, is_digit)) {
        const std::size_t year_at = order == DateOrder::year_month_day ? 0 : 4;
        parts = year_at == 0 ? std::array{text.substr(0, 4), text.substr(4, 2), text.substr(6, 2)}
                             : std::array{text.substr(0, 2), text.substr(2, 2), text.substr(4, 4)};
        return true;
    }
    for (std::size_t k = 0; k < 3; ++k) {
        std::size_t n = 0;
        while (n < text.size() && is_digit(text[n])) ++n;
        parts[k] = text.substr(0, n);
        text.remove_prefix(n);
        if (k == 2 || text.empty()) break;
        if (text.front() != '.' && text.front() != '-' && text.front() != '/') return false;
        text.remove_prefix(1);
    }
    return text.empty() || text.front() == ' ' || text.front() == 'T';
}

int32_t small_number(std::string_view digits) {
    int32_t value = 0;
    for (const char c : digits) value = 10 * value + (c - '0');
    return value;
}

}  // namespace

std::optional<Date> parse_date(std::string_view text, DateOrder order) {
    if (order == DateOrder::year_only) {
        if (text.size() != 4 || !std::ranges::all_of(text, is_digit)) return {};
        const int32_t year = small_number(text);
        return year == 0 ? std::optional<Date>() : year * 10000 + 701;
    }
    std::array<std::string_view, 3> parts;
    if (!cut_date(text, order, parts)) return {};
    if (order == DateOrder::day_month_year) std::swap(parts[0], parts[2]);
    if (order == DateOrder::month_day_year) {
        std::swap(parts[0], parts[2]);
        std::swap(parts[1], parts[2]);
    }
    const auto is_short = [](std::string_view part) {
        return part.size() == 1 || part.size() == 2;
    };
    if (parts[0].size() != 4 || !is_short(parts[1]) || !is_short(parts[2])) return {};
    const int32_t year = small_number(parts[0]), month = small_number(parts[1]),
                  day = small_number(parts[2]);
    const Date date = year * 10000 + month * 100 + day;
    if (year == 0 || !calendar_day(date).ok()) return {};
    return date;
}

std::optional<DateOrder> find_date_order(const std::vector<std::string_view>& texts) {
    for (const DateOrder order : {DateOrder::year_month_day, DateOrder::day_month_year,
                                  DateOrder::month_day_year, DateOrder::year_only})
        if (!texts.empty() && std::ranges::all_of(texts, [&](std::string_view text) {
                return parse_date(text, order).has_value();
            }))
            return order;
    return {};
}

int32_t year_of(Date date) { return date / 10000; }
int32_t month_of(Date date) { return date / 100 % 100; }

int32_t days_between(Date from, Date to) {
    return static_cast<int32_t>(
        (std::chrono::sys_days(calendar_day(to)) - std::chrono::sys_days(calendar_day(from)))
            .count());
}

}  // namespace kve::companion
