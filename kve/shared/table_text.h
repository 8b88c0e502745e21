// Texts in tables of values.
#pragma once

#include <string>
#include <string_view>

namespace kve::companion {

// As a field of a table with this separator. Blanks at the ends are lost unless they are quoted.
inline std::string table_field(std::string_view text, char separator) {
    const auto is_blank = [](char c) { return c == ' ' || c == '\t'; };
    if (text.find_first_of(std::string("\"\n\r") + separator) == text.npos &&
        (text.empty() || (!is_blank(text.front()) && !is_blank(text.back()))))
        return std::string(text);
    std::string whole = "\"";
    for (const char c : text) whole.append(c == '"' ? 2 : 1, c);
    return whole + "\"";
}

}  // namespace kve::companion
