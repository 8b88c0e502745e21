#include "directives/directive_errors.h"

#include <cstdarg>
#include <string>

#include "listing/listing.h"
#include "listing/stop.h"

namespace kve {

WRITES(DIRECTIVE_ERROR_FLAG);

namespace {

// A message of the directive reader: a blank line, then its lines with a margin.
struct Message {
    Block block;

    Message() { block.blank(); }

    [[gnu::format(printf, 2, 3)]] void line(const char* format, ...) {
        std::string text;
        std::va_list items;
        va_start(items, format);
        append_list(text, format, items);
        va_end(items);
        block.line("%9s%s", "", text.c_str());
    }
};

void tell_name_counts(Message& m, long long integers, long long reals, long long found) {
    m.line("        The DATA line sayes:");
    m.line("        %12lld integer variables and%12lld real variables", integers, reals);
    m.line("        A total of %12lld variable names found", found);
}

void tell_legal_tasks(Message& m) {
    m.line("        Legal tasks are:");
    for (int32_t task = 1; task <= kMostTasks; ++task)
        if (task_is_legal(task)) m.line("        %12d: %.*s", task, KVE_SV(task_label(task)));
}

void tell_legal_methods(Message& m, long long number) {
    int32_t task = static_cast<int32_t>(number);
    m.line("        Legal methods for TASK %12d (%.*s) are:", task, KVE_SV(task_label(task)));
    for (int32_t method = 0; method <= kMostMethods; ++method)
        if (method_is_legal(task, method))
            m.line("                               %12d: %.*s", method,
                   KVE_SV(method_label(task, method)));
}

void tell_legal_structures(Message& m) {
    m.line("        Legal type of variance structure are:");
    for (int32_t number = 1; number <= kStructures; ++number)
        m.line("          %.*s", KVE_SV(structure_name(static_cast<Structure>(number))));
}

void tell_structure_methods(Message& m, std::string_view type) {
    m.line("        Legal methods are:");
    Structure structure = structure_of(type);
    for (int32_t method = 1; method <= kMostMethods; ++method) {
        std::string_view label = structure_method_label(structure, method);
        if (!label.empty()) m.line("        %12d: %.*s", method, KVE_SV(label));
    }
}

// The words of the whole file, the keyword lines of one kind each and $DATA.
void tell_general(Message& m, DirectiveError error, std::string_view keyword, std::string_view text,
                  long long value, long long value2, long long value3) {
    using enum DirectiveError;
    switch (error) {
        case repeated_keyword:
            m.line("ERROR - %.*s keyword must only appear once", KVE_SV(keyword));
            break;
        case incomplete_line:
            m.line("ERROR - Specification on keyword line %.*s is misspelled or incomplete",
                   KVE_SV(keyword));
            break;
        case no_model:
            m.line("ERROR - No model description or file name with model description specifiec");
            break;
        case too_many_names:
            m.line("ERROR - To many variable names specified.");
            tell_name_counts(m, value, value2, value3);
            break;
        case too_few_names:
            m.line("ERROR - To few variable names specified.");
            tell_name_counts(m, value, value2, value3);
            break;
        case keyword_missing:
            m.line("ERROR - Required KEYWORD line %.*s not found", KVE_SV(keyword));
            break;
        case file_not_found:
            m.line("Error - %.*s file :%.*s not found", KVE_SV(keyword), KVE_SV(text));
            break;
        case no_data:
            m.line("ERROR - No data description found in the file with directives");
            break;
        case too_many_variables:
            m.line("ERROR - To many %.*s variables specified. Max number allowed 999",
                   KVE_SV(text));
            break;
        case no_file_name:
            m.line("ERROR - %.*s keyword specified, but no file name given", KVE_SV(text));
            break;
        case many_comment_lines:
            m.line(
                "WARNING - more then 10 lines with user comments. Only the first 10 lines printed");
            break;
        case long_comment_line:
            m.line("WARNING - at least one line with user comments is longer than 80 characters.");
            m.line("           Only the first 80 characters printed");
            break;
        case wrong_analyse_line:
            m.line("ERROR - wrong format or missing informations on the $ANALYSE keyword line.");
            m.line("        Format for the $ANALYAE keyword line is:");
            m.line("        $ANAYLSE task method scaling testprint");
            m.line("        Specified keyword line:");
            m.line("        $ANAYLSE %.*s", KVE_SV(text));
            break;
        case unknown_task:
            m.line("ERROR - On $ANALYSE keyword line: Task= %12lld", value);
            tell_legal_tasks(m);
            break;
        case unknown_method:
            m.line("ERROR - On $ANALYSE keyword line: Task   = %12lld", value);
            m.line("                                  Method = %12lld", value2);
            tell_legal_methods(m, value);
            break;
        case empty_reduce:
            m.line("ERROR - No reduce description specified");
            m.line("        One description line per trait is expected");
            break;
        case open_bracket:
            m.line("ERROR - Reading variable names");
            m.line("        The format XX[i:j] is used, but no closing brackets is found");
            break;
        case bracket_range:
            m.line("ERROR - Reading variable names");
            m.line(
                "        When the format XX[i:j] is used both \"i\" and \"j\" must be specified,");
            m.line("        and separated by \":\"");
            break;
        case refused:
            m.line("ERROR(S) FOUND IN DIRECTIVE FILE");
            m.block.blank();
            break;
        default:
            break;
    }
}

// The words of $VAR_STR.
void tell_structure(Message& m, DirectiveError error, std::string_view text, long long value,
                    long long value2, long long value3) {
    using enum DirectiveError;
    std::string_view pgmix = structure_name(Structure::PGMIX);
    switch (error) {
        case factor_below_1:
            m.line("ERROR - Random efffect no. on the VAR_STR keyword line must be > 0");
            break;
        case unknown_structure:
            m.line("ERROR - On $VAR_STR keyword line for random factor : %12lld", value);
            m.line("        Specified variance structure type          : %.*s", KVE_SV(text));
            tell_legal_structures(m);
            break;
        case wrong_structure_method:
            m.line("ERROR - On $VAR_STR keyword line for random factor : %12lld", value);
            m.line("        Type of variance structure specified       : %.*s", KVE_SV(text));
            m.line("        Method specified                           : %12lld", value2);
            tell_structure_methods(m, text);
            break;
        case repeated_factor:
            m.line("ERROR - Variance structure for random factor : %12lld", value);
            m.line("        specified %12lld times", value2);
            break;
        case group_column:
            m.line("ERROR - On $VAR_STR keyword line for random factor : %12lld", value);
            m.line("        Type of variance structure specified       : %.*s", KVE_SV(text));
            m.line("        Interger input no.                         : %12lld", value2);
            m.line("        Legal integer input no.                    ; 1 -%12lld", value3);
            break;
        case group_task:
            m.line("ERROR - Variance structure GROUP is only legal for");
            m.line("        Itask = 2 (KVEGS)");
            break;
        case ram_task:
            m.line(
                "ERROR - Method specified for computation of A**(-) for random factor%12lld "
                "is:%12lld",
                value, value2);
            m.line(
                "        This is for setting up an additional A**(-1) for a Reduced Animal Model");
            m.line("        This feature is only implemented in KVEGS (task = 2)");
            m.line("        The task specified are%.*s",
                   KVE_SV(task_label(static_cast<int32_t>(value3))));
            break;
        case pgmix_files:
            m.line("ERROR - Reading file name for the file with typed animals");
            m.line("        Variance structure is specified as PGMIX");
            m.line("        This requiers 2 files");
            m.line("        A file with the fulle pedigree");
            m.line("        A file with ID's for typed animals");
            break;
        case pgmix_method:
            m.line("ERROR - On $VAR_STR keyword line for random factor : %12lld", value);
            m.line("        Type of variance structure specified       : %.*s", KVE_SV(pgmix));
            m.line("        Method specified                           : %12lld", value2);
            m.line("        Legal methods for variance structure PGMIX is 1");
            break;
        case pgmix_option:
            m.line("ERROR - On $VAR_STR keyword line for random factor : %12lld", value);
            m.line("        Type of variance structure specified       : %.*s", KVE_SV(pgmix));
            m.line("        Looking for option G-ADJUST, but found     : %.*s", KVE_SV(text));
            break;
        default:
            break;
    }
}

// The words of the keywords that some tasks only know.
void tell_option(Message& m, DirectiveError error, std::string_view text, long long value,
                 long long value2) {
    using enum DirectiveError;
    switch (error) {
        case mixture_variable:
            m.line("ERROR - Real variable no. specified for Mixture Model");
            m.line("        must be larger then 0 and less then %12lld", value);
            m.line("        Specified value : %12lld", value2);
            break;
        case mixture_task:
            m.line("ERROR - Mixture models only implemented for KVEGS (task =  2)");
            break;
        case restriction_task:
            m.line(
                "ERROR - Restriction on co-variance components only implemented for KVEAI (task = "
                "1)");
            break;
        case glmm_task:
            m.line("ERROR - GLMM is only implemented for KVEAI (task = 1) and KVE4 (itaks = 11)");
            break;
        case residuals_task:
            m.line("ERROR - Computation of residuals is only implemented for KVEAI (task = 1) and");
            m.line("        KVE4 (itaks = 11) using solver method 8, 9, 10, 30 or 31");
            break;
        case td_task:
            m.line("ERROR - Computation of trait deviation is not implemented in KVEAI (task = 1)");
            break;
        case td_factor:
            m.line("ERROR - Reading random factor number");
            break;
        case td_model_type:
            m.line(
                "ERROR - Wrong model type or model type not specified - legal types are AM or SM");
            break;
        case td_parameter:
            m.line("ERROR - Wrong value for optional parameter - must be an integer value");
            break;
        case glmm_pred_task:
            m.line("ERROR - Keyword GLMM_PRED is only legal for ITASK=11 (KVE4)");
            break;
        case glmm_iterations:
            m.line("ERROR - Reading max. no. of GLMM iterations - must be an integer > 0");
            break;
        case glmm_criterion:
            m.line("ERROR - Reading GLMM convergence criterion - must be a real < 1.0");
            break;
        case sol_cov_task:
            m.line("ERROR - Keyword SOL_COV is only legal for ITASK=1 (KVEAI) and 2 /KVEGS)");
            break;
        case sol_cov_count:
            m.line("ERROR - Reading number of equations on the $SOL_COV line");
            m.line("        The first non blank after the $SOL_COV keyword");
            m.line("        should be an integer number");
            m.line("        Here it is:");
            m.line("%.*s", KVE_SV(text));
            break;
        case sol_cov_few:
            m.line("ERROR - In itask=1, number of equations on the $SOL_COV must be >=2");
            m.line("        Here it is:%12lld", value);
            break;
        case sol_cov_numbers:
            m.line("ERROR - Reading equation numbers on the $SOL_COV line");
            m.line("        Here the specification numbers after number of equations is:");
            m.line("        %.*s", KVE_SV(text));
            m.line("        Expected equations numbers is:%12lld", value);
            m.line("        (first integer on the $SOL_COV line)");
            break;
        case sol_cov_surplus:
            m.line("ERROR - Reading equation numbers on the $SOL_COV line");
            m.line("        Expected equations numbers is:%12lld", value);
            m.line("        (first integer on the $SOL_COV line)");
            m.line("        Additional equation number specification is:");
            m.line("        %.*s", KVE_SV(text));
            break;
        case cens_task:
            m.line("ERROR - Censoring is only implemented for KVEGS (task = 2)");
            break;
        case cens_word:
            m.line("ERROR - On $CENS directive line for trait%12lld", value);
            m.line("        Positional parameter \"CENS\" not found");
            break;
        case cens_equals:
            m.line("ERROR - On $CENS directive line for trait%12lld", value);
            m.line("        Expected \"=\" after%.*s not found", KVE_SV(text));
            break;
        case cens_int_max:
            m.line("ERROR - On $CENS directive line for trait%12lld", value);
            // Kept: these words stand in place of the text that was found.
            m.line("        Expected postitional parameter \"INT_MAX\", but cinp(1:lng)found");
            break;
        case ram_line:
            m.line("ERROR - The $RAM directive line is only valid for KVEGS (itask=2)%12lld",
                   value);
            break;
        default:
            break;
    }
}

}  // namespace

void directive_error(DirectiveError error, Keyword keyword, std::string_view text, long long value,
                     long long value2, long long value3) {
    using enum DirectiveError;
    Message message;
    tell_general(message, error, keyword_name(keyword), text, value, value2, value3);
    tell_structure(message, error, text, value, value2, value3);
    tell_option(message, error, text, value, value2);
    message.block.print();
    if (error == refused) stop_run("         COMPUTATIONS TERMINATED");
    if (error == ram_task || error == open_bracket || error == bracket_range)
        stop_run("         Program terminates");
    if (error != many_comment_lines && error != long_comment_line) DIRECTIVE_ERROR_FLAG = true;
}

void unnumbered_error(const char* format, ...) {
    std::string text;
    std::va_list items;
    va_start(items, format);
    append_list(text, format, items);
    va_end(items);
    Block block;
    block.blank();
    block.line("%s", text.c_str());
    block.print();
    DIRECTIVE_ERROR_FLAG = true;
}

}  // namespace kve
