#include "directives/directive_options.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "base/freeform.h"
#include "base/state.h"
#include "base/text.h"
#include "directives/directive_data.h"
#include "directives/directive_faults.h"
#include "directives/directive_lines.h"
#include "directives/directives.h"
#include "listing/stop.h"

namespace kve {

WRITES(DIRECTIVES);

namespace {

// Single blanks, none beside "=", capitals: neither case nor spacing matters in a $GLMM section.
std::string normalized(std::string_view text) {
    std::string out;
    for (char c : text) {
        if (c == ' ' && (out.empty() || out.back() == ' ' || out.back() == '=')) continue;
        if (c == '=' && !out.empty() && out.back() == ' ') out.pop_back();
        out += c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
    }
    return out;
}

// The value after " NAME=", up to a blank. Without the blank in front a name is part of another
// value, such as a function's text. False when it is not there.
bool find_value(std::string_view text, std::string_view name, std::string_view& value) {
    std::size_t at = text.find(name);
    if (at == std::string_view::npos) return false;
    value = text.substr(at + name.size());
    value = cut_word(value);
    return true;
}

// ---- $SOL_COV

bool all_integers(std::string_view numbers, int64_t count) {
    int32_t ignored;
    for (; count > 0 && !numbers.empty(); --count)
        if (!parse_number(cut_word(numbers), ignored)) return false;
    return true;
}

int64_t count_words(std::string_view text) {
    int64_t words = 0;
    for (; !text.empty(); ++words) cut_word(text);
    return words;
}

std::string_view after_words(std::string_view text, int64_t words) {
    for (; words > 0; --words) cut_word(text);
    return text;
}

void tell_unreadable_count(std::string_view count) {
    Fault fault;
    fault.line("ERROR - Reading number of equations on the $SOL_COV line");
    fault.line("        The first non blank after the $SOL_COV keyword");
    fault.line("        should be an integer number");
    fault.line("        Here it is:");
    fault.line("%.*s", KVE_SV(count));
    fault.tell();
}

void tell_few_equations(int32_t n) {
    Fault fault;
    fault.line("ERROR - In itask=1, number of equations on the $SOL_COV must be >=2");
    fault.line("        Here it is:%12d", n);
    fault.tell();
}

void tell_equation_numbers(std::string_view numbers, int32_t n) {
    Fault fault;
    fault.line("ERROR - Reading equation numbers on the $SOL_COV line");
    fault.line("        Here the specification numbers after number of equations is:");
    fault.line("        %.*s", KVE_SV(numbers));
    fault.line("        Expected equations numbers is:%12d", n);
    fault.line("        (first integer on the $SOL_COV line)");
    fault.tell();
}

void tell_surplus_numbers(std::string_view surplus, int32_t n) {
    Fault fault;
    fault.line("ERROR - Reading equation numbers on the $SOL_COV line");
    fault.line("        Expected equations numbers is:%12d", n);
    fault.line("        (first integer on the $SOL_COV line)");
    fault.line("        Additional equation number specification is:");
    fault.line("        %.*s", KVE_SV(surplus));
    fault.tell();
}

// The numbers after the count `n`, as many as it says.
void read_equation_numbers(std::string_view numbers, int32_t n) {
    int64_t given = count_words(numbers);
    bool readable = all_integers(numbers, n);
    if (!readable || given < n) tell_equation_numbers(numbers, n);
    if (given > n) tell_surplus_numbers(after_words(numbers, n), n);
    if (!readable || given < n) return;
    check_allocated(DIRECTIVES.sol_cov.allocate(n), "read_directives", "SOL_COV", n);
    for (int32_t& equation : DIRECTIVES.sol_cov)
        static_cast<void>(parse_number(cut_word(numbers), equation));
}

void read_sol_cov(std::string_view text) {
    if (count_words(text) < 2) {
        int32_t lone = 0;
        static_cast<void>(parse_number(text, lone));
        if (DIRECTIVES.ITASK == kVarianceComponents) tell_few_equations(lone);
        if (DIRECTIVES.ITASK == kSampling) DIRECTIVES.n_sol_cov = -1;
        return;
    }
    std::string_view count = cut_word(text);
    int32_t n = 0;
    if (!parse_number(count, n)) return tell_unreadable_count(count);
    if (n < 2) return tell_few_equations(n);
    DIRECTIVES.n_sol_cov = n;
    read_equation_numbers(text, n);
}

// ---- $CENS

// The second line says what is wrong.
void tell_cens(int32_t trait, const char* second_line) {
    Fault fault;
    fault.line("ERROR - On $CENS directive line for trait%12d", trait);
    fault.line("%s", second_line);
    fault.tell();
}

// Moves `rest` past "=" and the number there. False without "=".
bool read_assigned(std::string_view& rest, std::string_view expected, int32_t& value) {
    rest = left_adjusted(rest);
    if (!rest.starts_with('=')) return false;
    rest = left_adjusted(rest.substr(1));
    value = must_read<int32_t>(Keyword::CENS, expected, cut_word(rest));
    return true;
}

// Moves `rest` past `word`, which may stand anywhere in it.
bool skip_past(std::string_view& rest, std::string_view word) {
    std::size_t at = rest.find(word);
    if (at == std::string_view::npos) return false;
    rest = rest.substr(at + word.size());
    return true;
}

void read_cens(std::string_view rest) {
    CENS_NODE node;
    node.trait = must_read<int32_t>(Keyword::CENS, "a trait number", cut_word(rest));
    if (!skip_past(rest, "CENS"))
        return tell_cens(node.trait, "        Positional parameter \"CENS\" not found");
    if (!read_assigned(rest, "a value behind CENS", node.censoring_code))
        return tell_cens(node.trait, "        Expected \"=\" afterCENS not found");
    node.has_upper_limit = !rest.empty();
    if (node.has_upper_limit && !skip_past(rest, "INT_MAX"))
        // Kept: these words stand in place of the text that was found.
        return tell_cens(
            node.trait, "        Expected postitional parameter \"INT_MAX\", but cinp(1:lng)found");
    if (node.has_upper_limit && !read_assigned(rest, "a value behind INT_MAX", node.upper_limit))
        return tell_cens(node.trait, "        Expected \"=\" afterINT_MAX not found");
    DIRECTIVES.cens.push_back(node);
}

// ---- $TD_PTD, $GLMM_PRED

void tell_td_parameter() {
    tell_fault("ERROR - Wrong value for optional parameter - must be an integer value");
}

void tell_glmm_pred_task() {
    tell_fault("ERROR - Keyword GLMM_PRED is only legal for ITASK=11 (KVE4)");
}

void read_td_ptd(std::string_view rest) {
    TrendRequest& request = DIRECTIVES.td_ptd;
    if (read_free(cut_word(rest), request.factor) != Read::ok)
        tell_fault("ERROR - Reading random factor number");
    if (rest.size() < 2)
        return tell_fault(
            "ERROR - Wrong model type or model type not specified - legal types are AM or SM");
    request.model_type = rest.substr(0, 2);
    // Kept: a wrong type is told in the words of a wrong parameter, and a wrong second parameter in
    // those of another keyword.
    if (request.model_type != "AM" && request.model_type != "SM") return tell_td_parameter();
    FreeList options(rest.substr(2));
    Read first = options.next(request.option_1);
    if (first == Read::bad) return tell_td_parameter();
    if (first == Read::ok && options.next(request.option_2) == Read::bad) tell_glmm_pred_task();
}

void tell_residuals_task() {
    Fault fault;
    fault.line("ERROR - Computation of residuals is only implemented for KVEAI (task = 1) and");
    fault.line("        KVE4 (itaks = 11) using solver method 8, 9, 10, 30 or 31");
    fault.tell();
}

}  // namespace

Keyword read_glmm_section() {
    constexpr Keyword k = Keyword::GLMM;
    if (DIRECTIVES.ITASK != kVarianceComponents && DIRECTIVES.ITASK != kSolveByKve4)
        tell_fault("ERROR - GLMM is only implemented for KVEAI (task = 1) and KVE4 (itaks = 11)");
    Keyword next;
    std::string text = normalized(join_section(keyword_text(k), next));
    std::string_view rest = text, value;
    GLMM_NODE node;
    node.trait = must_read<int32_t>(k, "a trait number", rest.substr(0, rest.find(' ')));
    if (find_value(text, " VARF=", value)) node.varf = value;
    node.is_cut = value.size() > node.varf.padded().size();
    value = {};
    if (find_value(text, " LINK=", value)) node.link = value;
    node.is_cut = node.is_cut || value.size() > node.link.padded().size();
    if (find_value(text, " CF=", value))
        node.corr_fact = must_read<float>(k, "a value behind CF=", value);
    if (find_value(text, " OFFSET=", value))
        node.offset_column = must_read<int32_t>(k, "a column behind OFFSET=", value);
    DIRECTIVES.glmm.push_back(node);
    return next;
}

Keyword read_cure_section() {
    if (DIRECTIVES.ITASK != kSampling) tell_mixture_task();
    Keyword next;
    std::string text = join_section(keyword_text(Keyword::CURE), next);
    CURE_SPEC spec;
    if (read_free(text, spec.trait_column, spec.mixture_column, spec.subject, spec.sequence) !=
        Read::ok)
        stop_unreadable("$CURE", "four integers", text);
    if (DIRECTIVES.cure.size() < kMostCureSpecs)
        DIRECTIVES.cure.push_back(spec);
    else
        tell_limit("ERROR - $CURE: more than 31 pairs of traits");
    return next;
}

Keyword read_residuals_line() {
    constexpr Keyword k = Keyword::RESIDUALS;
    bool direct_solver = false;
    for (int32_t method : {8, 9, 10, 30, 31}) direct_solver |= DIRECTIVES.IMETHOD == method;
    if (DIRECTIVES.ITASK != kVarianceComponents &&
        !(DIRECTIVES.ITASK == kSolveByKve4 && direct_solver))
        tell_residuals_task();
    std::string_view text = keyword_text(k);
    DIRECTIVES.residual_format = format_of(cut_word(text));
    if (DIRECTIVES.residual_format == kNoFormat) tell_incomplete_line(k);
    return read_directive_line();
}

Keyword read_td_ptd_line() {
    if (DIRECTIVES.ITASK == kVarianceComponents)
        tell_fault("ERROR - Computation of trait deviation is not implemented in KVEAI (task = 1)");
    DIRECTIVES.td_ptd = TrendRequest{};
    DIRECTIVES.td_ptd.asked = true;
    read_td_ptd(keyword_text(Keyword::TD_PTD));
    return read_directive_line();
}

Keyword read_glmm_pred_line() {
    if (DIRECTIVES.ITASK != kSolveByKve4) tell_glmm_pred_task();
    FreeList list(keyword_text(Keyword::GLMM_PRED));
    int32_t iterations = 0;
    double criterion = 0.0;
    if (list.next(iterations) != Read::ok || iterations <= 0)
        tell_fault("ERROR - Reading max. no. of GLMM iterations - must be an integer > 0");
    if (list.next(criterion) != Read::ok || !(criterion < 1.0))
        tell_fault("ERROR - Reading GLMM convergence criterion - must be a real < 1.0");
    DIRECTIVES.glmm_iterations = iterations;
    DIRECTIVES.glmm_criterion = criterion;
    return read_directive_line();
}

Keyword read_sol_cov_line() {
    if (DIRECTIVES.ITASK > kSampling)
        tell_fault("ERROR - Keyword SOL_COV is only legal for ITASK=1 (KVEAI) and 2 /KVEGS)");
    DIRECTIVES.sol_cov_asked = true;
    DIRECTIVES.n_sol_cov = 0;
    DIRECTIVES.sol_cov.release();
    read_sol_cov(keyword_text(Keyword::SOL_COV));
    return read_directive_line();
}

Keyword read_cens_line() {
    if (DIRECTIVES.ITASK != kSampling)
        tell_fault("ERROR - Censoring is only implemented for KVEGS (task = 2)");
    read_cens(keyword_text(Keyword::CENS));
    return read_directive_line();
}

void sort_by_trait() {
    std::ranges::stable_sort(DIRECTIVES.cens, {}, &CENS_NODE::trait);
    std::ranges::stable_sort(DIRECTIVES.glmm, {}, &GLMM_NODE::trait);
}

}  // namespace kve
