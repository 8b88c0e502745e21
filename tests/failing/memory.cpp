// The heap door with a keeper: allocations fail once `allocations_left` is used up.
#include "base/memory.h"

#include <cstdlib>

int allocations_left = 1000000;

namespace kve {

void* zeroed_memory(std::size_t elements, std::size_t element_bytes) {
    if (allocations_left-- <= 0) return nullptr;
    return std::calloc(elements > 0 ? elements : 1, element_bytes);
}

void free_memory(void* memory) { std::free(memory); }

}  // namespace kve
