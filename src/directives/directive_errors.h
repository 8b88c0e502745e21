// The numbered faults of a directive file. Each has its words here; most are told and remembered,
// so that one run shows as many faults as possible.
#pragma once

#include <string_view>

#include "base/state.h"
#include "directives/catalogue.h"

namespace kve {

namespace state {

// A fault was told that refuses the run once the file is read.
inline constinit bool DIRECTIVE_ERROR_FLAG = false;

}  // namespace state

// Behind each what its message takes: T the text, N M L the values in order.
enum class DirectiveError {
    repeated_keyword = 1,
    incomplete_line = 2,
    no_model = 3,
    too_many_names = 4,  // N integers, M reals, L names found
    too_few_names = 5,   // the same
    keyword_missing = 6,
    file_not_found = 7,  // T file, with its prefix
    no_data = 8,
    too_many_variables = 9,  // T kind; never raised
    no_file_name = 10,       // T keyword
    many_comment_lines = 11,
    long_comment_line = 12,
    wrong_analyse_line = 13,  // T line
    unknown_task = 14,        // N task
    unknown_method = 15,      // N task, M method
    factor_below_1 = 16,
    unknown_structure = 17,       // T type, N factor
    wrong_structure_method = 18,  // T type, N factor, M method
    repeated_factor = 19,         // N factor, M count
    group_column = 20,            // T type, N factor, M column, L largest column
    group_task = 21,
    empty_reduce = 22,
    mixture_variable = 23,  // N real columns, M column
    mixture_task = 24,
    restriction_task = 25,
    glmm_task = 26,
    residuals_task = 27,
    td_task = 28,
    td_factor = 29,
    td_model_type = 30,
    td_parameter = 31,
    glmm_pred_task = 32,
    glmm_iterations = 33,
    glmm_criterion = 34,
    ram_task = 35,       // stops; N factor, M method, L task
    open_bracket = 36,   // stops
    bracket_range = 37,  // stops
    sol_cov_task = 38,
    sol_cov_count = 39,    // T
    sol_cov_few = 40,      // N count
    sol_cov_numbers = 41,  // T numbers, N count
    sol_cov_surplus = 42,  // T surplus, N count
    pgmix_files = 43,
    cens_task = 44,
    cens_word = 45,     // N trait
    cens_equals = 46,   // T word in front, N trait
    cens_int_max = 47,  // N trait
    ram_line = 48,      // N; never raised
    pgmix_method = 49,  // N factor, M method
    pgmix_option = 50,  // T, N factor
    refused = 99,       // stops
};

// Prints the message of `error`, met on keyword line `keyword`, and sets DIRECTIVE_ERROR_FLAG.
// The two on comment lines are warnings and do not set it; those marked so stop the run.
void directive_error(DirectiveError error, Keyword keyword, std::string_view text = {},
                     long long value = 0, long long value2 = 0, long long value3 = 0);

// A fault without a number: one line of its own. Sets DIRECTIVE_ERROR_FLAG.
[[gnu::format(printf, 1, 2)]] void unnumbered_error(const char* format, ...);

}  // namespace kve
