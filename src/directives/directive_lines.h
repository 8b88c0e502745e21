// The directive file on standard input as logical lines: comment and empty lines are dropped, lines
// that end in "/" are joined to their successor. Also the cuts and the number reading that the
// branches of the reader share.
//
// A line that cannot be read, an unknown keyword and a carriage return at a line's end stop the
// run.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "base/freeform.h"
#include "base/input.h"
#include "directives/catalogue.h"
#include "listing/stop.h"

namespace kve {

inline constexpr std::size_t kLongestPhysicalLine = 2000;
inline constexpr std::size_t kLongestLogicalLine = 10000;
inline constexpr std::size_t kLongestSection = 18000;

namespace state {

// The logical line read last, without trailing blanks; a keyword line with "$" and keyword.
inline std::string cinp;

// Standard input.
inline TextInput DRIVER_FILE;

// The physical line on which the logical line read last begins.
inline constinit int64_t LINE_NUMBER = 0;

// That of the keyword line whose section is read.
inline constinit int64_t SECTION_LINE = 0;

// The words of all physical lines read so far, one blank or more between them.
inline std::string DIRECTIVE_WORDS;

}  // namespace state

// Before the first line.
void open_directives();

// The next logical line goes to `cinp`. A line with the keyword `exclude` counts as text.
Keyword read_directive_line(Keyword exclude = Keyword::text);

// What stands in `cinp` after the keyword.
std::string_view keyword_text(Keyword keyword);

// After a fault that stops the run: the rest of the directive file goes to DIRECTIVE_WORDS. False
// when it cannot be read.
bool read_remaining_words();

// Reads to the next keyword line, which becomes `next`. The text lines, joined to `text` with one
// blank each, or dropped.
std::string join_section(std::string_view text, Keyword& next);
Keyword skip_text_lines();

// "$" + its name.
std::string keyword_as_written(Keyword keyword);

// The one number at the beginning of `text`, by the free-form rules. Where there is none the run
// stops with a line that says what was `expected`.
template <class Number>
Number must_read(Keyword keyword, std::string_view expected, std::string_view text,
                 std::string_view remark = {}) {
    Number value = 0;
    if (read_free(text, value) != Read::ok)
        stop_unreadable(keyword_as_written(keyword), expected, text, remark);
    return value;
}

}  // namespace kve
