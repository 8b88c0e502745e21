// The doors to the system with a keeper. They stand before the library's and the system's own.
#include "doors.h"

#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <new>

#include "base/memory.h"

Granted& granted() {
    static Granted& shared = *new (::mmap(nullptr, sizeof(Granted), PROT_READ | PROT_WRITE,
                                          MAP_SHARED | MAP_ANONYMOUS, -1, 0)) Granted(kAllCalls);
    return shared;
}

namespace kve {

void* zeroed_memory(std::size_t elements, std::size_t element_bytes) {
    if (granted().allocations-- == 0) return nullptr;
    return std::calloc(elements > 0 ? elements : 1, element_bytes);
}

void* lengthened_memory(void* memory, std::size_t elements, std::size_t more_elements,
                        std::size_t element_bytes) {
    void* longer = zeroed_memory(more_elements, element_bytes);
    if (longer == nullptr) return nullptr;
    if (elements > 0) std::memcpy(longer, memory, elements * element_bytes);
    std::free(memory);
    return longer;
}

void free_memory(void* memory, std::size_t, std::size_t) { std::free(memory); }

}  // namespace kve

static ssize_t ask_system(int& left, long call, int descriptor, void* buffer, size_t bytes) {
    // A helper thread reads beside the run.
    if (std::atomic_ref(left)-- != 0) return ::syscall(call, descriptor, buffer, bytes);
    errno = EIO;
    return -1;
}
extern "C" ssize_t read(int descriptor, void* buffer, size_t bytes) {
    if (before_read != nullptr) before_read();
    return ask_system(granted().reads, SYS_read, descriptor, buffer, bytes);
}
extern "C" ssize_t write(int descriptor, const void* buffer, size_t bytes) {
    return ask_system(granted().writes, SYS_write, descriptor, const_cast<void*>(buffer), bytes);
}
