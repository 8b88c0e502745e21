// Texts in tables of values.
#pragma once

#include <string>
#include <string_view>

namespace kve::companion {

// As a field of a table with this separator.
inline std::string table_field(std::string_view text, char separator) {
    if (text.find_first_of(std::string("\"\n\r") + separator) == text.npos)
        return std::string(text);
    std::string whole = "\"";
    for (const char c : text) whole.append(c == '"' ? 2 : 1, c);
    return whole + "\"";
}

}  // namespace kve::companion
