// What KVE1 has said itself, as findings.
#include "kve/check/told.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>

#include "base/state.h"
#include "directives/directives.h"

namespace kve::companion {

READS(DIRECTIVES);

// ---- Words

std::string text_after(const std::string& words, std::string_view mark) {
    const std::size_t at = words.find(mark);
    return at == words.npos ? std::string() : folded(words.substr(at + mark.size()));
}

int64_t number_after(const std::string& words, std::string_view mark) {
    const std::string rest = text_after(words, mark);
    int64_t number = 0;
    std::from_chars(rest.data(), rest.data() + rest.size(), number);
    return number;
}

std::string without_head(const std::string& words) {
    std::string_view rest = words;
    for (const std::string_view head : {"ERROR", "Error", "WARNING", "Problem"})
        if (rest.starts_with(head)) rest.remove_prefix(head.size());
    rest.remove_prefix(std::min(rest.find_first_not_of(" -:>"), rest.size()));
    return std::string(rest);
}

std::string first_word(const std::string& text) { return text.substr(0, text.find(' ')); }

bool is_told_as_error(const Said& said) {
    const std::string words = said.words();
    return words.starts_with("ERROR") || words.starts_with("Error") ||
           words.starts_with("Format of the driver file");
}

const char* find_code(std::span<const CodeOfWords> codes, const std::string& words) {
    const auto found = std::ranges::find_if(
        codes, [&words](const CodeOfWords& entry) { return words.find(entry.mark) != words.npos; });
    return found == codes.end() ? nullptr : found->code;
}

Place place_of_keyword(const Look& look, Keyword keyword, std::string_view word) {
    const int64_t line = look.text.keyword_line(keyword);
    return line > 0 ? look.text.place_in_section(line, word) : look.text.place(look.text.count());
}

// ---- Steps

namespace {

// Of the file that the words name.
Place place_of_file(const Look& look, const std::string& words) {
    for (const FileName& name : DIRECTIVES.named_files)
        if (!name.blank() && words.find(name.view()) != words.npos)
            return place_of_name(look, name.view());
    return place_of_keyword(look, Keyword::VAR_STR);
}

void tell_unusable_file(Look& look, const std::string& words) {
    const Place place = place_of_file(look, words);
    // Of a file that cannot be opened KVE1 tells the reason first.
    if (!look.findings.has_error_at(place.file, place.line))
        look.findings.error("file-unusable", place, without_head(words));
}

void tell_said(Look& look, const Said& said) {
    switch (said.step) {
        case Step::before:
        case Step::directives:
            if (is_told_as_error(said)) tell_directive_fault(look, said);
            if (said.words().starts_with("WARNING - ") && said.has("continued line"))
                look.findings.error("lost-line", look.text.place(said.line),
                                    without_head(said.words()));
            return;
        case Step::pedigrees:
        case Step::files:
            if (is_told_as_error(said)) tell_unusable_file(look, said.words());
            return;
        case Step::priors:
            return tell_prior_words(look, said);
        default:
            return;
    }
}

// Whatever else was told of it.
void tell_stop(Look& look, const Stop& stop, int64_t n_before) {
    const bool is_refusal = stop.step == Step::directives && stop.has_read_all;
    if (stop.step == Step::groups) return;  // tell_failed_first_pass
    if (look.findings.count(Severity::error) > (is_refusal ? 0 : n_before)) return;
    std::string words = "no reason was given";
    for (const Said& said : look.reading.said)
        if (said.step == stop.step && !said.has("ERROR(S) found in")) words = said.words();
    look.findings.error("kve1-stop", look.text.place(std::max<int64_t>(stop.line, 1)),
                        fmt::format("KVE1 stops here: {}", without_head(words)));
}

void tell_step(Look& look, Step step) {
    const int64_t n_before = look.findings.count(Severity::error);
    for (const Said& said : look.reading.said)
        if (said.step == step) tell_said(look, said);
    if (step == Step::priors) tell_places_outside(look);
    for (const Stop& stop : look.reading.stops) {
        if (stop.step != step) continue;
        if (step == Step::model) tell_model_stop(look, stop);
        tell_stop(look, stop, n_before);
    }
}

}  // namespace

void tell_what_was_said(Look& look, Step last) {
    for (int step = static_cast<int>(Step::before); step <= static_cast<int>(last); ++step)
        tell_step(look, static_cast<Step>(step));
}

void tell_failed_first_pass(Look& look) {
    const std::string file = DIRECTIVES.data_file[0].string();
    if (!look.reading.stopped_in(Step::groups) || look.findings.has_error_in(file)) return;
    std::string words = "the first reading of the data has stopped";
    for (const Said& said : look.reading.said)
        if (said.step == Step::groups) words = without_head(said.words());
    look.findings.error("data-reading", {file, 0, 0}, words);
}

}  // namespace kve::companion
