// Tables of open addressing: how far a key may stand from its place.
#pragma once

#include <cstdint>

namespace kve {

// Keys that nobody has chosen for it leave walks of a few hundred slots in the largest tables. A
// longer one means that the places of these keys lie together: the table takes another factor.
inline constexpr int kLongestWalk = 1000;

// An odd factor that nobody knows ahead, so that no input can be made for it.
uint64_t draw_factor();

}  // namespace kve
