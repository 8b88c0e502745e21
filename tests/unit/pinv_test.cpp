#include "covariances/pinv.h"

#include "testing.h"

using namespace kve;

namespace {

constexpr double kTol = 1.0e-18;
constexpr double kBendable = 1.0e-12;

Triangle<double> triangle(int64_t order, const std::vector<double>& rows) {
    Triangle<double> a;
    EXPECT_EQ(a.allocate(order), 0);
    EXPECT_EQ(static_cast<std::size_t>(a.size()), rows.size());
    std::copy(rows.begin(), rows.end(), a.data());
    return a;
}

// The product of full matrices, given by their elements.
Matrix<double> product(int64_t n, const auto& x, const auto& y) {
    Matrix<double> xy;
    EXPECT_EQ(xy.allocate(n, n), 0);
    for (int64_t i = 1; i <= n; ++i)
        for (int64_t j = 1; j <= n; ++j)
            for (int64_t k = 1; k <= n; ++k) xy(i, j) += x(i, k) * y(k, j);
    return xy;
}

}  // namespace

// Of L L', where a lower triangular L with `rank` columns gives rank and determinant.
TEST(Pinv, InverseOfMooreAndPenroseWithSolutionAndDeterminant) {
    std::mt19937 random(11);
    std::normal_distribution<double> normal;
    for (auto [n, rank] : {std::pair{1, 1}, {2, 2}, {5, 5}, {9, 9}, {6, 3}}) {
        Matrix<double> l, transposed;
        ASSERT_EQ(l.allocate(n, n) + transposed.allocate(n, n), 0);
        double determinant = 1.0;
        for (int64_t i = 1; i <= n; ++i) {
            for (int64_t k = 1; k <= std::min<int64_t>(i, rank); ++k)
                l(i, k) = transposed(k, i) = normal(random) + (i == k ? 3.0 : 0.0);
            determinant *= l(i, i) * l(i, i);
        }
        const Matrix<double> a = product(n, l, transposed);
        Triangle<double> inverse;
        Vec<double> b;
        ASSERT_EQ(inverse.allocate(n) + b.allocate(n), 0);
        // B = A x with x = 1, 2, 3, ...
        for (int64_t i = 1; i <= n; ++i)
            for (int64_t j = 1; j <= n; ++j) {
                inverse(i, j) = a(i, j);
                b(i) += a(i, j) * static_cast<double>(j);
            }
        const bool regular = rank == n;
        const PinvResult found =
            PINV(inverse, regular ? kInverseAndSolve : kInverse, 1e-10, 0.0, &b);
        EXPECT_EQ(found.RANK, rank);
        // A A- A = A, and A A- is symmetric.
        const Matrix<double> projection = product(n, a, inverse), back = product(n, projection, a);
        for (int64_t i = 1; i <= n; ++i)
            for (int64_t j = 1; j <= n; ++j) {
                EXPECT_NEAR(back(i, j), a(i, j), 1e-9);
                EXPECT_NEAR(projection(i, j), projection(j, i), 1e-9);
            }
        if (!regular) continue;
        for (int64_t i = 1; i <= n; ++i) EXPECT_NEAR(b(i), static_cast<double>(i), 1e-8);
        EXPECT_NEAR(found.DET / determinant, 1.0, 1e-9);
    }
    Triangle<double> large = triangle(1, {1e20});
    PINV(large, kInverse, kTol, 0.0);
    EXPECT_DOUBLE_EQ(large(1, 1), 1e-20);
}

// A correlation of 1 + x gives the eigenvalues -x and 2 + x.
TEST(Pinv, BendsWhatIsNotDefiniteDownToTheLimitAndNotBelow) {
    const struct {
        double variance_1, covariance, variance_2;
        bool bent;
        double EMIN, kept;  // the covariance that comes back
    } cases[] = {{4, 6, 9, true, 0, 6},
                 {1, 1 + 1e-13, 1, true, -1e-13, 1},
                 {1, 1 + 1e-11, 1, false, -1e-11, 1 + 1e-11},
                 {4, 6, 1, false, -2, 6},     // of the correlation scale
                 {1, 1e-16, 1, false, 1, 0},  // below the smallest size of an element
                 {1e8, 1e-3, 1e4, false, 1 - 1e-9, 1e-3},
                 {1e-9, 5e-10, 1e-9, false, 0.5, 5e-10},
                 {0, 0, 0, false, 0, 0}};  // all eigenvalues equal their mean
    for (const auto& c : cases) {
        Triangle<double> a = triangle(2, {c.variance_1, c.covariance, c.variance_2});
        const PinvResult found = PINV(a, kBend, kTol, kBendable);
        EXPECT_EQ(found.bent, c.bent) << c.covariance;
        EXPECT_NEAR(found.EMIN, c.EMIN, 2e-15) << c.covariance;
        EXPECT_EQ(found.EVAL(1) == 1.1 * kTol, c.bent) << c.covariance;
        const double squares = c.variance_1 * c.variance_2, scale = std::sqrt(squares);
        EXPECT_NEAR(found.DET, squares - c.covariance * c.covariance, 1e-12 * squares);
        EXPECT_NEAR(a(1, 1), c.variance_1, 1e-14 * c.variance_1) << c.covariance;
        EXPECT_NEAR(a(2, 1), c.kept, c.kept != 0.0 ? 1e-14 * scale : 0.0) << c.covariance;
    }
}

TEST(Pinv, NothingAndWhatIsNotFinite) {
    Triangle<double> empty;
    ASSERT_EQ(empty.allocate(0), 0);
    const PinvResult found = PINV(empty, kBend, kTol, kBendable);
    EXPECT_TRUE(found.DET == 1.0 && found.RANK == 0);
    EXPECT_EQ(found.EMIN, std::numeric_limits<double>::max());
    // What is not finite shows in the smallest eigenvalue.
    const double infinite = std::numeric_limits<double>::infinity();
    for (double odd : {std::nan(""), infinite, -infinite})
        for (int32_t code : {int32_t{kInverse}, int32_t{kBend}}) {
            Triangle<double> a = triangle(2, {1.0, odd, 1.0}), b = triangle(2, {odd, 0.0, 1.0});
            EXPECT_TRUE(std::isnan(PINV(a, code, kTol, kBendable).EMIN));
            EXPECT_TRUE(std::isnan(PINV(b, code, kTol, kBendable).EMIN));
        }
}

TEST(Pinv, FitOfRankKeepsTheLargestEigenvalues) {
    // Eigenvalues 1 + 2r and twice 1 - r with r = 0.5; there is no fit of rank 0 or 4.
    for (int32_t rank : {1, 0, 4}) {
        Triangle<double> a = triangle(3, {1.0, 0.5, 1.0, 0.5, 0.5, 1.0});
        const PinvResult found = PINV(a, kRankFitOf + rank, kTol, 0.0);
        EXPECT_EQ(found.INFO, kRankFit);
        EXPECT_EQ(found.EMIN == 1.1 * kTol, rank == 1);
        for (int64_t i = 1; i <= 3; ++i)
            for (int64_t j = 1; j <= i; ++j)
                EXPECT_NEAR(a(i, j), rank == 1 ? 2.0 / 3.0 : i == j ? 1.0 : 0.5, 1e-12) << rank;
    }
}

TEST(Pinv, ListedFitReplacesEigenvaluesBelowTheToleranceAndOtherCodesAreRefused) {
    Triangle<double> a = triangle(2, {1.0, 1.5, 1.0});  // eigenvalues -0.5 and 2.5
    testing::internal::CaptureStdout();
    PINV(a, kListedRankFit, kTol, 0.25);
    const std::string listing = testing::internal::GetCapturedStdout();
    for (const char* words : {"eigenvalues and -vectors", "-0.5"})
        EXPECT_NE(listing.find(words), listing.npos);
    // With 0.25 and 2.5 the diagonal is their mean, the covariance half their difference.
    EXPECT_NEAR(a(1, 1), 1.375, 1e-12);
    EXPECT_NEAR(a(2, 1), 1.125, 1e-12);
    for (int32_t code : {-1, 2, 8, 7999})
        EXPECT_STOP(PINV(a, code, kTol, 0.0), "PINV called with illegal argument for INFO");
}
