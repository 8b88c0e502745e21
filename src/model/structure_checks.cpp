#include "model/structure_checks.h"

#include <algorithm>
#include <vector>

#include "directives/directives.h"
#include "listing/listing.h"
#include "listing/stop.h"
#include "model/model_records.h"

namespace kve {

READS(KVEINT);
READS(MODEL);
READS(RMAT);
WRITES(DIRECTIVES);

namespace {

void check_pgmix_methods() {
    for (int32_t k = 1; k <= KVEINT.NRAMAT; ++k) {
        if (RMAT(k).structure != Structure::PGMIX || RMAT(k).method == 1) continue;
        page_if(2);
        say("  ERROR - Relationship method PGMIX requiers");
        say("          method 1 for computing A**(-1)");
        terminate_run();
    }
}

// The derivation takes the size of a further effect's block from the trait's first effect in the
// matrix, so effects with unequal regressions leave rows without equations or the reverse.
void warn_of_unequal_blocks() {
    if (!DIRECTIVES.reduce_file.blank()) return;
    for (int32_t k = 1; k <= KVEINT.NRAMAT; ++k) {
        const RMatrix& r = RMAT(k);
        const int32_t rows =
            r.n_cont > 0 ? *std::max_element(r.cont_rc.begin(), r.cont_rc.end()) : 0;
        if (rows == r.rank) continue;
        page_if(3);
        say_line(
            "WARNING - random matrix %d has %d rows but rank %d: the effects of one trait in a "
            "matrix",
            k, rows, r.rank);
        say_line(
            "          need equally many regressions, or the places of its equations are wrong");
    }
}

// Some matrix holds two effects of the trait, merged or not.
bool has_two_effects_in_a_matrix(const Model& m) {
    std::vector<int32_t> matrices(m.r_ef_matno.begin(), m.r_ef_matno.end());
    std::sort(matrices.begin(), matrices.end());
    return std::adjacent_find(matrices.begin(), matrices.end()) != matrices.end();
}

bool deviations_are_defined() {
    if (!DIRECTIVES.reduce_file.blank()) return false;
    return std::none_of(MODEL.begin(), MODEL.end(), [](const Model& m) {
        return m.n_r_n_reg > 0 || has_two_effects_in_a_matrix(m);
    });
}

bool task_has_deviations(int32_t task) {
    return task == kSampling || task == kSolveByKve4 || task == kSolveByKve5;
}

// Of trait deviations and progeny trait deviations.
void check_factor_of_deviations(int32_t factor) {
    if (factor >= 1 && factor <= KVEINT.NRAMAT) return;
    page_if(2);
    say("  ERROR - Random factor specified for computation of TD and PTD: %12d", factor);
    say("          Must be between 1 and %12d", KVEINT.NRAMAT);
    terminate_run();
}

void check_deviations_are_defined() {
    if (deviations_are_defined()) return;
    page_if(5);
    say("  ERROR - Calculation of Trait Deviations and Progeny Trait Deviations");
    say("          is not implemented for models with:");
    say("             Random Regressions");
    say("             More than one random effect in a covariance matrix");
    say("             Reduced Rank");
    terminate_run();
}

}  // namespace

void check_structures() {
    warn_of_unequal_blocks();
    check_pgmix_methods();
    TrendRequest& request = DIRECTIVES.td_ptd;
    if (!request.asked || !task_has_deviations(DIRECTIVES.ITASK)) return;
    check_factor_of_deviations(request.factor);
    request.pedigree_exists = RMAT(request.factor).structure == Structure::PED;
    check_deviations_are_defined();
}

}  // namespace kve
