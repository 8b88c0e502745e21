// From levels entered into the trees to level counts and places of equations.
#include "data/equation_numbers.h"

#include <algorithm>
#include <limits>

#include "data/factors.h"
#include "data/level_code.h"
#include "data/level_counts.h"
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

    // Row after row.
    static Numbers all_of(const Matrix<int32_t>& table) {
        Numbers all;
        for (int32_t i = 1; i <= table.rows(); ++i)
            for (int32_t j = 1; j <= table.columns(); ++j) all.push_back(table(i, j));
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
    EXPECT_EQ(all_of(FACTORS.NBEGREG), (Numbers{0, 2, 13, 14, 1, 16, 0, 0}));
    EXPECT_EQ(all_of(FACTORS.NLEV), (Numbers{3, 2, 4, 0}));
    EXPECT_EQ(all_of(FACTORS.NBEGF), (Numbers{5, 5, 8, 0})) << "the second without intercept";
    EXPECT_EQ(numbers_of(FACTORS.NBEGRA), (Numbers{12, 62, 55}));
    EXPECT_EQ(all_of(FACTORS.NBEGRAT), (Numbers{12, 62, 15, 0}));
    expect_fields({"MODEL(1): reg_n_rci 0 1 0 0; reg_r_number 0 0 2 3",
                   "MODEL(2): reg_n_rci 0 0; reg_r_number 0 2"});
    EXPECT_EQ(IFL(FACTORS.HEAD_EF(1, 1)).key, 10);
}

TEST_F(EquationNumbers, RandomRegressionWithoutInterceptIsTheFirstCoefficient) {
    build({{{1, 2}, {1}, {{3, 2}, {4, 2}}, {}, {2}}});
    FACTORS.NRALEV(1) = 2;
    number_equations();
    EXPECT_EQ(numbers_of(MODEL(1).reg_r_number), (Numbers{1, 2}));
    EXPECT_EQ(numbers_of(FACTORS.NBEGRA), (Numbers{0, 4}));
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
    Numbers levels;
    for (int32_t row = FACTORS.ITOPRS(1); row != 0; row = IFL(row).next)
        levels.insert(levels.end(), {IFL(row).key, IFL(row).level, IFL(row).n_obs});
    EXPECT_EQ(levels, (Numbers{1, 1, 0, 2, 2, 0, 7, 3, 1}));
}
