// Texts in tables of values.
#pragma once

#include <algorithm>
#include <string>
#include <string_view>

namespace kve::companion {

// As a field of a table with this separator; where that is a blank, a tab is one too. Blanks at the
// ends are lost unless they are quoted.
inline std::string table_field(std::string_view text, char separator) {
    const auto is_blank = [](char c) { return c == ' ' || c == '\t'; };
    const auto is_special = [&](char c) {
        return c == '"' || c == '\n' || c == '\r' || c == separator ||
               (separator == ' ' && is_blank(c));
    };
    if (std::ranges::none_of(text, is_special) &&
        (text.empty() || (!is_blank(text.front()) && !is_blank(text.back()))))
        return std::string(text);
    std::string whole = "\"";
    for (const char c : text) whole.append(c == '"' ? 2 : 1, c);
    return whole + "\"";
}

}  // namespace kve::companion
