#include "directives/directive_lines.h"

#include <algorithm>
#include <cstdint>

#include "base/input.h"
#include "base/state.h"
#include "base/text.h"
#include "listing/listing.h"
#include "listing/stop.h"

namespace kve {

WRITES(cinp);
WRITES(DRIVER_FILE);
WRITES(LINE_NUMBER);
WRITES(DIRECTIVE_WORDS);

namespace {

// The room asked for counts the last line of the stop as well.
[[noreturn]] void stop_read_failure(int code) {
    page_if(4);
    tell_not_read("with the directives", code);
    say("ERROR while reading the driver file");
    say("Error code = %12d", code);
    stop_run();
}

[[noreturn]] void stop_carriage_return() {
    page_if(14);
    blank();
    say("ERROR while reading the driver file.");
    blank();
    say("Format of the driver file is not correct.");
    blank();
    say("The format should be ASCII and all lines should end");
    say("with a LF (line feed), but they seems to end with");
    say("CR (carriage return) followed by LF.");
    blank();
    say("The CR could have been generated while moving the");
    say("file from one computer environment to another.");
    blank();
    stop_run();
}

[[noreturn]] void stop_unknown_keyword(std::string_view name) {
    page_if(kKeywords + 8);
    blank();
    say("ERROR - unknown key word in direvtives to KVE");
    blank();
    say("Key word read : %.*s", KVE_SV(name));
    blank();
    say("Legal key words are:");
    for (int32_t number = 1; number <= kKeywords; ++number)
        say("%.*s", KVE_SV(keyword_name(keyword_number(number))));
    blank();
    stop_run();
}

void warn_unused_at_end() {
    say_row(
        "WARNING - the directive file ends in a continued line that has no continuation; "
        "the line is not used");
}

void warn_unused_before_keyword() {
    say_row(
        "WARNING - a keyword line follows a continued line that has no continuation; the continued "
        "line is not used");
}

// Blanks only: a tab in front makes a line text, whatever follows it.
std::string_view without_blanks(std::string_view line) {
    std::size_t first = line.find_first_not_of(' ');
    if (first == std::string_view::npos) return {};
    return line.substr(first, line.find_last_not_of(' ') - first + 1);
}

// The next physical line that is neither empty nor a comment, with blanks in place of its tabs and
// none at its end. False at the end of the file.
bool read_physical_line(std::string& line) {
    std::string_view raw;
    for (;;) {
        TextInput::Line found = DRIVER_FILE.read_line(raw, kLongestPhysicalLine);
        if (found == TextInput::Line::failed) stop_read_failure(DRIVER_FILE.error());
        if (found == TextInput::Line::end) return false;
        line = without_blanks(raw);
        std::replace(line.begin(), line.end(), '\t', ' ');
        line.erase(line.find_last_not_of(' ') + 1);
        DIRECTIVE_WORDS.append(line).append(" ");
        if (line.empty()) continue;
        if (line.back() == '\r') stop_carriage_return();
        if (line.front() != '#') return true;
    }
}

Keyword keyword_at_front(std::string_view line) {
    std::string_view name = line.substr(1, line.find(' ') - 1);
    Keyword keyword = keyword_of(name);
    if (keyword == Keyword::text) stop_unknown_keyword(name);
    return keyword;
}

// Writes a piece at a column of the logical line (from 0) and ends the line after it.
void place_piece(std::size_t column, std::string_view piece) {
    cinp.resize(std::min(column, kLongestLogicalLine), ' ');
    cinp.append(piece.substr(0, kLongestLogicalLine - cinp.size()));
}

}  // namespace

void open_directives() {
    if (int code = DRIVER_FILE.attach(0); code != 0) stop_read_failure(code);
}

Keyword read_directive_line(Keyword exclude) {
    std::string line;
    std::size_t column = 0;
    bool pending = false;
    cinp.clear();
    while (read_physical_line(line)) {
        if (!pending) LINE_NUMBER = DRIVER_FILE.line_number() - 1;
        if (line.front() == '$') {
            if (pending) warn_unused_before_keyword();
            // A keyword line is never continued: "/" at its end may belong to a file's name.
            cinp = line;
            Keyword keyword = keyword_at_front(line);
            return keyword == exclude ? Keyword::text : keyword;
        }
        if (line.back() != '/') {
            place_piece(column, line);
            return Keyword::text;
        }
        line.pop_back();
        std::string_view piece = without_blanks(line);
        place_piece(column, piece);
        // Kept: the next piece goes after the length of this piece alone and not of all pieces so
        // far. Two lines are joined by one blank; a third overwrites the second.
        column = piece.size() + 1;
        pending = true;
    }
    if (pending) warn_unused_at_end();
    cinp.clear();
    return Keyword::end_of_file;
}

bool read_remaining_words() {
    std::string_view raw;
    while (DRIVER_FILE.read_line(raw, kLongestPhysicalLine) == TextInput::Line::ok)
        DIRECTIVE_WORDS.append(raw).append(" ");
    return DRIVER_FILE.error() == 0;
}

std::string_view keyword_text(Keyword keyword) {
    std::string_view line = cinp;
    return left_adjusted(line.substr(keyword_name(keyword).size() + 1));
}

std::string join_section(std::string_view text, Keyword& next) {
    std::string all(text);
    while ((next = read_directive_line()) == Keyword::text) {
        if (!all.empty()) all += ' ';
        all.append(trimmed(cinp));
        all.resize(std::min(all.size(), kLongestSection));
    }
    return all;
}

Keyword skip_text_lines() {
    Keyword next;
    do next = read_directive_line();
    while (next == Keyword::text);
    return next;
}

std::string keyword_as_written(Keyword keyword) {
    std::string written("$");
    written += keyword_name(keyword);
    return written;
}

}  // namespace kve
