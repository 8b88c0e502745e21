// The statistics of the model on the listing: through whole runs, and, for the structures of random
// factors, from tables filled here.
#include "reports/model_statistics.h"

#include <gtest/gtest.h>

#include "data/factors.h"
#include "directives/directives.h"
#include "model/model_records.h"
#include "modinf.h"
#include "run.h"
#include "store/big_tables.h"

using kve::state::DIRECTIVES, kve::state::FACTORS, kve::state::IDL, kve::state::KVEINT,
    kve::state::MODEL, kve::state::RMAT;

namespace {

using Lines = std::vector<std::string>;

// Integers A B C D E F and reals X Y1 Y2; a missing real is -9.
Outcome run(const Scratch& scratch, const std::string& model, const std::string& prior,
            const std::string& analyse = "2 0 0 0", const std::string& more = "", int status = 0) {
    const Outcome outcome = scratch.run(
        "$ANALYSE " + analyse + "\n$DATA ASCII (6,3,-9.0) data\n$VARIABLE\nA B C D E F X Y1 Y2\n" +
        more + "$MODEL\n" + model + "$PRIOR\n" + prior);
    EXPECT_EQ(outcome.status, status) << outcome.listing;
    return outcome;
}

// Column c (1 to 6) of record k has `levels[c - 1]` levels in turn.
std::string data(int records, const std::vector<int>& levels) {
    std::string all;
    for (int k = 0; k < records; ++k) {
        for (int n : levels) all += text("%d ", 1 + k % n);
        all += text("%d %d %d\n", k % 2, k % 5, k % 3);
    }
    return all;
}

// One trait with A as fixed and B as random effect.
const char* kOneTrait = "1 1 0 0 0\n0\n2 0 2 1 2\n1 1\n0\n0\n";
const char* kOneMatrix = "1 1 1 1.0\n2 1 1 4.0\n";

std::string heading(const std::string& words) { return text("%60s", words.c_str()); }

void expect_block(const Outcome& outcome, const Lines& expected) {
    Lines found = outcome.block(expected[0], " END OF KVE1V6  ");
    found.resize(expected.size());
    EXPECT_EQ(found, expected);
}

}  // namespace

TEST(ModelStatistics, CountsEffectsAndRegressionsInRowsOfSoMany) {
    // Y1: six class effects, the last random; X general, nested in B, C, A and D, and in F.
    // Y2: A fixed, B and C random with regressions on B, B, C and B again; those that follow each
    // other on one effect share a column.
    Scratch scratch;
    scratch.write("data", data(120, {2, 3, 4, 5, 6, 7}));
    const Outcome outcome =
        run(scratch,
            "2 2 0 0 0\n0\n0\n2 0 6 1 2 3 4 5 6\n3 0 3 1 2 3\n1 1\n2 2 3\n"
            "6 1 1(2) 1(3) 1(1) 1(4) 1(6)\n4 1(2) 2(2) 2(3) 1(2)\n0\n",
            "1 1 1 1.0\n1 2 2 1.0\n2 1 1 1.0\n2 2 2 1.0\n2 3 3 1.0\n2 4 4 1.0\n3 1 1 1.0\n"
            "3 2 2 1.0\n4 1 1 1.0\n4 2 2 1.0\n");
    const std::string columns =
        " Trait    |        Regression   Level |        Regression   Level |        Regression   "
        "Level | ";
    const std::string rule =
        " -------- | ------------------ ------- | ------------------ ------- | ------------------ "
        "------- | ";
    expect_block(
        outcome,
        {heading("MODEL STATISTICS            "), "",
         heading("  Number of overall and nested fixed regressions   "), "", columns, rule,
         " Y1       | X                        1 | X(B)                     3 | X(C)               "
         "      4 | ",
         "          | X(A)                     2 | X(D)                     5 | ", "",
         heading("  Number of random regressions                     "), "", columns, rule,
         " Y1       | X(F)                     7 | ",
         " Y2       | X(B)                     3 | Y1(C)                    4 | X(B)               "
         "      3 | ",
         "", heading("    No of levels for each fixed effect          "), "",
         " Trait    ! Effect     Levels Effect     Levels Effect     Levels Effect     Levels",
         " -------- ! -------- -------- -------- -------- -------- -------- -------- --------",
         " Y1       ! A               2 B               3 C               4 D               5 ",
         "          ! E               6 ", " Y2       ! A               2 ", "", "",
         // levels 2+3+4+5+6 and 2, regressions 1+3+4+2+5
         heading("               Total no of fixed levels     ") + "          37", ""});
    expect_block(outcome, {heading("Random Factors with variance structure = I(x)G0"), "",
                           heading("               Number of                "),
                           heading("           -------------------          "),
                           heading("Factor !   Levels    Equations          "),
                           "                    1      !        7           14",
                           "                    2      !        3           12",
                           "                    3      !        4            8", "",
                           "                    Total          14           34"});
    EXPECT_EQ(outcome.times("Random Factors with"), 1);
}

TEST(ModelStatistics, AbsorbedEffectsHaveNoTraitName) {
    // Absorbed by 5 effects: a group ends where a code grows.
    std::string rows;
    for (int k = 0; k < 12; ++k)
        rows += text("%d %d %d %d %d 1 0 5 6\n", 1 + k / 6, 1 + k / 4, 1 + k / 3, 1 + k / 2, 1 + k);
    Scratch scratch;
    scratch.write("data", rows);
    expect_block(
        run(scratch, "2\n5 1 2 3 4 5\n1 1\n2 0 1 6\n3 0 1 6\n0\n0\n0\n0\n0\n",
            "1 1 1 1.0\n1 2 2 1.0\n", "12 1 0 0"),
        {heading("    No of levels for Absorbed effects           "), "",
         "             Effect   Levels |   Effect   Levels |   Effect   Levels |   Effect   Levels "
         "| ",
         "           -------- -------- | -------- -------- | -------- -------- | -------- -------- "
         "| ",
         "           A               2 | B               3 | C               4 | D               6 "
         "| ",
         "           E              12 | ",
         heading("Largest number of observations in an absorb group :") + "           6"});
}

TEST(ModelStatistics, WithoutEffectsAverageInformationBecomesEm) {
    const char* free = "1\n0\n2 0 0\n0\n1 1\n0\n";  // with X as covariable
    const char* with = "1\n0\n2 0 1 1\n0\n0\n0\n";
    const char* cases[][3] = {{"1 1 0 0", free, "2"},
                              {"1 3 0 0", free, "3"},
                              {"1 31 0 0", free, "31"},
                              {"2 0 0 0", "1 1 0 0 0\n0\n2 0 0\n0\n0\n0\n", "0"},
                              {"1 1 0 0", with, "1"}};
    Scratch scratch;
    scratch.write("data", data(20, {1, 1, 1, 1, 1, 1}));
    for (auto [analyse, model, IMETHOD] : cases) {
        const Outcome outcome = run(scratch, model, "1 1 1 4.0\n", analyse);
        Lines expected{heading("WARNING, WARNING, WARNING, WARNING   "), "",
                       heading("MODEL(s) has no effects              ")};
        const bool told = IMETHOD == std::string("2");
        if (told) expected.push_back(heading("REML optimization method change to EM"));
        if (model != with) expect_block(outcome, expected);
        EXPECT_EQ(outcome.says("change to EM"), told) << analyse;
        EXPECT_EQ(outcome.says("MODEL STATISTICS"), model == with) << analyse;
        // The tables follow all the same, as wide as they have columns.
        EXPECT_EQ(outcome.says("Trait | Regression Level | -------- | ------------------ ------- | "
                               "Y1 | X 1 |"),
                  model == free);
        EXPECT_EQ(decode_modinf(scratch.read("MODINF")).head["IMETHOD"], IMETHOD);
    }
}

TEST(ModelStatistics, TestPrint2ListsTheFirst100Levels) {
    // Codes of A are even and fall through the file; B has 120 levels of 2 records each.
    std::string rows;
    for (int k = 0; k < 240; ++k) rows += text("%d %d 1 1 1 1 0 5 6\n", 20 - k / 24 * 2, 1 + k / 2);
    Scratch scratch;
    scratch.write("data", rows);
    const Outcome outcome = run(scratch, kOneTrait, kOneMatrix, "2 0 0 2");
    Lines fixed{heading("Max. first 100 levels for: ") + "Y1 effect: A", "",
                heading("         Code    N-obs    F-C-No   ")};
    Lines random{heading("     Max first 100 levels for random effect ") + "           1", "",
                 heading("         Code    N-obs    R-C-No     ")};
    for (int level = 1; level <= 100; ++level) {
        if (level <= 10) fixed.push_back(text("%38d%9d%10d", 2 * level, 24, level));
        random.push_back(text("%36d%9d%10d", level, 2, level));
    }
    for (Lines* list : {&fixed, &random}) {
        list->push_back("");
        expect_block(outcome, *list);
    }
    EXPECT_EQ(outcome.longest_page(), 76U) << "a page of rows is full, and no more than full";
    EXPECT_FALSE(run(scratch, kOneTrait, kOneMatrix, "2 0 0 1").says("first 100 levels"));
}

TEST(ModelStatistics, EveryResidualGroupNeedsTenRecords) {
    Scratch scratch;
    // 101 groups, of which one may be small. Codes fall through the file and are listed ascending.
    auto grouped = [&](int small) {
        std::string rows;
        for (int k = 1010; k > 0; --k)
            if (k != small * 10) rows += text("1 1 1 1 1 %d 0 5 6\n", 3 * ((k + 9) / 10));
        scratch.write("data", rows);
        return run(scratch, kOneTrait, kOneMatrix, "2 0 0 0", "$VAR_STR 2 GROUP 6\n",
                   small > 0 ? 16 : 0);
    };
    Lines expected{
        heading("Number of groups for residual (co)varaiance matrices :") + "         101", "",
        heading("     Residual (co)variance groups (MAX. first 100)"), "",
        heading("         Code    N-obs")};
    for (int g = 1; g <= 100; ++g) expected.push_back(text("%51d%9d", 3 * g, 10));
    expected.push_back("");
    expect_block(grouped(0), expected);
    const Modinf file = decode_modinf(scratch.read("MODINF"));
    EXPECT_TRUE(file.matrices.back().at("grp_code").ends_with(" 300 303"));
    EXPECT_TRUE(file.matrices.back().at("niegr").ends_with(" 10 10"));

    for (int small : {2, 101}) {
        const Outcome bad = grouped(small);
        EXPECT_EQ(bad.times("< 10 obs in group"), small <= 100) << small;
        EXPECT_EQ(bad.says("\n 6 9 < 10 obs in group 9 10"), small == 2) << bad.listing;
        EXPECT_TRUE(
            bad.says("300 10 To few (<10) observations in one or more residual variance "
                     "group"))
            << "the list is whole" << bad.listing;
        EXPECT_EQ(scratch.read("MODINF"), "");
        EXPECT_NE(scratch.read("RCDATA_I"), "");
    }
}

TEST(ModelStatistics, AMixtureModelHasTwoResidualGroupsAtMost) {
    Scratch scratch;
    for (int groups : {2, 3}) {
        scratch.write("data", data(60, {2, 2, 2, 2, 2, groups}));
        // X is the mixture variable: of no trait, as covariable, as weight, as trait.
        for (const char* model :
             {kOneTrait, "1 1 0 0 0\n0\n2 0 2 1 2\n1 1\n2 3 1\n0\n",
              "1 1 0 0 0\n0\n2 1 2 1 2\n1 1\n0\n0\n", "1 1 0 0 0\n0\n1 0 2 1 2\n1 1\n0\n0\n"}) {
            const bool stops = groups == 3 && model != kOneTrait;
            const Outcome outcome = run(scratch, model, kOneMatrix, "2 0 0 0",
                                        "$VAR_STR 2 GROUP 6\n$MIXTURE 1\n", stops ? 16 : 0);
            EXPECT_EQ(outcome.says("Only 2 groups for residual variance are allowed\n"
                                   " in a Mixture Model\n\nProgram terminates"),
                      stops);
        }
    }
}

TEST(ModelStatistics, TellsTheSequencesOfABinaryTrait) {
    Scratch scratch;
    scratch.write("data",
                  "1 8 1 1 1 1 0 -9 1\n1 8 2 1 1 1 0 -9 1\n1 8 3 1 1 1 0 5 0\n1 9 1 1 1 1 0 5 1\n");
    expect_block(run(scratch, "2 1 0 0 1\n0\n0\n2 0 1 1\n3 0 1 1\n0\n0\n0\n0\n0\n",
                     "1 1 1 4.0\n1 2 2 9.0\n", "2 0 0 0", "$CURE 3 2 2 3\n"),
                 {heading("   Sequential binary trait information    "), "",
                  heading("Number of subjects with binary sequences :") + "           2",
                  heading("Max. no. of records in a sequence        :") + "           3"});
}

namespace {

// One trait without class effects of its own and a factor of each type.
void build_factors(const std::vector<kve::Structure>& structures) {
    KVEINT.nt = 1;
    KVEINT.NRAMAT = static_cast<int32_t>(structures.size());
    ASSERT_EQ(MODEL.allocate(1) + RMAT.allocate(KVEINT.NRAMAT + 1), 0);
    kve::allocate_factors();
    for (int32_t k = 1; k <= KVEINT.NRAMAT; ++k) {
        kve::RMatrix& r = RMAT(k);
        r.structure = structures[static_cast<std::size_t>(k - 1)];
        r.rank = 2;
        r.log_det = -1000.0 * k - 0.0625;
        r.l_log_det = k % 2 == 0;
        FACTORS.NRALEV(k) = 10 * k;
    }
}

Outcome report() {
    testing::internal::CaptureStdout();
    kve::report_model_statistics();
    std::fflush(stdout);
    Outcome outcome;
    outcome.listing = testing::internal::GetCapturedStdout() + "\n END OF KVE1V6  \n";
    outcome.words = folded(outcome.listing);
    return outcome;
}

}  // namespace

TEST(ModelStatistics, EachStructureHasItsTable) {
    using enum kve::Structure;
    build_factors({PGMIX, PED, ABS_QTL, GREL, COR, DOM, I, PED});
    FACTORS.NRALEV(8) = 2000000000;
    DIRECTIVES.ITASK = kve::kSolveByKve4;
    const Outcome all = report();
    const char* tables[][3] = {
        {"I", "", "7 ! 70 140"},
        {"D", "|D|", "6 ! 60 120 -6000.062"},
        {"C", "|C|", "5 ! 50 100 0.000"},
        {"G", "|G|", "4 ! 40 80 -4000.062"},
        {"IBD", "", "3 ! 30 60"},
        {"A", "|A|",
         "2 ! 20 40 -2000.062 8 ! 2000000000 4000000000 -8000.062 Total 2000000020 4000000040"},
        {"PGMIX", "|A|", "1 ! 10 20 0.000"}};
    std::string expected;
    for (auto [structure, determinant, rows] : tables)
        expected += text(
            "Random Factors with variance structure = %s(x)G0 Number of "
            "------------------- %s Factor ! Levels Equations %s %s ",
            structure, *determinant ? "Ln" : "", determinant, rows);
    EXPECT_TRUE(all.says(expected)) << all.listing;
    EXPECT_EQ(all.times("Random Factors with variance structure ="), 7);
    // Places of the columns: "!" in 28, levels to 37, equations to 50, the determinant to 60.
    for (const char* line : {"\n                    2      !       20           40 -2000.062\n",
                             "\n                    Factor !   Levels    Equations       |A|\n"})
        EXPECT_NE(all.listing.find(line), std::string::npos) << all.listing;

    DIRECTIVES.ITASK = kve::kSolveByKve5;
    const Outcome by_iteration = report();
    EXPECT_EQ(by_iteration.times("|A|"), 0);
    EXPECT_EQ(by_iteration.times("|D|"), 1);
    EXPECT_TRUE(by_iteration.says("Equations 2 ! 20 40 8 ! 2000000000 4000000000 Total"));
}

TEST(ModelStatistics, AnimalsAreListedInTheOrderOfTheirChain) {
    build_factors({kve::Structure::PED, kve::Structure::PGMIX});
    ASSERT_EQ(IDL.allocate(120), 0);
    // Row 110 is the sentinel; the chain runs through rows 109, 108 and so on.
    for (int32_t row = 1; row <= 110; ++row)
        IDL(row) = {0, 1000000000 + row, 3, 200 - row, -999999998, 2000000000, 1, row - 1, 0, 0, 0,
                    0, 9999999};
    FACTORS.ITOPAS(1) = FACTORS.ITOPAS(2) = 110;
    DIRECTIVES.ITEST = 2;
    const Outcome outcome = report();
    Lines expected{heading("     Random effect ") + "           1",
                   heading("     Animal list in birth-date order (MAX. first 100)"), "",
                   heading("         Code    N-obs    A-C-NO        ") +
                       "S-var         R-var1         R-var2  N-Desc"};
    for (int row = 109; row >= 10; --row)
        expected.push_back(text("%33d%9d%10d%13d%15d%15d%8d", 1000000000 + row, 3, 200 - row,
                                -999999998, 2000000000, 1, 9999999));
    expected.push_back("");
    expect_block(outcome, expected);
    EXPECT_EQ(outcome.times("Animal list"), 1) << "of the pedigree factor alone";
    DIRECTIVES.ITEST = 1;
    EXPECT_FALSE(report().says("Animal list"));
}
