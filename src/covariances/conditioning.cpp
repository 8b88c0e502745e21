#include "covariances/conditioning.h"

#include <bit>

#include "base/state.h"
#include "covariances/covariance_triangle.h"
#include "covariances/pinv.h"
#include "directives/directives.h"
#include "listing/listing.h"
#include "listing/stop.h"
#include "listing/triangle_listing.h"
#include "model/model_records.h"

namespace kve {

READS(DIRECTIVES);
READS(KVEINT);
WRITES(RMAT);
WRITES(GDET);
WRITES(RDET);

namespace {

constexpr double kLowestBendable = 1.0e-12;  // magnitude of a negative eigenvalue
constexpr int32_t kDebugPrint = 2;

// The matrix under test: record `matrix` of RMAT, its cov_mat or that of one residual group.
struct Subject {
    int32_t matrix;
    int32_t group;

    bool residual() const { return matrix > KVEINT.NRAMAT; }
    RMatrix& record() const { return RMAT(matrix); }
};

// Also a matrix with an eigenvalue that is no number is refused.
bool refused(const PinvResult& found) { return !(found.EMIN > -kLowestBendable); }

void say_values(const char* title, const PinvResult& found, int32_t order) {
    say_line("%s%16.7g rank : %12d (size:%12d)", title, found.EMIN, found.RANK, order);
}

void say_refusal(const Subject& subject, const PinvResult& found) {
    const int32_t order = subject.record().rank;
    page_if(3);
    if (!subject.residual()) {
        say_line("Serious singularity problems in random effect matrix %12d", subject.matrix);
        say_values("Smallest eigenvalue of the matrix ", found, order);
        return;
    }
    if (subject.group != kCommonMatrix) {
        say_line(" Serious singularity problems in residual COV -matrix ");
        say_line(" For heterogen residual group %12d", subject.group);
    } else {
        say_line(" Serious singularity problems in residual CVC -matrix ");
    }
    say_values(" Smallest eigenvalue ", found, order);
}

void say_near_singularity(const Subject& subject, const PinvResult& found, double tol_se) {
    page_if(4);
    if (!subject.residual()) {
        say_line(" (near) singularity found in");
        say_line(" g-inverse for  effect  %12d", subject.matrix);
        say_line(" smallest eigen value of the matrix %16.7g", found.EMIN);
        say_line("tol_se : %16.7g", tol_se);
        return;
    }
    say_line(" (near) singularity found in inverse for residual (co)variance matrix");
    if (subject.group != kCommonMatrix)
        say_line(" For heterogen residual group %12d", subject.group);
    say_line(" smallest eigenvalue %16.7g", found.EMIN);
}

void say_bent(const Subject& subject, Triangle<double>& bent) {
    say_row(" Matrix bend to be positive definite!");
    if (!subject.residual() || DIRECTIVES.ITEST < kDebugPrint) return;

    Sheet listing;
    const int32_t order = subject.record().rank;
    listing.page_for(2 * triangle_lines(order) + 2);
    listing.line("COV - residual");
    KVEPRM(0, order, bent, TriangleOf::covariances, listing);
    to_correlations(bent);
    listing.line("CORR - residual");
    KVEPRM(0, order, bent, TriangleOf::correlations, listing);
}

double determinant_of(const Subject& subject, double tol_se, bool VERBOSE) {
    Triangle<double> work = packed_covariances(subject.record(), subject.group, "KVEGRI");
    const double det = PINV(work, kInverse, tol_se, 0.0).DET;
    if (det < 0.0 && VERBOSE) say_row("k,det(k) :%12d%16.7g", subject.matrix, det);
    return det;
}

void store_bent(const Subject& subject, const Triangle<double>& bent) {
    RMatrix& record = subject.record();
    unpack_covariances(bent, record, subject.group);
    // A single residual group has the common matrix as its own.
    if (subject.residual() && subject.group == kCommonMatrix && record.h_cov_mat.layers() == 1)
        unpack_covariances(bent, record, 1);
}

// `det` becomes the determinant where one is formed, else 0. 0, or 1 when the matrix is refused.
[[nodiscard]] int condition(const Subject& subject, int32_t I_CODE, double tol_se, bool VERBOSE,
                            double& det) {
    det = 0.0;
    if (subject.record().rank == 0) return 0;
    Triangle<double> work = packed_covariances(subject.record(), subject.group, "KVEGRI");
    const PinvResult found = PINV(work, kBend, tol_se, kLowestBendable);
    if (refused(found)) {
        if (VERBOSE) say_refusal(subject, found);
        return 1;
    }
    if (found.EMIN < tol_se && VERBOSE) say_near_singularity(subject, found, tol_se);
    if (found.bent) {
        store_bent(subject, work);
        if (VERBOSE) say_bent(subject, work);
    }
    if (found.bent || I_CODE == kFormDeterminants) det = determinant_of(subject, tol_se, VERBOSE);
    return 0;
}

// The rows of the present traits.
Triangle<double> rows_of_pattern(const Triangle<double>& all, uint32_t present) {
    const auto nt = static_cast<int32_t>(all.order());
    Triangle<double> part;
    check_allocated(part.allocate(std::popcount(present)), "KVEGRI", "A", all.size());
    int32_t row = 0;
    for (int32_t i = 1; i <= nt; ++i) {
        if ((present >> (nt - i) & 1U) == 0) continue;
        ++row;
        int32_t column = 0;
        for (int32_t j = 1; j <= i; ++j)
            if ((present >> (nt - j) & 1U) != 0) part(row, ++column) = all(i, j);
    }
    return part;
}

}  // namespace

int KVEGRI(int32_t I_CODE, double tol_se, bool VERBOSE) {
    if (I_CODE != kTestAndRepair && I_CODE != kFormDeterminants) {
        page_if(2);
        say_line("KVEGRI called with illegel I_CODE : %12d", I_CODE);
        stop_run("Computations aborted");
    }
    int FAIL = 0;
    for (int32_t k = 1; k <= KVEINT.NRAMAT; ++k)
        FAIL |= condition({k, kCommonMatrix}, I_CODE, tol_se, VERBOSE, GDET(k));

    const int32_t residual = KVEINT.NRAMAT + 1;
    FAIL |= condition({residual, kCommonMatrix}, I_CODE, tol_se, VERBOSE, RDET(1));
    const int32_t groups = RMAT(residual).grp_nlev;
    double det_of_group = 0.0;
    for (int32_t g = 1; groups > 1 && g <= groups; ++g)
        FAIL |= condition({residual, g}, I_CODE, tol_se, VERBOSE, det_of_group);
    return FAIL;
}

int invert_residual_patterns(int32_t group, std::span<ResidualPattern> patterns, double tol_se,
                             bool VERBOSE) {
    int FAIL = 0;
    const Triangle<double> all = packed_covariances(residual_of(RMAT), group, "KVEGRI");
    for (ResidualPattern& pattern : patterns) {
        Triangle<double> part = rows_of_pattern(all, pattern.present);
        const PinvResult found = PINV(part, kInverse, tol_se, 0.0);
        pattern.det = found.DET;
        if (!(found.EMIN >= tol_se)) FAIL = 1;
        if (found.RANK == part.order() || !VERBOSE) continue;
        Block block;
        block.line(" (near) singularity found in r-inverse for");
        block.line("  ISIT= %12u rank= %12d smallest eigenvalue %16.7g", pattern.present,
                   found.RANK, found.EMIN);
        block.print();
    }
    return FAIL;
}

}  // namespace kve
