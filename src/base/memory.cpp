#include "base/memory.h"

#include <sys/mman.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>

namespace kve {
namespace {

constexpr std::size_t kPageBytes = 4096;
constexpr std::size_t kLargeArray = std::size_t{4} << 20;

// Searches jump about in the large tables; pages of 2 MiB spare most of the address look-ups that
// this costs. Only a hint: pages that nobody touches still cost nothing.
void hint_large_pages(void* memory, std::size_t bytes) {
    auto address = reinterpret_cast<std::uintptr_t>(memory);
    std::uintptr_t first = (address + kPageBytes - 1) / kPageBytes * kPageBytes;
    std::uintptr_t behind = (address + bytes) / kPageBytes * kPageBytes;
    ::madvise(static_cast<char*>(memory) + (first - address), behind - first, MADV_HUGEPAGE);
}

}  // namespace

void* zeroed_memory(std::size_t elements, std::size_t element_bytes) {
    // calloc checks the product for overflow and hands out fresh pages without touching them.
    void* memory = std::calloc(elements > 0 ? elements : 1, element_bytes);
    if (memory != nullptr && elements * element_bytes >= kLargeArray)
        hint_large_pages(memory, elements * element_bytes);
    return memory;
}

void free_memory(void* memory) { std::free(memory); }

}  // namespace kve
