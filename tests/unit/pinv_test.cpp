#include "data/pinv.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <vector>

#include "stops.h"

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

// L L' of a random L with `rank` columns.
Triangle<double> random_matrix(int64_t order, int64_t rank, unsigned seed) {
    std::mt19937 random(seed);
    std::normal_distribution<double> normal;
    std::vector<double> l(static_cast<std::size_t>(order * rank));
    for (double& x : l) x = normal(random);
    Triangle<double> a;
    EXPECT_EQ(a.allocate(order), 0);
    for (int64_t i = 1; i <= order; ++i)
        for (int64_t j = 1; j <= i; ++j)
            for (int64_t k = 0; k < rank; ++k)
                a(i, j) += l[static_cast<std::size_t>((i - 1) * rank + k)] *
                           l[static_cast<std::size_t>((j - 1) * rank + k)];
    return a;
}

Triangle<double> copy(const Triangle<double>& a) {
    return triangle(a.order(), std::vector<double>(a.data(), a.data() + a.size()));
}

// The full product of two symmetric matrices.
Matrix<double> product(const Triangle<double>& x, const Triangle<double>& y) {
    const int64_t n = x.order();
    Matrix<double> xy;
    EXPECT_EQ(xy.allocate(n, n), 0);
    for (int64_t i = 1; i <= n; ++i)
        for (int64_t j = 1; j <= n; ++j)
            for (int64_t k = 1; k <= n; ++k) xy(i, j) += x(i, k) * y(k, j);
    return xy;
}

// Determinant by elimination with the largest pivot of each column.
double determinant(const Triangle<double>& a) {
    const int64_t n = a.order();
    std::vector<std::vector<double>> m;
    for (int64_t i = 1; i <= n; ++i) {
        m.emplace_back();
        for (int64_t j = 1; j <= n; ++j) m.back().push_back(a(i, j));
    }
    double det = 1.0;
    for (std::size_t k = 0; k < m.size(); ++k) {
        std::size_t p = k;
        for (std::size_t i = k; i < m.size(); ++i)
            if (std::abs(m[i][k]) > std::abs(m[p][k])) p = i;
        if (p != k) std::swap(m[p], m[k]), det = -det;
        det *= m[k][k];
        for (std::size_t i = k + 1; i < m.size(); ++i)
            for (std::size_t j = m.size(); j-- > k;) m[i][j] -= m[i][k] / m[k][k] * m[k][j];
    }
    return det;
}

}  // namespace

TEST(Pinv, InverseAndSolutionOfRegularMatrices) {
    for (int64_t n : {1, 2, 5, 9}) {
        const Triangle<double> a = random_matrix(n, n + 3, 11);
        Triangle<double> inverse = copy(a);
        Vec<double> b;
        ASSERT_EQ(b.allocate(n), 0);
        // B = A x with x = 1, 2, 3, ...
        for (int64_t i = 1; i <= n; ++i)
            for (int64_t j = 1; j <= n; ++j) b(i) += a(i, j) * static_cast<double>(j);
        const PinvResult found = PINV(inverse, kInverseAndSolve, kTol, 0.0, &b);
        const Matrix<double> unit = product(a, inverse);
        for (int64_t i = 1; i <= n; ++i) {
            EXPECT_NEAR(b(i), static_cast<double>(i), 1e-8);
            for (int64_t j = 1; j <= n; ++j) EXPECT_NEAR(unit(i, j), i == j ? 1.0 : 0.0, 1e-9);
        }
        EXPECT_EQ(found.RANK, n);
        EXPECT_NEAR(found.DET / determinant(a), 1.0, 1e-9);
    }
}

TEST(Pinv, GeneralizedInverseOfSingularMatrix) {
    const Triangle<double> a = random_matrix(6, 3, 5);
    Triangle<double> inverse = copy(a);
    const PinvResult found = PINV(inverse, kInverse, 1e-10, 0.0);
    EXPECT_EQ(found.RANK, 3);
    // A A- A = A, and A A- is symmetric: the inverse of Moore and Penrose.
    const Matrix<double> projection = product(a, inverse);
    for (int64_t i = 1; i <= 6; ++i)
        for (int64_t j = 1; j <= 6; ++j) {
            double back = 0.0;
            for (int64_t k = 1; k <= 6; ++k) back += projection(i, k) * a(k, j);
            EXPECT_NEAR(back, a(i, j), 1e-9);
            EXPECT_NEAR(projection(i, j), projection(j, i), 1e-9);
        }
}

TEST(Pinv, AVeryLargeVarianceKeepsItsInverse) {
    Triangle<double> a = triangle(1, {1e20});
    PINV(a, kInverse, kTol, 0.0);
    EXPECT_DOUBLE_EQ(a(1, 1), 1e-20);
}

TEST(Pinv, ASingularMatrixIsBentKeepingItsVariances) {
    Triangle<double> a = triangle(2, {4.0, 6.0, 9.0});  // correlation 1
    PinvResult found = PINV(a, kBend, kTol, kBendable);
    EXPECT_TRUE(found.bent);
    EXPECT_NEAR(found.EMIN, 0.0, 1e-15);
    EXPECT_DOUBLE_EQ(found.EVAL(1), 1.1e-18);
    EXPECT_NEAR(found.EVAL(2), 2.0, 1e-14);
    EXPECT_NEAR(a(1, 1), 4.0, 1e-13);
    EXPECT_NEAR(a(2, 1), 6.0, 1e-13);
    EXPECT_NEAR(a(2, 2), 9.0, 1e-13);
}

// A correlation of 1 + x gives the eigenvalues -x and 2 + x.
TEST(Pinv, BendsDownToTheLimitAndNotBelow) {
    Triangle<double> bendable = triangle(2, {1.0, 1.0 + 1e-13, 1.0});
    PinvResult found = PINV(bendable, kBend, kTol, kBendable);
    EXPECT_TRUE(found.bent);
    EXPECT_NEAR(found.EMIN, -1e-13, 1e-15);
    EXPECT_NEAR(found.EVAL(1) + found.EVAL(2), 2.0, 1e-14);
    EXPECT_LE(bendable(2, 1), 1.0);

    Triangle<double> indefinite = triangle(2, {1.0, 1.0 + 1e-11, 1.0});
    found = PINV(indefinite, kBend, kTol, kBendable);
    EXPECT_FALSE(found.bent);
    EXPECT_NEAR(found.EMIN, -1e-11, 1e-15);
    EXPECT_EQ(indefinite(2, 1), 1.0 + 1e-11);

    // Correlation 3: the eigenvalue told is that of the correlation scale.
    Triangle<double> absurd = triangle(2, {4.0, 6.0, 1.0});
    EXPECT_NEAR(PINV(absurd, kBend, kTol, kBendable).EMIN, -2.0, 1e-14);
}

TEST(Pinv, OnlyTheSizeOfARebuiltElementDecidesWhetherItIsZero) {
    Triangle<double> a = triangle(2, {1.0, 1e-16, 1.0});
    EXPECT_FALSE(PINV(a, kBend, kTol, kBendable).bent);
    EXPECT_EQ(a(2, 1), 0.0);
    Triangle<double> large = triangle(2, {1e8, 1e-3, 1e4});
    PINV(large, kBend, kTol, kBendable);
    EXPECT_NEAR(large(2, 1), 1e-3, 1e-8);
    Triangle<double> tiny = triangle(2, {1e-9, 5e-10, 1e-9});
    PINV(tiny, kBend, kTol, kBendable);
    EXPECT_NEAR(tiny(2, 1), 5e-10, 1e-24);
}

TEST(Pinv, NothingToBend) {
    Triangle<double> empty;
    ASSERT_EQ(empty.allocate(0), 0);
    PinvResult found = PINV(empty, kBend, kTol, kBendable);
    EXPECT_EQ(found.DET, 1.0);
    EXPECT_EQ(found.RANK, 0);
    EXPECT_EQ(found.EMIN, std::numeric_limits<double>::max());

    Triangle<double> one = triangle(1, {9.0});
    found = PINV(one, kBend, kTol, kBendable);
    EXPECT_FALSE(found.bent);
    EXPECT_EQ(found.RANK, 1);
    EXPECT_DOUBLE_EQ(found.DET, 9.0);
    EXPECT_DOUBLE_EQ(one(1, 1), 9.0);

    Triangle<double> zeros = triangle(2, {0.0, 0.0, 0.0});  // all eigenvalues equal their mean
    EXPECT_FALSE(PINV(zeros, kBend, kTol, kBendable).bent);
}

TEST(Pinv, WhatIsNotFiniteShowsInTheSmallestEigenvalue) {
    const double none = std::nan("");
    const double infinite = std::numeric_limits<double>::infinity();
    for (double odd : {none, infinite, -infinite})
        for (int32_t code : {int32_t{kInverse}, int32_t{kBend}}) {
            Triangle<double> a = triangle(2, {1.0, odd, 1.0});
            EXPECT_TRUE(std::isnan(PINV(a, code, kTol, kBendable).EMIN));
            Triangle<double> b = triangle(2, {odd, 0.0, 1.0});
            EXPECT_TRUE(std::isnan(PINV(b, code, kTol, kBendable).EMIN));
        }
}

TEST(Pinv, FitOfRankKeepsTheLargestEigenvalues) {
    // Eigenvalues 1 + 2r and twice 1 - r with r = 0.5.
    Triangle<double> a = triangle(3, {1.0, 0.5, 1.0, 0.5, 0.5, 1.0});
    PinvResult found = PINV(a, kRankFitOf + 1, kTol, 0.0);
    EXPECT_EQ(found.INFO, kRankFit);
    EXPECT_EQ(found.EMIN, 1.1 * kTol);
    for (int64_t i = 1; i <= 3; ++i)
        for (int64_t j = 1; j <= i; ++j) EXPECT_NEAR(a(i, j), 2.0 / 3.0, 1e-12);

    for (int32_t no_rank : {0, 4}) {
        Triangle<double> kept = triangle(3, {1.0, 0.5, 1.0, 0.5, 0.5, 1.0});
        PINV(kept, kRankFitOf + no_rank, kTol, 0.0);
        EXPECT_NEAR(kept(2, 1), 0.5, 1e-12);
    }
}

TEST(Pinv, ListedFitReplacesEigenvaluesBelowTheTolerance) {
    Triangle<double> a = triangle(2, {1.0, 1.5, 1.0});  // eigenvalues -0.5 and 2.5
    testing::internal::CaptureStdout();
    PINV(a, kListedRankFit, kTol, 0.25);
    const std::string listing = testing::internal::GetCapturedStdout();
    EXPECT_NE(listing.find("eigenvalues and -vectors"), std::string::npos);
    EXPECT_NE(listing.find("-0.5"), std::string::npos);
    // With 0.25 and 2.5 the diagonal is their mean, the covariance half their difference.
    EXPECT_NEAR(a(1, 1), 1.375, 1e-12);
    EXPECT_NEAR(a(2, 1), 1.125, 1e-12);
}

TEST(Pinv, RefusesOtherCodes) {
    for (int32_t code : {-1, 2, 8, 7999})
        EXPECT_STOP(
            {
                Triangle<double> a = triangle(1, {1.0});
                PINV(a, code, kTol, 0.0);
            },
            "Subroutine PINV called with illegal argument for INFO");
}
