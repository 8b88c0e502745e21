// Texts of a fixed width, blank padded, and the few cuts that all readers of lines share.
#pragma once

#include <cstdarg>
#include <cstddef>
#include <string>
#include <string_view>

namespace kve {

// The two arguments of "%.*s".
#define KVE_SV(text) static_cast<int>((text).size()), (text).data()

constexpr bool is_blank(char c) { return c == ' ' || c == '\t' || c == '\r'; }

// Without blanks (also tabs and carriage returns) at the right, at the left.
std::string_view right_trimmed(std::string_view text);
std::string_view left_adjusted(std::string_view text);
inline std::string_view trimmed(std::string_view text) {
    return left_adjusted(right_trimmed(text));
}

// The text up to the first blank. `rest` becomes what stands behind that blank, left-adjusted;
// without a blank the word is the whole text and nothing is left.
std::string_view cut_word(std::string_view& rest);

// Adds what printf, or vprintf, would print.
[[gnu::format(printf, 2, 3)]] void append(std::string& text, const char* format, ...);
[[gnu::format(printf, 2, 0)]] void append_list(std::string& text, const char* format,
                                               std::va_list items);

// Text of N characters: longer text is cut in silence, shorter text is padded with blanks, as it
// stands in the files.
template <int N>
struct Text {
    char c[N];

    constexpr Text() : c{} { *this = std::string_view(); }
    constexpr Text(std::string_view text) : c{} { *this = text; }
    constexpr Text(const char* text) : c{} { *this = std::string_view(text); }

    constexpr Text& operator=(std::string_view text) {
        for (std::size_t k = 0; k < N; ++k) c[k] = k < text.size() ? text[k] : ' ';
        return *this;
    }
    constexpr Text& operator=(const char* text) {
        *this = std::string_view(text);
        return *this;
    }

    // Without the padding.
    std::string_view view() const {
        std::size_t length = N;
        while (length > 0 && c[length - 1] == ' ') --length;
        return {c, length};
    }
    // All N characters.
    std::string_view padded() const { return {c, N}; }
    std::string string() const { return std::string(view()); }
    bool blank() const { return view().empty(); }
    bool operator==(std::string_view text) const { return view() == text; }
};

using Name = Text<8>;
using FileName = Text<200>;

}  // namespace kve
