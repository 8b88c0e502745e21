// From levels entered into the trees to level counts and places of equations.
#include "data/equation_numbers.h"

#include "data/level_counts.h"
#include "data/recoded_data.h"
#include "data/record_positions.h"
#include "model_builder.h"
#include "store/level_code.h"
#include "store/work_tables.h"

using namespace kve;

using state::KVEINT, state::MODEL, state::RMAT, state::FACTORS, state::IFL, state::NMFL;

namespace {

class EquationNumbers : public ModelTest {
 protected:
    void build(const std::vector<Submodel>& traits) {
        derive_model(traits);
        allocate_tables();
        allocate_factors();
    }

    static void enter(int32_t& root, const std::vector<int>& keys) {
        for (int key : keys) enter_level(key, root, 1, IFL, NMFL);
    }

    // Column after column.
    static Numbers all_of(const Matrix<int32_t>& table) {
        return {table.data(), table.data() + table.size()};
    }

    // Two traits on two matrices; the first has general, nested and random regressions.
    void build_two_traits() {
        const Submodel first{"4 1 2(0) 3 4", "2 1 2", "4 5 6(1) 7(3) 8(3)"};
        const Submodel second{"2 1 3", "1 1", "2 5 7(2)"};
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
    EXPECT_EQ(all_of(FACTORS.NBEGREG), (Numbers{0, 1, 2, 16, 13, 0, 14, 0}));
    EXPECT_EQ(all_of(FACTORS.NLEV), (Numbers{3, 4, 2, 0}));
    EXPECT_EQ(all_of(FACTORS.NBEGF), (Numbers{5, 8, 5, 0})) << "the second without intercept";
    EXPECT_EQ(numbers_of(FACTORS.NBEGRA), (Numbers{12, 62, 55}));
    EXPECT_EQ(all_of(FACTORS.NBEGRAT), (Numbers{12, 15, 62, 0}));
    expect_fields({"MODEL(1): reg_n_rci 0 1 0 0; reg_r_number 0 0 2 3",
                   "MODEL(2): reg_n_rci 0 0; reg_r_number 0 2"});
    EXPECT_EQ(IFL(FACTORS.HEAD_EF(1, 1)).key, 10);
}

TEST_F(EquationNumbers, RandomRegressionWithoutInterceptIsTheFirstCoefficient) {
    build({{"2 1 2(0)", "1 1", "2 3(2) 4(2)"}});
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
    build({{"4 1 2 3 4", "3 1 2 3", "3 4(2) 5(2) 4(4)"}, {"1 2", "1 1", "1 4(1)"}});
    enter(FACTORS.ITOPR(1), {7});
    enter(FACTORS.ITOPR(2), {9});     // without a regression
    enter(FACTORS.ITOPR(3), {8, 9});  // with two levels
    sort_level_lists();
    count_one_level_factors();
    EXPECT_EQ(numbers_of(FACTORS.NRALEV), (Numbers{3, 1, 2}));
    Numbers levels;
    for (int32_t row = FACTORS.ITOPRS(1); row != 0; row = IFL(row).next)
        levels.insert(levels.end(), {IFL(row).key, IFL(row).level, IFL(row).n_obs});
    EXPECT_EQ(levels, (Numbers{1, 1, 0, 2, 2, 0, 7, 3, 1}));
}

// Trait 1 has one absorbed, two fixed and two random effects, one of them without a column, and
// nested regressions; trait 2 one fixed and one random effect.
TEST_F(ModelTest, EveryListOfRecordPositionsMovesOnce) {
    derive_model({{"4 1 2 3 4(0)", "2 1 1", "2 5(2) 6(3)"}, {"2 1 5", "1 1"}});
    KVEINT.MAX_N_ABSORB = 1;
    RMAT(2).structure = Structure::GROUP;
    place_effects_in_record();
    EXPECT_EQ(state::RECODED.n_fixed_positions, 3);
    // The place of a regression in a fixed effect is set with the equation numbers.
    expect_fields({"MODEL(1): ef_rci 2 3 5 0; f_ef_rci 2 3; r_ef_rci 5 0; reg_n_rci 0 5",
                   "MODEL(2): ef_rci 4 6; f_ef_rci 4; r_ef_rci 6",
                   "RMAT(1): grp_rci 0; cont_eff_rci 5 5 6; t_r_id_rci 5 0 6; r_id_rci 5 6",
                   "RMAT(2): grp_rci 7"});
}
