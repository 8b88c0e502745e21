// Numbers in sentences.
#pragma once

#include <cstdint>
#include <string>

#include "kve/shared/noun.h"

namespace kve::companion {

// In groups of three digits, with narrow blanks that nobody takes for decimal points.
inline std::string grouped(int64_t number) {
    std::string digits = std::to_string(number < 0 ? -number : number);
    constexpr std::size_t kGroup = 3;
    for (std::size_t at = digits.size(); at > kGroup;) digits.insert(at -= kGroup, "\u202f");
    return (number < 0 ? "−" : "") + digits;
}

inline std::string grouped(int64_t number, const char* of_one) {
    return grouped(number) + " " + noun_for(number, of_one);
}
inline std::string grouped(int64_t number, const char* of_one, const char* of_many) {
    return grouped(number) + " " + (number == 1 ? of_one : of_many);
}

}  // namespace kve::companion
