#include "covariances/priors.h"

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "base/arrays.h"
#include "base/state.h"
#include "covariances/conditioning.h"
#include "covariances/covariance_triangle.h"
#include "covariances/prior_lines.h"
#include "directives/directives.h"
#include "listing/listing.h"
#include "listing/stop.h"
#include "model/model_records.h"

namespace kve {

READS(DIRECTIVES);
READS(KVEINT);
WRITES(RMAT);
WRITES(GDET);
WRITES(RDET);
WRITES(RSD);

namespace {

constexpr double kSmallestVariance = 1.0e-9;
constexpr double kSingular = 1.0e-18;  // an eigenvalue or pivot not above it counts as 0

void allocate_and_clear() {
    for (RMatrix& r : RMAT) {
        r.cov_mat.fill(0.0);
        r.h_cov_mat.fill(0.0);
    }
    check_allocated(GDET.allocate(KVEINT.NRAMAT), "KVE1", "GDET", KVEINT.NRAMAT);
    check_allocated(RDET.allocate(1), "KVE1", "RDET", 1);
    check_allocated(RSD.allocate(KVEINT.nt), "KVE1", "RSD", KVEINT.nt);
}

void assume_identity() {
    for (RMatrix& r : RMAT)
        for (int32_t i = 1; i <= r.rank; ++i) {
            r.cov_mat(i, i) = 1.0;
            for (int64_t g = 1; g <= r.h_cov_mat.layers(); ++g) r.h_cov_mat(i, i, g) = 1.0;
        }
    Block block;
    block.line("NO PRIORS FOR (CO)VARIANCE COMPONENTS SPECIFIED");
    block.line("An identity matrix is assumed for all (co)variance matrices");
    block.print();
}

void say_priors_are_required() {
    Block block;
    block.line("No priors for (co)variance components specified");
    block.line("This is required for ITASK = %12d", DIRECTIVES.ITASK);
    block.print();
}

// What no file gives needs no checks: identity, or zeros.
void do_without_priors() {
    if (DIRECTIVES.prior.name.blank() && DIRECTIVES.ITASK == kVarianceComponents)
        assume_identity();
    else
        say_priors_are_required();
}

int count_missing_variances() {
    int missing = 0;
    for (int32_t k = 1; k <= KVEINT.NRAMAT + 1; ++k)
        for (int32_t i = 1; i <= RMAT(k).rank; ++i) {
            if (!(RMAT(k).cov_mat(i, i) < kSmallestVariance)) continue;
            ++missing;
            if (k <= KVEINT.NRAMAT)
                say_row(" VARIANCE IN RANDOM EFFECT %12d TRAIT %12d IS MISSING", k, i);
            else
                say_row(" RESIDUAL VARIANCE (RANDOM EFFECT = %12d) TRAIT %12d IS MISSING", k, i);
        }
    return missing;
}

// With several groups every one needs its matrix: the common one, or a prior of its own.
void complete_groups() {
    RMatrix& r = residual_of(RMAT);
    if (r.grp_nlev <= 1) return;
    const auto with_prior = std::count(r.l_grp_pr.begin(), r.l_grp_pr.end(), true);
    if (with_prior == 0) {
        const Triangle<double> common = packed_covariances(r, kCommonMatrix, "KVE1");
        for (int32_t g = 1; g <= r.grp_nlev; ++g) unpack_covariances(common, r, g);
        return;
    }
    if (with_prior == r.grp_nlev) return;
    say("ERROR : If prior is specified for heterogen residual groups");
    say(" it must be specified for all groups");
    blank();
    say(" priors not specified for the following groups");
    for (int32_t g = 1; g <= r.grp_nlev; ++g)
        if (!r.l_grp_pr(g)) say("%12d numbered as matrix %12d", g, KVEINT.NRAMAT + g);
    terminate_run();
}

// Eliminates pivot by pivot; uses `a` up.
bool positive_definite(Triangle<double>& a) {
    for (int64_t k = 1; k <= a.order(); ++k) {
        if (!(a(k, k) > kSingular)) return false;
        for (int64_t j = k + 1; j <= a.order(); ++j) {
            const double factor = a(k, j) / a(k, k);
            for (int64_t i = k + 1; i <= j; ++i) a(i, j) -= a(i, k) * factor;
        }
    }
    return true;
}

int count_indefinite_groups() {
    const RMatrix& r = residual_of(RMAT);
    int indefinite = 0;
    for (int32_t g = 1; r.grp_nlev > 1 && g <= r.grp_nlev; ++g) {
        Triangle<double> PARM = packed_covariances(r, g, "KVE1");
        if (positive_definite(PARM)) continue;
        ++indefinite;
        Block block;
        block.line("Residual (co)-variance matrix not P.D. ");
        block.line("in heterogen variance group%12d", g);
        block.print();
    }
    return indefinite;
}

void judge_priors(int faults) {
    faults += count_missing_variances();
    if (faults > 0) terminate_run();
    complete_groups();
    faults = KVEGRI(kTestAndRepair, kSingular, true);
    faults += count_indefinite_groups();
    if (faults > 0) terminate_run();
}

}  // namespace

void KVE_PRIORS() {
    allocate_and_clear();
    const int faults = DIRECTIVES.prior.name.blank() ? kNoPriorFile : read_prior_lines();
    if (faults == kNoPriorFile)
        do_without_priors();
    else
        judge_priors(faults);
    for (int32_t i = 1; i <= KVEINT.nt; ++i) RSD(i) = std::sqrt(residual_of(RMAT).cov_mat(i, i));
}

}  // namespace kve
