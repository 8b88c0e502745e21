#include "matrices/blended_matrix.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <span>
#include <vector>

#include "base/arrays.h"
#include "base/state.h"
#include "covariances/library_workspace.h"
#include "data/factors.h"
#include "directives/directives.h"
#include "listing/listing.h"
#include "listing/stop.h"
#include "matrices/blended_genomic.h"
#include "matrices/matrix_writer.h"
#include "matrices/typed_relationships.h"
#include "model/model_records.h"
#include "pedigree/a_inverse.h"
#include "store/sparse_store.h"

// LAPACK: the Cholesky factor of a symmetric matrix, and the inverse from the factor, both in place
// and in one triangle.
extern "C" {
void dpotrf_(const char* uplo, const int* n, double* a, const int* lda, int* info,
             std::size_t uplo_length);
void dpotri_(const char* uplo, const int* n, double* a, const int* lda, int* info,
             std::size_t uplo_length);
}

namespace kve {

READS(DIRECTIVES);
READS(FACTORS);
WRITES(RMAT);

namespace {

constexpr const char* kRoutine = "PGMIX";
constexpr double kSmallestAdded = 1e-09;  // a difference that does not exceed it is left out
constexpr int32_t kListed = 251;          // though the heading says 250

struct Means {
    double diagonal, off_diagonal;
};

// Row by row, from left to right: another order gives other last digits.
template <class Element>
Means means_of(int32_t n, Element element) {
    double diagonal = 0.0, off_diagonal = 0.0;
    for (int32_t i = 1; i <= n; ++i) diagonal += element(i, i);
    for (int32_t i = 2; i <= n; ++i)
        for (int32_t j = 1; j < i; ++j) off_diagonal += element(i, j);
    const auto single = static_cast<float>(n);
    const float m = (single * single - single) * 0.5F;
    return {diagonal / n, off_diagonal / static_cast<double>(m)};
}

Means means_of_a11(const TypedMatrices& both) {
    return means_of(both.n(), [&](int32_t i, int32_t j) { return both.A11(i, j); });
}

void say_adjustment(Means a11, Means g, double Alfa, double Beta) {
    Block block;
    block.blank();
    block.line("Adjusting the G-matrix                       ");
    block.line("%-62s%12.5f", "Average diagonal element in A11              ", a11.diagonal);
    block.line("%-62s%12.5f", "Average off-diagonal element in A11          ", a11.off_diagonal);
    block.line("%-62s%12.5f", "Average diagonal element in G                ", g.diagonal);
    block.line("%-62s%12.5f", "Average off-diagonal element in G            ", g.off_diagonal);
    block.line("%-62s%12.5f", "Alfa                                         ", Alfa);
    block.line("%-62s%12.5f", "Beta                                         ", Beta);
    block.blank();
    block.print();
}

// Brings G to the scale of A11: ave(diag(G)) == ave(diag(A11)), and so the elements beside it.
// Kept: with one typed animal, or with equal means in A11, G is spoilt; its inversion says so.
void adjust_g(TypedMatrices& both, Means a11) {
    const int32_t n = both.n();
    const Means g = means_of(n, [&](int32_t i, int32_t j) { return both.G(i, j); });
    const double Beta = (g.diagonal - g.off_diagonal) / (a11.diagonal - a11.off_diagonal);
    const double Alfa = a11.diagonal * Beta - g.diagonal;
    for (int32_t j = 1; j <= n; ++j)
        for (int32_t i = j; i <= n; ++i) both.G(i, j) = (both.G(i, j) + Alfa) / Beta;
    say_adjustment(a11, g, Alfa, Beta);
}

// A11 is made a second time, since its inverse stands in its place by now.
void blend_g(const ReducedPedigree& ped, TypedMatrices& both, double w) {
    COLLEAU(ped, [&](int32_t t, int32_t u, std::span<const double> of_u) {
        for (const double a : of_u) {
            double& g = both.G(t++, u);
            g = (1.0 - w) * g + w * a;
        }
    });
}

struct Inversion {
    double log_det = 0.0;   // of the matrix itself
    int32_t failed_at = 0;  // 0, or the row at which the matrix proved not positive definite
};

// The library does not see every diagonal element that is infinite or not a number.
double sum_of_logs(const double* factor, int32_t n, int32_t& failed_at) {
    double s = 0.0;
    for (int64_t i = 0; i < n; ++i) {
        s += std::log(factor[i * (int64_t{n} + 2)]);
        if (!std::isfinite(s) && failed_at == 0) failed_at = static_cast<int32_t>(i + 1);
    }
    return s;
}

// In place of the matrix comes its inverse.
Inversion invert_matrix(const char* triangle, double* matrix, int32_t n) {
    const int lda = n + 1;
    Inversion result;
    dpotrf_(triangle, &n, matrix, &lda, &result.failed_at, 1);
    if (result.failed_at != 0) return result;
    result.log_det = 2.0 * sum_of_logs(matrix, n, result.failed_at);
    if (result.failed_at == 0) dpotri_(triangle, &n, matrix, &lda, &result.failed_at, 1);
    // Next to nothing on the diagonal has a logarithm and yet no inverse.
    for (int64_t i = 0; i < n && result.failed_at == 0; ++i)
        if (!std::isfinite(matrix[i * (int64_t{n} + 2)]))
            result.failed_at = static_cast<int32_t>(i + 1);
    return result;
}

[[noreturn]] void stop_indefinite(const char* matrix, int32_t k, int32_t row,
                                  const ReducedPedigree& ped) {
    say("ERROR - The %s for random effect%12d is not positive definite", matrix, k);
    say("        The factorisation failed at row%12d of typed animal%12d", row, ped.ID(row));
    stop_run();
}

// G is read meanwhile. How the inversion went is told when all has been told of G.
Inversion invert_a11(BlendedGenomicFile& genomic, const ReducedPedigree& ped, TypedMatrices& both) {
    find_library_workspace(kRoutine, library_threads());
    BlendedGenomicReading reading{.genomic = genomic, .ped = ped, .both = both};
    start_blended_genomic(reading);
    const Inversion a11 = invert_matrix("U", both.A11_upper(), both.n());
    read_blended_genomic(reading);
    return a11;
}

// Carries the determinants of both into that of H.
void invert_g(int32_t k, const Inversion& a11, TypedMatrices& both, const ReducedPedigree& ped) {
    if (a11.failed_at != 0)
        stop_indefinite("pedigree matrix A11 of the typed animals", k, a11.failed_at, ped);
    RMAT(k).log_det -= a11.log_det;
    const Inversion g = invert_matrix("L", both.G_lower(), both.n());
    if (g.failed_at != 0) stop_indefinite("genomic matrix Gw", k, g.failed_at, ped);
    RMAT(k).log_det += g.log_det;
}

// In the place of A11, where a row lies in one piece.
void subtract_inverses(TypedMatrices& both) {
    visit_pairs(both.n(),
                [&](int64_t i, int64_t j) { both.A11(i, j) = both.G(i, j) - both.A11(i, j); });
}

bool is_added(double difference) { return std::abs(difference) > kSmallestAdded; }

void list_differences(const TypedMatrices& both, const ReducedPedigree& ped) {
    page_if(3);
    say_line("        First 250 elements stored form Gw**(-1)");
    say_line("        Row     Col     element");
    int32_t listed = 0;
    for (int32_t i = 1; i <= both.n(); ++i)
        for (int32_t j = 1; j <= i; ++j) {
            if (!is_added(both.A11(i, j))) continue;
            say_row("%11d%8d%16.7g", ped.G_MAT_CN(i), ped.G_MAT_CN(j), both.A11(i, j));
            if (++listed == kListed) return;
        }
}

// The rows of the inverse of H: those of the inverse of A, merged with the differences.
class BlendedRows {
 public:
    BlendedRows(const TypedMatrices& differences, const ReducedPedigree& ped, int32_t n_levels)
        : differences_(differences), ped_(ped) {
        check_allocated(typed_.allocate(n_levels), kRoutine, "G_MAT_CN", n_levels);
        for (int32_t t = 1; t <= ped.n_typed(); ++t) typed_(ped.G_MAT_CN(t)) = t;
    }

    std::span<const SparseElement> operator()(int32_t level) {
        const std::span<const SparseElement> of_a = a_inverse_row(level);
        if (const int32_t t = typed_(level); t != 0) merge(of_a, t);
        const std::span<const SparseElement> row = typed_(level) != 0 ? merged_ : of_a;
        n_rows_ += row.empty() ? 0 : 1;
        return row;
    }

    int32_t n_rows() const { return n_rows_; }

 private:
    // Levels rise along the list, but fall where the equations are numbered from the top; then the
    // lower levels are those of the animals after t.
    void merge(std::span<const SparseElement> of_a, int32_t t) {
        merged_.clear();
        auto next = of_a.begin();
        const auto add = [&](int32_t u, double difference) {
            if (!is_added(difference)) return;
            const int32_t column = ped_.G_MAT_CN(u);
            while (next != of_a.end() && next->column < column) merged_.push_back(*next++);
            const bool both = next != of_a.end() && next->column == column;
            merged_.push_back({column, both ? (next++)->value + difference : difference});
        };
        const int32_t n = ped_.n_typed();
        if (ped_.G_MAT_CN(1) <= ped_.G_MAT_CN(n))
            for (int32_t u = 1; u <= t; ++u) add(u, differences_.A11(t, u));
        else
            for (int32_t u = n; u >= t; --u) add(u, differences_.A11(u, t));
        merged_.insert(merged_.end(), next, of_a.end());
    }

    const TypedMatrices& differences_;
    const ReducedPedigree& ped_;
    Vec<int32_t> typed_;  // by level, 0 none
    std::vector<SparseElement> merged_;
    int32_t n_rows_ = 0;
};

void write_rows(int32_t k, const TypedMatrices& differences, const ReducedPedigree& ped) {
    const int32_t n_levels = FACTORS.NRALEV(k);
    BlendedRows rows(differences, ped, n_levels);
    write_matrix_file(k, n_levels, MatrixFile::PGMIX,
                      [&rows](int32_t level) { return rows(level); });
    RMAT(k).n_ainv_rows = rows.n_rows();
}

void allocate_typed_matrices(TypedMatrices& both, int64_t n) {
    check_allocated(both.all.allocate(n + 1, n), kRoutine, "A11", (n + 1) * n);
}

}  // namespace

void write_blended_inverse(int32_t k, BlendedCounts counts) {
    require_pgmix(k);
    ReducedPedigree ped;
    TypedMatrices both;
    allocate_reduced_pedigree(ped, counts);
    allocate_typed_matrices(both, counts.N_TYPED);
    // Opened before the long work begins: a file that is missing is told at once.
    BlendedGenomicFile genomic{.factor = k};
    open_blended_genomic(genomic);
    number_reduced_pedigree(k, ped);
    require_blended_genomic(genomic);
    fill_a11(ped, both);
    const RMatrix& r = RMAT(k);
    const Means means = r.pgmix_g_adjust ? means_of_a11(both) : Means{};
    const Inversion a11 = invert_a11(genomic, ped, both);
    if (r.pgmix_g_adjust) adjust_g(both, means);
    if (r.pgmix_weight > 0.0) blend_g(ped, both, r.pgmix_weight);
    invert_g(k, a11, both, ped);
    subtract_inverses(both);
    if (DIRECTIVES.ITEST > 1) list_differences(both, ped);
    write_rows(k, both, ped);
}

}  // namespace kve
