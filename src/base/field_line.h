// A line of fields that stand right-justified in fixed columns.
#pragma once

#include <algorithm>
#include <array>
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
    FieldLine() { start(); }
    void start() {
        std::fill_n(text_, sizeof text_, ' ');
        at_ = text_;
    }
    void put(int32_t value, int width) {
        const bool is_negative = value < 0;
        const auto bits = static_cast<uint32_t>(value);
        const uint32_t magnitude = is_negative ? -bits : bits;
        char* end = take_field(count_digits(magnitude) + (is_negative ? 1 : 0), width);
        if (end == nullptr) return;
        end = write_digits(end, magnitude);
        if (is_negative) *--end = '-';
    }
    void put(double value, int width, int decimals) {
        if (put_rounded(value, width, decimals)) return;
        char digits[400];
        constexpr auto form = std::chars_format::fixed;
        char* behind = std::to_chars(digits, digits + sizeof digits, value, form, decimals).ptr;
        char* end = take_field(static_cast<int>(behind - digits), width);
        if (end != nullptr) std::copy_backward(&digits[0], behind, end);
    }
    // As it stands, in as many columns as it has.
    void put(std::string_view words) {
        KVE_ASSERT(std::ssize(words) <= room());
        at_ = std::copy(words.begin(), words.end(), at_);
    }
    std::string_view view() const { return {text_, static_cast<std::size_t>(at_ - text_)}; }

 private:
    static constexpr uint32_t kPowers[] = {1,      10,      100,      1000,      10000,
                                           100000, 1000000, 10000000, 100000000, 1000000000};

    std::ptrdiff_t room() const { return text_ + sizeof text_ - at_; }

    // The end of the next field, blank so far, when it takes so many characters. Else it is filled
    // with stars, so that the columns hold, and there is none.
    char* take_field(int characters, int width) {
        KVE_ASSERT(width <= room());
        at_ += width;
        if (characters <= width) return at_;
        std::fill_n(at_ - width, width, '*');
        return nullptr;
    }

    static int count_digits(uint32_t number) {
        int n = 1;
        while (n < std::ssize(kPowers) && number >= kPowers[n]) ++n;
        return n;
    }

    // Two at a time, from the right. Where they begin.
    static char* write_digits(char* end, uint32_t number) {
        static constexpr auto kPairs = [] {
            std::array<char[2], 100> pairs{};
            int tens_and_ones = 0;
            for (char(&pair)[2] : pairs) {
                pair[0] = static_cast<char>('0' + tens_and_ones / 10);
                pair[1] = static_cast<char>('0' + tens_and_ones++ % 10);
            }
            return pairs;
        }();
        const auto put_pair = [&] { end = std::copy_n(kPairs[number % 100], 2, end - 2) - 2; };
        for (; number >= 100; number /= 100) put_pair();
        if (number >= 10)
            put_pair();
        else
            *--end = static_cast<char>('0' + number);
        return end;
    }

    // The common numbers, without the long arithmetic that all of them need: where rounding is not
    // in doubt, since the product is wrong by less than the distance from the middle. False: it is
    // another one.
    bool put_rounded(double value, int width, int decimals) {
        constexpr double kLargest = 1e9, kDoubt = 1e-5;
        constexpr int kMostDecimals = 6;
        if (decimals < 1 || decimals > kMostDecimals || std::signbit(value)) return false;
        const uint32_t power = kPowers[decimals];
        const double product = value * power;
        if (!(product < kLargest)) return false;
        const auto below = static_cast<uint32_t>(product);
        const double rest = product - below - 0.5;
        if (rest > -kDoubt && rest < kDoubt) return false;
        const uint32_t rounded = below + (rest > 0 ? 1 : 0);
        if (char* end = take_field(count_digits(rounded / power) + 1 + decimals, width)) {
            char* point = end - decimals - 1;
            uint32_t fraction = rounded % power;
            for (; end > point + 1; fraction /= 10) *--end = static_cast<char>('0' + fraction % 10);
            *point = '.';
            write_digits(point, rounded / power);
        }
        return true;
    }

    char text_[120];  // wider than any line of the package
    char* at_;
};

}  // namespace kve
