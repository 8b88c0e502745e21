// Generalized inverse, bending and rank fit of a symmetric matrix through its eigenvalues. Touches
// no table.
#pragma once

#include <cstdint>
#include <limits>

#include "base/arrays.h"

namespace kve {

// What PINV is asked for. A fit of rank r is asked for as kRankFitOf + r.
//
// Kept: the conditioning asks for kInverse and kBend alone; the others belong to the same interface
// of the package.
enum PinvCode : int32_t {
    kInverse = 0,
    kInverseAndSolve = 1,
    kBend = 3,
    kRankFit = 8,  // only as a result: how PinvResult::INFO tells a fit of rank r
    kListedRankFit = 9,
    kRankFitOf = 8000,
};

struct PinvResult {
    int32_t INFO = 0;
    int32_t RANK = 0;  // eigenvalues at or above TOL, before any of them was changed
    bool bent = false;
    double DET = 1.0;  // of the matrix as it came in; of the new one when eigenvalues were changed
    // Smallest eigenvalue before bending. Not a number when the matrix holds a value that is not
    // finite: such a matrix comes back as it was given.
    double EMIN = std::numeric_limits<double>::max();
    Vec<double> EVAL;     // ascending
    Matrix<double> EVEC;  // column k belongs to EVAL(k)
};

// Works on A in place, by INFO:
//   kInverse          A becomes its inverse; eigenvalues below TOL are left out, which makes it a
//                     generalized inverse of a singular matrix
//   kInverseAndSolve  the same, and B (extent: the order of A) is multiplied by it
//   kBend             an A that is not positive definite, its smallest eigenvalue above -BENDLIM
//   and
//                     below TOL, is bent; any other A keeps its values
//   kRankFitOf + r    all but the r largest eigenvalues become 1.1 TOL
//   kListedRankFit    lists eigenvalues and vectors; eigenvalues below TOL become BENDLIM
// The last three look at the eigenvalues of A in correlation scale.
// Any other INFO, and an eigen-solver that does not converge, stop the run.
PinvResult PINV(Triangle<double>& A, int32_t INFO, double TOL, double BENDLIM,
                Vec<double>* B = nullptr);

}  // namespace kve
