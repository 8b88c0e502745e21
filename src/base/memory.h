// The one door to the heap for arrays. Tests link another memory.cpp in to make allocations fail.
#pragma once

#include <cstddef>

// A function that does nothing but fetch something from the memory into the cache. The compiler
// takes such a function for one without effect and drops its calls, unless it is inlined at once.
#define KVE_FETCH [[gnu::always_inline]] inline

namespace kve {

// Zeroed memory straight from the system (untouched pages cost nothing), or null.
[[nodiscard]] void* zeroed_memory(std::size_t elements, std::size_t element_bytes);

void free_memory(void* memory);

}  // namespace kve
