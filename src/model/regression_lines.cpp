#include "model/regression_lines.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "base/arrays.h"
#include "base/freeform.h"
#include "base/state.h"
#include "base/text.h"
#include "directives/directives.h"
#include "listing/listing.h"
#include "listing/stop.h"
#include "model/model_lines.h"
#include "model/model_records.h"

namespace kve {

READS(DIRECTIVES);
WRITES(MODEL);
WRITES(KVEINT);

namespace {

constexpr std::size_t kNestingWidth = 100;

// Each warning of the order tells all regressions of its trait. A trait with thousands of them gets
// no further warning after so many numbers, since the log would fill the disk.
constexpr int64_t kMostNumbersTold = 1000000;

// A trait may have so many regressions, or a few times the real columns if that is more: lists of
// columns in brackets could ask for billions.
constexpr int64_t kMostRegressions = 10000;
constexpr int64_t kMostOfColumn = 4;

// Neighbouring columns nested in one effect.
struct RegressionRun {
    int32_t first, last;  // real columns
    int32_t effect;
    int32_t level;       // level of the first column, 0 outside a list
    int32_t level_step;  // 1 when the columns are levels 1, 2, ... of one row of the matrix
};

// A regression line under way.
struct RegressionLine {
    int32_t trait;
    Model& m;
    std::string_view line;  // for messages
    std::string_view rest;  // what is not yet taken
    int64_t q = 0;          // regressions counted
    std::vector<RegressionRun> runs;
};

void log_covariable_error(const RegressionLine& at, int64_t regression) {
    log_say("ERROR - Reading covariable input");
    log_say("        Trait%12d", at.trait);
    log_say("        Regression no%12lld", static_cast<long long>(regression));
    log_input_read(at.line);
}

[[noreturn]] void refuse_covariable(const RegressionLine& at, int64_t regression) {
    log_covariable_error(at, regression);
    terminate_run();
}

[[noreturn]] void refuse_count(const RegressionLine& at) {
    log_say("ERROR - In specification of regressions");
    log_say("        Trait%12d", at.trait);
    log_say("        Total number of regressions specified:%12d", at.m.n_reg);
    log_say("        Number of covariables found:          %12lld", static_cast<long long>(at.q));
    terminate_run();
}

[[noreturn]] void refuse_many_regressions(int32_t trait, int32_t n_reg, int64_t most) {
    log_say("ERROR - In specification of regressions");
    log_say("        Trait%12d", trait);
    log_say("        Total number of regressions specified:%12d", n_reg);
    log_say("        At most, with this number of real columns:%12lld",
            static_cast<long long>(most));
    terminate_run();
}

// Regressions beyond n_reg are counted and not looked at.
void add_run(RegressionLine& at, const RegressionRun& run) {
    int64_t room = at.m.n_reg - at.q;
    if (room > 0) {
        if (run.first < 1) refuse_covariable(at, at.q + 1);
        int64_t last_stored = std::min<int64_t>(run.last, run.first + room - 1);
        int64_t first_beyond = std::max(run.first, DIRECTIVES.NR + 1);
        if (first_beyond <= last_stored) refuse_covariable(at, at.q + 1 + first_beyond - run.first);
        at.runs.push_back(run);
    }
    at.q += int64_t{run.last} - run.first + 1;
}

// "x": a general regression.
void read_general(RegressionLine& at, std::size_t length) {
    if (at.rest.empty()) {
        log_covariable_error(at, at.q + 1);
        refuse_count(at);
    }
    int32_t column = 0;
    if (read_free(cut_text(at.rest, length), column) != Read::ok) refuse_covariable(at, at.q + 1);
    add_run(at, {.first = column, .last = column, .effect = 0, .level = 0, .level_step = 0});
}

[[noreturn]] void refuse_open_nesting(const RegressionLine& at) {
    log_say("ERROR - Reading covariable input");
    log_say("        Trait%12d", at.trait);
    log_say("        No closing bracket ')' in specification of nesting");
    refuse_input_read(at.line);
}

[[noreturn]] void refuse_nesting_effect(const RegressionLine& at) {
    log_say("ERROR - Reading effect number for nesting");
    log_say("        Trait%12d", at.trait);
    log_say("        Regression no%12lld", static_cast<long long>(at.q) + 1);
    refuse_input_read(at.line);
}

[[noreturn]] void refuse_long_bracket(const RegressionLine& at, std::string_view text) {
    log_say("ERROR - A bracket of a regression is longer than %zu characters", kNestingWidth);
    log_say("        Trait%12d", at.trait);
    log_say("        It has%12zu; give the covariable twice, with a part of the effects each",
            text.size());
    refuse_input_read(at.line);
}

// "x(e1 e2 ...)": a regression per effect. One blank between the numbers, since a second one leaves
// an empty number.
void read_nested(RegressionLine& at, std::size_t length) {
    std::string_view number = cut_text(at.rest, length);
    std::string_view effects;
    if (!cut_bracket(at.rest, ')', effects)) refuse_open_nesting(at);
    int32_t column = 0;
    if (read_free(number, column) != Read::ok) refuse_covariable(at, at.q + 1);
    effects = right_trimmed(effects);
    if (effects.size() > kNestingWidth) refuse_long_bracket(at, effects);
    while (!effects.empty()) {
        std::size_t end = std::min(effects.find(' '), effects.size());
        int32_t effect = 0;
        if (read_free(effects.substr(0, end), effect) != Read::ok) refuse_nesting_effect(at);
        effects.remove_prefix(std::min(end + 1, effects.size()));
        add_run(at,
                {.first = column, .last = column, .effect = effect, .level = 0, .level_step = 0});
    }
}

[[noreturn]] void refuse_list_without_colon(const RegressionLine& at) {
    log_say("ERROR - Reading multiple specified covariable input");
    log_say("        Trait%12d", at.trait);
    log_say("        No ':' to separate 1'st and last covariable input no.");
    refuse_input_read(at.line);
}

[[noreturn]] void refuse_first_of_list(const RegressionLine& at) {
    log_say("ERROR - Reading 1'st covariable input no. within '[]'");
    log_say("        Trait%12d", at.trait);
    refuse_input_read(at.line);
}

[[noreturn]] void refuse_last_of_list(const RegressionLine& at) {
    log_say("ERROR - Reading last covariable input no. within '[]'");
    log_say("        Trait%12d", at.trait);
    refuse_input_read(at.line);
}

[[noreturn]] void refuse_descending_list(const RegressionLine& at, int32_t first, int32_t last) {
    log_say("ERROR - In specification of covariable input no. list within '[]'");
    log_say("        Trait%12d", at.trait);
    log_say("        1'st input no.%12d", first);
    log_say(" > last input no.%12d", last);
    refuse_input_read(at.line);
}

// The columns "a:b" of a list.
void read_list_columns(RegressionLine& at, std::string_view text, RegressionRun& run) {
    std::size_t colon = text.find(':');
    if (colon == std::string_view::npos) refuse_list_without_colon(at);
    if (read_free(text.substr(0, colon), run.first) != Read::ok) refuse_first_of_list(at);
    std::string_view after = text.substr(colon + 1);
    if (read_free(after.substr(0, after.find(',')), run.last) != Read::ok) refuse_last_of_list(at);
    if (run.first > run.last) refuse_descending_list(at, run.first, run.last);
}

[[noreturn]] void refuse_open_list(const RegressionLine& at) {
    log_say("ERROR - Reading multiple specified covariable input");
    log_say("        Trait%12d", at.trait);
    log_say("        No closing bracket ']' in specificatio");
    refuse_input_read(at.line);
}

[[noreturn]] void refuse_effect_of_list(const RegressionLine& at) {
    log_say("ERROR - Reading effect for nesting within '[]'");
    log_say("        Trait%12d", at.trait);
    refuse_input_read(at.line);
}

[[noreturn]] void refuse_option_of_list(const RegressionLine& at) {
    log_say("ERROR - Reading additional options for specification");
    log_say("        of nested regressions in '[]'");
    log_say("        Trait%12d", at.trait);
    refuse_input_read(at.line);
}

// "[a:b,e]" or "[a:b,e,L]". What stands ahead of the bracket is passed over, and so is a list
// without an effect.
void read_list(RegressionLine& at, std::size_t length) {
    cut_text(at.rest, length);
    std::string_view text;
    if (!cut_bracket(at.rest, ']', text)) refuse_open_list(at);
    text = right_trimmed(left_adjusted(text));
    if (text.size() > kNestingWidth) refuse_long_bracket(at, text);
    RegressionRun run{.first = 0, .last = 0, .effect = 0, .level = 1, .level_step = 0};
    read_list_columns(at, text, run);
    std::size_t comma = text.find(',', text.find(':'));
    if (comma == std::string_view::npos) return;
    std::string_view nesting = text.substr(comma + 1);
    comma = nesting.find(',');
    if (read_free(nesting.substr(0, comma), run.effect) != Read::ok) refuse_effect_of_list(at);
    if (comma != std::string_view::npos) {
        if (trimmed(nesting.substr(comma + 1)) != "L") refuse_option_of_list(at);
        run.level_step = 1;
    }
    add_run(at, run);
}

// The nearest of blank, "(" and "[" decides what comes next.
void read_regression_items(RegressionLine& at) {
    while (at.q < at.m.n_reg) {
        std::size_t length = std::min(at.rest.find_first_of("([ "), at.rest.size());
        char delimiter = length < at.rest.size() ? at.rest[length] : ' ';
        if (delimiter == '(')
            read_nested(at, length);
        else if (delimiter == '[')
            read_list(at, length);
        else
            read_general(at, length);
    }
    if (at.q != at.m.n_reg) refuse_count(at);
}

// The count is too small, or "2 (1)" stands for "2(1)": the blank makes a general regression of a
// nested one. A comment may stand there.
void warn_of_uncounted_regressions(int32_t trait, const Model& m, std::string_view rest) {
    if (rest.empty() || rest.front() == '#' || rest.front() == '!') return;
    log_warning(
        "WARNING - regressions of trait %d (%.*s): not used is what follows its %d regressions:",
        trait, KVE_SV(real_name(m.trait_inp_no).view()), m.n_reg);
    log_say("          %.*s", KVE_SV(rest));
    if (rest.front() == '(' || rest.front() == '[')
        log_say("          Nesting stands without a blank: 2(1)");
    else
        log_say(
            "          Correct the number of regressions in the line, or set # before the text");
}

int iostat(Read status) { return status == Read::end ? -1 : 1; }

[[noreturn]] void refuse_missing_line(int32_t trait, Read status) {
    log_say("ERROR - reading line descriping regressions ");
    log_say("for trait%12d", trait);
    log_say("2       IOSTAT= %12d", iostat(status));
    terminate_run();
}

[[noreturn]] void refuse_missing_continuation(int32_t trait, Read status) {
    log_say("ERROR - reading line descriping regressions ");
    log_say("for trait%12d", trait);
    log_say("3      IOSTATUS= %12d", iostat(status));
    terminate_run();
}

// The line of a trait, n_reg at its head; `echo` becomes the line as it is told.
//
// Kept: of a line that "/" continues in the next one, only the last physical line is taken apart,
// after its first word, while n_reg is that of the first; and whether another line follows is told
// by the character of the echo at the length of the newest line, not by its last one.
std::string_view read_whole_line(ModelLines& lines, int32_t i, std::string& echo) {
    Read status = lines.next_line();
    if (status != Read::ok) refuse_missing_line(i, status);
    std::string_view line = left_adjusted(lines.line());
    echo = line;
    while (!line.empty() && echo[line.size() - 1] == '/') {
        echo[line.size() - 1] = ' ';
        status = lines.next_line();
        if (status != Read::ok) refuse_missing_continuation(i, status);
        line = left_adjusted(lines.line());
        echo.resize(right_trimmed(echo).size());
        echo.append(" ").append(line);
    }
    echo.resize(std::min(echo.size(), kLongestModelLine));
    return line;
}

void store_regressions(Model& m, const std::vector<RegressionRun>& runs) {
    allocate_regressions(m);
    int32_t l = 0;
    for (const RegressionRun& run : runs) {
        for (int32_t column = run.first; column <= run.last; ++column) {
            m.reg_inp(++l) = column;
            m.reg_n_ef_no(l) = run.effect;
            m.reg_n_level(l) = run.level + (column - run.first) * run.level_step;
        }
    }
}

// Only told: the regression stays a general one that is not counted.
void tell_nesting_out_of_range(int32_t submodel, int32_t effect) {
    log_warning(" ERROR : Submodel no. %12d", submodel);
    log_say("     Nesting of a regression is not within a fixed or random effect");
    log_say("     Specified effect no. for nesting : %12d", effect);
}

void set_nesting(int32_t i, Model& m, int32_t l) {
    Name covariable = real_name(m.reg_inp(l));
    m.reg_name(l) = covariable;
    m.reg_name_n(l) = covariable.view();
    int32_t effect = m.reg_n_ef_no(l);
    if (effect < 0 || effect > m.n_ef) return tell_nesting_out_of_range(i, effect);
    if (effect == 0) {
        m.reg_type(l) = kGeneralRegression;
        ++m.n_f_o_reg;
        ++m.n_f_reg;
        return;
    }
    m.reg_n_inp(l) = m.ef_inp(effect);
    m.reg_name_n(l) = covariable.string() + "(" + integer_name(m.ef_inp(effect)).string() + ")";
    if (effect <= m.n_fixed) {
        m.reg_type(l) = kNestedInFixed;
        ++m.n_f_n_reg;
        ++m.n_f_reg;
    } else {
        m.reg_type(l) = kNestedInRandom;
        ++m.n_r_n_reg;
        m.reg_r_matno(l) = m.r_ef_matno(effect - m.n_fixed);
    }
}

[[noreturn]] void refuse_unreadable_count(int32_t trait, Read status) {
    log_say(" ERROR - reading line descriping regressions ");
    log_say(" for trait%12d", trait);
    log_say("1 IOSTATUS= %12d", iostat(status));
    terminate_run();
}

void read_regression_line(ModelLines& lines, int32_t i) {
    Model& m = MODEL(i);
    Read status = lines.read_record(m.n_reg);
    m.lines.regressions = lines.line_number();
    if (status != Read::ok) refuse_unreadable_count(i, status);
    if (m.n_reg == 0) {
        log_integers({&m.n_reg, 1});
        std::string_view rest = left_adjusted(lines.line());
        cut_word(rest);
        return warn_of_uncounted_regressions(i, m, rest);
    }
    lines.step_back();
    std::string echo;
    std::string_view line = read_whole_line(lines, i, echo);
    log_say("%s", echo.c_str());
    RegressionLine at{.trait = i, .m = m, .line = echo, .rest = line, .runs = {}};
    cut_word(at.rest);
    read_regression_items(at);
    warn_of_uncounted_regressions(i, m, at.rest);
    const int64_t most = std::max(kMostRegressions, kMostOfColumn * DIRECTIVES.NR);
    if (m.n_reg > most) refuse_many_regressions(i, m.n_reg, most);
    KVEINT.N_REG_TOTAL += m.n_reg;
    store_regressions(m, at.runs);
    for (int32_t l = 1; l <= m.n_reg; ++l) set_nesting(i, m, l);
}

// Numbering

void log_nesting_effects(const Model& m) {
    log_say("  nreg(i), (n_regefno(i,k),k=1,nreg(i)):");
    log_count_and_list(m.n_reg, span_of(m.reg_n_ef_no));
}

void warn_general_after_nested(int32_t i, const Model& m) {
    log_blank();
    log_warning("  A general regression for a regression variable was not specified");
    log_say("  before nested regressions of trait i=%12d", i);
    log_say("  nreg(i), (regef(i,k),k=1,nreg(i)):");
    log_count_and_list(m.n_reg, span_of(m.reg_inp));
    log_nesting_effects(m);
}

void warn_scattered(int32_t i, const Model& m) {
    log_warning("  For trait i=%12d", i);
    log_say(" you hav not fully specified nesting of at");
    log_say("  least one regression variable before another");
    log_count_and_list(m.n_reg, span_of(m.reg_inp));
    log_nesting_effects(m);
}

// Marks the columns of a trait and counts the different ones. The regressions on one column should
// stand together, the general one first.
void mark_columns(int32_t i, Vec<int8_t>& in_trait, Vec<int8_t>& in_any_trait) {
    Model& m = MODEL(i);
    int32_t previous = 0;
    int64_t numbers_told = 0;
    for (int32_t l = 1; l <= m.n_reg; ++l) {
        int32_t column = m.reg_inp(l);
        if (in_trait(column) == 0) {
            in_trait(column) = in_any_trait(column) = 1;
            ++m.n_dif_reg;
            previous = column;
            continue;
        }
        bool in_place = column == previous && m.reg_n_ef_no(l) != 0;
        if (in_place || numbers_told >= kMostNumbersTold) continue;
        numbers_told += 2 * int64_t{m.n_reg};
        if (column == previous)
            warn_general_after_nested(i, m);
        else
            warn_scattered(i, m);
    }
    for (int32_t column : m.reg_inp) in_trait(column) = 0;
}

// The columns of all traits, ascending. `rank` becomes the place of each column among them.
void list_columns(const Vec<int8_t>& in_any_trait, Vec<int32_t>& rank) {
    KVEINT.N_REG_COLS =
        static_cast<int32_t>(std::count(in_any_trait.begin(), in_any_trait.end(), int8_t{1}));
    check_allocated(KVEINT.ColRegInInpAllTraitsHelp.allocate(KVEINT.N_REG_COLS), "KVEINT",
                    "ColRegInInpAllTraitsHelp", KVEINT.N_REG_COLS);
    int32_t n = 0;
    for (int32_t column = 1; column <= in_any_trait.size(); ++column) {
        if (in_any_trait(column) == 0) continue;
        KVEINT.ColRegInInpAllTraitsHelp(++n) = column;
        rank(column) = n;
    }
}

// A group is an unbroken row of regressions on one column. Columns that do not stand together make
// more groups than n_times holds.
void set_groups(Model& m, const Vec<int32_t>& rank) {
    allocate_different_covariables(m);
    int32_t group = 0;
    for (int32_t l = 1; l <= m.n_reg; ++l) {
        m.reg_rci(l) = rank(m.reg_inp(l));
        if (l == 1 || m.reg_inp(l) != m.reg_inp(l - 1)) ++group;
        if (group <= m.n_dif_reg) ++m.n_times(group);
    }
}

void number_covariables() {
    int32_t last_column = 0;
    KVEINT.MAX_N_REG = KVEINT.MAX_N_DIF_REG = 0;
    for (const Model& m : MODEL) {
        KVEINT.MAX_N_REG = std::max(KVEINT.MAX_N_REG, m.n_reg);
        for (int32_t column : m.reg_inp) last_column = std::max(last_column, column);
    }
    Vec<int8_t> in_trait, in_any_trait;
    Vec<int32_t> rank;
    check_allocated(in_trait.allocate(last_column), "KVEINT", "LogicalColWithRegVarInp",
                    last_column);
    check_allocated(in_any_trait.allocate(last_column), "KVEINT", "LogicalColWithRegVarInpAllT",
                    last_column);
    check_allocated(rank.allocate(last_column), "KVEINT", "NTimesRegOccurHelp", last_column);
    for (int32_t i = 1; i <= KVEINT.nt; ++i) mark_columns(i, in_trait, in_any_trait);
    list_columns(in_any_trait, rank);
    for (Model& m : MODEL) {
        set_groups(m, rank);
        KVEINT.MAX_N_DIF_REG = std::max(KVEINT.MAX_N_DIF_REG, m.n_dif_reg);
    }
}

}  // namespace

void read_regression_lines(ModelLines& lines) {
    log_blank();
    log_say("  Regression effects (co-variables)");
    log_blank();
    log_say("  Regression effects per submodel overall and nested within fixed or random effect");
    log_say("  Nesting is specifiec by effect number in the submodel (0 = no nesting)");
    KVEINT.N_REG_TOTAL = 0;
    for (int32_t i = 1; i <= KVEINT.nt; ++i) {
        log_blank();
        log_say("  Submodel no.%12d", i);
        log_blank();
        read_regression_line(lines, i);
    }
}

void number_real_columns() {
    number_covariables();
    for (int32_t i = 1; i <= KVEINT.nt; ++i) {
        Model& m = MODEL(i);
        m.trait_rci = KVEINT.N_REG_COLS + i;
        m.trait_name = real_name(m.trait_inp_no);
        m.wgt_name = real_name(m.wgt_inp_no);
        m.wgt_rci = 0;
    }
    for (int32_t k = 1; k <= KVEINT.N_WGT_TRAITS; ++k)
        MODEL(KVEINT.TraitIdWithWeight(k)).wgt_rci = KVEINT.N_REG_COLS + KVEINT.nt + k;
}

}  // namespace kve
