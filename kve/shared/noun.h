// Nouns that go with a number.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace kve::companion {

inline std::string noun_for(int64_t n, std::string_view of_one) {
    return std::string(of_one) + (n == 1 ? "" : "s");
}

// "1 level", "12 levels".
inline std::string counted(int64_t n, std::string_view of_one) {
    return std::to_string(n) + " " + noun_for(n, of_one);
}
// "1 parent has", "12 parents have".
inline std::string counted(int64_t n, std::string_view of_one, std::string_view of_many) {
    return std::to_string(n) + " " + std::string(n == 1 ? of_one : of_many);
}

}  // namespace kve::companion
