// The directive file as text with places: which line belongs to which keyword, and where its words
// stand. What the lines mean is left to KVE1's own reader.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "directives/catalogue.h"
#include "kve/check/findings.h"

namespace kve::companion {

struct Word {
    std::string_view text;
    int64_t column;  // from 1
};

// Separated by blanks, tabs and carriage returns.
std::vector<Word> words_of(std::string_view line);

struct TextLine {
    enum class Kind { blank, comment, keyword, text };
    std::string_view text;  // without its line end
    Kind kind = Kind::blank;
    Keyword keyword = Keyword::text;  // whose section it stands in; on its own line, too
};

// Lines have numbers from 1. A line behind the end of the file is blank.
class DirectiveText {
 public:
    DirectiveText(std::string name, std::string text);
    DirectiveText(const DirectiveText&) = delete;
    DirectiveText& operator=(const DirectiveText&) = delete;

    const std::string& name() const { return name_; }
    const std::string& whole() const { return text_; }
    int64_t count() const { return static_cast<int64_t>(lines_.size()); }
    const TextLine& line(int64_t number) const;

    // The place of `word` in line `number`, of its first word without one.
    Place place(int64_t number, std::string_view word = {}) const;
    // The same in the first of lines `number` to the end of its section that has the word as a
    // whole, else in line `number`.
    Place place_in_section(int64_t number, std::string_view word) const;
    // The first keyword line of this keyword, 0 when there is none.
    int64_t keyword_line(Keyword keyword) const;
    // Behind the last line of the section that begins in this line.
    int64_t end_of_section(int64_t number) const;

 private:
    std::string name_;
    std::string text_;
    std::vector<TextLine> lines_;
};

// The name that is most like `word`, with at most a third of its letters changed, left out, added
// or exchanged; capitals count as small letters. Empty when none is like it.
std::string most_similar(std::string_view word, const std::vector<std::string>& names);

// Blanks folded to one, none at the ends.
std::string folded(std::string_view text);

}  // namespace kve::companion
