// Tests every (co)variance matrix of the model by its eigenvalues in correlation scale, repairs a
// nearly singular one by bending and refuses an indefinite one.
#pragma once

#include <cstdint>
#include <span>

#include "base/arrays.h"
#include "base/state.h"

namespace kve {

namespace state {

// Determinants, 0 for a healthy matrix that was only tested. Allocated by the priors.
inline constinit Vec<double> GDET;  // NRAMAT, cov_mat of each random matrix
inline constinit Vec<double> RDET;  // 1, the residual matrix

}  // namespace state

// Code 1 tests and repairs cov_mat of every record of RMAT and, with several residual groups, every
// h_cov_mat; determinants are formed after a bend. Code 2 forms them for all matrices. Any other
// code stops the run. `tol_se` is the eigenvalue below which a matrix counts as singular. FAIL
// becomes 1 when a matrix is refused and is left alone otherwise; VERBOSE 0 keeps silent.
void KVEGRI(int32_t I_CODE, double tol_se, int32_t& FAIL, int32_t VERBOSE);

// A combination of present traits met in the data, trait 1 the highest of nt bits.
struct ResidualPattern {
    uint32_t present;
    double det;
};

// The determinants of the residual matrix of `group` (0 the common matrix) for each pattern. FAIL
// becomes 1 when one of them has an eigenvalue below `tol_se`.
void invert_residual_patterns(int32_t group, std::span<ResidualPattern> patterns, double tol_se,
                              int32_t& FAIL, int32_t VERBOSE);

}  // namespace kve
