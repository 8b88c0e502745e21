// A piece of text in the data that is no number where one belongs: what it probably is.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace kve::companion {

struct ItemFault {
    std::string message;
    std::string hint;
};

// Between items, as KVE1 reads them; a line end, too.
inline bool is_separator(char c) {
    return c == ' ' || c == '\t' || c == '\r' || c == '\n' || c == ',';
}

const char* code_of_item(std::string_view item, bool is_integer);
// `column` is the name of its column.
ItemFault fault_of_item(std::string_view item, bool is_integer, const std::string& column);

// The item in front of the rest of a line, without the blank or comma behind it; empty at a comma
// that leaves one out.
std::string_view first_item(std::string_view rest);

// Of a whole line: the items, and those that do not begin as numbers do.
struct LineItems {
    int64_t n = 0;
    int64_t n_words = 0;
};
LineItems count_items(std::string_view line);

// For a message: cut, without characters that a terminal takes for orders.
std::string shown(std::string_view text);

// Of a line with more items than blanks tell: the place of the first number like 12,5 when each of
// the `n` columns is one such piece; -1 when there is none.
int64_t find_decimal_comma(std::string_view line, int64_t n);

}  // namespace kve::companion
