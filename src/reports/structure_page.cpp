#include "reports/structure_page.h"

#include <algorithm>
#include <cstdint>
#include <string>

#include "base/arrays.h"
#include "base/state.h"
#include "base/text.h"
#include "directives/catalogue.h"
#include "directives/directives.h"
#include "listing/listing.h"
#include "model/model_records.h"

namespace kve {

READS(DIRECTIVES);
READS(KVEINT);
READS(LINES_ON_PAGE);
READS(RMAT);

namespace {

constexpr int32_t kMostMatrices = 10;
constexpr int32_t kMostRows = 30;
constexpr int32_t kRowsOfEnd = 5;
constexpr int32_t kAlsoReduced = 10;  // a method above it asks for the reduced animal model too

// A description of a matrix with its heading, at most, and what stands above its rows.
constexpr int kLinesOfDescription = 15;
// A larger table does not wait for a page of its own.
constexpr int kMostLinesTogether = 60;

void say_title() {
    page_header();
    blank_lines(2);
    if (KVEINT.NRAMAT > kMostMatrices) {
        say_line("Structure of the first 10 (co)variance matrices");
        say_line("-----------------------------------------------");
    } else {
        say_line("Structure of (co)variance matrices");
        say_line("----------------------------------");
    }
}

// Of the digits of a method only the last one tells how the inverse is formed.
const char* method_text(int32_t method) {
    switch (method % 10) {
        case 1:
            return "1 (Sire, Dam - inbreeding)         ";
        case 2:
            return "2 (Sire, Dam - no inbreeding)      ";
        case 3:
            return "3 (Sire, MGS - inbreeding)         ";
        case 4:
            return "4 (Sire, MGS - no inbreeding)      ";
        case 5:
            return "5 (Sire, Dam - PHG - inbreeding)   ";
        case 6:
            return "6 (Sire, Dam - PHG - no inbreeding)";
        default:
            return "                                   ";
    }
}

void say_pedigree(const RMatrix& r) {
    say_line("Variance structure A(x)G0");
    say_line("Method to form A**(-1): %s", method_text(r.method));
    if (r.method > kAlsoReduced || r.l_ram)
        say_line("A Reduced Animal Model version of A**(-1) is also formed");
    if (r.phg_random) say_line("Phantom Parent Groups Random - Factor added: %16.7g", r.ran_factor);
    say_line("Pedigree: %.*s", KVE_SV(r.rel_file.view()));
}

void say_blended(const RMatrix& r) {
    say_line("Variance structure PGMIX(x)G0");
    say_line("Method to forme A**(-1): %s", method_text(r.method));
    say_line("Pedigree         : %.*s", KVE_SV(r.rel_file.view()));
    say_line("Typed animals    : %.*s", KVE_SV(r.rel_file2.view()));
    say_line("Genomic rel.     : %.*s", KVE_SV(r.rel_file3.view()));
    if (r.pgmix_g_adjust) {
        say_line("G-matrix adjusted: ave(diag(G)) == ave(diag(A11))");
        say_line("                   ave(off-diag(G)) == ave(off-diag(A11)");
    }
    say_line("Weight used in G(w) = (1-w)G + wA11: %16.7g", r.pgmix_weight);
}

void say_structure(const RMatrix& r) {
    if (r.structure == Structure::I) return say_line("Variance structure I(x)G0");
    if (r.structure == Structure::PED) return say_pedigree(r);
    if (r.structure == Structure::PGMIX) return say_blended(r);
    if (r.structure == Structure::GREL) say_line("Variance structure G(x)G0");
    if (r.structure == Structure::COR) say_line("Variance structure C(x)G0");
    if (r.structure == Structure::DOM) say_line("Variance structure D(x)G0");
    if (r.structure == Structure::ABS_QTL) say_line("Variance structure IBD - Effect absorbed");
    say_line("File name : %.*s", KVE_SV(r.rel_file.view()));
}

void say_row_head(bool regressions) {
    if (regressions) {
        say_line("        Random identifier (effect)      Submodel/trait          RR-Regression");
        say_line("  Row/  --------------------------  -----------------------   -----------------");
        say_line("  Col    No.      Name  I-Input     No.       Name  R-Input      Name  R-Input");
        say_line("  ---   ----  --------  -------    -----  --------  -------  --------  -------");
        return;
    }
    say_line("        Random identifier (effect)      Submodel/trait");
    say_line("  Row/  --------------------------  -----------------------");
    say_line("  Col    No.      Name  I-Input     No.       Name  R-Input");
    say_line("  ---   ----  --------  -------    -----  --------  -------");
}

// Also where only a further effect of a trait has regressions, which l_rr does not tell.
bool has_regressions(const RMatrix& r) {
    return std::any_of(r.cont_rr_eff.begin(), r.cont_rr_eff.end(),
                       [](logical4 is) { return bool(is); });
}

void say_contribution(const RMatrix& r, int32_t q, bool regressions) {
    std::string line;
    append(line, "%5d %6d  %-8.*s %8d %8d  %-8.*s %8d", r.cont_rc(q), r.cont_eff(q),
           KVE_SV(r.cont_id_name(q).view()), r.cont_eff_inp(q), r.cont_t_no(q),
           KVE_SV(r.cont_t_name(q).view()), r.cont_t_inp(q));
    if (regressions)
        append(line, "  %-8.*s %8d", KVE_SV(r.cont_rr_name(q).view()), r.cont_rr_inp(q));
    const int32_t before = LINES_ON_PAGE;
    page_if(1);
    if (LINES_ON_PAGE < before) {
        blank_lines();
        say_row_head(regressions);
    }
    say_line("%s", line.c_str());
}

void say_dots(bool regressions) {
    std::string line;
    append(line, "%5s%7s%-10s%9s%9s%-10s%9s", "  ..", " ....", "  ......", "   .....", " ....",
           "  ......", "   .....");
    if (regressions) append(line, "%-10s%9s", "  ......", "   .....");
    say_row("%s", line.c_str());
}

bool all_rows_are_shown(const RMatrix& r) { return r.n_cont <= kMostRows || DIRECTIVES.ITEST > 0; }

void say_contributions(const RMatrix& r) {
    const int32_t head = all_rows_are_shown(r) ? r.n_cont : kRowsOfEnd;
    const int32_t tail = all_rows_are_shown(r) ? r.n_cont + 1 : r.n_cont - kRowsOfEnd + 1;
    const bool regressions = has_regressions(r);
    say_row_head(regressions);
    for (int32_t q = 1; q <= head; ++q) say_contribution(r, q, regressions);
    if (!all_rows_are_shown(r)) say_dots(regressions);
    for (int32_t q = tail; q <= r.n_cont; ++q) say_contribution(r, q, regressions);
}

void begin_matrix(int32_t rows) {
    page_if(std::min(kLinesOfDescription + rows, kMostLinesTogether));
    blank_lines();
}

void say_matrix(int32_t k) {
    const RMatrix& r = RMAT(k);
    begin_matrix(all_rows_are_shown(r) ? r.n_cont : 2 * kRowsOfEnd + 1);
    say_line("Matrix no. %12d", k);
    say_structure(r);
    blank_lines();
    say_contributions(r);
}

void say_residual() {
    const RMatrix& r = residual_of(RMAT);
    begin_matrix(r.n_traits);
    say_line("Matrix no. %12d (Residual)", KVEINT.NRAMAT + 1);
    say_line("Variance structure %.*s", KVE_SV(structure_name(r.structure)));
    if (r.structure == Structure::GROUP) {
        say_line("Integer variable used for grouping : %.*s", KVE_SV(r.grp_name.view()));
        say_line("Integer input no.                  : %12d", r.grp_inp);
    }
    blank_lines();
    say_line("            Submodel/trait");
    say_line("  Row/  -----------------------");
    say_line("  Col    No.      Name  R-Input");
    say_line("  ---   ----  --------  -------");
    for (int32_t i = 1; i <= r.n_traits; ++i)
        say_row("%5d %6d  %-8.*s %8d", i, r.trait_no(i), KVE_SV(r.t_name(i).view()),
                r.trait_inp(i));
}

}  // namespace

void report_structures() {
    say_title();
    for (int32_t k = 1; k <= std::min(KVEINT.NRAMAT, kMostMatrices); ++k) say_matrix(k);
    say_residual();
    Block legend;
    legend.blank();
    legend.line("Matrix no., Row and Col identifies (co)variance components");
    legend.blank();
    legend.print();
}

}  // namespace kve
