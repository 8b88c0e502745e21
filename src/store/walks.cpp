#include "store/walks.h"

#include <chrono>

namespace kve {

uint64_t draw_factor() {
    const auto now = std::chrono::steady_clock::now().time_since_epoch().count();
    // The nanoseconds move the low bits, all bits of a factor matter (Steele and others, 2014).
    auto bits = static_cast<uint64_t>(now) + 0x9E3779B97F4A7C15U;
    bits = (bits ^ bits >> 30) * 0xBF58476D1CE4E5B9U;
    bits = (bits ^ bits >> 27) * 0x94D049BB133111EBU;
    return (bits ^ bits >> 31) | 1;
}

}  // namespace kve
