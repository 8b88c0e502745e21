#include "model/random_lines.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

#include "base/freeform.h"
#include "base/state.h"
#include "base/text.h"
#include "directives/directives.h"
#include "listing/listing.h"
#include "listing/stop.h"
#include "model/model_lines.h"
#include "model/model_records.h"

namespace kve {

WRITES(MODEL);
WRITES(KVEINT);

namespace {

// Numbers that no effect uses are matrices of no rows, which the listing and MODINF hold all the
// same: a slip of the pen must not fill the disk.
constexpr int32_t kMostMatrices = 1000;

// A RANDOM line under way.
struct RandomLine {
    int32_t trait;
    Model& m;
    std::string_view line;    // as echoed
    std::string_view rest;    // what is not yet taken
    int64_t r = 0;            // effects counted; the arrays hold the first n_random of them
    bool merge_next = false;  // a "+" waits for its effect

    // Number of the matrix of the last effect, 0 before the first.
    int32_t last_matrix() const { return r == 0 ? 0 : m.r_ef_matno(r); }
};

[[noreturn]] void refuse_count(const RandomLine& at) {
    log_say("ERROR - In the RANDOM line for trait%12d", at.trait);
    log_say("        Number specified:%12d", at.m.n_random);
    log_say("        but effect specification includes:%12lld", static_cast<long long>(at.r));
    refuse_input_read(at.line);
}

[[noreturn]] void refuse_matrix_number(const RandomLine& at) {
    log_say("ERROR - Reading no. of random effect%12lld", static_cast<long long>(at.r));
    log_say("                           for trait%12d", at.trait);
    refuse_input_read(at.line);
}

[[noreturn]] void refuse_large_matrix_number(const RandomLine& at, int32_t number) {
    log_say("ERROR - In the RANDOM line for trait%12d", at.trait);
    log_say("        Number of a random matrix:%12d, at most:%12d", number, kMostMatrices);
    log_say("        Number the matrices 1, 2, ...");
    refuse_input_read(at.line);
}

// "m": the next effect, in matrix m.
void read_matrix_number(RandomLine& at, std::size_t length) {
    int32_t number = 0;
    ++at.r;
    if (read_free(cut_text(at.rest, length), number) != Read::ok || number < 1)
        refuse_matrix_number(at);
    if (number > kMostMatrices) refuse_large_matrix_number(at, number);
    if (at.r <= at.m.n_random) {
        at.m.r_ef_matno(at.r) = number;
        at.m.r_ef_coeff(at.r) = 1.0F;
        at.m.merge_prev(at.r) = at.merge_next ? 1 : 0;
    }
    at.merge_next = false;
}

[[noreturn]] void refuse_open_coefficient(const RandomLine& at) {
    log_say("ERROR - in specification of random effects for trait no.%12d", at.trait);
    log_say("        Starting brackets '(' found, but no closing brackets ')' found");
    refuse_input_read(at.line);
}

[[noreturn]] void refuse_coefficient(const RandomLine& at) {
    log_say("ERROR - while readinig the coefficent specified between '(' and')' ");
    log_say("        for trait%12d", at.trait);
    log_say("         random effect%12lld", static_cast<long long>(at.r));
    refuse_input_read(at.line);
}

// "(x)": the coefficient of the effect just read.
void read_coefficient(RandomLine& at) {
    std::string_view text;
    if (!cut_bracket(at.rest, ')', text)) refuse_open_coefficient(at);
    float coefficient = 0.0F;
    if (at.r == 0 || read_free(text, coefficient) != Read::ok || !std::isfinite(coefficient))
        refuse_coefficient(at);
    at.m.r_ef_coeff(at.r) = coefficient;
}

[[noreturn]] void refuse_open_repetition(const RandomLine& at) {
    log_say("ERROR - in specification of multipl random effects for trait no. %12d", at.trait);
    log_say("        Starting bracket '[' found, but no closing bracket ']' found");
    refuse_input_read(at.line);
}

[[noreturn]] void refuse_merge_option(const RandomLine& at) {
    log_say("ERROR - Reading merge option ('+') for multiple random effects");
    log_say("        for trait%12d", at.trait);
    log_say("        random factor%12d", at.last_matrix());
    refuse_input_read(at.line);
}

[[noreturn]] void refuse_repetition(const RandomLine& at) {
    log_say("ERROR - Reading number of random effects in factor");
    log_say("        for trait%12d", at.trait);
    log_say("        random factor%12d", at.last_matrix());
    refuse_input_read(at.line);
}

// "[n]" or "[n,+]": n-1 further effects like the last one.
//
// Kept: once given, the "+" holds for every later "[n]", in later traits as well.
void read_repetition(RandomLine& at, bool& merge_repeated) {
    std::string_view text;
    if (!cut_bracket(at.rest, ']', text)) refuse_open_repetition(at);
    std::size_t comma = text.find(',');
    if (comma != std::string_view::npos) {
        if (text.find('+') == std::string_view::npos) refuse_merge_option(at);
        merge_repeated = true;
    }
    int32_t n = 0;
    if (at.r == 0 || read_free(text.substr(0, comma), n) != Read::ok) refuse_repetition(at);
    if (n <= 1) return;
    int64_t last = at.r + n - 1;
    for (int64_t k = at.r + 1; k <= std::min<int64_t>(last, at.m.n_random); ++k) {
        at.m.r_ef_matno(k) = at.m.r_ef_matno(at.r);
        at.m.r_ef_coeff(k) = at.m.r_ef_coeff(at.r);
        at.m.merge_prev(k) = merge_repeated ? 1 : 0;
    }
    at.r = last;
}

[[noreturn]] void refuse_open_list(const RandomLine& at) {
    log_say("ERROR - in specification of multipl random effects for trait no. %12d", at.trait);
    log_say("        Starting brackets '{' found, but no closing brackets '}' found");
    refuse_input_read(at.line);
}

[[noreturn]] void refuse_list_without_colon(const RandomLine& at) {
    log_say("ERROR - in specification of multiple random effects for trait no. %12d", at.trait);
    log_say("        No ':' as separator in list specification");
    refuse_input_read(at.line);
}

[[noreturn]] void refuse_first_of_list(const RandomLine& at) {
    log_say("ERROR - Reading 1'st random effect no. in list");
    log_say("        for trait%12d", at.trait);
    refuse_input_read(at.line);
}

[[noreturn]] void refuse_last_of_list(const RandomLine& at) {
    log_say("ERROR - Reading last random effect no. in list");
    log_say("        for trait%12d", at.trait);
    refuse_input_read(at.line);
}

// "{a:b}": matrices a to b, an effect each.
//
// Kept: the item is never taken off the line. It adds its effects again and again until there are
// more than n_random, so a line that holds one is always refused.
[[noreturn]] void refuse_list(RandomLine& at) {
    std::string_view text;
    if (!cut_bracket(at.rest, '}', text)) refuse_open_list(at);
    std::size_t colon = text.find(':');
    if (colon == std::string_view::npos) refuse_list_without_colon(at);
    int32_t first = 0, last = 0;
    if (read_free(text.substr(0, colon), first) != Read::ok) refuse_first_of_list(at);
    if (read_free(text.substr(colon + 1), last) != Read::ok) refuse_last_of_list(at);
    int64_t length = int64_t{last} - first + 1;
    if (length > 0) at.r += (at.m.n_random - at.r) / length * length + length;
    refuse_count(at);
}

// The nearest delimiter decides what comes next; a bracket or "+" at the head of the text is nearer
// than any blank.
void read_random_items(RandomLine& at, bool& merge_repeated) {
    while (at.m.n_random > 0 && !at.rest.empty() && at.r <= at.m.n_random) {
        std::size_t length = std::min(at.rest.find_first_of("+([{ "), at.rest.size());
        if (length > 0) {
            read_matrix_number(at, length);
        } else if (at.rest.front() == '+') {
            at.merge_next = true;
            cut_text(at.rest, 1);
        } else if (at.rest.front() == '(') {
            read_coefficient(at);
        } else if (at.rest.front() == '[') {
            read_repetition(at, merge_repeated);
        } else {
            refuse_list(at);
        }
    }
    if (at.r != at.m.n_random) refuse_count(at);
}

void split_effects(Model& m) {
    m.n_fixed = m.n_ef - m.n_random;
    allocate_fixed_and_random_effects(m);
    for (int32_t j = 1; j <= m.n_fixed; ++j) {
        m.f_ef_inp(j) = m.ef_inp(j);
        m.f_ef_name(j) = integer_name(m.ef_inp(j));
    }
    for (int32_t k = 1; k <= m.n_random; ++k) {
        m.r_ef_no(k) = m.n_fixed + k;
        m.r_ef_inp(k) = m.ef_inp(m.n_fixed + k);
        m.r_ef_name(k) = integer_name(m.r_ef_inp(k));
    }
}

std::string_view without_comment(std::string_view text) {
    return right_trimmed(text.substr(0, text.find_first_of("#!")));
}

[[noreturn]] void refuse_missing_line(int32_t trait, std::string_view line) {
    log_say("ERROR - Reading random line for trait%12d", trait);
    refuse_line_read(line);
}

[[noreturn]] void refuse_unreadable_count(int32_t trait, std::string_view line) {
    log_say("ERROR - Reading no. of random effects for trait%12d", trait);
    refuse_input_read(line);
}

[[noreturn]] void refuse_more_than_effects(int32_t trait, std::string_view line) {
    log_say("ERROR - reading specification of randomfactores for trait no.%12d", trait);
    log_say("        0 <= No. of random effects <= No. of effects in total");
    log_say("        specified no. of random effects:   %12d", MODEL(trait).n_random);
    log_say("        specified no. of effects in total: %12d", MODEL(trait).n_ef);
    refuse_input_read(line);
}

void read_random_line(ModelLines& lines, int32_t i, bool& merge_repeated) {
    Model& m = MODEL(i);
    if (lines.next_line() != Read::ok) refuse_missing_line(i, lines.line());
    m.lines.random = lines.line_number();
    std::string_view line = left_adjusted(lines.line());
    log_say("%.*s", KVE_SV(line));
    if (read_free(line, m.n_random) != Read::ok) refuse_unreadable_count(i, line);
    if (m.n_random < 0 || m.n_random > m.n_ef) refuse_more_than_effects(i, line);
    split_effects(m);
    RandomLine at{.trait = i, .m = m, .line = line, .rest = line};
    cut_word(at.rest);
    at.rest = without_comment(at.rest);
    read_random_items(at, merge_repeated);
    log_count_and_list(m.n_random, span_of(m.r_ef_matno));
}

void count_effects() {
    KVEINT.NRAMAT = KVEINT.MAX_N_RANDOM = KVEINT.MAX_N_FIXED = 0;
    for (const Model& m : MODEL) {
        KVEINT.MAX_N_FIXED = std::max(KVEINT.MAX_N_FIXED, m.n_fixed);
        KVEINT.MAX_N_RANDOM = std::max(KVEINT.MAX_N_RANDOM, m.n_random);
        for (int32_t number : m.r_ef_matno) KVEINT.NRAMAT = std::max(KVEINT.NRAMAT, number);
    }
}

void hand_down_options() {
    int32_t column = 0;
    for (Model& m : MODEL) {
        for (int32_t j = 1; j <= m.n_fixed; ++j) {
            m.f_intercept(j) = m.intercept(j);
            m.f_ef_coeff(j) = m.ef_coeff(j);
            m.f_ef_rci(j) = ++column;
        }
        for (int32_t k = 1; k <= m.n_random; ++k) m.r_intercept(k) = m.intercept(m.n_fixed + k);
    }
}

// Reduced rank

[[noreturn]] void refuse_rank_positions(int32_t trait) {
    log_say("ERROR - reading description of rank reduction");
    log_say("        for trait%12d", trait);
    log_say("        expect%12d", MODEL(trait).n_random);
    log_say(" integer input");
    terminate_run();
}

// Without random effects the trait's line is passed over, and may be missing.
void read_rank_positions(ModelLines& lines, int32_t i) {
    Model& m = MODEL(i);
    if (m.n_random == 0) {
        static_cast<void>(lines.next_line());
        return;
    }
    std::span<int32_t> positions(&m.reduce(m.n_fixed + 1), static_cast<std::size_t>(m.n_random));
    if (lines.read_record(positions) != Read::ok) refuse_rank_positions(i);
    m.lines.reduce = lines.line_number();
    log_integers(positions);
}

// Kept: the positions of fixed effects are never read, so this is never said; it guards the reader.
void check_fixed_not_reduced(const Model& m) {
    for (int32_t j = 1; j <= m.n_fixed; ++j) {
        if (m.reduce(j) == 0) continue;
        log_say("ERROR - Reduced Rank only implemented for random effects");
        log_say("        Reduced Rank specified for fixed effect %12d (%d)", j, m.reduce(j));
        terminate_run();
    }
}

}  // namespace

void read_random_lines(ModelLines& lines) {
    log_blank();
    log_say("  Random effects per submodel");
    bool merge_repeated = false;
    for (int32_t i = 1; i <= KVEINT.nt; ++i) read_random_line(lines, i, merge_repeated);
    count_effects();
    hand_down_options();
}

void read_reduced_rank(ModelLines& lines) {
    log_blank();
    log_say("  Reduce rank specification ");
    for (int32_t i = 1; i <= KVEINT.nt; ++i) {
        read_rank_positions(lines, i);
        check_fixed_not_reduced(MODEL(i));
    }
}

}  // namespace kve
