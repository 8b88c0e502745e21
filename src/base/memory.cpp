#include "base/memory.h"

#include <cstdlib>

namespace kve {

void* zeroed_memory(std::size_t elements, std::size_t element_bytes) {
    // calloc checks the product for overflow and hands out fresh pages without touching them.
    return std::calloc(elements > 0 ? elements : 1, element_bytes);
}

void free_memory(void* memory) { std::free(memory); }

}  // namespace kve
