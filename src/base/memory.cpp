#include "base/memory.h"

#include <sys/mman.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>

namespace kve {
namespace {

// Large arrays are mapped one by one, at an address where large pages begin and in whole ones: from
// there to another such address the system moves them by a few entries of its page tables. Smaller
// ones come from the heap of the library.
constexpr std::size_t kLargePage = std::size_t{2} << 20;
constexpr std::size_t kMappedArray = kLargePage / 2;
constexpr std::size_t kArrayOfLargePages = 3 * kLargePage;

// 0 when the product is beyond the range.
std::size_t bytes_of(std::size_t elements, std::size_t element_bytes) {
    std::size_t bytes = 0;
    if (__builtin_mul_overflow(elements > 0 ? elements : 1, element_bytes, &bytes)) return 0;
    return bytes < SIZE_MAX - 2 * kLargePage ? bytes : 0;
}

std::size_t whole_pages(std::size_t bytes) {
    return (bytes + kLargePage - 1) / kLargePage * kLargePage;
}

// Fresh addresses for so many large pages, beginning with one; null when there are none.
void* map_pages(std::size_t bytes, int protection) {
    void* memory =
        ::mmap(nullptr, bytes + kLargePage, protection, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED) return nullptr;
    auto* first = static_cast<char*>(memory);
    const std::size_t ahead = whole_pages(reinterpret_cast<std::uintptr_t>(first)) -
                              reinterpret_cast<std::uintptr_t>(first);
    if (ahead > 0) ::munmap(first, ahead);
    ::munmap(first + ahead + bytes, kLargePage - ahead);
    return first + ahead;
}

// Searches jump about in the large tables; pages of 2 MiB spare most of the address look-ups that
// this costs. Only a hint: pages that nobody touches still cost nothing.
void* hint_large_pages(void* memory, std::size_t bytes) {
    if (memory != nullptr && bytes >= kArrayOfLargePages) ::madvise(memory, bytes, MADV_HUGEPAGE);
    return memory;
}

void* map_array(std::size_t bytes) {
    return hint_large_pages(map_pages(bytes, PROT_READ | PROT_WRITE), bytes);
}

void* lengthen_mapped_array(void* memory, std::size_t bytes, std::size_t more_bytes) {
    if (bytes == more_bytes) return memory;
    void* place = map_pages(more_bytes, PROT_NONE);
    const int flags = place != nullptr ? MREMAP_MAYMOVE | MREMAP_FIXED : MREMAP_MAYMOVE;
    void* moved = ::mremap(memory, bytes, more_bytes, flags, place);
    return moved != MAP_FAILED ? hint_large_pages(moved, more_bytes) : nullptr;
}

}  // namespace

void* zeroed_memory(std::size_t elements, std::size_t element_bytes) {
    const std::size_t bytes = bytes_of(elements, element_bytes);
    if (bytes == 0) return nullptr;
    // calloc hands out fresh pages without touching them.
    return bytes < kMappedArray ? std::calloc(bytes, 1) : map_array(whole_pages(bytes));
}

void* lengthened_memory(void* memory, std::size_t elements, std::size_t more_elements,
                        std::size_t element_bytes) {
    const std::size_t bytes = bytes_of(elements, element_bytes);
    const std::size_t more_bytes = bytes_of(more_elements, element_bytes);
    if (more_bytes == 0) return nullptr;
    if (bytes >= kMappedArray)
        return lengthen_mapped_array(memory, whole_pages(bytes), whole_pages(more_bytes));
    void* longer = zeroed_memory(more_elements, element_bytes);
    if (longer == nullptr) return nullptr;
    if (elements > 0) std::memcpy(longer, memory, bytes);
    std::free(memory);
    return longer;
}

void free_memory(void* memory, std::size_t elements, std::size_t element_bytes) {
    const std::size_t bytes = bytes_of(elements, element_bytes);
    if (bytes < kMappedArray)
        std::free(memory);
    else
        ::munmap(memory, whole_pages(bytes));
}

}  // namespace kve
