// The pages that describe the model on the listing and its tables in KVE_LOG, through whole runs.
// What a relationship structure or a generalized trait adds is tested in tests/unit.

#include "run.h"

namespace {

using Lines = std::vector<std::string>;

// Y1: weight W, absorbs herd; sex, random sire and dam; age, age within sex, day within sire and
// dam. Y2: absorbs herd and year; sex, random sire; no covariables.
struct Case {
    std::string analyse = "12 1 0 0";
    std::string columns = "5,5";
    std::string names = "herd year sex sire dam age day W Y1 Y2";
    std::string more = "";
    std::string model =
        "2\n1 1\n2 1 2\n4 3 3 3 4 5\n5 0 2 3 4\n2 1 2\n1 1\n4 1 1(1) 2(2) 2(3)\n0\n0\n";
    std::string prior = "$PRIOR\n1 1 1 1.0\n";

    Outcome run(const Scratch& scratch = Scratch()) const {
        scratch.write("data", "1 1 1 1 1 1 1 1 1 1\n");
        return scratch.run("$ANALYSE " + analyse + "\n$DATA ASCII (" + columns +
                           ",-9.0) data\n$VARIABLE\n" + names + "\n" + more + "$MODEL\n" + model +
                           prior);
    }
};

// A model of one trait and `n` random effects, each in its own matrix.
Case many_matrices(int n) {
    std::string effects, matrices;
    for (int k = 1; k <= n; ++k) effects += text(" %d", k % 5 + 1), matrices += text(" %d", k);
    return {.analyse = "1 1 0 0",
            .model = text("1\n0\n4 0 %d", n) + effects + text("\n%d", n) + matrices + "\n0\n0\n",
            .prior = ""};
}

// `nt` traits with so many random effects each, all in one matrix.
Case many_traits(int nt, const std::string& test_print, int effects = 1) {
    const std::string ones = times(effects, " 1") + "\n", zeros = times(nt, "0\n");
    std::string model;
    for (int i = 1; i <= nt; ++i) model += text("%d 0 %d", i, effects) + ones;
    return {.analyse = "1 1 0 " + test_print,
            .columns = text("1,%d", nt),
            .names = text("sire TRAIT[1:%d]", nt),
            .model = text("%d\n", nt) + zeros + model + times(nt, text("%d", effects) + ones) +
                     zeros + "0\n",
            .prior = ""};
}

}  // namespace

TEST(ModelReport, TwoTraitsOnThePagesAndInTheLog) {
    Scratch scratch;
    const Outcome outcome = Case{}.run(scratch);
    for (const char* page :
         {"Fixed Random -------- ------- ------ -------- ------ --------- --------- ---------"
          " Y1 4 3 1 4 3 1 2 Y2 5 0 2 0 2 1 1",
          "Trait / effect : Y1 herd sex sire dam age age(sex) day(sire) day(dam)"
          " Type : NOR R W A F R R F F R R Input no. : 4 3 1 3 4 5 1 1 2 2"
          " Random mat. no.: 1 2 1 2 Trait / effect : Y2 herd year sex sire Type : NOR R W A A F R"
          " Input no. : 5 0 1 2 3 4 Random mat. no.: 1 Trait Model -------- --------"
          " Y1 = herd +sex +sire +dam +age +age(sex) +day(sire) +day(dam)"
          " Y2 = herd +year +sex +sire",
          "Matrix no. 1 Variance structure I(x)G0 Random identifier (effect) Submodel/trait"
          " RR-Regression Row/ -------------------------- ----------------------- "
          "-----------------"
          " Col No. Name I-Input No. Name R-Input Name R-Input"
          " --- ---- -------- ------- ----- -------- ------- -------- -------"
          " 1 1 sire 4 1 Y1 4 0 2 1 sire 4 1 Y1 4 day 2 3 1 sire 4 2 Y2 5 0",
          "Matrix no. 3 (Residual) Variance structure I Submodel/trait Row/"
          " ----------------------- Col No. Name R-Input --- ---- -------- ------- 1 1 Y1 4 2 2 Y2 "
          "5"})
        EXPECT_TRUE(outcome.says(page)) << page << outcome.listing;
    for (const char* table :
         {"No of traits in the analysis 2 ", " Y1 herd 1 Y2 herd 1 year 2 ",
          "Trait 1 2 3 4 ---------|-----------| -------- -------- -------- --------"
          " Y1 | F-input | 1 1 2 2 | Name | age age day day | Nesting | 0 1 2 3 | Name | sex sire"
          " dam | Type | F F R R Total no of covariables 4 No of fixed covariables 2 No of random"
          " covariables 2",
          "I-Input-no for Classification Variables Trait | 1 2 3 -------- | Y1 | 3 4 5 Description"
          " of random effects accross traits Numbering of Random Effects ((co)variance matrix"
          " number) Trait | -------- | Y1 | 1 2"})
        EXPECT_TRUE(scratch.says("KVE_LOG", table)) << table << scratch.read("KVE_LOG");
}

TEST(ModelReport, ManyEffectsWithLongNamesFillSeveralTables) {
    Case many = {
        .analyse = "1 1 0 0", .columns = "200,1", .names = "INTEG[1:200] RESPONSE", .prior = ""};
    Lines expected;
    std::string effects;
    for (int k = 200; k >= 1; --k) {
        effects += text(" %d", k);
        expected.push_back(text("INTEG%d F %d", k, k));
    }
    expected.back() = "INTEG1 R 1 1";
    many.model = "1\n0\n1 0 200" + effects + "\n1 1\n0\n0\n";
    const Outcome outcome = many.run();
    const Lines lines = lines_of(outcome.listing);
    Lines found;
    for (std::size_t k = 0; k + 3 < lines.size(); ++k) {
        const std::string label = "Trait / effect :  ";
        if (!lines[k].starts_with(label)) continue;
        for (std::size_t at = lines[k].find("INTEG"); at != label.npos;
             at = lines[k].find("INTEG", at + 1)) {
            found.emplace_back();
            for (std::size_t row = k; row < k + 4 && at < lines[row].size(); ++row)
                found.back() += lines[row].substr(at, 9) + " ";
            found.back() = folded(found.back());
        }
    }
    EXPECT_EQ(found, expected) << outcome.listing;
    EXPECT_TRUE(outcome.says("Type : NOR R W F"));
    EXPECT_EQ(outcome.times("RESPONSE INTEG200"), 1);

    EXPECT_TRUE(outcome.prints("\nRESPONSE = INTEG200 +INTEG199 +INTEG198 +"));
    EXPECT_TRUE(outcome.prints(" +..........\n"));
    EXPECT_LE(outcome.longest_page(), 78U);
    for (const std::string& line : lines) EXPECT_LE(line.size(), 132U) << line;
}

TEST(ModelReport, EachClassOfTraitsHasItsWordAndTheResidualItsGroups) {
    // Y3 and Y4 make a pair; W is a mixture variable, which settles less than the pair does.
    Case classes = {.analyse = "2 0 0 0",
                    .columns = "5,8",
                    .names = "herd year sex sire dam W Y1 Y2 Y3 Y4 Y5 Y6 Y7",
                    .more = "$MIXTURE 7\n$CURE 6 5 1 2\n$VAR_STR 1 GROUP 3\n",
                    .model =
                        "7 3 1 1 2\n0\n0\n0\n0\n0\n0\n0\n2 0 1 3\n5 0 1 3\n7 0 1 3\n"
                        "3 0 1 3\n4 0 1 3\n8 0 1 3\n6 0 1 3\n0\n0\n0\n0\n0\n0\n0\n"
                        "0\n0\n0\n0\n0\n0\n0\n0\n",
                    .prior = ""};
    const Outcome outcome = classes.run();
    const char* expected[][2] = {{"Y1", "NOR"}, {"Y4", "M-L"}, {"Y6", "M-L"}, {"Y2", "CENS"},
                                 {"Y3", "CAT"}, {"Y7", "BIN"}, {"Y5", "SBIN"}};
    for (auto [trait, word] : expected)
        EXPECT_TRUE(outcome.says(text("Trait / effect : %s sex Type : %s R W", trait, word)))
            << outcome.listing;
    EXPECT_TRUE(
        outcome.says("Matrix no. 1 (Residual) Variance structure GROUP Integer variable used for "
                     "grouping : sex Integer input no. : 3"));
}

TEST(ModelReport, PagesFollowInOrderEachUnderAPageHead) {
    Case all;
    all.more = "$REDUCE\n1 0\n3\n";
    all.model.replace(all.model.size() - 2, 2, "1\n2 1\n");
    const Outcome outcome = all.run();
    const Lines lines = lines_of(outcome.listing);
    Lines found;
    for (std::size_t k = 3; k < lines.size(); ++k)
        if (is_page_head(lines[k - 3])) found.push_back(lines[k]);
    found.erase(found.begin(),
                std::find(found.begin(), found.end(), "Model description (summary)"));
    found.resize(5);
    EXPECT_EQ(found, (Lines{"Model description (summary)", "Model description (detailed)",
                            "Reduced Rank for random factors ", "Nonexistent residual covarainces",
                            "Structure of (co)variance matrices"}));
    EXPECT_TRUE(
        outcome.says("Matrix no. 1 Trait no. 1 2 Effect no. 1 1 Position 1 3 "
                     "Matrix no. 2 Trait no. 1 Effect no. 2 Position ----"))
        << outcome.listing;
    EXPECT_TRUE(outcome.prints("\n    2  Y2           1  Y1\n"));
    EXPECT_FALSE(outcome.says("WARNING WARNING WARNING"));

    // A file of an earlier run in the folder is none of this one's.
    Scratch scratch;
    scratch.write("KVE1.reduce", "1 2\n1\n");
    const Outcome plain = Case{}.run(scratch);
    EXPECT_FALSE(plain.says("Reduced Rank"));
    EXPECT_FALSE(plain.says("Nonexistent"));
}

TEST(ModelReport, TenMatricesAreShownAndTheResidual) {
    const Outcome ten = many_matrices(10).run(), eleven = many_matrices(11).run();
    EXPECT_TRUE(ten.says("Structure of (co)variance matrices"));
    EXPECT_TRUE(eleven.says("Structure of the first 10 (co)variance matrices"));
    for (const Outcome* one : {&ten, &eleven})
        EXPECT_TRUE(one->says("Matrix no. 10 Variance structure"));
    EXPECT_FALSE(eleven.says("Matrix no. 11"));
    EXPECT_TRUE(eleven.says("Matrix no. 12 (Residual)"));
}

TEST(ModelReport, MiddleRowsAreLeftOutFrom31On) {
    const std::string head = "  ---   ----  --------  -------    -----  --------  -------";
    EXPECT_EQ(many_traits(30, "0").run().block(head, "").size(), 31U);
    Lines left = many_traits(31, "0").run().block(head, "");
    ASSERT_EQ(left.size(), 12U);
    EXPECT_EQ(folded(left[6]), ".. .... ...... ..... .... ...... .....");
    const Lines shown = many_traits(31, "1").run().block(head, "");
    ASSERT_EQ(shown.size(), 32U);
    EXPECT_EQ((Lines{left[5], left[7], shown[16]}),
              (Lines{"    5      1  sire            1        5  TRAIT5          5",
                     "   27      1  sire            1       27  TRAIT27        27",
                     "   16      1  sire            1       16  TRAIT16        16"}));

    // A long matrix repeats its head on the next page.
    const Outcome pages = many_traits(31, "1", 3).run();
    EXPECT_TRUE(pages.says("93 3 sire 1 31 TRAIT31 31")) << pages.listing;
    const Lines lines = lines_of(pages.listing);
    EXPECT_EQ(std::count(lines.begin(), lines.end(), head), 2);
}

TEST(LogTables, ClassEffectsStandOnlyWhereThereAreCovariables) {
    Scratch scratch;
    many_matrices(3).run(scratch);
    EXPECT_TRUE(scratch.says("KVE_LOG",
                             "Variables Trait | 1 2 3 -------- | Description of random "
                             "effects accross traits Numbering of Random"));
    for (const char* absent : {"Covariables", "Effects to be absorbed", "Y1 |"})
        EXPECT_FALSE(scratch.says("KVE_LOG", absent)) << absent;
}

// The run goes on, so the listing must send the reader to the log.
TEST(LogTables, WarningsAreCountedOnTheListing) {
    const struct {
        const char *model, *words;
        int n = 1;
    } cases[] = {
        {"1 0 1 2\n0\n1 1\n0\n", nullptr, 0},
        {"1 0 1 2 ! 3 4\n0\n1 1\n0\n", nullptr, 0},
        {"1 0 2 2 4 3(0) x\n1 1\n0\n0\n",
         "WARNING - model line of trait 1 (R1): not used is what follows its 2 effects:\n"
         "          3(0) x\n          Last effect used: dam\n"
         "          First effect left out: sire\n"},
        {"1 0 0 2 4\n0\n0\n0\n", "follows its 0 effects:\n          2 4\n          First"},
        {"1 0 1 2 9\n0\n0\n0\n", "          9\n          Last effect used: year\n          Corr"},
        {"1 0 1 2 and more\n0\n0\n0\n", "and more\n          Last effect used: year\n  "},
        {"1 0 1 2\n0\n1 2 (1)\n0\n", "its 1 regressions:\n          (1)\n          Nesting"},
        {"1 0 1 2 # 3\n0\n1 2(1) ! 3\n0\n", nullptr, 0},
        {"1 0 1 2\n0\n0 1(2)\n0\n", "its 0 regressions:\n          1(2)\n          Correct"},
        {"1 0 1 2\n0\n1 1(1) 1\n0\n", "its 1 regressions:\n          1\n          Correct"},
        {"1 0 1 2\n0\n1 2(2)\n0\n", " ERROR : Submodel no.            1\n"},
        {"1 0 1 2\n0\n2 2(1) 2\n0\n", "  A general regression for a regression variable"},
        {"1 0 1 2\n0\n3 2 3 2\n0\n", " you hav not fully specified nesting"},
        {"1 6 1 2\n0\n0\n0\n", "ERROR: ILLEGAL VAR-NO IN MODEL DESCRIPTION\n OR WEIGHTS\n"},
        {"1 0 1 2\n0\n2 2(2) 2(2)\n1\n1 1\n", "OF ZERO RESIDUAL COVARIANCES OUT OF BOUNDS", 3},
    };
    for (const auto& c : cases) {
        Scratch scratch;
        const Outcome outcome = Case{.analyse = "1 1 0 0",
                                     .names = "herd year sire dam sex R1 R2 R3 R4 R5",
                                     .model = std::string("1\n0\n") + c.model,
                                     .prior = ""}
                                    .run(scratch);
        const std::string log = scratch.read("KVE_LOG"),
                          told = text("WARNING - KVE_LOG holds %d warnings on the model section\n",
                                      c.n);
        EXPECT_EQ(outcome.status, 0) << outcome.listing;
        EXPECT_EQ(outcome.times("KVE_LOG holds"), c.n == 0 ? 0 : 2) << log;
        if (c.n == 0) continue;
        EXPECT_NE(log.find(c.words), log.npos) << log;
        const std::size_t table = log.find("Total no of covariables ");
        if (table != log.npos) {
            int total = 0, fixed = 0, random = 0;
            std::sscanf(
                &log[table],
                "Total no of covariables %d No of fixed covariables %d No of random covariables %d",
                &total, &fixed, &random);
            const auto head = numbers<int32_t>(framed_records(scratch.read("MODINF"))[11]);
            EXPECT_EQ(head, (std::vector<int32_t>{-1, total, fixed, random})) << log;
        }
        EXPECT_LT(outcome.listing.find(told),
                  outcome.listing.find("\nModel description (summary)\n"))
            << told;
        EXPECT_EQ(folded(outcome.listing.substr(outcome.listing.rfind(told))),
                  folded(told + "END OF KVE1V6"));
    }
}

TEST(LogTables, GoOnBelowWhenALineIsFull) {
    // 16 random effects, and 8 covariables, none of them nested.
    Case wide = many_matrices(16);
    wide.columns = "5,9";
    wide.names = "herd year sex sire dam A B C Y1 D E F G H";
    wide.model.replace(wide.model.rfind("0\n0\n"), 4, "8 1 2 3 5 6 7 8 9\n0\n");
    Scratch scratch;
    wide.run(scratch);
    const std::string log = scratch.read("KVE_LOG");
    std::size_t at = 0;
    for (const char* part :
         {"Trait                         1 ", " 7\n                              8\n",
          "Y1       | F-input   |        1", "         |   Name    |        A",
          "         | Type      |",
          "         | F-input   |        9\n         |   Name    |        H\n", "  Trait  |    1",
          "   15\n         |   16\n", "-------- |\nY1       |    2", "    1\n         |    2\n",
          "-------- |\nY1       |    1", "   15\n         |   16\n"}) {
        at = log.find(part, at) + 1;
        ASSERT_GT(at, 0U) << part << log;
    }
    EXPECT_EQ(log.find("| Nesting"), log.npos);
}
