#include "reports/model_report.h"

#include <algorithm>
#include <cstdint>
#include <string>

#include "base/arrays.h"
#include "base/state.h"
#include "base/text.h"
#include "directives/directives.h"
#include "listing/listing.h"
#include "model/model_records.h"
#include "reports/structure_page.h"
#include "reports/submodel_page.h"

namespace kve {

READS(DIRECTIVES);
READS(KVEINT);
READS(MODEL);
READS(RMAT);

namespace {

constexpr int32_t kMembersOfRow = 15;

void report_summary() {
    page_header();
    blank_lines(2);
    say_line("Model description (summary)");
    say_line("---------------------------");
    blank_lines();
    say_line("                                                         No of Class Variables");
    say_line(
        "           Dep.var  Weight   Effects    No of    "
        "---------------------------------------");
    say_line(
        " Trait       R.no    R.no    Absorbed   Covars     Total          Fixed         Random");
    say_line(
        "--------   -------  ------   --------   ------   ---------      ---------      "
        "---------");
    for (const Model& m : MODEL)
        say_row("%-8.*s   %7d  %6d   %8d   %6d   %9d      %9d      %9d",
                KVE_SV(m.trait_name.view()), m.trait_inp_no, m.wgt_inp_no, m.n_absorb, m.n_reg,
                m.n_ef, m.n_fixed, m.n_random);
}

// Members first..last of a matrix side by side.
void say_reduced_members(const RMatrix& r, int32_t first, int32_t last) {
    std::string trait, effect, position;
    for (int32_t member = first; member <= last; ++member) {
        append(trait, "%5d ", r.trait_no(member));
        append(effect, "%5d ", r.r_eff(member));
        if (r.reduce(member) == 0)
            position += " ---- ";
        else
            append(position, "%5d ", r.reduce(member));
    }
    Block block;
    block.line("  Trait no.  %s", trait.c_str());
    block.line("  Effect no. %s", effect.c_str());
    block.line("  Position   %s", position.c_str());
    block.blank();
    block.print();
}

bool shares_rows(const RMatrix& r) {
    return std::any_of(r.rank_ndt.begin(), r.rank_ndt.end(), [](int32_t n) { return n > 1; });
}

void report_reduced_ranks() {
    if (DIRECTIVES.reduce_file.blank()) return;
    page_header();
    blank_lines(2);
    say_line("Reduced Rank for random factors ");
    say_line("------------------------------- ");
    blank_lines();
    bool shared = false;
    for (int32_t k = 1; k <= KVEINT.NRAMAT; ++k) {
        const RMatrix& r = RMAT(k);
        if (r.n_traits == 0) continue;
        page_if(5);
        say_line("Matrix no. %12d", k);
        for (int32_t first = 1; first <= r.n_traits; first += kMembersOfRow)
            say_reduced_members(r, first, std::min(first + kMembersOfRow - 1, r.n_traits));
        shared = shared || shares_rows(r);
    }
    if (!shared) return;
    Block warning;
    warning.line("WARNING WARNING WARNING");
    warning.line("Scaling can not be used in models reduced rank models");
    warning.line("where different traits contributes to the same variance component");
    warning.line("The analysis will be performed without scaling");
    warning.print();
}

void report_zero_covariances() {
    if (KVEINT.N_ZERO_RCOV <= 0) return;
    page_header();
    blank_lines(2);
    say_line("Nonexistent residual covarainces");
    say_line("--------------------------------");
    blank_lines();
    for (int32_t k = 1; k <= KVEINT.N_ZERO_RCOV; ++k) {
        const int32_t i = KVEINT.NORCOV(1, k), j = KVEINT.NORCOV(2, k);
        say_row("  %3d  %-8.*s   %3d  %.*s", i, KVE_SV(MODEL(i).trait_name.view()), j,
                KVE_SV(MODEL(j).trait_name.view()));
    }
}

}  // namespace

void report_model() {
    report_summary();
    report_submodels();
    report_reduced_ranks();
    report_zero_covariances();
    report_structures();
}

}  // namespace kve
