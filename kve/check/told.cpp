// What KVE1 has said itself, as findings.
#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <system_error>
#include <vector>

#include "base/state.h"
#include "directives/catalogue.h"
#include "directives/directives.h"
#include "kve/check/look.h"
#include "model/model_records.h"

namespace kve::companion {

READS(DIRECTIVES);
READS(MODEL);
READS(KVEINT);

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

// Without "ERROR - " and the like in front.
std::string without_head(const std::string& words) {
    std::string_view rest = words;
    for (const std::string_view head : {"ERROR", "Error", "WARNING", "Problem"})
        if (rest.starts_with(head)) rest.remove_prefix(head.size());
    rest.remove_prefix(std::min(rest.find_first_not_of(" -:>"), rest.size()));
    return std::string(rest);
}

namespace {

namespace fs = std::filesystem;

std::string first_word(const std::string& text) { return text.substr(0, text.find(' ')); }

std::vector<std::string> keyword_names() {
    std::vector<std::string> names;
    for (int32_t k = 1; k <= kKeywords; ++k)
        names.push_back("$" + std::string(keyword_name(keyword_number(k))));
    return names;
}

// ---- The directive file

// The line at which the reader has stopped; it may not have counted that line yet.
int64_t line_of_unknown_keyword(const Look& look, const Said& said) {
    int64_t line = said.line;
    while (line < look.text.count() && (look.text.line(line).kind != TextLine::Kind::keyword ||
                                        look.text.line(line).keyword != Keyword::text))
        ++line;
    return line;
}

std::string similar_keyword(std::string_view word) { return most_similar(word, keyword_names()); }

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
    for (int64_t line = said.section_line; line < look.text.end_of_section(said.section_line);
         ++line)
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
    const int64_t line = look.text.keyword_line(keyword_of(name));
    if (line > 0) return;  // it was mended away, or stands behind the end of the reading
    look.findings.error("keyword-missing", look.text.place(line > 0 ? line : look.text.count()),
                        line > 0 ? fmt::format("${} is not read: the reading ended in line {}",
                                               name, DIRECTIVES.last_line_used)
                                 : fmt::format("there is no ${}, which this analysis needs", name));
}

void tell_line_ends(Look& look, const Said&) {
    int64_t line = 1;
    while (line < look.text.count() && !look.text.line(line).text.ends_with('\r')) ++line;
    look.findings.error("line-ends", {look.text.name(), line, 0},
                        "the lines end as in Windows, KVE1 reads those of Unix",
                        fmt::format("tr -d '\\r' <{} >new.kve", look.text.name()));
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
    {" not found", "", nullptr},
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
    {"$VAR_STR keyword line", "structure-line", nullptr},
    {"VAR_STR", "structure-line", nullptr},
    {"Variance structure", "structure-line", nullptr},
    {"Reading variable names", "variable-range", nullptr},
    {"KVEDIM", "kvedim", nullptr},
};

// Words that go on after an empty line have no head of their own.
bool is_told_as_error(const Said& said) {
    const std::string words = said.words();
    return words.starts_with("ERROR") || words.starts_with("Error") ||
           words.starts_with("Format of the driver file");
}

void tell_own_words(Look& look, const char* code, const Said& said) {
    const bool by_line = std::string_view(code) == "structure-line";
    const Place place =
        look.text.place(std::max<int64_t>(by_line ? said.line : said.section_line, 1));
    look.findings.error(code, place, without_head(said.words()));
}

void tell_directive_fault(Look& look, const Said& said) {
    const std::string words = said.words();
    if (words.starts_with("Error - ") && words.ends_with(" not found"))
        return tell_missing_file(look, said);
    for (const DirectiveWords& entry : kDirectiveWords) {
        if (words.find(entry.mark) == words.npos) continue;
        if (entry.tell != nullptr) return entry.tell(look, said);
        if (entry.code[0] != '\0') return tell_own_words(look, entry.code, said);
    }
    tell_own_words(look, "directive-fault", said);
}

// ---- The model

struct ModelWords {
    std::string_view mark;
    const char* code;
};

constexpr ModelWords kModelWords[] = {
    {"number of traits", "trait-count"},
    {"No of traits out of bounds", "trait-count"},
    {"nt /=", "trait-count"},
    {"to absorbe", "absorption-line"},
    {"to be absorbed", "absorption-line"},
    {"ABSORPTION NOT", "absorption-line"},
    {"Reading model line", "model-line"},
    {"A weight variable", "model-line"},
    {"RANDOM line", "random-line"},
    {"andom", "random-line"},
    {"coefficent", "random-line"},
    {"rank reduction", "reduce-line"},
    {"regression", "regression-line"},
    {"covariable", "regression-line"},
    {"nesting", "regression-line"},
    {"ZERO COVARIANCES", "zero-covariances"},
    {"assumed Zero", "zero-covariances"},
    {"residual covariances", "zero-covariances"},
};

// Faults of the whole model, whose words stand in the log or on the listing.
constexpr ModelWords kMatrixWords[] = {
    {"GLMM", "generalised-model"},
    {"unction", "generalised-model"},
    {"OFFSET", "generalised-model"},
    {"VARF=", "generalised-model"},
    {"CENS ", "censoring"},
    {"CURE", "censoring"},
    {"structure", "structure-factor"},
    {"Associated factor", "structure-factor"},
    {"PGMIX", "structure-factor"},
    {"restriction", "restriction"},
    {"$VAR_REST", "restriction"},
    {"ratio", "restriction"},
    {"-variance m", "restriction"},
};

// The message at the end of the log: from its first line on, without the line read.
std::string last_words_of_log(const std::string& log) {
    constexpr std::string_view kHeads[] = {"ERROR", "Problem:", "ABSORPTION NOT",
                                           "A weight variable", "Not able yet"};
    std::size_t at = log.npos;
    for (const std::string_view head : kHeads) {
        const std::size_t found = log.rfind(head);
        if (found != log.npos && (at == log.npos || found > at)) at = found;
    }
    if (at == log.npos) return {};
    std::string words = log.substr(at);
    for (const std::string_view end : {"\nLine read:", "\nInput read:"})
        words = words.substr(0, words.find(end));
    return folded(words);
}

void tell_model_words(Look& look, const Stop& stop, const std::string& words) {
    const bool is_reduce = words.find("rank reduction") != words.npos;
    const Place place =
        is_reduce ? place_in_reduce(look, stop.reduce_line) : place_in_model(look, stop.model_line);
    for (const auto& [mark, code] : kModelWords)
        if (words.find(mark) != words.npos)
            return look.findings.error(code, place, without_head(words));
    look.findings.error("model-fault", place, without_head(words));
}

// The keyword line that a fault of the matrices comes from.
Place place_of_keyword(const Look& look, Keyword keyword, std::string_view word = {}) {
    const int64_t line = look.text.keyword_line(keyword);
    return line > 0 ? look.text.place_in_section(line, word) : look.text.place(look.text.count());
}

// The line is shown behind its faults.
Place place_of_restriction(const Look& look, const std::string& words) {
    const std::string shown = text_after(words, "$VAR_REST ");
    const int64_t first = look.text.keyword_line(Keyword::VAR_REST);
    for (int64_t k = first; first > 0 && !shown.empty() && k < look.text.end_of_section(first); ++k)
        if (folded(look.text.line(k).text).ends_with(shown)) return look.text.place(k);
    return place_of_keyword(look, Keyword::VAR_REST);
}

void tell_matrix_words(Look& look, const std::string& words, const Stop& stop) {
    for (const auto& [mark, code] : kMatrixWords) {
        if (words.find(mark) == words.npos) continue;
        const std::string_view about = code;
        Place place = place_of_keyword(look, Keyword::VAR_REST);
        if (about == "generalised-model") place = place_of_keyword(look, Keyword::GLMM);
        if (about == "censoring")
            place = place_of_keyword(
                look, words.find("CURE") == words.npos ? Keyword::CENS : Keyword::CURE);
        if (about == "restriction") place = place_of_restriction(look, words);
        if (about == "structure-factor")
            place = place_of_structure(look, number_after(words, "actor no."));
        return look.findings.error(code, place, without_head(words));
    }
    look.findings.error("model-fault", place_in_model(look, stop.model_line), without_head(words));
}

bool model_text_was_read(const Stop& stop, const std::string& words) {
    for (const auto& [mark, code] : kMatrixWords)
        if (words.find(mark) != words.npos && words.find("assumed Zero") == words.npos) return true;
    return stop.model_line == 0;
}

// ---- All of it

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
            if (is_told_as_error(said))
                look.findings.error("file-unusable", place_of_keyword(look, Keyword::VAR_STR),
                                    without_head(said.words()));
            return;
        case Step::priors:
            return tell_prior_words(look, said);
        default:
            return;
    }
}

void tell_model_stop(Look& look, const Stop& stop) {
    bool told = false;
    for (const Said& said : look.reading.said)
        if (said.step == Step::model && is_told_as_error(said) && !said.has("ERROR(S) found in") &&
            !said.has("ERRORS - Processing")) {
            tell_matrix_words(look, said.words(), stop);
            told = true;
        }
    if (told) return;
    const std::string words = last_words_of_log(look.reading.log);
    if (model_text_was_read(stop, words))
        tell_matrix_words(look, words, stop);
    else
        tell_model_words(look, stop, words);
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

Place place_of_structure(const Look& look, int64_t factor) {
    const std::vector<Place> lines = structure_lines(look, factor);
    return lines.empty() ? place_of_keyword(look, Keyword::VAR_STR) : lines[0];
}

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

// ---- Mending

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
