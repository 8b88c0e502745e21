// The doors to the system with a keeper: a call fails once `left` of its kind is used up. These
// stand before the library's and the system's own.
#include "doors.h"

#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>

#include "base/memory.h"

int allocations_left = kUnlimited, reads_left = kUnlimited, writes_left = kUnlimited;

namespace kve {

void* zeroed_memory(std::size_t elements, std::size_t element_bytes) {
    if (allocations_left-- <= 0) return nullptr;
    return std::calloc(elements > 0 ? elements : 1, element_bytes);
}

void free_memory(void* memory) { std::free(memory); }

}  // namespace kve

static ssize_t ask_system(int& left, long call, int descriptor, void* buffer, size_t bytes) {
    if (left-- > 0) return ::syscall(call, descriptor, buffer, bytes);
    errno = EIO;
    return -1;
}
extern "C" ssize_t read(int descriptor, void* buffer, size_t bytes) {
    return ask_system(reads_left, SYS_read, descriptor, buffer, bytes);
}
extern "C" ssize_t write(int descriptor, const void* buffer, size_t bytes) {
    return ask_system(writes_left, SYS_write, descriptor, const_cast<void*>(buffer), bytes);
}
