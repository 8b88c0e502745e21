// The two dense matrices over the typed animals of a PGMIX factor, and the one of them that comes
// from the pedigree.
#pragma once

#include <cstdint>
#include <functional>
#include <span>

#include "base/arrays.h"
#include "matrices/blended_pedigree.h"

namespace kve {

// Two symmetric matrices of order n in one array of (n+1) x n, column after column. The upper
// triangle holds A11; the lower one of G stands below it, moved down by one row. With n = 4:
//
//     row \ column   1    2    3    4
//         1         a11  a21  a31  a41      a: element (t, u) of A11, t >= u, stands in row u,
//         2         g11  a22  a32  a42         column t, so what t has with 1..t lies in one piece
//         3         g21  g22  a33  a43
//         4         g31  g32  g33  a44      g: element (i, j) of G, i >= j, stands in row i + 1,
//         5         g41  g42  g43  g44         column j
//
// Both have the larger index first. To the linear algebra library each is a triangle of a matrix
// with leading dimension n + 1, "U" from row 1 and "L" from row 2 on.
struct TypedMatrices {
    Matrix<double> all;

    int32_t n() const { return static_cast<int32_t>(all.columns()); }
    double& A11(int64_t t, int64_t u) { return all(u, t); }
    double A11(int64_t t, int64_t u) const { return all(u, t); }
    double& G(int64_t i, int64_t j) { return all(i + 1, j); }
    double G(int64_t i, int64_t j) const { return all(i + 1, j); }

    // For the linear algebra library.
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

// Takes the relationships of typed animals t, t+1 and so on, one each, with animal u, which comes
// not after them.
using TakeRelationships = std::function<void(int32_t t, int32_t u, std::span<const double> of_u)>;

// The relationships of the typed animals, each pair once, by products of A with unit vectors that
// need A itself nowhere.
//
// Method: Colleau (2002). The vector is passed up the reduced pedigree, from progeny to parents by
// halves, weighted by the Mendelian sampling of each animal, and passed down again.
void COLLEAU(const ReducedPedigree& ped, const TakeRelationships& take);

// The same into A11. G is left alone.
void fill_a11(const ReducedPedigree& ped, TypedMatrices& both);

}  // namespace kve
