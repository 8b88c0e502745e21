// The two dense matrices over the typed animals of a PGMIX factor, and the one of them that comes
// from the pedigree.
#pragma once

#include <cstdint>

#include "base/arrays.h"
#include "matrices/blended_pedigree.h"

namespace kve {

// Two symmetric matrices of order n in one array of (n+1) x n, column after column: the upper
// triangle holds A11, and G lies one row below its place in the lower one. The indices of both
// stand the larger one first.
struct TypedMatrices {
    Matrix<double> all;

    int32_t n() const { return static_cast<int32_t>(all.columns()); }
    double& A11(int64_t t, int64_t u) { return all(u, t); }
    double& G(int64_t i, int64_t j) { return all(i + 1, j); }

    // For the linear algebra library; the leading dimension of both is n + 1.
    double* A11_upper() { return all.data(); }
    double* G_lower() { return all.data() + 1; }
};

// Calls visit(i, j) for all i >= j, in square tiles: the two elements of a pair lie in a row and in
// a column, and the cache holds both ways of a tile.
template <class Visit>
void visit_pairs(int64_t n, Visit visit) {
    constexpr int64_t kTile = 64;
    for (int64_t first_i = 1; first_i <= n; first_i += kTile)
        for (int64_t first_j = 1; first_j <= first_i; first_j += kTile)
            for (int64_t i = first_i; i < first_i + kTile && i <= n; ++i)
                for (int64_t j = first_j; j < first_j + kTile && j <= i; ++j) visit(i, j);
}

// A11, the relationships of the typed animals, by products of A with unit vectors that need A
// itself nowhere. G is left alone.
//
// Method: Colleau (2002). The vector is passed up the reduced pedigree, from progeny to parents by
// halves, weighted by the Mendelian sampling of each animal, and passed down again.
void COLLEAU(const ReducedPedigree& ped, TypedMatrices& both);

}  // namespace kve
