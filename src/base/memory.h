// The one door to the heap for arrays. Tests link another memory.cpp in to make allocations fail.
#pragma once

#include <cstddef>

// A function that does nothing but fetch something from the memory into the cache. The compiler
// takes such a function for one without effect and drops its calls, unless it is inlined at once.
#define KVE_FETCH [[gnu::always_inline]] inline

namespace kve {

// Zeroed memory straight from the system (untouched pages cost nothing), or null.
[[nodiscard]] void* zeroed_memory(std::size_t elements, std::size_t element_bytes);

// The same elements followed by zeroed ones, as a rule at another address. The system moves a large
// array without copying it, so that it never stands in memory twice. Null when that fails: the
// array can then be freed and no more, since it may have lost a part.
[[nodiscard]] void* lengthened_memory(void* memory, std::size_t elements, std::size_t more_elements,
                                      std::size_t element_bytes);

// With the elements that it has now.
void free_memory(void* memory, std::size_t elements, std::size_t element_bytes);

}  // namespace kve
