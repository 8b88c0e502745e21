// What has stopped KVE1 in the model: its words, from the listing or the end of KVE_LOG.
#include <fmt/format.h>

#include "base/state.h"
#include "directives/directives.h"
#include "kve/check/told.h"
#include "model/model_records.h"

namespace kve::companion {

READS(DIRECTIVES);

namespace {

constexpr CodeOfWords kModelWords[] = {
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
constexpr CodeOfWords kMatrixWords[] = {
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

// What belongs into the line, where the words of KVE1 tell no more than that it is wrong.
std::string form_of_line(std::string_view code) {
    constexpr struct {
        std::string_view code, form;
    } kForms[] = {
        {"trait-count",
         "The first line of the model is the number of traits, in task 2 five numbers"},
        {"absorption-line",
         "A line a trait: the number of absorbed effects, 0 unless the task is 12, and their "
         "integer "
         "columns. Is another line of the model missing?"},
        {"model-line",
         "A line a trait: its real column, that of its weight or 0, the number of effects, the "
         "integer column of each"},
        {"random-line",
         "A line a trait: how many of its last effects are random, the matrix number of each"},
        {"reduce-line", "A line a trait: a number for each of its random effects, 0 without them"},
        {"regression-line", "A line a trait: the number of regressions, the real column of each"},
        {"zero-covariances",
         "Behind the regressions: how many residual covariances are 0, a line with two traits for "
         "each"},
    };
    for (const auto& [of, form] : kForms)
        if (of == code)
            return fmt::format("{}; $DATA has {} integer and {} real columns", form, DIRECTIVES.NI,
                               DIRECTIVES.NR);
    return "";
}

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
    const char* code = find_code(kModelWords, words);
    if (code == nullptr) code = "model-fault";
    look.findings.error(code, place, without_head(words), form_of_line(code));
}

// The line is shown behind its faults.
Place place_of_restriction(const Look& look, const std::string& words) {
    const std::string shown = text_after(words, "$VAR_REST ");
    const int64_t first = look.text.keyword_line(Keyword::VAR_REST);
    const int64_t end = first > 0 && !shown.empty() ? look.text.end_of_section(first) : first;
    for (int64_t k = first; k < end; ++k)
        if (folded(look.text.line(k).text).ends_with(shown)) return look.text.place(k);
    return place_of_keyword(look, Keyword::VAR_REST);
}

Place place_of_matrix_fault(const Look& look, std::string_view code, const std::string& words,
                            const Stop& stop) {
    if (code == "generalised-model") return place_of_keyword(look, Keyword::GLMM);
    if (code == "censoring")
        return place_of_keyword(look,
                                words.find("CURE") == words.npos ? Keyword::CENS : Keyword::CURE);
    if (code == "restriction") return place_of_restriction(look, words);
    if (code == "structure-factor") {
        const int64_t factor = number_after(words, "actor no.");
        return place_of_structure(
            look, factor > 0 ? factor : number_after(words, "The residual is random factor"));
    }
    return place_in_model(look, stop.model_line);
}

void tell_matrix_words(Look& look, const std::string& words, const Stop& stop) {
    const char* code = find_code(kMatrixWords, words);
    if (code == nullptr) code = "model-fault";
    if (look.findings.counts_only(code, Severity::error)) return;
    look.findings.error(code, place_of_matrix_fault(look, code, words, stop), without_head(words));
}

bool model_text_was_read(const Stop& stop, const std::string& words) {
    return stop.model_line == 0 ||
           (find_code(kMatrixWords, words) != nullptr && words.find("assumed Zero") == words.npos);
}

}  // namespace

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

}  // namespace kve::companion
