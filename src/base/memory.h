// The one door to the heap for arrays. Tests link another memory.cpp in to make allocations fail.
#pragma once

#include <cstddef>

namespace kve {

// Zeroed memory straight from the system (untouched pages cost nothing), or null.
[[nodiscard]] void* zeroed_memory(std::size_t elements, std::size_t element_bytes);

void free_memory(void* memory);

}  // namespace kve
