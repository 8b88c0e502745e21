// Numbers as nearly all files have them, a sign, digits and a decimal point, with one look at each
// character. What is accepted here has the value that std::from_chars gives it.
#pragma once

#include <cstddef>
#include <cstdint>

namespace kve {

// Goes over digits and takes them into `value`, which is lost when there are more than 19.
inline const char* scan_digits(const char* at, uint64_t& value) {
    for (unsigned digit; (digit = static_cast<unsigned char>(*at) - unsigned{'0'}) < 10; ++at)
        value = value * 10 + digit;
    return at;
}

// A number at the beginning of a text that a character other than a digit ends: where it ends, or
// null when it is for from_chars to judge.
inline const char* scan_plain_number(const char* at, int64_t& value) {
    constexpr std::ptrdiff_t kMostDigits = 18;
    const bool is_negative = *at == '-';
    const char* first = at + (is_negative ? 1 : 0);
    uint64_t digits = 0;
    at = scan_digits(first, digits);
    if (at == first || at - first > kMostDigits) return nullptr;
    value = is_negative ? -static_cast<int64_t>(digits) : static_cast<int64_t>(digits);
    return at;
}

// Up to 15 digits and a power of ten up to 10**15 are doubles without error, so that their quotient
// is the double next to the number.
inline const char* scan_plain_number(const char* at, double& value) {
    constexpr std::ptrdiff_t kMostDigits = 15;
    constexpr double kPowers[] = {1e0, 1e1, 1e2,  1e3,  1e4,  1e5,  1e6,  1e7,
                                  1e8, 1e9, 1e10, 1e11, 1e12, 1e13, 1e14, 1e15};
    const bool is_negative = *at == '-';
    const char* first = at + (is_negative ? 1 : 0);
    uint64_t digits = 0;
    at = scan_digits(first, digits);
    std::ptrdiff_t n = at - first, decimals = 0;
    if (*at == '.') {
        const char* point = at;
        at = scan_digits(point + 1, digits);
        decimals = at - point - 1;
        n += decimals;
    }
    if (n == 0 || n > kMostDigits) return nullptr;
    double plain = static_cast<double>(static_cast<int64_t>(digits));
    if (decimals > 0) plain /= kPowers[decimals];
    value = is_negative ? -plain : plain;
    return at;
}

}  // namespace kve
