#include "covariances/pinv.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <string>
#include <string_view>
#include <utility>

#include "base/text.h"
#include "covariances/library_workspace.h"
#include "listing/listing.h"
#include "listing/stop.h"

// LAPACK: eigenvalues (ascending) and vectors of a packed symmetric matrix.
extern "C" void dspev_(const char* jobz, const char* uplo, const int* n, double* ap, double* w,
                       double* z, const int* ldz, double* work, int* info, std::size_t jobz_length,
                       std::size_t uplo_length);

namespace kve {
namespace {

constexpr double kLift = 1.1;              // of TOL: where the smallest eigenvalue is lifted to
constexpr double kSmallestKept = 1.0e-15;  // a rebuilt element below it is written as 0
constexpr double kNotANumber = std::numeric_limits<double>::quiet_NaN();

void stop_unless_legal(int32_t INFO) {
    if (INFO == kInverse || INFO == kInverseAndSolve || INFO == kBend || INFO == kListedRankFit ||
        INFO >= kRankFitOf)
        return;
    page_if(6);
    say_line("Subroutine PINV called with illegal argument for INFO : %12d", INFO);
    say_line("Legal arguments are : 0 for invers");
    say_line("                      1 for inversi + solve");
    say_line("                      3 bending of non PD matrix");
    say_line("                      9 reduced rank fit for matrix");
    stop_run("Computation aborted");
}

void allocate(Vec<double>& array, int64_t n, std::string_view label) {
    check_allocated(array.allocate(n), "PINV", label, n);
}

// The standard deviations that bring A to the correlation scale, or 1 where the work is done in
// the scale of A itself. A zero diagonal has no scale.
Vec<double> scale_of(const Triangle<double>& A, int32_t INFO) {
    Vec<double> d;
    allocate(d, A.order(), "D");
    d.fill(1.0);
    if (INFO == kInverse || INFO == kInverseAndSolve) return d;
    for (int64_t i = 1; i <= A.order(); ++i)
        if (A(i, i) != 0.0) d(i) = std::sqrt(std::abs(A(i, i)));
    return d;
}

Triangle<double> scaled_copy(const Triangle<double>& A, const Vec<double>& d) {
    Triangle<double> scaled;
    check_allocated(scaled.allocate(A.order()), "PINV", "AP", A.size());
    for (int64_t j = 1; j <= A.order(); ++j)
        for (int64_t i = 1; i <= j; ++i) scaled(i, j) = A(i, j) / (d(i) * d(j));
    return scaled;
}

bool all_finite(const Triangle<double>& A) {
    return std::all_of(A.data(), A.data() + A.size(), [](double x) { return std::isfinite(x); });
}

// Fills EVAL and EVEC; `A` is used up.
void decompose(Triangle<double>& A, PinvResult& result) {
    const int64_t order = A.order();
    allocate(result.EVAL, order, "EVAL");
    check_allocated(result.EVEC.allocate(order, order), "PINV", "EVEC", order * order);
    if (!all_finite(A)) {
        result.EVAL.fill(kNotANumber);
        return;
    }
    Vec<double> work;
    allocate(work, 3 * order, "WORK");
    find_library_workspace("PINV", 1);
    const int n = static_cast<int>(order);
    int status = 0;
    dspev_("V", "U", &n, A.data(), result.EVAL.data(), result.EVEC.data(), &n, work.data(), &status,
           1, 1);
    if (status == 0) return;
    page_if(2);
    say_line("ERROR IN EISPACK SUBROUTINE RSP, code:%12d", status);
    stop_run("Computations aborted");
}

double determinant(const PinvResult& result, const Vec<double>& d) {
    double product = 1.0;
    for (int64_t i = 1; i <= d.size(); ++i) product *= result.EVAL(i) * d(i) * d(i);
    return product;
}

// Not a number as soon as one eigenvalue is none, which no minimum would show.
double smallest(const Vec<double>& EVAL) {
    double least = std::numeric_limits<double>::max();
    for (double value : EVAL) {
        if (std::isnan(value)) return value;
        least = std::min(least, value);
    }
    return least;
}

// Pulls all eigenvalues towards their mean by one factor, just far enough that the smallest becomes
// kLift TOL; the trace stays the same. False when there is nothing to bend or too much.
bool bend(PinvResult& result, double TOL, double BENDLIM) {
    if (result.EMIN <= -BENDLIM || result.EMIN >= TOL) return false;
    Vec<double>& EVAL = result.EVAL;
    double sum = 0.0;
    for (double value : EVAL) sum += value;
    const double E = sum / static_cast<double>(EVAL.size());
    if (result.EMIN == E) return false;
    const double f = (kLift * TOL - E) / (result.EMIN - E);
    for (double& value : EVAL) value = (value - E) * f + E;
    // Rounding would leave 0 or some 1e-16 of either sign in its place.
    EVAL(1) = kLift * TOL;
    return true;
}

void fit_rank(PinvResult& result, int64_t rank, double TOL) {
    const int64_t n = result.EVAL.size();
    if (rank < 1 || rank > n) return;
    for (int64_t i = 1; i <= n - rank; ++i) result.EVAL(i) = kLift * TOL;
    result.EMIN = kLift * TOL;
}

void list_eigenvalues(const PinvResult& result) {
    say_row("eigenvalues and -vectors");
    for (int64_t k = 1; k <= result.EVAL.size(); ++k) {
        std::string line;
        for (int64_t i = 1; i <= result.EVAL.size(); ++i) append(line, "%16.7g", result.EVEC(i, k));
        say_row("%16.7g  %s", result.EVAL(k), line.c_str());
    }
}

// A = EVEC diag(weight) EVEC'
void compose(const Matrix<double>& EVEC, const Vec<double>& weight, Triangle<double>& A) {
    std::fill_n(A.data(), A.size(), 0.0);
    for (int64_t k = 1; k <= A.order(); ++k) {
        if (weight(k) == 0.0) continue;
        for (int64_t j = 1; j <= A.order(); ++j) {
            const double factor = weight(k) * EVEC(j, k);
            for (int64_t i = 1; i <= j; ++i) A(i, j) += EVEC(i, k) * factor;
        }
    }
}

void invert(const PinvResult& result, double TOL, Triangle<double>& A) {
    Vec<double> weight;
    allocate(weight, A.order(), "WEIGHT");
    for (int64_t k = 1; k <= A.order(); ++k)
        weight(k) = result.EVAL(k) >= TOL ? 1.0 / result.EVAL(k) : 0.0;
    compose(result.EVEC, weight, A);
}

void multiply(const Triangle<double>& A, Vec<double>& B) {
    Vec<double> product;
    allocate(product, A.order(), "B");
    for (int64_t i = 1; i <= A.order(); ++i)
        for (int64_t j = 1; j <= A.order(); ++j) product(i) += A(i, j) * B(j);
    B = std::move(product);
}

// A from its possibly changed eigenvalues, back in its own scale.
void rebuild(const PinvResult& result, const Vec<double>& d, double TOL, Triangle<double>& A) {
    Vec<double> weight;
    allocate(weight, A.order(), "WEIGHT");
    for (int64_t k = 1; k <= A.order(); ++k)
        weight(k) = result.EVAL(k) >= TOL ? result.EVAL(k) : 0.0;
    compose(result.EVEC, weight, A);
    for (int64_t j = 1; j <= A.order(); ++j)
        for (int64_t i = 1; i <= j; ++i) {
            A(i, j) *= d(i) * d(j);
            if (std::abs(A(i, j)) < kSmallestKept) A(i, j) = 0.0;
        }
}

int32_t count_kept(const Vec<double>& EVAL, double TOL) {
    return static_cast<int32_t>(
        std::count_if(EVAL.begin(), EVAL.end(), [TOL](double value) { return value >= TOL; }));
}

// False where a matrix with eigenvalues below TOL stays as it is.
bool bend_if_deficient(PinvResult& result, double TOL, double BENDLIM) {
    if (result.RANK == result.EVAL.size()) return true;
    result.bent = bend(result, TOL, BENDLIM);
    return result.bent;
}

void fit_listed_rank(PinvResult& result, double TOL, double BENDLIM) {
    list_eigenvalues(result);
    for (double& value : result.EVAL)
        if (value < TOL) value = BENDLIM;
}

// Changes the eigenvalues as asked for. False when A is not to be rebuilt from them.
bool change_eigenvalues(PinvResult& result, int32_t INFO, double TOL, double BENDLIM) {
    if (INFO == kBend) return bend_if_deficient(result, TOL, BENDLIM);
    if (INFO == kListedRankFit)
        fit_listed_rank(result, TOL, BENDLIM);
    else
        fit_rank(result, INFO - kRankFitOf, TOL);
    return true;
}

}  // namespace

PinvResult PINV(Triangle<double>& A, int32_t INFO, double TOL, double BENDLIM, Vec<double>* B) {
    stop_unless_legal(INFO);
    PinvResult result;
    result.INFO = INFO >= kRankFitOf ? kRankFit : INFO;
    if (A.order() == 0) return result;

    const Vec<double> d = scale_of(A, INFO);
    Triangle<double> scaled = scaled_copy(A, d);
    decompose(scaled, result);
    result.EMIN = smallest(result.EVAL);
    result.RANK = count_kept(result.EVAL, TOL);
    result.DET = determinant(result, d);
    if (std::isnan(result.EMIN)) return result;

    if (INFO == kInverse || INFO == kInverseAndSolve) {
        invert(result, TOL, A);
        if (INFO == kInverseAndSolve && B != nullptr) multiply(A, *B);
        return result;
    }
    if (!change_eigenvalues(result, INFO, TOL, BENDLIM)) return result;
    rebuild(result, d, TOL, A);
    result.DET = determinant(result, d);
    return result;
}

}  // namespace kve
