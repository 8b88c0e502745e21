// Free-form numbers: what is taken has the value that the C library gives it, and a file gives the
// same number as a text.
#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <string>

#include "base/freeform.h"
#include "base/input.h"
#include "process.h"

using namespace kve;

namespace {

bool same(double a, double b) { return a == b || (std::isnan(a) && std::isnan(b)); }

void check_real(std::string text) {
    double value = 0, from_file = 0;
    const bool taken = parse_number(text, value);
    if (taken) {
        std::ranges::replace_if(
            text, [](char c) { return c == 'd' || c == 'D'; }, 'e');
        char* end = nullptr;
        require(same(value, std::strtod(text.c_str(), &end)));
        require(text.find_first_not_of(" \t\r", static_cast<std::size_t>(end - text.c_str())) ==
                text.npos);
    }
    // A number in a file stands in its buffer as a whole.
    if (text.size() >= KVE_BUFFER_BYTES || text.find_first_of(" \t\r\n,/") != text.npos) return;
    TextInput file;
    require(file.attach(memory_file(text)) == 0);
    const bool read = file.read_number(from_file) == TextInput::Number::ok;
    require(read == taken && (!taken || same(value, from_file)));
}

void check_integer(const std::string& text) {
    int64_t wide = 0;
    int32_t narrow = 0;
    if (!parse_number(text, wide)) return require(!parse_number(text, narrow));
    errno = 0;
    require(std::strtoll(text.c_str(), nullptr, 10) == wide && errno == 0);
    const bool fits = wide == static_cast<int32_t>(wide);
    require(parse_number(text, narrow) == fits && (!fits || narrow == wide));
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t count) {
    const std::string text(as_text(bytes, count));
    check_real(text);
    check_integer(text);
    FreeList list(text);
    double value = 0;
    for (std::size_t item = 0; item <= count; ++item)
        if (list.next(value) != Read::ok) break;
    return 0;
}
