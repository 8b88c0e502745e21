// A line of fields that stand right-justified in fixed columns.
#pragma once

#include <algorithm>
#include <charconv>
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
