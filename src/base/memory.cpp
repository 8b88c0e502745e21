#include "base/memory.h"

#include <sys/mman.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>

namespace kve {
namespace {

// Searches jump about in the large tables; pages of 2 MiB spare most of the address look-ups that
// this costs. So a large array is mapped by itself, in whole large pages: at such an address the
// system also moves it by a few entries of its page tables, large pages as they are.
constexpr std::size_t kLargePage = std::size_t{2} << 20;
constexpr std::size_t kLargeArray = 2 * kLargePage;

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

void* map_large_array(std::size_t bytes) {
    void* memory = map_pages(bytes, PROT_READ | PROT_WRITE);
    // Only a hint: pages that nobody touches still cost nothing.
    if (memory != nullptr) ::madvise(memory, bytes, MADV_HUGEPAGE);
    return memory;
}

void* lengthen_large_array(void* memory, std::size_t bytes, std::size_t more_bytes) {
    if (bytes == more_bytes) return memory;
    void* place = map_pages(more_bytes, PROT_NONE);
    const int flags = place != nullptr ? MREMAP_MAYMOVE | MREMAP_FIXED : MREMAP_MAYMOVE;
    void* moved = ::mremap(memory, bytes, more_bytes, flags, place);
    return moved != MAP_FAILED ? moved : nullptr;
}

}  // namespace

void* zeroed_memory(std::size_t elements, std::size_t element_bytes) {
    const std::size_t bytes = bytes_of(elements, element_bytes);
    if (bytes == 0) return nullptr;
    // calloc hands out fresh pages without touching them.
    return bytes < kLargeArray ? std::calloc(bytes, 1) : map_large_array(whole_pages(bytes));
}

void* lengthened_memory(void* memory, std::size_t elements, std::size_t more_elements,
                        std::size_t element_bytes) {
    const std::size_t bytes = bytes_of(elements, element_bytes);
    const std::size_t more_bytes = bytes_of(more_elements, element_bytes);
    if (more_bytes == 0) return nullptr;
    if (bytes >= kLargeArray)
        return lengthen_large_array(memory, whole_pages(bytes), whole_pages(more_bytes));
    void* longer = zeroed_memory(more_elements, element_bytes);
    if (longer == nullptr) return nullptr;
    if (elements > 0) std::memcpy(longer, memory, bytes);
    std::free(memory);
    return longer;
}

void free_memory(void* memory, std::size_t elements, std::size_t element_bytes) {
    const std::size_t bytes = bytes_of(elements, element_bytes);
    if (bytes < kLargeArray)
        std::free(memory);
    else
        ::munmap(memory, whole_pages(bytes));
}

}  // namespace kve
