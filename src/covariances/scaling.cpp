#include "covariances/scaling.h"

#include <algorithm>

#include "base/arrays.h"
#include "base/state.h"
#include "listing/listing.h"
#include "listing/stop.h"
#include "model/model_records.h"

namespace kve {

READS(KVEINT);
READS(RSD);
WRITES(RMAT);

namespace {

// The factor of each row of a matrix. A row that no effect fills keeps its values.
Vec<double> factors_of_rows(const RMatrix& r, bool residual, const Vec<double>& s) {
    Vec<double> factor;
    check_allocated(factor.allocate(r.rank), "KVE_SCALE", "FACTOR", r.rank);
    for (int32_t a = 1; a <= r.rank; ++a) {
        const int32_t trait = residual ? a : r.rank_tn(a);
        factor(a) = trait > 0 ? s(trait) : 1.0;
    }
    return factor;
}

// The matrices of all residual groups too: the data of every group are scaled alike.
void scale_matrix(RMatrix& r, const Vec<double>& factor) {
    for (int32_t b = 1; b <= r.rank; ++b)
        for (int32_t a = 1; a <= r.rank; ++a) {
            r.cov_mat(a, b) *= factor(a) * factor(b);
            for (int64_t g = 1; g <= r.h_cov_mat.layers(); ++g)
                r.h_cov_mat(a, b, g) *= factor(a) * factor(b);
        }
}

}  // namespace

int KVE_SCALE(int32_t mode) {
    if (mode != kScale && mode != kUnscale) {
        Block block;
        block.line(" Undefined scaling of (co)variance");
        block.line(" parameters attempted");
        block.print();
        return 1;
    }
    if (!std::all_of(RSD.begin(), RSD.end(), [](double deviation) { return deviation > 0.0; })) {
        say_row("ERROR - Scaling is not possible without prior (co)variance components");
        return 1;
    }
    Vec<double> s;
    check_allocated(s.allocate(KVEINT.nt), "KVE_SCALE", "S", KVEINT.nt);
    for (int32_t i = 1; i <= KVEINT.nt; ++i) s(i) = mode == kScale ? 1.0 / RSD(i) : RSD(i);
    const int32_t residual = KVEINT.NRAMAT + 1;
    for (int32_t k = 1; k <= residual; ++k)
        scale_matrix(RMAT(k), factors_of_rows(RMAT(k), k == residual, s));
    return 0;
}

}  // namespace kve
