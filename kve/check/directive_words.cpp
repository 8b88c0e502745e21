// What KVE1 says of the directive file: each message with its place, in better words where they are
// known.
#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <filesystem>
#include <system_error>
#include <vector>

#include "base/state.h"
#include "directives/catalogue.h"
#include "directives/directives.h"
#include "kve/check/told.h"

namespace kve::companion {

READS(DIRECTIVES);

namespace {

namespace fs = std::filesystem;

void tell_unknown_keyword(Look& look, const Said& said) {
    const int64_t line = line_of_unknown_keyword(look, said);
    const std::vector<Word> words = words_of(look.text.line(line).text);
    const std::string_view word = words.empty() ? "$" : words[0].text;
    const std::string similar = similar_keyword(word);
    look.findings.error(
        "unknown-keyword", look.text.place(line),
        fmt::format("{} is no keyword{}", word,
                    similar.empty() ? "" : fmt::format("; did you mean {}?", similar)),
        "Keywords are written in capitals, with a blank behind them");
}

std::string joined(const std::vector<int32_t>& numbers) {
    return fmt::format("{}", fmt::join(numbers, ", "));
}

std::string numbers_of_tasks() {
    std::vector<int32_t> all;
    for (int32_t task = 1; task <= kMostTasks; ++task)
        if (task_is_legal(task)) all.push_back(task);
    return joined(all);
}

std::string numbers_of_methods(int32_t task) {
    std::vector<int32_t> all;
    for (int32_t method = 0; method <= kMostMethods; ++method)
        if (method_is_legal(task, method)) all.push_back(method);
    return joined(all);
}

void tell_analyse_line(Look& look, const Said& said) {
    const Place place = look.text.place(said.section_line);
    const int32_t task = DIRECTIVES.ITASK, method = DIRECTIVES.IMETHOD;
    if (said.has("wrong format"))
        return look.findings.error("analyse-line", place,
                                   "four integers belong here: task, method, scaling, test print");
    if (!task_is_legal(task))
        return look.findings.error("analyse-line", place, fmt::format("there is no task {}", task),
                                   "The tasks are " + numbers_of_tasks());
    look.findings.error(
        "analyse-line", place,
        fmt::format("task {} ({}) has no method {}", task, task_label(task), method),
        "Its methods are " + numbers_of_methods(task));
}

// The lines of a factor, its number in the place.
std::vector<Place> structure_lines(const Look& look, int64_t factor) {
    std::vector<Place> lines;
    for (int64_t k = 1; k <= look.text.count(); ++k) {
        const TextLine& line = look.text.line(k);
        if (line.keyword != Keyword::VAR_STR || line.kind == TextLine::Kind::comment) continue;
        const std::vector<Word> words = words_of(line.text);
        if (words.size() > 1 && words[1].text == std::to_string(factor))
            lines.push_back({look.text.name(), k, words[1].column});
    }
    return lines;
}

void tell_unknown_structure(Look& look, const Said& said) {
    const std::string word = first_word(text_after(said.words(), "structure type :"));
    if (word == "Legal")
        return look.findings.error("structure-line", look.text.place(said.line),
                                   "the structure is missing");
    std::vector<std::string> names;
    for (int32_t k = 1; k <= kStructures; ++k)
        names.emplace_back(structure_name(static_cast<Structure>(k)));
    const std::string similar = most_similar(word, names);
    look.findings.error(
        "structure-line", look.text.place(said.line, word),
        fmt::format("{} is no structure{}", word,
                    similar.empty() ? "" : fmt::format("; did you mean {}?", similar)),
        fmt::format("The structures are {}", fmt::join(names, ", ")));
}

void tell_repeated_factor(Look& look, const Said& said) {
    const int64_t factor = number_after(said.words(), "random factor :");
    const std::vector<Place> lines = structure_lines(look, factor);
    look.findings.error("structure-line", lines.size() > 1 ? lines[1] : look.text.place(said.line),
                        fmt::format("factor {} has more than one $VAR_STR line", factor));
}

// Names that lie beside the one that was not found.
std::vector<std::string> names_beside(const fs::path& file) {
    std::vector<std::string> names;
    std::error_code ignored;
    const fs::path folder = file.has_parent_path() ? file.parent_path() : fs::path(".");
    for (const fs::directory_entry& entry : fs::directory_iterator(folder, ignored))
        names.push_back(entry.path().filename().string());
    std::ranges::sort(names);
    return names;
}

std::string hint_for_missing(const Look& look, const std::string& name) {
    std::error_code ignored;
    const fs::path beside = fs::path(look.text.name()).parent_path() / name;
    if (fs::exists(fs::path(look.inputs) / beside, ignored) && !name.starts_with('/'))
        return fmt::format("It stands beside {}: names count from the folder in which KVE1 runs",
                           look.text.name());
    const fs::path whole = fs::path(look.inputs) / name;
    const std::string similar = most_similar(whole.filename().string(), names_beside(whole));
    return similar.empty() ? "" : fmt::format("Did you mean {}?", similar);
}

// KVE1 tells the name up to a length, and with the folder of ST_DIR in front.
void tell_missing_file(Look& look, const Said& said) {
    const std::string words = said.words();
    const std::size_t begin = words.find("file :");
    const std::string name = begin == words.npos
                                 ? words
                                 : words.substr(begin + 6, words.rfind(" not found") - begin - 6);
    Place place = look.text.place(said.section_line);
    const int64_t end = look.text.end_of_section(said.section_line);
    for (int64_t line = said.section_line; line < end; ++line)
        for (const Word& word : words_of(look.text.line(line).text))
            if (name.ends_with(word.text) && word.text.size() > name.size() / 2)
                place = {look.text.name(), line, word.column};
    look.findings.error("file-missing", place, fmt::format("there is no file {}", name),
                        hint_for_missing(look, name));
}

void tell_name_count(Look& look, const Said& said) {
    const int64_t found = number_after(said.words(), "A total of ");
    look.findings.error(
        "name-count", look.text.place(said.section_line),
        fmt::format("{} names are given, and $DATA has {} integer and {} real columns", found,
                    DIRECTIVES.NI, DIRECTIVES.NR),
        "Integer columns come first; a name with a blank in it counts as two");
}

void tell_unreadable(Look& look, const Said& said) {
    const std::string words = said.words();
    const std::string text = text_after(words, " from:");
    const int64_t line = words.find("$VAR_STR") != words.npos ? said.line : said.section_line;
    const std::string expected = folded(words.substr(0, words.find(" from:")));
    look.findings.error("unreadable-number", look.text.place_in_section(line, first_word(text)),
                        fmt::format("{} from: {}", without_head(expected), text),
                        text.empty() ? "The number is missing" : "");
}

void tell_required(Look& look, const Said& said) {
    const std::string name = first_word(text_after(said.words(), "Required KEYWORD line "));
    // It was mended away, or stands behind the end of the reading.
    if (look.text.keyword_line(keyword_of(name)) > 0) return;
    look.findings.error("keyword-missing", look.text.place(look.text.count()),
                        fmt::format("there is no ${}, which this analysis needs", name));
}

void tell_line_ends(Look& look, const Said&) {
    int64_t line = 1;
    while (line < look.text.count() && !look.text.line(line).text.ends_with('\r')) ++line;
    look.findings.error("line-ends", {look.text.name(), line, 0},
                        "the lines end as in Windows, KVE1 reads those of Unix",
                        fmt::format("tr -d '\\r' <{} >new.kve", look.text.name()));
}

void tell_dimensions(Look& look, const Said&) {
    look.findings.error("kvedim", {"KVEDIM"}, "KVE1 cannot read this file and stops",
                        "Delete the file, or write &kvedim MFL=200000 /");
}

void ignore(Look&, const Said&) {}

// How a message of the directives is told: by a procedure, or in its own words under a code.
struct DirectiveWords {
    std::string_view mark;
    const char* code;
    void (*tell)(Look& look, const Said& said);
};

constexpr DirectiveWords kDirectiveWords[] = {
    {"ERROR(S) FOUND IN", "", ignore},
    {"unknown key word", "", tell_unknown_keyword},
    {"Format of the driver file", "", tell_line_ends},
    {"while reading the driver file.", "", ignore},  // what follows tells more
    {"variable names specified", "", tell_name_count},
    {": cannot read", "", tell_unreadable},
    {"Required KEYWORD", "", tell_required},
    {"must only appear once", "keyword-repeated", nullptr},
    {"is input and output", "shared-file", nullptr},
    {"are one file by a link", "shared-file", nullptr},
    {"which is an input of this run", "shared-file", nullptr},
    {"$ANALYSE keyword line", "", tell_analyse_line},
    {"Legal type of variance", "", tell_unknown_structure},
    {"Variance structure for random factor", "", tell_repeated_factor},
    {"mplemented", "keyword-of-task", nullptr},
    {"only legal for", "keyword-of-task", nullptr},
    {"VAR_STR", "structure-line", nullptr},
    {"Variance structure", "structure-line", nullptr},
    {"Reading variable names", "variable-range", nullptr},
    {"KVEDIM", "", tell_dimensions},
};

void tell_own_words(Look& look, const char* code, const Said& said) {
    const bool by_line = std::string_view(code) == "structure-line";
    const Place place =
        look.text.place(std::max<int64_t>(by_line ? said.line : said.section_line, 1));
    look.findings.error(code, place, without_head(said.words()));
}

}  // namespace

// The reader may not have counted the line yet.
int64_t line_of_unknown_keyword(const Look& look, const Said& said) {
    int64_t line = said.line;
    while (line < look.text.count() && (look.text.line(line).kind != TextLine::Kind::keyword ||
                                        look.text.line(line).keyword != Keyword::text))
        ++line;
    return line;
}

std::string similar_keyword(std::string_view word) {
    std::vector<std::string> names;
    for (int32_t k = 1; k <= kKeywords; ++k)
        names.push_back("$" + std::string(keyword_name(keyword_number(k))));
    return most_similar(word, names);
}

void tell_directive_fault(Look& look, const Said& said) {
    const std::string words = said.words();
    if (words.starts_with("Error - ") && words.ends_with(" not found"))
        return tell_missing_file(look, said);
    for (const auto& [mark, code, tell] : kDirectiveWords)
        if (words.find(mark) != words.npos)
            return tell != nullptr ? tell(look, said) : tell_own_words(look, code, said);
    tell_own_words(look, "directive-fault", said);
}

Place place_of_structure(const Look& look, int64_t factor) {
    const std::vector<Place> lines = structure_lines(look, factor);
    return lines.empty() ? place_of_keyword(look, Keyword::VAR_STR) : lines[0];
}

}  // namespace kve::companion
