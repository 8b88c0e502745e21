// Tests every (co)variance matrix of the model by its eigenvalues in correlation scale, repairs a
// nearly singular one by bending and refuses an indefinite one.
//
// Reads and repairs cov_mat and h_cov_mat of RMAT; writes GDET and RDET, which must be allocated.
// Tells what it met on the listing. Stopped by an unknown code and by lack of memory.
#pragma once

#include <cstdint>
#include <span>

#include "base/arrays.h"

namespace kve {

namespace state {

// Determinants, 0 for a healthy matrix that was only tested.
inline constinit Vec<double> GDET;  // NRAMAT, cov_mat of each random matrix
inline constinit Vec<double> RDET;  // 1, the residual matrix

}  // namespace state

// Kept: the priors ask for code 1 alone; code 2 and the patterns of residuals belong to the same
// interface of the package.
enum ConditioningCode : int32_t {
    kTestAndRepair = 1,    // determinants only after a bend
    kFormDeterminants = 2  // of all matrices
};

// Tests and repairs cov_mat of every record of RMAT and, with several residual groups, every
// h_cov_mat. `tol_se` is the eigenvalue below which a matrix counts as singular. 0, or 1 when a
// matrix is refused, which is told unless VERBOSE is false. Any other code stops the run.
[[nodiscard]] int KVEGRI(int32_t I_CODE, double tol_se, bool VERBOSE);

// A combination of present traits met in the data, trait 1 the highest of nt bits.
struct ResidualPattern {
    uint32_t present;
    double det;
};

// The determinants of the residual matrix of `group` (or kCommonMatrix) for each pattern. 0, or
// 1 when one of them has an eigenvalue below `tol_se`.
[[nodiscard]] int invert_residual_patterns(int32_t group, std::span<ResidualPattern> patterns,
                                           double tol_se, bool VERBOSE);

}  // namespace kve
