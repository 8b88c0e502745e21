// Numbers in sentences.
#pragma once

#include <cstdint>
#include <string>

namespace kve::companion {

// In groups of three digits, with narrow blanks that nobody takes for decimal points.
inline std::string grouped(int64_t number) {
    std::string digits = std::to_string(number < 0 ? -number : number);
    constexpr std::size_t kGroup = 3;
    for (std::size_t at = digits.size(); at > kGroup;) digits.insert(at -= kGroup, "\u202f");
    return (number < 0 ? "−" : "") + digits;
}

}  // namespace kve::companion
