// The directive file without a fault that ends its reading, so that the rest can be read.
#include "base/state.h"
#include "directives/directives.h"
#include "kve/check/told.h"

namespace kve::companion {

READS(DIRECTIVES);

namespace {

std::string without_lines(const DirectiveText& text, int64_t first, int64_t end) {
    std::string mended;
    for (int64_t k = 1; k <= text.count(); ++k)
        mended.append(k >= first && k < end ? "" : text.line(k).text).append("\n");
    return mended;
}

std::string with_keyword(const DirectiveText& text, int64_t number, const std::string& keyword) {
    std::string mended;
    for (int64_t k = 1; k <= text.count(); ++k) {
        std::string line(text.line(k).text);
        if (k == number) {
            const Word read = words_of(line).at(0);
            line.replace(static_cast<std::size_t>(read.column - 1), read.text.size(), keyword);
        }
        mended.append(line).append("\n");
    }
    return mended;
}

// A text line that ends the reading, with those behind it, where further sections follow.
std::optional<std::string> without_stray_lines(const DirectiveText& text) {
    const int64_t last = DIRECTIVES.last_line_used, end = text.end_of_section(last);
    if (last == 0 || end > text.count()) return {};
    return without_lines(text, last, end);
}

// A keyword that is like another one is read as that.
std::string with_known_keyword(const Look& look, const Said& said) {
    const DirectiveText& text = look.text;
    const int64_t line = line_of_unknown_keyword(look, said);
    const std::vector<Word> words = words_of(text.line(line).text);
    const std::string similar = words.empty() ? "" : similar_keyword(words[0].text);
    return similar.empty() ? without_lines(text, line, text.end_of_section(line))
                           : with_keyword(text, line, similar);
}

// The directives after the cure of one fault that ended their reading; empty when there is none.
std::string mended_after(const Look& look, const Said& said) {
    const DirectiveText& text = look.text;
    std::string mended;
    if (said.has("Format of the driver file")) {
        mended = text.whole();
        std::erase(mended, '\r');
    } else if (said.has("unknown key word")) {
        mended = with_known_keyword(look, said);
    } else if (said.has("$VAR_STR: cannot read")) {
        mended = without_lines(text, said.line, said.line + 1);
    } else if (said.has(": cannot read") || said.has("Reading variable names")) {
        mended = without_lines(text, said.section_line, text.end_of_section(said.section_line));
    }
    return mended;
}

}  // namespace

std::optional<std::string> mend(const Look& look) {
    if (look.reading.has_directives()) return without_stray_lines(look.text);
    std::string mended;
    for (const Said& said : look.reading.said) {
        if (said.step != Step::directives) continue;
        if (std::string text = mended_after(look, said); !text.empty()) mended = std::move(text);
    }
    if (mended.empty() || mended == look.text.whole()) return {};
    return mended;
}

}  // namespace kve::companion
