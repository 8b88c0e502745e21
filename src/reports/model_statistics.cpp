#include "reports/model_statistics.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "base/state.h"
#include "base/text.h"
#include "data/factors.h"
#include "data/recoded_data.h"
#include "directives/directives.h"
#include "listing/listing.h"
#include "listing/stop.h"
#include "model/model_records.h"
#include "reports/level_listing.h"
#include "reports/residual_group_table.h"

namespace kve {

READS(DIRECTIVES);
READS(FACTORS);
READS(KVEINT);
READS(MODEL);
READS(RECODED);
READS(RMAT);

namespace {

// Rows of a table with at most so many entries each. The first row begins with `head`, the further
// ones with `head_below`.
struct Rows {
    std::string head, head_below;
    int32_t most;
    std::string entries{};
    int32_t n = 0;

    void add(const std::string& entry) {
        if (n == most) print();
        entries += entry;
        ++n;
    }
    void print() {
        say_row("%s%s", head.c_str(), entries.c_str());
        head = head_below;
        entries.clear();
        n = 0;
    }
};

std::string repeated(int32_t n, std::string_view text) {
    std::string all;
    for (int32_t k = 1; k <= n; ++k) all += text;
    return all;
}

std::string row_head(const Name& trait, char bar) {
    std::string head;
    append(head, " %.*s %c ", KVE_SV(trait.padded()), bar);
    return head;
}

void say_opening() {
    if (has_effects(MODEL)) {
        page_above(53);
        blank_lines(3);
        say_line("%60s", "MODEL STATISTICS            ");
        return;
    }
    page_if(6);
    blank_lines(2);
    say_line("%60s", "WARNING, WARNING, WARNING, WARNING   ");
    blank_lines();
    say_line("%60s", "MODEL(s) has no effects              ");
    if (DIRECTIVES.method_changed) say_line("%60s", "REML optimization method change to EM");
}

void list_absorbed_effects() {
    const int32_t n = KVEINT.MAX_N_ABSORB;
    if (n < 1) return;
    constexpr int32_t most = 4;
    page_if(6);
    blank_lines();
    say_line("%60s", "    No of levels for Absorbed effects           ");
    blank_lines();
    say_line("%11s%s", "", repeated(std::min(n, most), "  Effect   Levels | ").c_str());
    say_line("%11s%s", "", repeated(std::min(n, most), "-------- -------- | ").c_str());
    const std::string margin(11, ' ');
    for (const Model& m : MODEL) {
        if (m.n_absorb != n) continue;
        Rows rows{margin, margin, most};
        for (int32_t k = 1; k <= n; ++k) {
            std::string entry(m.a_ef_name(k).padded());
            append(entry, " %8d | ", RECODED.NABGR(k));
            rows.add(entry);
        }
        rows.print();
    }
    say_line("%60s%12d", "Largest number of observations in an absorb group :",
             *std::max_element(RECODED.MN_ABGR.begin(), RECODED.MN_ABGR.end()));
}

// An entry of the tables of regressions.
using Regressions = std::vector<std::string>;

std::string regression(const Model& m, int32_t r, int32_t levels) {
    std::string entry(m.reg_name_n(r).padded());
    append(entry, " %7d | ", levels);
    return entry;
}

Regressions fixed_regressions(int32_t i) {
    const Model& m = MODEL(i);
    Regressions all;
    for (int32_t r = 1; r <= m.n_reg; ++r) {
        if (m.reg_type(r) == kGeneralRegression) all.push_back(regression(m, r, 1));
        if (m.reg_type(r) == kNestedInFixed)
            all.push_back(regression(m, r, FACTORS.NLEV(i, m.reg_n_ef_no(r))));
    }
    return all;
}

// Regressions on one random effect that follow each other are one entry.
Regressions random_regressions(int32_t i) {
    const Model& m = MODEL(i);
    Regressions all;
    int32_t effect = 0, matrix = 0;
    for (int32_t r = 1; r <= m.n_reg; ++r) {
        if (m.reg_type(r) != kNestedInRandom) continue;
        if (m.reg_n_ef_no(r) == effect && m.reg_r_matno(r) == matrix) continue;
        effect = m.reg_n_ef_no(r);
        matrix = m.reg_r_matno(r);
        all.push_back(regression(m, r, FACTORS.NRALEV(matrix)));
    }
    return all;
}

void list_regressions(const char* title, Regressions (*of_trait)(int32_t)) {
    constexpr int32_t most = 3;
    std::size_t longest = 0;
    for (int32_t i = 1; i <= KVEINT.nt; ++i) longest = std::max(longest, of_trait(i).size());
    if (longest == 0) return;
    const int32_t columns = static_cast<int32_t>(std::min<std::size_t>(longest, most));
    page_if(6);
    blank_lines();
    say_line("%60s", title);
    blank_lines();
    say_line(" Trait    | %s", repeated(columns, "       Regression   Level | ").c_str());
    say_line(" -------- | %s", repeated(columns, "------------------ ------- | ").c_str());
    for (int32_t i = 1; i <= KVEINT.nt; ++i) {
        Rows rows{row_head(MODEL(i).trait_name, '|'), row_head({}, '|'), most};
        const Regressions all = of_trait(i);
        for (const std::string& entry : all) rows.add(entry);
        if (!all.empty()) rows.print();
    }
}

void list_fixed_effects() {
    constexpr int32_t most = 4;
    int32_t longest = 0;
    for (const Model& m : MODEL) longest = std::max(longest, m.n_fixed);
    if (longest == 0) return;
    page_if(6);
    blank_lines();
    say_line("%60s", "    No of levels for each fixed effect          ");
    blank_lines();
    say_line(" Trait    !%s", repeated(std::min(longest, most), " Effect     Levels").c_str());
    say_line(" -------- !%s", repeated(std::min(longest, most), " -------- --------").c_str());
    for (int32_t i = 1; i <= KVEINT.nt; ++i) {
        const Model& m = MODEL(i);
        Rows rows{row_head(m.trait_name, '!'), row_head({}, '!'), most};
        for (int32_t j = 1; j <= m.n_fixed; ++j) {
            std::string entry(m.f_ef_name(j).padded());
            append(entry, " %8d ", FACTORS.NLEV(i, j));
            rows.add(entry);
        }
        rows.print();
    }
    Block total;
    total.blank(2);
    total.line("%60s%12d", "               Total no of fixed levels     ",
               FACTORS.n_fixed_equations);
    total.blank();
    total.print();
}

// The tables of random factors, in their order.
struct FactorTable {
    Structure structure;
    const char* heading;
    const char* determinant;  // of its last column, nullptr without one
};
constexpr FactorTable kFactorTables[] = {
    {Structure::I, "Random Factors with variance structure = I(x)G0", nullptr},
    {Structure::DOM, "Random Factors with variance structure = D(x)G0", "|D|"},
    {Structure::COR, "Random Factors with variance structure = C(x)G0", "|C|"},
    {Structure::GREL, "Random Factors with variance structure = G(x)G0", "|G|"},
    {Structure::ABS_QTL, "Random Factors with variance structure = IBD(x)G0", nullptr},
    {Structure::PED, "Random Factors with variance structure = A(x)G0", "|A|"},
    // Kept: it is the determinant of the blended matrix.
    {Structure::PGMIX, "Random Factors with variance structure = PGMIX(x)G0", "|A|"},
};

// Solving by iteration on the data needs no determinant of a pedigree.
bool has_determinant(const FactorTable& table) {
    if (DIRECTIVES.ITASK == kSolveByKve5 && has_pedigree(table.structure)) return false;
    return table.determinant != nullptr;
}

void say_factor_heading(const FactorTable& table) {
    page_if(8);
    blank_lines(2);
    say_line("%60s", table.heading);
    blank_lines();
    say_line("%60s", "               Number of                ");
    if (has_determinant(table)) {
        say_line("%60s", "           -------------------       Ln ");
        say_line("%57s%s", "Factor !   Levels    Equations       ", table.determinant);
    } else {
        say_line("%60s", "           -------------------          ");
        say_line("%60s", "Factor !   Levels    Equations          ");
    }
}

void list_factors(const FactorTable& table) {
    int32_t n = 0;
    int64_t all_levels = 0, all_equations = 0;
    for (int32_t k = 1; k <= KVEINT.NRAMAT; ++k) {
        const RMatrix& r = RMAT(k);
        if (r.structure != table.structure) continue;
        if (++n == 1) say_factor_heading(table);
        const int64_t equations = int64_t{FACTORS.NRALEV(k)} * r.rank;
        std::string row(20, ' ');
        append(row, "%-6d ! %8d %12lld", k, FACTORS.NRALEV(k), static_cast<long long>(equations));
        if (has_determinant(table)) append(row, " %9.3f", r.l_log_det ? r.log_det : 0.0);
        say_row("%s", row.c_str());
        all_levels += FACTORS.NRALEV(k);
        all_equations += equations;
    }
    if (n < 2) return;
    Block total;
    total.blank();
    total.line("%20sTotal    %8lld %12lld", "", static_cast<long long>(all_levels),
               static_cast<long long>(all_equations));
    total.print();
}

void check_groups_of_mixture() {
    if (residual_of(RMAT).grp_nlev <= 2) return;
    for (const Model& m : MODEL) {
        if (!is_mixture_variable(m.trait_inp_no) && !is_mixture_variable(m.wgt_inp_no) &&
            std::none_of(m.reg_inp.begin(), m.reg_inp.end(), is_mixture_variable))
            continue;
        Block fault;
        fault.line("%60s", " Only 2 groups for residual variance are allowed");
        fault.line("%60s", " in a Mixture Model");
        fault.print();
        terminate_run();
    }
}

void say_sequences() {
    const auto is_sequence = [](const Model& m) { return m.trait_type == kSequentialBinary; };
    if (std::none_of(MODEL.begin(), MODEL.end(), is_sequence)) return;
    page_if(6);
    blank_lines(3);
    say_line("%60s", "   Sequential binary trait information    ");
    blank_lines();
    say_line("%60s%12d", "Number of subjects with binary sequences :", RECODED.n_subjects);
    say_line("%60s%12d", "Max. no. of records in a sequence        :", RECODED.largest_sequence);
}

}  // namespace

void report_model_statistics() {
    say_opening();
    list_absorbed_effects();
    list_regressions("  Number of overall and nested fixed regressions   ", fixed_regressions);
    list_regressions("  Number of random regressions                     ", random_regressions);
    list_fixed_effects();
    if (DIRECTIVES.ITEST >= 2) {
        list_fixed_levels();
        list_random_levels();
    }
    for (const FactorTable& table : kFactorTables) list_factors(table);
    report_residual_groups();
    check_groups_of_mixture();
    say_sequences();
}

}  // namespace kve
