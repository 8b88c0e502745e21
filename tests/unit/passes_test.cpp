#include <algorithm>
#include <fstream>
#include <map>
#include <random>

#include "data/factors.h"
#include "data/first_pass.h"
#include "data/intake.h"
#include "data/raw_record.h"
#include "data/usability.h"
#include "model/covariance_structure.h"
#include "model_builder.h"
#include "run/big_tables.h"
#include "run/directives.h"
#include "run/growth.h"
#include "run/units.h"

using namespace kve;
using state::DIMENSIONS, state::DIRECTIVES, state::FACTORS, state::IFL, state::INTAKE,
    state::KVEINT, state::MODEL, state::RECORD, state::RMAT, state::UNITS;

namespace {

constexpr float kMissing = -9.0F;

// Traits 1 and 2 share random matrix 1, read from columns 3 and 4; trait 2 has a covariable twice,
// trait 3 a weight; traits 1 and 3 have absorbed effects.
void build_three_traits() {
    build_model({{.effects = {1, 3}, .matrices = {1}},
                 {.effects = {1, 2, 4}, .matrices = {1}, .regressions = {{6, 0}, {6, 1}, {7, 0}}},
                 {.effects = {2, 5}, .matrices = {2}}});
    MODEL(3).wgt_inp_no = 8;
    for (int32_t i : {1, 3}) {
        MODEL(i).n_absorb = 2;
        allocate_model_level_2(MODEL(i));
        MODEL(i).a_ef_inp(1) = 6;
        MODEL(i).a_ef_inp(2) = 7;
    }
    DIRECTIVES.RMISS = kMissing;
    DIRECTIVES.data_format = kAscii;
    DIRECTIVES.n_data_files = 1;
}

// A record with a fault here and there.
struct Row {
    int32_t i[10] = {1};
    float r[10] = {};
};

Row random_row(std::mt19937& random) {
    Row row;
    for (int c = 1; c <= 9; ++c) {
        row.i[c] = random() % 12 == 0 ? -static_cast<int32_t>(random() % 2)
                                      : 1 + static_cast<int32_t>(random() % 5);
        row.r[c] = random() % 10 == 0 ? kMissing - static_cast<float>(random() % 2)
                                      : static_cast<float>(random() % 7);
    }
    return row;
}

// The rules once more, trait by trait, for the model above.
bool is_usable(const Row& row, int trait, bool second_pass) {
    auto real = [&](int column) { return row.r[column] > kMissing; };
    auto absorbed = [&] { return row.i[6] > 0 && (second_pass || row.i[7] > 0); };
    switch (trait) {
        case 1:
            return real(1) && absorbed() && row.i[1] > 0 && row.i[3] > 0;
        case 2:
            return real(2) && row.i[1] > 0 && row.i[2] > 0 && row.i[4] > 0 && real(6) && real(7);
        default:
            return real(3) && absorbed() && row.i[2] > 0 && row.i[5] > 0 && real(8);
    }
}

void put_under_reader(const Row& row) {
    for (int c = 1; c <= 9; ++c) {
        RECORD.IINP(c) = row.i[c];
        RECORD.FINP(c) = row.r[c];
    }
}

using Counts = std::map<int32_t, int32_t>;
Counts levels_under(int32_t row) {
    if (row == 0) return {};
    Counts all = levels_under(IFL(row).child_0);
    all.merge(levels_under(IFL(row).child_1));
    all[IFL(row).key] = IFL(row).n_obs;
    return all;
}

}  // namespace

using Passes = ModelTest;

TEST_F(Passes, ClassifyByTheSameRulesButForAbsorbedEffects) {
    build_three_traits();
    allocate_record();
    UsabilityPlan first = plan_usability(kFirstPassRules, "TEST");
    UsabilityPlan second = plan_usability(kSecondPassRules, "TEST");
    std::mt19937 random(5);
    for (int n = 0; n < 3000; ++n) {
        Row row = random_row(random);
        put_under_reader(row);
        TraitPattern expected[2] = {0, 0};
        for (int pass : {0, 1})
            for (int i : {1, 2, 3})
                if (is_usable(row, i, pass == 1)) expected[pass] |= trait_bit(3, i);
        TraitPattern present = present_traits(first);
        EXPECT_EQ(usable_traits(first, present), expected[0]);
        EXPECT_EQ(usable_traits(second, present), expected[1]);
    }
}

TEST_F(Passes, OnlyTheFirstPassChecksCensoringCodes) {
    build_model({{.effects = {1}, .matrices = {}}});
    MODEL(1).l_cens = true;
    MODEL(1).cens_inp = 2;
    allocate_record();
    UsabilityPlan first = plan_usability(kFirstPassRules, "TEST");
    UsabilityPlan second = plan_usability(kSecondPassRules, "TEST");
    RECORD.IINP(1) = 1;
    for (int32_t code = -3; code <= 4; ++code) {
        RECORD.IINP(2) = code;
        EXPECT_EQ(usable_traits(first, 1), code >= -1 && code <= 2 ? 1U : 0U) << code;
        EXPECT_EQ(usable_traits(second, 1), 1U);
        EXPECT_EQ(INTAKE.L_INTERVAL, code >= 2) << code;
    }
    INTAKE.L_INTERVAL = false;
    RECORD.IINP(2) = 2;
    EXPECT_EQ(usable_traits(second, 0), 0U);
    EXPECT_FALSE(INTAKE.L_INTERVAL);
    EXPECT_EQ(usable_traits(first, 0), 0U);
    EXPECT_TRUE(INTAKE.L_INTERVAL) << "also for an absent trait";
}

TEST_F(Passes, TheFirstPassAgreesWithASlowCount) {
    build_three_traits();
    derive_covariance_structure();
    DIMENSIONS.MFL.now = 3;  // the level table grows on the way
    allocate_tables();
    KVEINT.MAX_N_FIXED = 2;
    RMAT(3).type = "GROUP";
    RMAT(3).grp_inp = 9;

    std::mt19937 random(8);
    std::ofstream data("data");
    Counts groups, fixed[4][3], matrix[3];
    int32_t dropped[4] = {}, together[4][4] = {};
    double sum[4] = {}, covariable_6 = 0.0;
    for (int n = 0; n < 4000; ++n) {
        Row row = random_row(random);
        for (int c = 1; c <= 9; ++c) data << row.i[c] << ' ';
        for (int c = 1; c <= 9; ++c) data << row.r[c] << ' ';
        data << '\n';
        bool present[4] = {}, usable[4] = {}, any = false, any_present = false;
        for (int i : {1, 2, 3}) {
            present[i] = row.r[i] > kMissing;
            any_present = any_present || present[i];
            usable[i] = row.i[9] > 0 && is_usable(row, i, false);
            any = any || usable[i];
        }
        if (!any_present) continue;
        for (int i : {1, 2, 3})
            if (row.i[9] < 1 || (present[i] && !usable[i])) ++dropped[i];
        if (!any) continue;
        ++groups[row.i[9]];
        for (int i : {1, 2, 3}) {
            if (!usable[i]) continue;
            sum[i] += static_cast<double>(row.r[i]);
            for (int j = 1; j <= i; ++j) together[i][j] += usable[j];
        }
        if (usable[2]) covariable_6 += static_cast<double>(row.r[6]);
        if (usable[1]) ++fixed[1][1][row.i[1]];
        if (usable[2]) ++fixed[2][1][row.i[1]], ++fixed[2][2][row.i[2]];
        if (usable[3]) ++fixed[3][1][row.i[2]];
        for (int column : {3, 4})
            if ((usable[1] || usable[2]) && row.i[column] > 0) ++matrix[1][row.i[column]];
        if (usable[3]) ++matrix[2][row.i[5]];
    }
    data.close();
    ASSERT_EQ(UNITS.text_1.open("data"), 0);
    KVEFP1();

    EXPECT_EQ(INTAKE.NREC, 4000);
    EXPECT_EQ(levels_under(FACTORS.ROOT_GRP), groups);
    EXPECT_EQ(levels_under(FACTORS.ROOT_EF(1, 1)), fixed[1][1]);
    EXPECT_EQ(levels_under(FACTORS.ROOT_EF(2, 1)), fixed[2][1]);
    EXPECT_EQ(levels_under(FACTORS.ROOT_EF(2, 2)), fixed[2][2]);
    EXPECT_EQ(levels_under(FACTORS.ROOT_EF(3, 1)), fixed[3][1]);
    for (int k : {1, 2}) EXPECT_EQ(levels_under(FACTORS.ITOPR(k)), matrix[k]);
    for (int i : {1, 2, 3}) {
        EXPECT_EQ(INTAKE.NDEL(i), dropped[i]);
        EXPECT_EQ(INTAKE.Y(i).sum, sum[i]);
        for (int j = 1; j <= i; ++j) EXPECT_EQ(INTAKE.NS(i, j), together[i][j]);
    }
    EXPECT_EQ(INTAKE.X(2, 1).sum, covariable_6);
    EXPECT_EQ(INTAKE.X.columns(), 2) << "a column that follows itself is one covariable";
    EXPECT_TRUE(INTAKE.LI_USED(6) && INTAKE.LR_USED(8));
    EXPECT_FALSE(INTAKE.LI_USED(9) || INTAKE.LI_USED(8) || INTAKE.LR_USED(9));
}
