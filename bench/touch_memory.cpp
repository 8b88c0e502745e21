// Touches so many MB of memory, at most half of what is available, and gives them back.
//
//     touch_memory MB
//
// A virtual machine gets its memory from the host page by page, when it touches it first, and
// returns it some seconds after its last use. So a run would cost the more the less memory those
// before it have needed. After this all find the same.
#include <sys/mman.h>

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <fstream>
#include <limits>
#include <string>

namespace {

constexpr std::size_t kPage = 4096;

std::size_t available_bytes() {
    std::ifstream file("/proc/meminfo");
    std::string name;
    std::size_t kilobytes;
    while (file >> name >> kilobytes) {
        if (name == "MemAvailable:") return kilobytes << 10;
        file.ignore(std::numeric_limits<std::streamsize>::max(), '\n');
    }
    return 0;
}

}  // namespace

int main(int count, char** words) {
    if (count != 2) return 2;
    const std::size_t wanted = std::strtoull(words[1], nullptr, 10) << 20;
    const std::size_t bytes = std::min(wanted, available_bytes() / 2);
    if (bytes == 0) return 0;
    void* memory =
        ::mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED) return 1;
    ::madvise(memory, bytes, MADV_HUGEPAGE);
    for (std::size_t at = 0; at < bytes; at += kPage) static_cast<volatile char*>(memory)[at] = 1;
    return 0;
}
