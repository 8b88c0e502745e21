// The statistics of the model on the listing, through whole runs. The lists of factors with a
// structure are compared where their matrices are.

#include "modinf.h"
#include "run.h"

namespace {

// Integers A B C D E F and reals X Y1 Y2; a missing real is -9.
Outcome run(const Scratch& scratch, const std::string& model, const std::string& prior,
            const std::string& analyse = "2 0 0 0", const std::string& more = "", int status = 0) {
    Outcome outcome = scratch.run(
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
const std::string kOneMatrix = priors({1, 1});

void expect_words(const Outcome& outcome, const std::string& words) {
    EXPECT_TRUE(outcome.says(words)) << words << outcome.listing;
}

}  // namespace

TEST(ModelStatistics, CountsEffectsAndRegressionsInRowsOfSoMany) {
    // Y1: six class effects, the last random; X general, nested in B, C, A and D, and in F.
    // Y2: A fixed, B and C random with regressions on B, B, C and B again; those that follow each
    // other on one effect share a column.
    Scratch scratch;
    scratch.write("data", data(120, {2, 3, 4, 5, 6, 7}));
    const Outcome outcome = run(scratch,
                                "2 2 0 0 0\n0\n0\n2 0 6 1 2 3 4 5 6\n3 0 3 1 2 3\n1 1\n2 2 3\n"
                                "6 1 1(2) 1(3) 1(1) 1(4) 1(6)\n4 1(2) 2(2) 2(3) 1(2)\n0\n",
                                priors({2, 4, 2, 2}));
    const std::string head = " Trait |" + times(3, " Regression Level |") + " -------- |" +
                             times(3, " ------------------ ------- |");
    expect_words(outcome,
                 "MODEL STATISTICS Number of overall and nested fixed regressions" + head +
                     " Y1 | X 1 | X(B) 3 | X(C) 4 | | X(A) 2 | X(D) 5 |"
                     " Number of random regressions" +
                     head +
                     " Y1 | X(F) 7 | Y2 | X(B) 3 | Y1(C) 4 | X(B) 3 |"
                     " No of levels for each fixed effect Trait !" +
                     times(4, " Effect Levels") + " -------- !" + times(8, " --------") +
                     " Y1 ! A 2 B 3 C 4 D 5 ! E 6 Y2 ! A 2"
                     // levels 2+3+4+5+6 and 2, regressions 1+3+4+2+5
                     " Total no of fixed levels 37 Random Factors with variance structure = I(x)G0"
                     " Number of ------------------- Factor ! Levels Equations"
                     " 1 ! 7 14 2 ! 3 12 3 ! 4 8 Total 14 34 ");
}

TEST(ModelStatistics, AbsorbedEffectsHaveNoTraitName) {
    // Absorbed by 5 effects: a group ends where a code grows.
    std::string rows;
    for (int k = 0; k < 12; ++k)
        rows += text("%d %d %d %d %d 1 0 5 6\n", 1 + k / 6, 1 + k / 4, 1 + k / 3, 1 + k / 2, 1 + k);
    Scratch scratch;
    scratch.write("data", rows);
    expect_words(run(scratch, "2\n5 1 2 3 4 5\n1 1\n2 0 1 6\n3 0 1 6\n0\n0\n0\n0\n0\n", priors({2}),
                     "12 1 0 0"),
                 "No of levels for Absorbed effects" + times(4, " Effect Levels |") +
                     times(4, " -------- -------- |") +
                     " A 2 | B 3 | C 4 | D 6 | E 12 |"
                     " Largest number of observations in an absorb group : 6");
}

TEST(ModelStatistics, WithoutEffectsAverageInformationBecomesEm) {
    const std::string free = "1\n0\n2 0 0\n0\n1 1\n0\n";  // with X as covariable
    const std::string cases[][3] = {{"1 1 0 0", free, "2"},
                                    {"1 3 0 0", free, "3"},
                                    {"1 31 0 0", free, "31"},
                                    {"2 0 0 0", "1 1 0 0 0\n0\n2 0 0\n0\n0\n0\n", "0"},
                                    {"1 1 0 0", "1\n0\n2 0 1 1\n0\n0\n0\n", "1"}};
    Scratch scratch;
    scratch.write("data", data(20, {1, 1, 1, 1, 1, 1}));
    for (const auto& [analyse, model, IMETHOD] : cases) {
        const Outcome outcome = run(scratch, model, "1 1 1 4.0\n", analyse);
        EXPECT_EQ(outcome.says("WARNING, WARNING, WARNING, WARNING MODEL(s) has no effects"),
                  IMETHOD != "1");
        EXPECT_EQ(outcome.says("no effects REML optimization method change to EM"), IMETHOD == "2");
        // The tables follow all the same, as wide as they have columns.
        EXPECT_EQ(outcome.says("Trait | Regression Level | -------- | ------------------ ------- | "
                               "Y1 | X 1 |"),
                  model == free);
        EXPECT_EQ(decode_modinf(scratch.read("MODINF")).head["IMETHOD"], IMETHOD);
    }
}

TEST(ModelStatistics, TestPrint2ListsTheFirst100Levels) {
    // Codes of A are even and fall through the file; B has 120 levels of 2 records each.
    std::string rows, fixed = "Max. first 100 levels for: Y1 effect: A Code N-obs F-C-No ",
                      random = "Max first 100 levels for random effect 1 Code N-obs R-C-No ";
    for (int k = 0; k < 240; ++k) rows += text("%d %d 1 1 1 1 0 5 6\n", 20 - k / 24 * 2, 1 + k / 2);
    for (int level = 1; level <= 10; ++level) fixed += text("%d 24 %d ", 2 * level, level);
    for (int level = 1; level <= 100; ++level) random += text("%d 2 %d ", level, level);
    Scratch scratch;
    scratch.write("data", rows);
    const Outcome outcome = run(scratch, kOneTrait, kOneMatrix, "2 0 0 2");
    expect_words(outcome, fixed + random + "Random Factors");
    EXPECT_EQ(outcome.longest_page(), 76U) << "a page of rows is full, and no more than full";
    EXPECT_FALSE(run(scratch, kOneTrait, kOneMatrix, "2 0 0 1").says("first 100 levels"));
}

TEST(ModelStatistics, EveryResidualGroupNeedsTenRecords) {
    Scratch scratch;
    // 101 groups, of which one may be small. Codes fall through the file and are listed ascending.
    for (int small : {0, 2, 101}) {
        std::string rows, groups;
        for (int k = 1010; k > 0; --k)
            if (k != small * 10) rows += text("1 1 1 1 1 %d 0 5 6\n", 3 * ((k + 9) / 10));
        for (int g = 1; g <= 100; ++g)
            groups += text(g == small ? "%d 9 < 10 obs in group " : "%d 10 ", 3 * g);
        scratch.write("data", rows);
        const Outcome outcome = run(scratch, kOneTrait, kOneMatrix, "2 0 0 0",
                                    "$VAR_STR 2 GROUP 6\n", small > 0 ? 16 : 0);
        expect_words(outcome,
                     "Number of groups for residual (co)varaiance matrices : 101 Residual "
                     "(co)variance groups (MAX. first 100) Code N-obs " +
                         groups +
                         (small == 0 ? "END"
                                     : "To few (<10) observations in one or more residual "
                                       "variance group"));
        EXPECT_NE(scratch.read("RCDATA_I"), "");
        EXPECT_EQ(scratch.read("MODINF") == "", small > 0);
        if (small > 0) continue;
        const Fields residual = decode_modinf(scratch.read("MODINF")).matrices.back();
        EXPECT_TRUE(residual.at("grp_code").ends_with(" 300 303"));
        EXPECT_TRUE(residual.at("niegr").ends_with(" 10 10"));
    }
}

TEST(ModelStatistics, AMixtureModelHasTwoResidualGroupsAtMost) {
    Scratch scratch;
    for (int groups : {2, 3}) {
        scratch.write("data", data(60, {2, 2, 2, 2, 2, groups}));
        // X is the mixture variable: of no trait, as covariable, as weight, as trait.
        for (const std::string model : {"2 0 2 1 2\n1 1\n0\n", "2 0 2 1 2\n1 1\n2 3 1\n",
                                        "2 1 2 1 2\n1 1\n0\n", "1 0 2 1 2\n1 1\n0\n"}) {
            const bool stops = groups == 3 && model != "2 0 2 1 2\n1 1\n0\n";
            const Outcome outcome =
                run(scratch, "1 1 0 0 0\n0\n" + model + "0\n", kOneMatrix, "2 0 0 0",
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
    expect_words(run(scratch, "2 1 0 0 1\n0\n0\n2 0 1 1\n3 0 1 1\n0\n0\n0\n0\n0\n", priors({2}),
                     "2 0 0 0", "$CURE 3 2 2 3\n"),
                 "Sequential binary trait information Number of subjects with binary sequences : 2 "
                 "Max. no. of records in a sequence : 3");
}
