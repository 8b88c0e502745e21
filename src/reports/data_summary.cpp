#include "reports/data_summary.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <numeric>
#include <string>

#include "base/state.h"
#include "base/text.h"
#include "data/covariables.h"
#include "data/intake.h"
#include "data/usability.h"
#include "directives/directives.h"
#include "listing/listing.h"
#include "listing/triangle_listing.h"
#include "model/model_records.h"
#include "reports/odd_records.h"
#include "reports/out_of_range.h"

namespace kve {

READS(DIRECTIVES);
READS(KVEINT);
READS(INTAKE);
READS(MODEL);

namespace {

constexpr int32_t kTraitsOfBlock = 6;
constexpr int32_t kMostCovariables = 30;  // of a trait, else the middle ones are left out
constexpr int32_t kCovariablesOfEnd = 10;

// The standard deviation; not-a-number for a single observation.
double deviation_of(const Statistics& s, int32_t n) {
    const double count = n;
    const double distances = s.sum - count * s.origin;
    const double squares = s.ssq - distances * distances / count;
    // Below 0 it is rounding alone.
    return std::sqrt((squares < 0.0 ? 0.0 : squares) / (count - 1.0));
}

std::string four_numbers(const Statistics& s, int32_t n, double deviation) {
    std::string text;
    for (double value : {s.sum / n, deviation, s.min, s.max}) text += number_column(value, 17, 8);
    return text;
}

void say_title() {
    page_above(64 - KVEINT.nt);
    blank_lines(2);
    say_line("SUMMARY OF DATA FILE        ");
}

void say_records() {
    page_above(67);
    blank_lines();
    say_line("No of records processed ............. %10lld", static_cast<long long>(INTAKE.NREC));
}

void say_dropped_points() {
    const int64_t all = std::accumulate(INTAKE.NDEL.begin(), INTAKE.NDEL.end(), int64_t{0});
    if (all == 0) return;
    Block block;
    block.blank();
    for (int32_t i = 1; i <= KVEINT.nt; ++i)
        block.line("No of Datapoints dropped for %-8.*s %10d", KVE_SV(MODEL(i).trait_name.view()),
                   INTAKE.NDEL(i));
    block.print();
}

void list_traits() {
    Block table;
    table.blank(2);
    table.line("DEPENDENT VARIABLES (TRAITS)");
    table.blank();
    table.line(
        "Trait          R-input     N-obs      Average"
        "          S.D.           Min value        Max value");
    for (int32_t i = 1; i <= KVEINT.nt; ++i) {
        const int32_t n = INTAKE.NS(i, i);
        table.line("%.*s%14d %9d%s", KVE_SV(MODEL(i).trait_name.padded()), MODEL(i).trait_inp_no, n,
                   n > 0 ? four_numbers(INTAKE.Y(i), n, deviation_of(INTAKE.Y(i), n)).c_str() : "");
    }
    table.print();
}

void say_heading_of_variables() {
    say_line("        --------------");
    say_line(
        "Trait   R-input Name          N-obs      Average"
        "          S.D.           Min value        Max value");
}

void say_variable(const Name& trait, int32_t column, const Name& name, int32_t n,
                  const std::string& numbers) {
    say_row("%.*s %6d %.*s %10d%s", KVE_SV(trait.padded()), column, KVE_SV(name.padded()), n,
            numbers.c_str());
}

void list_weights() {
    if (std::none_of(MODEL.begin(), MODEL.end(), has_weight)) return;
    page_if(7);
    blank_lines(2);
    say_line("WEIGHTS                     ");
    say_line("            Weight  ");
    say_heading_of_variables();
    for (int32_t i = 1; i <= KVEINT.nt; ++i) {
        const Model& m = MODEL(i);
        const int32_t n = INTAKE.NS(i, i);
        if (!has_weight(m) || n < 1) continue;
        say_variable(m.trait_name, m.wgt_inp_no, m.wgt_name, n,
                     n > 1 ? four_numbers(INTAKE.W(i), n, deviation_of(INTAKE.W(i), n)) : "");
    }
}

void say_left_out() {
    for (int line = 1; line <= 2; ++line)
        say_row("          %s %s%s%s%s%s%s", "   ..", "....    ", "      .....",
                "   ..........    ", "   ..........    ", "   ..........    ", "   ..........    ");
}

void list_covariables_of(int32_t i, int32_t n) {
    const Model& m = MODEL(i);
    const int32_t n_covariables = count_covariables(m);
    const bool whole = n_covariables <= kMostCovariables || DIRECTIVES.ITEST > 0;
    int32_t k = 0;
    for (int32_t j = 1; j <= m.n_reg; ++j) {
        if (!begins_covariable(m, j)) continue;
        ++k;
        if (!whole && k == kCovariablesOfEnd + 1) say_left_out();
        if (!whole && k > kCovariablesOfEnd && k <= n_covariables - kCovariablesOfEnd) continue;
        const Statistics& s = INTAKE.X(i, k);
        say_variable(k == 1 ? m.trait_name : Name(), m.reg_inp(j), m.reg_name(j), n,
                     four_numbers(s, n, n > 1 ? deviation_of(s, n) : 0.0));
    }
    blank_lines();
}

void leave_gap() {
    Block gap;
    gap.blank(2);
    gap.print();
}

void list_covariables() {
    leave_gap();
    if (std::none_of(MODEL.begin(), MODEL.end(), [](const Model& m) { return m.n_reg > 0; }))
        return;
    page_if(5);
    say_line("COVARIABLES                 ");
    say_line("          Covariable");
    say_heading_of_variables();
    for (int32_t i = 1; i <= KVEINT.nt; ++i)
        if (MODEL(i).n_reg > 0 && INTAKE.NS(i, i) > 0) list_covariables_of(i, INTAKE.NS(i, i));
}

void list_censoring() {
    leave_gap();
    if (std::none_of(MODEL.begin(), MODEL.end(),
                     [](const Model& m) { return m.trait_type == kRightCensored; }))
        return;
    Block table;
    table.line("FREQUENSE OF CENSORING      ");
    table.blank();
    table.line("Trait          R-input    Uncensored        Left       Right    Interval");
    for (int32_t i = 1; i <= KVEINT.nt; ++i) {
        const Model& m = MODEL(i);
        if (m.trait_type != kRightCensored) continue;
        auto count = [i](int32_t code) { return INTAKE.CENS_COUNT(code + 2, i); };
        table.line("%.*s%14d  %12d%12d%12d%12d", KVE_SV(m.trait_name.padded()), m.trait_inp_no,
                   count(0), count(-1), count(1), count(2));
    }
    table.blank(2);
    table.print();
}

void list_pairs_of_block(int32_t first) {
    const int32_t last = std::min(first + kTraitsOfBlock - 1, KVEINT.nt);
    Block table;
    std::string line = "        ";
    for (int32_t j = first; j <= last; ++j)
        append(line, "%10.*s", KVE_SV(MODEL(j).trait_name.view()));
    table.line("%s", line.c_str());
    for (int32_t i = first; i <= KVEINT.nt; ++i) {
        line = MODEL(i).trait_name.padded();
        for (int32_t j = first; j <= std::min(i, last); ++j) append(line, " %9d", INTAKE.NS(i, j));
        table.line("%s", line.c_str());
    }
    table.blank();
    table.print();
}

void list_trait_pairs() {
    if (KVEINT.nt < 2) return;
    page_if(KVEINT.nt + 5);
    blank_lines(2);
    say_line("No of obs for each trait combination");
    for (int32_t first = 1; first <= KVEINT.nt; first += kTraitsOfBlock) list_pairs_of_block(first);
}

}  // namespace

// Kept: no word of parents without a code, since the pedigrees are read later.
void summarise_data() {
    say_title();
    judge_ranges();
    judge_binary_values();
    say_records();
    warn_odd_records();
    say_dropped_points();
    list_traits();
    list_weights();
    list_covariables();
    list_censoring();
    list_trait_pairs();
}

}  // namespace kve
