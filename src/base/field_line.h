// A line of fields that stand right-justified in fixed columns.
#pragma once

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <string_view>

#include "base/asserted.h"

namespace kve {

class FieldLine {
 public:
    void start() { at_ = text_; }
    void put(int32_t value, int width) {
        char digits[16];
        place(digits, std::to_chars(digits, digits + sizeof digits, value), width);
    }
    void put(double value, int width, int decimals) {
        char digits[400];
        if (const auto end = write_rounded(digits, value, decimals); end.ptr != digits)
            return place(digits, end, width);
        place(digits,
              std::to_chars(digits, digits + sizeof digits, value, std::chars_format::fixed,
                            decimals),
              width);
    }
    // As it stands, in as many columns as it has.
    void put(std::string_view words) {
        KVE_ASSERT(std::ssize(words) <= room());
        at_ = std::copy(words.begin(), words.end(), at_);
    }
    std::string_view view() const { return {text_, static_cast<std::size_t>(at_ - text_)}; }

 private:
    std::ptrdiff_t room() const { return text_ + sizeof text_ - at_; }

    // The common numbers, without the long arithmetic that all of them need: where rounding is not
    // in doubt, since the product is wrong by less than the distance from the middle. Else nothing
    // is written.
    static std::to_chars_result write_rounded(char* to, double value, int decimals) {
        constexpr double kLargest = 1e9, kDoubt = 1e-5;
        constexpr int kMostDecimals = 6;
        constexpr int64_t kPowers[] = {1, 10, 100, 1000, 10000, 100000, 1000000};
        if (decimals < 1 || decimals > kMostDecimals || std::signbit(value)) return {to, {}};
        const int64_t power = kPowers[decimals];
        const double product = value * static_cast<double>(power);
        if (!(product < kLargest)) return {to, {}};
        const auto below = static_cast<int64_t>(product);
        const double rest = product - static_cast<double>(below) - 0.5;
        if (rest > -kDoubt && rest < kDoubt) return {to, {}};
        const int64_t rounded = below + (rest > 0 ? 1 : 0);
        char* point = std::to_chars(to, to + 16, rounded / power).ptr;
        int64_t fraction = rounded % power;
        for (char* at = point + decimals; at > point; --at, fraction /= 10)
            *at = static_cast<char>('0' + fraction % 10);
        *point = '.';
        return {point + decimals + 1, {}};
    }

    // A value that does not fit fills its field with stars, so that the columns hold.
    void place(const char* digits, std::to_chars_result end, int width) {
        KVE_ASSERT(width <= room());
        const auto n = end.ptr - digits;
        const auto padding = n <= width ? width - n : width;
        std::fill_n(at_, padding, n <= width ? ' ' : '*');
        if (n <= width) std::copy_n(digits, n, at_ + padding);
        at_ += width;
    }

    char text_[120];  // wider than any line of the package
    char* at_ = text_;
};

}  // namespace kve
