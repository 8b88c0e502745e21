#include "kve/check/definite.h"

#include <Eigen/OrderingMethods>
#include <Eigen/SparseCholesky>
#include <cmath>
#include <cstddef>

// LAPACK: the Cholesky factor of a symmetric matrix.
extern "C" {
void dpotrf_(const char* uplo, const int* n, double* a, const int* lda, int* info,
             std::size_t uplo_length);
}

namespace kve::companion {

namespace {

using Sparse = Eigen::SparseMatrix<double>;
using Order = Eigen::PermutationMatrix<Eigen::Dynamic, Eigen::Dynamic, int>;
using Answer = Definiteness::Answer;

Definiteness factorise_few(int32_t n, const std::vector<LevelElement>& elements) {
    const auto order = static_cast<std::size_t>(n);
    std::vector<double> lower(order * order);
    for (const LevelElement& e : elements)
        lower[static_cast<std::size_t>(e.column) * order + static_cast<std::size_t>(e.row)] =
            e.value;
    return factorise_dense(n, lower.data(), n);
}

Sparse make_sparse(int32_t n, const std::vector<LevelElement>& elements) {
    std::vector<Eigen::Triplet<double>> all;
    all.reserve(elements.size());
    for (const LevelElement& e : elements) all.emplace_back(e.row, e.column, e.value);
    Sparse matrix(n, n);
    matrix.setFromTriplets(all.begin(), all.end());
    return matrix;
}

// Of the factor of a matrix given by its upper triangle: a column has an element for each row of
// which it is met on the way up the elimination tree (Liu 1986). Stops above the limit.
double count_operations(const Sparse& upper, double most) {
    const int n = static_cast<int>(upper.rows());
    const auto at = [](int i) { return static_cast<std::size_t>(i); };
    std::vector<int> parent(at(n), -1), met(at(n), -1), length(at(n), 1);
    double operations = 0;
    for (int row = 0; row < n; ++row) {
        met[at(row)] = row;
        for (Sparse::InnerIterator it(upper, row); it; ++it)
            for (int k = static_cast<int>(it.row()); k < row && met[at(k)] != row;
                 k = parent[at(k)]) {
                if (parent[at(k)] < 0) parent[at(k)] = row;
                met[at(k)] = row;
                operations += 2.0 * ++length[at(k)];
                if (operations > most) return operations;
            }
    }
    return operations;
}

Definiteness factorise_sparse(int32_t n, const std::vector<LevelElement>& elements) {
    const Sparse lower = make_sparse(n, elements);
    Order order;
    Eigen::AMDOrdering<int>()(lower.selfadjointView<Eigen::Lower>(), order);
    Sparse upper(n, n);
    upper.selfadjointView<Eigen::Upper>() =
        lower.selfadjointView<Eigen::Lower>().twistedBy(order.inverse());
    if (count_operations(upper, kMostOperations) > kMostOperations) return {};
    const Eigen::SimplicialLDLT<Sparse, Eigen::Upper, Eigen::NaturalOrdering<int>> factor(upper);
    const Eigen::VectorXd d = factor.vectorD();
    Definiteness found{.answer = Answer::definite};
    for (int k = 0; k < n; ++k) {
        if (!(d[k] > 0.0) || !std::isfinite(d[k]))
            return {.answer = Answer::indefinite, .level = order.indices()[k]};
        found.log_determinant += std::log(d[k]);
    }
    return found;
}

}  // namespace

Definiteness factorise_dense(int32_t n, double* lower, int32_t leading) {
    int failed_at = 0;
    dpotrf_("L", &n, lower, &leading, &failed_at, 1);
    if (failed_at > 0) return {.answer = Answer::indefinite, .level = failed_at - 1};
    Definiteness found{.answer = Answer::definite};
    for (int64_t k = 0; k < n; ++k) {
        found.log_determinant += 2 * std::log(lower[k * (int64_t{leading} + 1)]);
        if (!std::isfinite(found.log_determinant))
            return {.answer = Answer::indefinite, .level = static_cast<int32_t>(k)};
    }
    return found;
}

Definiteness find_definiteness(int32_t n, const std::vector<LevelElement>& elements) {
    constexpr double kFull = 0.05;
    const double all = 0.5 * n * (n + 1.0);
    const bool is_dense = static_cast<double>(elements.size()) > kFull * all;
    if (n <= kMostDense && is_dense) return factorise_few(n, elements);
    return factorise_sparse(n, elements);
}

}  // namespace kve::companion
