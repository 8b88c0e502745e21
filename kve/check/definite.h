// Whether a matrix of relationships is positive definite.
#pragma once

#include <cstdint>
#include <vector>

#include "kve/check/relation_matrix.h"

namespace kve::companion {

struct Definiteness {
    enum class Answer { definite, indefinite, too_large };
    Answer answer = Answer::too_large;
    int32_t level = 0;             // with which it is indefinite, from 0
    double log_determinant = 0.0;  // of the matrix itself
};

// By a Cholesky factorisation: a dense one of up to kMostDense levels, a sparse one where few of
// the elements are given, as long as it takes no more than kMostOperations. `elements` have each
// place once.
inline constexpr int32_t kMostDense = 5000;
inline constexpr double kMostOperations = 5e9;
Definiteness find_definiteness(int32_t n, const std::vector<LevelElement>& elements);

// The same for a dense lower triangle in columns, which becomes the factor. The level is the first
// that those ahead of it determine.
Definiteness factorise_dense(int32_t n, double* lower, int32_t leading);

}  // namespace kve::companion
