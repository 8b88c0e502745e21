// From levels entered into the trees to level counts and places of equations.
#include "data/equation_numbers.h"

#include <algorithm>
#include <limits>

#include "data/factors.h"
#include "data/level_code.h"
#include "data/level_counts.h"
#include "data/residual_groups.h"
#include "model/covariance_structure.h"
#include "model_builder.h"
#include "stops.h"

using namespace kve;

WRITES(KVEINT);
WRITES(MODEL);
WRITES(RMAT);
WRITES(FACTORS);
WRITES(IFL);
WRITES(NMFL);

namespace {

class EquationNumbers : public ModelTest {
 protected:
    void build(const std::vector<Submodel>& traits) {
        build_model(traits);
        derive_covariance_structure();
        for (Model& m : MODEL) {
            for (int32_t j = 1; j <= m.n_fixed; ++j) m.f_intercept(j) = m.intercept(j);
            KVEINT.MAX_N_FIXED = std::max(KVEINT.MAX_N_FIXED, m.n_fixed);
            KVEINT.MAX_N_REG = std::max(KVEINT.MAX_N_REG, m.n_reg);
        }
        allocate_tables();
        allocate_factors();
    }

    static void enter(int32_t& root, const std::vector<int>& keys) {
        for (int key : keys) enter_level(key, root, 1, IFL, NMFL);
    }

    static Numbers column(const Matrix<int32_t>& table, int32_t j) {
        Numbers all;
        for (int32_t i = 1; i <= table.rows(); ++i) all.push_back(table(i, j));
        return all;
    }

    // Two traits on two matrices; the first has general, nested and random regressions.
    void build_two_traits() {
        const Submodel first{{1, 2, 3, 4}, {1, 2}, {{5, 0}, {6, 1}, {7, 3}, {8, 3}}, {}, {2}};
        const Submodel second{{1, 3}, {1}, {{5, 0}, {7, 2}}};
        build({first, second});
        enter(FACTORS.ROOT_EF(1, 1), {30, 10, 20});
        enter(FACTORS.ROOT_EF(1, 2), {1, 2});
        enter(FACTORS.ROOT_EF(2, 1), {4, 3, 2, 1});
        FACTORS.NRALEV(1) = 10;
        FACTORS.NRALEV(2) = 5;
    }
};

}  // namespace

TEST_F(EquationNumbers, OfRegressionsThenFixedEffectsThenRandomFactors) {
    build_two_traits();
    number_equations();
    EXPECT_EQ(RMAT(1).rank, 5);
    // 2 general regressions, 3 nested ones, 3 + 4 fixed levels: 12 equations before the factors.
    EXPECT_EQ(column(FACTORS.NBEGREG, 1), (Numbers{0, 1}));
    EXPECT_EQ(column(FACTORS.NBEGREG, 2), (Numbers{2, 16}));
    EXPECT_EQ(FACTORS.NBEGREG(1, 3), 13);
    EXPECT_EQ(FACTORS.NBEGREG(1, 4), 14);
    EXPECT_EQ(column(FACTORS.NLEV, 1), (Numbers{3, 4}));
    EXPECT_EQ(column(FACTORS.NLEV, 2), (Numbers{2, 0}));
    EXPECT_EQ(column(FACTORS.NBEGF, 1), (Numbers{5, 8}));
    EXPECT_EQ(column(FACTORS.NBEGF, 2), (Numbers{5, 0}));  // without intercept
    EXPECT_EQ(numbers_of(FACTORS.NBEGRA), (Numbers{12, 62, 55}));
    EXPECT_EQ(column(FACTORS.NBEGRAT, 1), (Numbers{12, 15}));
    EXPECT_EQ(FACTORS.NBEGRAT(1, 2), 62);
    EXPECT_EQ(numbers_of(MODEL(1).reg_r_number), (Numbers{0, 0, 2, 3}));
    EXPECT_EQ(numbers_of(MODEL(2).reg_r_number), (Numbers{0, 2}));
    EXPECT_EQ(numbers_of(MODEL(1).reg_n_rci), (Numbers{0, 1, 0, 0}));
    EXPECT_EQ(IFL(FACTORS.HEAD_EF(1, 1)).key, 10);
}

TEST_F(EquationNumbers, RandomRegressionWithoutInterceptIsTheFirstCoefficient) {
    build({{{1, 2}, {1}, {{3, 2}, {4, 2}}, {}, {2}}});
    FACTORS.NRALEV(1) = 2;
    number_equations();
    EXPECT_EQ(numbers_of(MODEL(1).reg_r_number), (Numbers{1, 2}));
    EXPECT_EQ(numbers_of(FACTORS.NBEGRA), (Numbers{0, 4}));
}

TEST_F(EquationNumbers, WithoutRandomFactorsOneEntryStands) {
    build({{{1}, {}}});
    enter(FACTORS.ROOT_EF(1, 1), {5, 6});
    number_equations();
    EXPECT_EQ(numbers_of(FACTORS.NBEGRA), (Numbers{0}));
    EXPECT_EQ(FACTORS.NLEV(1, 1), 2);
}

TEST_F(EquationNumbers, StopWhenTheyPass32Bits) {
    constexpr const char* words =
        "ERROR - Too many equations, the equation numbers pass 2147483647\nProgram terminates\n";
    constexpr int32_t most = std::numeric_limits<int32_t>::max();
    build_two_traits();
    FACTORS.NRALEV(2) = most - 50 - 12;
    number_equations();
    EXPECT_EQ(FACTORS.NBEGRA(3), most - 12);
    // Each place fits, the last equation does not.
    ++FACTORS.NRALEV(2);
    EXPECT_STOP(number_equations(), words);
    FACTORS.NRALEV(1) = most;
    EXPECT_STOP(number_equations(), words);
}

TEST_F(EquationNumbers, OneLevelFactorTakesALevelPerRandomRegression) {
    build({{{1, 2, 3}, {1, 2}, {{4, 2}, {5, 2}}}, {{2}, {1}, {{4, 1}}}});
    enter(FACTORS.ITOPR(1), {7});
    enter(FACTORS.ITOPR(2), {9});
    sort_level_lists();
    count_one_level_factors();
    EXPECT_EQ(numbers_of(FACTORS.NRALEV), (Numbers{3, 1}));
    int32_t row = FACTORS.ITOPRS(1);
    for (auto [key, level, n_obs] : {std::array{1, 1, 0}, {2, 2, 0}, {7, 3, 1}}) {
        EXPECT_EQ(IFL(row).key, key);
        EXPECT_EQ(IFL(row).level, level);
        EXPECT_EQ(IFL(row).n_obs, n_obs);
        row = IFL(row).next;
    }
    EXPECT_EQ(row, 0);
}

TEST_F(EquationNumbers, ResidualGroupsStandInOrderOfTheirCodes) {
    build({{{1}, {}}});
    RMatrix& residual = RMAT(1);
    for (int n = 0; n < 10; ++n) enter(FACTORS.ROOT_GRP, {5, 2, 5, 9, 5});
    count_residual_groups();
    EXPECT_EQ(residual.grp_nlev, 1);
    residual.type = "GROUP";
    count_residual_groups();
    EXPECT_EQ(residual.grp_nlev, 3);
    RMAT_ALLOC6(residual);
    listing_of(report_residual_groups);
    EXPECT_EQ(numbers_of(residual.grp_code), (Numbers{2, 5, 9}));
    EXPECT_EQ(numbers_of(residual.niegr), (Numbers{10, 30, 10}));
}
