// The text of the model section as the parser's blocks take it: physical lines, list-directed
// records across lines, items cut from the left end of a line, and the echo in KVE_LOG.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "base/arrays.h"
#include "base/freeform.h"
#include "base/input.h"

namespace kve {

inline constexpr std::size_t kLongestModelLine = 16384;

// A file of model text, read front to back.
class ModelLines {
 public:
    explicit ModelLines(TextInput& unit) : unit_(unit) {}

    // The next physical line into line(). Read::end: no line is left, and line() is empty. A file
    // that the system does not let us read stops the run.
    [[nodiscard]] Read next_line();

    // Without trailing blanks and carriage return, tabs turned into blanks.
    const std::string& line() const { return line_; }
    int32_t line_number() const { return static_cast<int32_t>(unit_.line_number() - 1); }

    // One list-directed record: begins in the next line and goes on in further lines until all
    // values are read. Omitted items and those after "/" keep their value.
    [[nodiscard]] Read read_record(std::span<int32_t> values);
    [[nodiscard]] Read read_record(int32_t& value) { return read_record({&value, 1}); }

    // The record that begins with `count` and goes on with as many items, omitted ones being 0.
    // Holds no more items than the text has shown; a list that "/" ends may lack one line's worth.
    [[nodiscard]] Read read_counted_record(int32_t& count, std::vector<int32_t>& items);

    // The last line read is the next one again.
    void step_back() { again_ = true; }

 private:
    Read next_item(FreeList& list, int32_t& value);

    TextInput& unit_;
    std::string line_;
    bool again_ = false;
};

// `rest` begins with an opening bracket: takes the text up to the first `close` into `inside` and
// moves `rest` past it, left-adjusted. False, and nothing moved, without a closing bracket.
[[nodiscard]] bool cut_bracket(std::string_view& rest, char close, std::string_view& inside);

// The first `length` characters of `rest`, cut off it; the rest is left-adjusted.
std::string_view cut_text(std::string_view& rest, std::size_t length);

// Integers in KVE_LOG, 15 a line, five columns each after one blank; a longer number is written
// whole.
void log_integers(std::span<const int32_t> numbers);
// The same, a count ahead of its list.
void log_count_and_list(int32_t count, std::span<const int32_t> list);

template <class T>
std::span<const T> span_of(const Vec<T>& array) {
    return {array.data(), static_cast<std::size_t>(array.size())};
}

// The last two lines of an error, "Line read:" or "Input read:" and the line; `refuse` ends the
// run.
[[noreturn]] void refuse_line_read(std::string_view line);
void log_input_read(std::string_view line);
[[noreturn]] void refuse_input_read(std::string_view line);

}  // namespace kve
