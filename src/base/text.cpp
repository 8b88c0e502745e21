#include "base/text.h"

#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <string>
#include <string_view>

namespace kve {

std::string_view right_trimmed(std::string_view text) {
    while (!text.empty() && is_blank(text.back())) text.remove_suffix(1);
    return text;
}

std::string_view left_adjusted(std::string_view text) {
    while (!text.empty() && is_blank(text.front())) text.remove_prefix(1);
    return text;
}

std::string_view cut_word(std::string_view& rest) {
    std::size_t end = 0;
    while (end < rest.size() && !is_blank(rest[end])) ++end;
    std::string_view word = rest.substr(0, end);
    rest = left_adjusted(rest.substr(end));
    return word;
}

void append(std::string& text, const char* format, ...) {
    std::va_list items;
    va_start(items, format);
    append_list(text, format, items);
    va_end(items);
}

void append_list(std::string& text, const char* format, std::va_list items) {
    std::va_list again;
    va_copy(again, items);
    const std::size_t before = text.size();
    const int length = std::vsnprintf(nullptr, 0, format, again);
    va_end(again);
    text.resize(before + static_cast<std::size_t>(length));
    std::vsnprintf(&text[before], static_cast<std::size_t>(length) + 1, format, items);
}

}  // namespace kve
