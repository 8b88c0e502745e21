// Text files: lines are those of the text, and numbers do not depend on where a buffer ends.
#include <algorithm>
#include <bit>
#include <string>
#include <vector>

#include "base/input.h"
#include "process.h"

using namespace kve;

namespace {

template <class Value>
TextInput::Number read_into(TextInput& file, std::vector<uint64_t>& all) {
    Value value = 0;
    const TextInput::Number status = file.read_number(value);
    if (status == TextInput::Number::ok) all.push_back(std::bit_cast<uint64_t>(value));
    return status;
}

// The outcomes of reading records of `width` numbers, real ones and integers in turn, to the first
// that is none.
std::vector<uint64_t> read_records(std::string_view text, int width) {
    TextInput file;
    require(file.attach(memory_file(text)) == 0);
    std::vector<uint64_t> all;
    for (TextInput::Number status = TextInput::Number::ok; status == TextInput::Number::ok;) {
        file.begin_record();
        for (int k = 0; k < width && status == TextInput::Number::ok; ++k)
            status = k % 2 == 0 ? read_into<int64_t>(file, all) : read_into<double>(file, all);
        all.push_back(static_cast<uint64_t>(status));
        if (status == TextInput::Number::ok && file.comma_and_digit_follow()) all.push_back(',');
        file.skip_line();
    }
    return all;
}

void check_lines(std::string_view text, std::size_t longest) {
    TextInput file;
    require(file.attach(memory_file(text)) == 0);
    std::string_view line;
    for (; file.read_line(line, longest) == TextInput::Line::ok;) {
        const std::size_t end = std::min(text.find('\n'), text.size());
        require(line == text.substr(0, std::min(end, longest)));
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    require(text.empty());
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t count) {
    if (count < 2) return 0;
    const std::string_view text = as_text(bytes + 2, count - 2);
    const int width = 1 + bytes[0] % 5;
    // Other numbers of the text stand across the ends of buffers then.
    const std::string blanks(1 + bytes[1] % KVE_BUFFER_BYTES, ' ');
    require(read_records(text, width) == read_records(blanks + std::string(text), width));
    check_lines(text, 1 + bytes[1]);
    return 0;
}
