#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <system_error>

#include "base/input.h"
#include "base/state.h"
#include "directives/directives.h"
#include "directives/section_files.h"
#include "kve/check/look.h"

namespace kve::companion {

READS(DIRECTIVES);
READS(INLINE_TEXTS);

namespace {

// A file of the user's that stands for a section. Read once.
const DirectiveText& text_of(const std::string& name) {
    static std::map<std::string, DirectiveText> texts;
    const auto known = texts.find(name);
    if (known != texts.end()) return known->second;
    std::ifstream file(input_path(name), std::ios::binary);
    std::string content{std::istreambuf_iterator<char>(file), {}};
    return texts.try_emplace(name, name, std::move(content)).first->second;
}

// The line of the directive file on which a line of an inline text begins; 0 behind its end.
int64_t directive_line(std::string_view file, int64_t line) {
    for (const state::InlineText& section : INLINE_TEXTS)
        if (section.file == file && line >= 1 && line <= std::ssize(section.line_numbers))
            return section.line_numbers[static_cast<std::size_t>(line - 1)];
    return 0;
}

// Behind the last line: the last one.
Place place_in_text(const Look& look, std::string_view file, Keyword keyword, int64_t line,
                    std::string_view word) {
    for (; line > 0; --line)
        if (const int64_t number = directive_line(file, line); number > 0)
            return look.text.place(number, word);
    return look.text.place(look.text.keyword_line(keyword));
}

}  // namespace

Place place_in_model(const Look& look, int64_t line, std::string_view word) {
    if (DIRECTIVES.model.from_user)
        return text_of(DIRECTIVES.model.name.string()).place(std::max<int64_t>(line, 1), word);
    return place_in_text(look, "KVE1.dir", Keyword::MODEL, line, word);
}

Place place_in_reduce(const Look& look, int64_t line, std::string_view word) {
    return place_in_text(look, "KVE1.reduce", Keyword::REDUCE, line, word);
}

Place place_in_priors(const Look& look, int64_t line, std::string_view word) {
    if (DIRECTIVES.prior.from_user)
        return text_of(DIRECTIVES.prior.name.string()).place(std::max<int64_t>(line, 1), word);
    return place_in_text(look, "PARIN", Keyword::PRIOR, line, word);
}

Place place_of_name(const Look& look, std::string_view name) {
    for (int64_t k = 1; k <= look.text.count(); ++k)
        for (const Word& word : words_of(look.text.line(k).text))
            if (word.text == name && look.text.line(k).kind != TextLine::Kind::comment)
                return {look.text.name(), k, word.column};
    return look.text.place(1);
}

uintmax_t bytes_of_input(const std::string& name) {
    std::error_code error;
    const uintmax_t bytes = std::filesystem::file_size(input_path(name), error);
    return error ? 0 : bytes;
}

std::string prior_line(const Look& look, int64_t line) {
    if (DIRECTIVES.prior.from_user)
        return std::string(text_of(DIRECTIVES.prior.name.string()).line(line).text);
    return std::string(look.text.line(directive_line("PARIN", line)).text);
}

int64_t count_prior_lines() {
    if (DIRECTIVES.prior.from_user) return text_of(DIRECTIVES.prior.name.string()).count();
    for (const state::InlineText& section : INLINE_TEXTS)
        if (section.file == "PARIN") return std::ssize(section.line_numbers);
    return 0;
}

}  // namespace kve::companion
