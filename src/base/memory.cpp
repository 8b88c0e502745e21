#include "base/memory.h"

#include <sys/mman.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <new>
#include <utility>

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

// Large pages that arrays have left, for the next ones: a page that is touched for the first time
// costs the system more than its clearing, and on a virtual machine ten times as much.
struct KeptPage {
    KeptPage* next;
};
KeptPage* kept = nullptr;
std::mutex of_kept;

// A page that was never touched has nothing to give.
void keep_page(char* page) {
    unsigned char in_memory = 0;
    if (::mincore(page, 1, &in_memory) != 0 || (in_memory & 1) == 0) {
        ::munmap(page, kLargePage);
        return;
    }
    const std::lock_guard held(of_kept);
    kept = ::new (page) KeptPage{kept};
}

char* take_kept_page() {
    const std::lock_guard held(of_kept);
    return reinterpret_cast<char*>(kept != nullptr ? std::exchange(kept, kept->next) : nullptr);
}

// False: there is none.
bool return_kept_pages() {
    char* page = take_kept_page();
    const bool any = page != nullptr;
    for (; page != nullptr; page = take_kept_page()) ::munmap(page, kLargePage);
    return any;
}

// What is clear in it is only read, which costs no memory where it was never touched.
void clear_page(char* page) {
    static constexpr char kClear[4096] = {};
    for (char* part = page; part < page + kLargePage; part += sizeof(kClear))
        if (std::memcmp(part, kClear, sizeof(kClear)) != 0) std::memset(part, 0, sizeof(kClear));
}

// Fresh addresses for so many large pages, beginning with one; null when there are none.
void* map_pages(std::size_t bytes, int protection) {
    const auto map = [&] {
        return ::mmap(nullptr, bytes + kLargePage, protection, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    };
    void* memory = map();
    if (memory == MAP_FAILED && return_kept_pages()) memory = map();
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

void* map_fresh_array(std::size_t bytes) {
    return hint_large_pages(map_pages(bytes, PROT_READ | PROT_WRITE), bytes);
}

// By an entry of the system's tables.
bool move_page(char* page, char* place) {
    constexpr int kToPlace = MREMAP_MAYMOVE | MREMAP_FIXED;
    return ::mremap(page, kLargePage, kLargePage, kToPlace, place) != MAP_FAILED;
}

// The kept pages go to its beginning.
void* map_array(std::size_t bytes) {
    auto* array = static_cast<char*>(map_fresh_array(bytes));
    if (array == nullptr) return nullptr;
    for (char* place = array; place < array + bytes; place += kLargePage) {
        char* page = take_kept_page();
        if (page == nullptr) break;
        clear_page(page);
        if (move_page(page, place)) continue;
        ::munmap(page, kLargePage);
        ::munmap(array, bytes);
        return map_fresh_array(bytes);
    }
    return array;
}

// Where a move has failed, which may have unmapped the place.
bool copy_page(char* page, char* place) {
    constexpr int kAtPlace = MAP_PRIVATE | MAP_ANONYMOUS | MAP_FIXED;
    if (::mmap(place, kLargePage, PROT_READ | PROT_WRITE, kAtPlace, -1, 0) == MAP_FAILED)
        return false;
    std::memcpy(place, page, kLargePage);
    ::munmap(page, kLargePage);
    return true;
}

// Pages that others have left are mappings of their own, which the system does not move together.
void* lengthen_by_pages(char* array, std::size_t bytes, std::size_t more_bytes) {
    auto* longer = static_cast<char*>(map_fresh_array(more_bytes));
    if (longer == nullptr) return nullptr;
    for (std::size_t at = 0; at < bytes; at += kLargePage) {
        if (move_page(array + at, longer + at)) continue;
        if (!copy_page(array + at, longer + at)) return nullptr;
    }
    return longer;
}

void* lengthen_mapped_array(void* memory, std::size_t bytes, std::size_t more_bytes) {
    if (bytes == more_bytes) return memory;
    void* place = map_pages(more_bytes, PROT_NONE);
    const int flags = place != nullptr ? MREMAP_MAYMOVE | MREMAP_FIXED : MREMAP_MAYMOVE;
    void* moved = ::mremap(memory, bytes, more_bytes, flags, place);
    if (moved != MAP_FAILED) return hint_large_pages(moved, more_bytes);
    return lengthen_by_pages(static_cast<char*>(memory), bytes, more_bytes);
}

// The first page ends up on top.
void leave_pages(char* array, std::size_t bytes) {
    for (char* page = array + bytes; page > array;) keep_page(page -= kLargePage);
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
        leave_pages(static_cast<char*>(memory), whole_pages(bytes));
}

}  // namespace kve
