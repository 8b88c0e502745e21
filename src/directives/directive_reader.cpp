#include "directives/directive_reader.h"

#include <cstdint>
#include <string_view>

#include "base/freeform.h"
#include "base/state.h"
#include "base/text.h"
#include "directives/catalogue.h"
#include "directives/directive_data.h"
#include "directives/directive_echo.h"
#include "directives/directive_faults.h"
#include "directives/directive_lines.h"
#include "directives/directive_options.h"
#include "directives/directive_structures.h"
#include "directives/directives.h"
#include "directives/section_files.h"
#include "listing/listing.h"
#include "listing/stop.h"

namespace kve {

WRITES(DIRECTIVES);
WRITES(DIRECTIVE_ERROR_FLAG);
READS(LINE_NUMBER);
WRITES(SECTION_LINE);

namespace {

struct KeywordState {
    bool seen = false;
    bool required = false;
};

// What the file has shown so far.
struct KeywordStates {
    KeywordState of_number[kKeywords + 1];

    KeywordState& operator[](Keyword keyword) { return of_number[static_cast<int32_t>(keyword)]; }
};

// A second line of these is told; of the others the last one wins, or all count.
bool only_once(Keyword keyword) {
    switch (keyword) {
        case Keyword::COMMENT:
        case Keyword::ANALYSE:
        case Keyword::VARIABLE:
        case Keyword::MODEL:
        case Keyword::REDUCE:
        case Keyword::MIXTURE:
        case Keyword::TD_PTD:
        case Keyword::GLMM_PRED:
        case Keyword::SOL_COV:
            return true;
        default:
            return false;
    }
}

void clear_directives() {
    Text<1024> submission_directory = DIRECTIVES.ST_DIR;
    DIRECTIVES = Directives{};
    DIRECTIVES.ST_DIR = submission_directory;
    DIRECTIVE_ERROR_FLAG = false;
}

Keyword read_first_line() {
    Keyword first = read_directive_line();
    if (first == Keyword::end_of_file) {
        say("ERROR - Unexpected EOF for file with directives");
        blank();
        stop_run();
    }
    if (first == Keyword::text) {
        say("ERROR - No lines with key words found in the file with directives");
        blank();
        stop_run();
    }
    return first;
}

// ---- $ANALYSE

void tell_wrong_analyse_line(std::string_view text) {
    Fault fault;
    fault.line("ERROR - wrong format or missing informations on the $ANALYSE keyword line.");
    fault.line("        Format for the $ANALYAE keyword line is:");
    fault.line("        $ANAYLSE task method scaling testprint");
    fault.line("        Specified keyword line:");
    fault.line("        $ANAYLSE %.*s", KVE_SV(text));
    fault.tell();
}

void tell_unknown_task(int32_t task) {
    Fault fault;
    fault.line("ERROR - On $ANALYSE keyword line: Task= %12d", task);
    fault.line("        Legal tasks are:");
    for (int32_t legal = 1; legal <= kMostTasks; ++legal)
        if (task_is_legal(legal))
            fault.line("        %12d: %.*s", legal, KVE_SV(task_label(legal)));
    fault.tell();
}

void tell_unknown_method(int32_t task, int32_t method) {
    Fault fault;
    fault.line("ERROR - On $ANALYSE keyword line: Task   = %12d", task);
    fault.line("                                  Method = %12d", method);
    fault.line("        Legal methods for TASK %12d (%.*s) are:", task, KVE_SV(task_label(task)));
    for (int32_t legal = 0; legal <= kMostMethods; ++legal)
        if (method_is_legal(task, legal))
            fault.line("                               %12d: %.*s", legal,
                       KVE_SV(method_label(task, legal)));
    fault.tell();
}

void check_task_and_method() {
    int32_t task = DIRECTIVES.ITASK, method = DIRECTIVES.IMETHOD;
    if (!task_is_legal(task))
        tell_unknown_task(task);
    else if (!method_is_legal(task, method))
        tell_unknown_method(task, method);
}

Keyword read_analyse_section(KeywordStates& keywords) {
    std::string_view text = keyword_text(Keyword::ANALYSE);
    int32_t task = 0, method = 0, scaling = 0, test = 0;
    bool readable = read_free(text, task, method, scaling, test) == Read::ok;
    DIRECTIVES.ITASK = readable ? task : 0;
    DIRECTIVES.IMETHOD = readable ? method : 0;
    DIRECTIVES.ISCALE = readable ? scaling : 0;
    DIRECTIVES.ITEST = readable ? test : 0;
    if (readable)
        check_task_and_method();
    else
        tell_wrong_analyse_line(text);
    // The solvers of the mixed model equations take the (co)variances as known.
    if (solves_with_priors(DIRECTIVES.ITASK)) keywords[Keyword::PRIOR].required = true;
    return skip_text_lines();
}

// One section, from its keyword line on; the kind of the line after it.
Keyword read_section(Keyword keyword, KeywordStates& keywords) {
    switch (keyword) {
        case Keyword::COMMENT:
            return read_comments();
        case Keyword::ANALYSE:
            return read_analyse_section(keywords);
        case Keyword::DATA:
            return read_data_section();
        case Keyword::VARIABLE:
            return read_variable_section();
        case Keyword::REDUCE:
            return read_reduce_section();
        case Keyword::VAR_STR:
            return read_structures();
        case Keyword::MODEL:
        case Keyword::PRIOR:
        case Keyword::KVE4:
        case Keyword::KVE5:
        case Keyword::KVEAI:
        case Keyword::KVEMGP:
        case Keyword::KVEGS:
            return read_file_or_text(keyword);
        case Keyword::OLDSOL:
        case Keyword::FINFO:
            return read_file_name(keyword);
        case Keyword::MIXTURE:
            return read_mixture_section();
        case Keyword::VAR_REST:
            return read_restrictions();
        case Keyword::GLMM:
            return read_glmm_section();
        case Keyword::CURE:
            return read_cure_section();
        case Keyword::RESIDUALS:
            return read_residuals_line();
        case Keyword::TD_PTD:
            return read_td_ptd_line();
        case Keyword::GLMM_PRED:
            return read_glmm_pred_line();
        case Keyword::SOL_COV:
            return read_sol_cov_line();
        case Keyword::CENS:
            return read_cens_line();
        default:
            return Keyword::end_of_file;
    }
}

void enter_section(Keyword keyword, KeywordStates& keywords) {
    SECTION_LINE = LINE_NUMBER;
    KeywordState& state = keywords[keyword];
    if (state.seen && only_once(keyword))
        tell_fault("ERROR - %.*s keyword must only appear once", KVE_SV(keyword_name(keyword)));
    state.seen = true;
}

void check_required_keywords(KeywordStates& keywords) {
    for (int32_t number = 1; number <= kKeywords; ++number) {
        Keyword keyword = keyword_number(number);
        if (keywords[keyword].required && !keywords[keyword].seen)
            tell_fault("ERROR - Required KEYWORD line %.*s not found",
                       KVE_SV(keyword_name(keyword)));
    }
}

[[noreturn]] void stop_refused() {
    Fault fault;
    fault.line("ERROR(S) FOUND IN DIRECTIVE FILE");
    fault.blank();
    fault.stop("         COMPUTATIONS TERMINATED");
}

}  // namespace

void read_directives() {
    clear_directives();
    KeywordStates keywords;
    for (Keyword keyword : {Keyword::ANALYSE, Keyword::DATA, Keyword::MODEL})
        keywords[keyword].required = true;
    open_directives();
    begin_sections();
    Keyword line = read_first_line();
    // Kept: a text line where no section expects one ends the reading, like the end of the file;
    // the check of the required keywords then tells what was not reached.
    while (line != Keyword::text && line != Keyword::end_of_file) {
        enter_section(line, keywords);
        line = read_section(line, keywords);
    }
    if (line == Keyword::text) DIRECTIVES.last_line_used = LINE_NUMBER;
    sort_by_trait();
    write_sections();
    echo_directives();
    check_repeated_factors();
    check_required_keywords(keywords);
    if (DIRECTIVE_ERROR_FLAG) stop_refused();
}

}  // namespace kve
