// Files of matrix elements and of IDs: a failure has words that can be printed.
#include "matrices/element_file.h"

#include <algorithm>
#include <array>
#include <span>
#include <string>

#include "process.h"

using namespace kve;

int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t count) {
    if (count == 0) return 0;
    empty_scratch_folder();
    write_file("elements", as_text(bytes + 1, count - 1));
    ElementFile file;
    require(file.open("elements", bytes[0] % 2 == 0 ? kAscii : kBinaryFile) == 0);
    FileAnswer answer = FileAnswer::record;
    std::array<int32_t, 3> ids{};
    MatrixElement element{};
    const std::size_t columns = bytes[0] / 2 % 4;
    for (std::size_t n = 0; answer == FileAnswer::record; ++n) {
        require(n <= count);
        answer = columns == 0 ? file.read(element) : file.read(std::span(ids.data(), columns));
    }
    if (answer == FileAnswer::end) return 0;
    const std::string words = file.offending();
    require(std::ranges::none_of(words, [](unsigned char c) { return c < ' ' || c == 0x7f; }));
    return 0;
}
