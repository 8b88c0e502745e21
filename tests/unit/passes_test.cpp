
#include "data/first_pass.h"
#include "data/raw_record.h"
#include "data/usability.h"
#include "model_builder.h"
#include "reports/data_summary.h"
#include "store/work_tables.h"

using namespace kve;
using state::DIMENSIONS, state::DIRECTIVES, state::FACTORS, state::IFL, state::INTAKE,
    state::KVEINT, state::MODEL, state::RECORD, state::RMAT, state::UNITS;

namespace {

constexpr float kMissing = -9.0F;

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

// The traits that may be used, by the rules of the model below once more.
TraitPattern usable_by_rules(const Row& row, bool second_pass) {
    auto real = [&](int column) { return row.r[column] > kMissing; };
    auto codes = [&](std::initializer_list<int> columns) {
        return std::ranges::all_of(columns, [&](int column) { return row.i[column] > 0; });
    };
    const bool absorbed = codes({6}) && (second_pass || codes({7}));
    const bool usable[] = {real(1) && absorbed && codes({1, 3}),
                           real(2) && codes({1, 2, 4}) && real(6) && real(7),
                           real(3) && absorbed && codes({2, 5}) && real(8)};
    TraitPattern pattern = 0;
    for (int i : {1, 2, 3})
        if (usable[i - 1]) pattern |= trait_bit(3, i);
    return pattern;
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

TEST_F(Passes, OnlyTheFirstPassChecksCensoringCodes) {
    build_model({{"1 1"}});
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

TEST_F(Passes, AgreeWithASlowCount) {
    // Traits 1 and 2 share random matrix 1, read from columns 3 and 4; trait 2 has a covariable
    // twice, trait 3 a weight; traits 1 and 3 have absorbed effects.
    derive_model({{"2 1 3", "1 1"}, {"3 1 2 4", "1 1", "3 6 6(1) 7"}, {"2 2 5", "1 2"}});
    MODEL(3).wgt_inp_no = 8;
    for (int32_t i : {1, 3}) {
        MODEL(i).n_absorb = 2;
        allocate_absorbed_effects(MODEL(i));
        MODEL(i).a_ef_inp(1) = 6;
        MODEL(i).a_ef_inp(2) = 7;
    }
    DIRECTIVES.RMISS = kMissing;
    DIRECTIVES.data_format = kAscii;
    DIRECTIVES.n_data_files = 1;
    DIMENSIONS.MFL.now = 3;  // the level table grows on the way
    allocate_tables();
    RMAT(3).structure = Structure::GROUP;
    RMAT(3).grp_inp = 9;
    allocate_record();
    const UsabilityPlan second = plan_usability(kSecondPassRules, "TEST");

    // The trees of levels: whose records count, and the column. Two columns share tree 5.
    const struct {
        TraitPattern traits;
        int column, tree;
    } sources[] = {{0b111, 9, 0}, {0b100, 1, 1}, {0b010, 1, 2}, {0b010, 2, 3},
                   {0b001, 2, 4}, {0b110, 3, 5}, {0b110, 4, 5}, {0b001, 5, 6}};
    Counts trees[7];
    int32_t dropped[4] = {}, together[4][4] = {};
    double sum[4] = {}, covariable_6 = 0.0;
    std::mt19937 random(8);
    std::ofstream data("data");
    for (int n = 0; n < 4000; ++n) {
        Row row = random_row(random);
        for (int c = 1; c <= 9; ++c) data << (RECORD.IINP(c) = row.i[c]) << ' ';
        for (int c = 1; c <= 9; ++c) data << (RECORD.FINP(c) = row.r[c]) << ' ';
        data << '\n';
        TraitPattern present = 0;
        for (int i : {1, 2, 3})
            if (row.r[i] > kMissing) present |= trait_bit(3, i);
        EXPECT_EQ(present_traits(second), present);
        EXPECT_EQ(usable_traits(second, present), usable_by_rules(row, true));
        if (present == 0) continue;
        const bool grouped = row.i[9] > 0;
        const TraitPattern usable = grouped ? usable_by_rules(row, false) : 0;
        for (int i : {1, 2, 3}) {
            const TraitPattern bit = trait_bit(3, i);
            if (!grouped || (present & ~usable & bit) != 0) ++dropped[i];
            if ((usable & bit) == 0) continue;
            sum[i] += static_cast<double>(row.r[i]);
            if (i == 2) covariable_6 += static_cast<double>(row.r[6]);
            for (int j = 1; j <= i; ++j) together[i][j] += (usable & trait_bit(3, j)) != 0;
        }
        for (auto [traits, column, tree] : sources)
            if ((usable & traits) != 0 && row.i[column] > 0) ++trees[tree][row.i[column]];
    }
    data.close();
    ASSERT_EQ(UNITS.data[0].text.open("data"), 0);
    KVEFP1();

    EXPECT_EQ(INTAKE.NREC, 4000);
    const int32_t roots[] = {FACTORS.ROOT_GRP,      FACTORS.ROOT_EF(1, 1), FACTORS.ROOT_EF(2, 1),
                             FACTORS.ROOT_EF(2, 2), FACTORS.ROOT_EF(3, 1), FACTORS.ITOPR(1),
                             FACTORS.ITOPR(2)};
    for (int tree = 0; tree < 7; ++tree) EXPECT_EQ(levels_under(roots[tree]), trees[tree]) << tree;
    for (int i : {1, 2, 3}) {
        EXPECT_EQ(INTAKE.NDEL(i), dropped[i]);
        EXPECT_EQ(INTAKE.Y(i).sum, sum[i]);
        for (int j = 1; j <= i; ++j) EXPECT_EQ(INTAKE.NS(i, j), together[i][j]);
    }
    EXPECT_EQ(INTAKE.X(2, 1).sum, covariable_6);
    EXPECT_EQ(INTAKE.X.columns(), 2) << "a column that follows itself is one covariable";
    EXPECT_TRUE(INTAKE.LI_USED(6) && INTAKE.LR_USED(8));
    EXPECT_FALSE(INTAKE.LI_USED(9) || INTAKE.LI_USED(8) || INTAKE.LR_USED(9));
    // The title of the summary stands on line 64 at the latest, less a line for each trait.
    for (int lines : {64 - 3, 65 - 3}) {
        state::LINES_ON_PAGE = lines;
        EXPECT_EQ(listing_of(summarise_data).starts_with("\n"), lines == 64 - 3);
    }
}
