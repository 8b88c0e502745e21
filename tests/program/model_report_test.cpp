// The pages that describe the model on the listing and its tables in KVE_LOG, through whole runs.
// What a relationship structure or a generalized trait adds is tested in tests/unit.
#include <gtest/gtest.h>

#include <algorithm>

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

    Outcome run(const Scratch& scratch) const {
        scratch.write("data", "1 1 1 1 1 1 1 1 1 1\n");
        return scratch.run("$ANALYSE " + analyse + "\n$DATA ASCII (" + columns +
                           ",-9.0) data\n$VARIABLE\n" + names + "\n" + more + "$MODEL\n" + model +
                           prior);
    }
    Outcome run() const { return run(Scratch()); }
};

bool is_page_head(const std::string& line) {
    return line.find("Multivariate Mixed Model Package") != std::string::npos;
}

// `count` lines behind the first one that is `title`.
Lines behind(const Lines& lines, const std::string& title, std::size_t count) {
    auto at = std::find(lines.begin(), lines.end(), title);
    if (at == lines.end()) return {"no line " + title};
    ++at;
    return {at,
            at + std::min<std::ptrdiff_t>(lines.end() - at, static_cast<std::ptrdiff_t>(count))};
}

// The table of a trait in the detailed page: all columns in order, "name type input matrix" each,
// taken from the places under the name.
Lines columns_of(const Outcome& outcome, const std::string& trait) {
    const Lines lines = outcome.block("Model description (detailed)", "Trait      Model");
    Lines columns;
    bool inside = false;
    for (std::size_t k = 0; k + 3 < lines.size(); ++k) {
        const std::string label = "Trait / effect :  ";
        if (!lines[k].starts_with(label)) continue;
        const std::string rows[] = {lines[k], lines[k + 1], lines[k + 2], lines[k + 3]};
        const bool first = rows[1].find("R   W") != std::string::npos;
        if (first) inside = folded(rows[0].substr(label.size(), 8)) == trait;
        if (!inside) continue;
        for (std::size_t at = label.size(); at < rows[0].size();) {
            std::size_t end = rows[0].find("  ", at);
            end = std::min(rows[0].find_first_not_of(' ', end), rows[0].size());
            std::string column;
            for (const std::string& row : rows)
                if (at < row.size()) column += row.substr(at, end - at) + " ";
            columns.push_back(folded(column));
            at = end;
        }
    }
    return columns;
}

// A model of one trait and `n` random effects, each in its own matrix.
Case many_matrices(int n) {
    std::string effects, matrices;
    for (int k = 1; k <= n; ++k) {
        effects += text(" %d", k % 5 + 1);
        matrices += text(" %d", k);
    }
    return {.analyse = "1 1 0 0",
            .model = text("1\n0\n4 0 %d", n) + effects + text("\n%d", n) + matrices + "\n0\n0\n",
            .prior = ""};
}

// `nt` traits with so many random effects each, all in one matrix.
Case many_traits(int nt, const std::string& test_print, int effects = 1) {
    std::string ones;
    for (int k = 1; k <= effects; ++k) ones += " 1";
    std::string names = "sire", absorb, model, random, regressions;
    for (int i = 1; i <= nt; ++i) {
        names += text(" TRAIT%d", i);
        absorb += "0\n";
        model += text("%d 0 %d", i, effects) + ones + "\n";
        random += text("%d", effects) + ones + "\n";
        regressions += "0\n";
    }
    return {.analyse = "1 1 0 " + test_print,
            .columns = text("1,%d", nt),
            .names = names,
            .model = text("%d\n", nt) + absorb + model + random + regressions + "0\n",
            .prior = ""};
}

// Places in the text, each behind the one before; false when one is missing.
bool in_order(const std::string& content, const Lines& parts) {
    std::size_t at = 0;
    for (const std::string& part : parts) {
        at = content.find(part, at);
        if (at == std::string::npos) return false;
        ++at;
    }
    return true;
}

}  // namespace

TEST(ModelReport, SummaryHasARowForEachTraitUnderItsHeads) {
    EXPECT_EQ(
        behind(lines_of(Case{}.run().listing), "---------------------------", 7),
        (Lines{"", "                                                         No of Class Variables",
               "           Dep.var  Weight   Effects    No of    "
               "---------------------------------------",
               " Trait       R.no    R.no    Absorbed   Covars     Total          Fixed         "
               "Random",
               "--------   -------  ------   --------   ------   ---------      ---------      "
               "---------",
               "Y1               4       3          1        4           3              1"
               "              2",
               "Y2               5       0          2        0           2              1"
               "              1"}));
}

TEST(ModelReport, DetailsStandUnderEachEffectInOrder) {
    const Outcome outcome = Case{}.run();
    EXPECT_EQ(columns_of(outcome, "Y1"),
              (Lines{"Y1 NOR R W 4 3", "herd A 1", "sex F 3", "sire R 4 1", "dam R 5 2", "age F 1",
                     "age(sex) F 1", "day(sire) R 2 1", "day(dam) R 2 2"}))
        << outcome.listing;
    EXPECT_EQ(columns_of(outcome, "Y2"),
              (Lines{"Y2 NOR R W 5 0", "herd A 1", "year A 2", "sex F 3", "sire R 4 1"}));
    EXPECT_EQ(outcome.times("Type :"), 2);
    EXPECT_EQ(behind(lines_of(outcome.listing), "Trait      Model", 3),
              (Lines{"--------   --------",
                     "Y1       = herd +sex +sire +dam +age +age(sex) +day(sire) +day(dam)",
                     "Y2       = herd +year +sex +sire"}));
}

TEST(ModelReport, ManyEffectsWithLongNamesFillSeveralTables) {
    Case many = {.analyse = "1 1 0 0", .columns = "200,1", .names = "", .prior = ""};
    Lines expected = {"RESPONSE NOR R W 1 0"};
    std::string effects;
    for (int k = 1; k <= 200; ++k) {
        many.names += text("INTEG%03d ", k);
        if (k % 50 == 0) many.names += "\n";
        effects += text(" %d", 201 - k);
        expected.push_back(text("INTEG%03d F %d", 201 - k, 201 - k));
    }
    expected.back() = "INTEG001 R 1 1";
    many.names += "RESPONSE";
    many.model = "1\n0\n1 0 200" + effects + "\n1 1\n0\n0\n";
    const Outcome outcome = many.run();
    EXPECT_EQ(columns_of(outcome, "RESPONSE"), expected) << outcome.listing;

    const Lines model = behind(lines_of(outcome.listing), "Trait      Model", 2);
    EXPECT_TRUE(model.back().starts_with("RESPONSE = INTEG200 +INTEG199 +INTEG198 +"));
    EXPECT_TRUE(model.back().ends_with(" +..........")) << model.back();
    int on_page = 0;
    for (const std::string& line : lines_of(outcome.listing)) {
        on_page = is_page_head(line) ? 1 : on_page + 1;
        if (outcome.listing.find("Model description") > outcome.listing.find(line)) continue;
        EXPECT_LE(on_page, 78) << line;
        EXPECT_LE(line.size(), 132U) << line;
    }
}

TEST(ModelReport, EachClassOfTraitsHasItsWord) {
    // Y3 and Y4 make a pair; W is a mixture variable, which settles less than the pair does.
    Case classes = {.analyse = "2 0 0 0",
                    .columns = "5,8",
                    .names = "herd year sex sire dam W Y1 Y2 Y3 Y4 Y5 Y6 Y7",
                    .more = "$MIXTURE 7\n$CURE 6 5 1 2\n",
                    .model =
                        "7 3 1 1 2\n0\n0\n0\n0\n0\n0\n0\n2 0 1 3\n5 0 1 3\n7 0 1 3\n"
                        "3 0 1 3\n4 0 1 3\n8 0 1 3\n6 0 1 3\n0\n0\n0\n0\n0\n0\n0\n"
                        "0\n0\n0\n0\n0\n0\n0\n0\n",
                    .prior = ""};
    const Outcome outcome = classes.run();
    const char* expected[][2] = {{"Y1", "NOR"}, {"Y4", "M-L"}, {"Y6", "M-L"}, {"Y2", "CENS"},
                                 {"Y3", "CAT"}, {"Y7", "BIN"}, {"Y5", "SBIN"}};
    for (auto [trait, word] : expected) {
        const Lines columns = columns_of(outcome, trait);
        ASSERT_FALSE(columns.empty()) << trait << outcome.listing;
        EXPECT_TRUE(columns[0].starts_with(std::string(trait) + " " + word + " R W")) << columns[0];
    }
}

TEST(ModelReport, PagesFollowInOrderEachUnderAPageHead) {
    Case all;
    all.more = "$REDUCE\n1 0\n3\n";
    all.model.replace(all.model.size() - 2, 2, "1\n2 1\n");
    const Outcome outcome = all.run();
    const Lines lines = lines_of(outcome.listing);
    const Lines titles = {"Model description (summary)", "Model description (detailed)",
                          "Reduced Rank for random factors ", "Nonexistent residual covarainces",
                          "Structure of (co)variance matrices"};
    std::ptrdiff_t before = 0;
    for (const std::string& title : titles) {
        const auto at = std::find(lines.begin(), lines.end(), title);
        ASSERT_NE(at, lines.end()) << title;
        EXPECT_GT(at - lines.begin(), before) << title;
        EXPECT_TRUE(is_page_head(*(at - 3))) << title;
        before = at - lines.begin();
    }
    EXPECT_TRUE(
        outcome.says("Matrix no. 1 Trait no. 1 2 Effect no. 1 1 Position 1 3 "
                     "Matrix no. 2 Trait no. 1 Effect no. 2 Position ----"))
        << outcome.listing;
    EXPECT_EQ(behind(lines, "Nonexistent residual covarainces", 3).back(),
              "    2  Y2           1  Y1");
    EXPECT_FALSE(outcome.says("WARNING WARNING WARNING"));

    // A file of an earlier run in the folder is none of this one's.
    Scratch scratch;
    scratch.write("KVE1.reduce", "1 2\n1\n");
    const Outcome plain = Case{}.run(scratch);
    EXPECT_FALSE(plain.says("Reduced Rank"));
    EXPECT_FALSE(plain.says("Nonexistent"));
}

TEST(ModelReport, StructuresShowTheRowsOfEachMatrix) {
    const Outcome outcome = Case{}.run();
    const Lines lines = lines_of(outcome.listing);
    EXPECT_EQ(
        behind(lines, "Matrix no.            1", 9),
        (Lines{"Variance structure I(x)G0", "",
               "        Random identifier (effect)      Submodel/trait          RR-Regression",
               "  Row/  --------------------------  -----------------------   "
               "-----------------",
               "  Col    No.      Name  I-Input     No.       Name  R-Input      Name  "
               "R-Input",
               "  ---   ----  --------  -------    -----  --------  -------  --------  "
               "-------",
               "    1      1  sire            4        1  Y1              4                  0",
               "    2      1  sire            4        1  Y1              4  day             2",
               "    3      1  sire            4        2  Y2              5                  "
               "0"}));
    EXPECT_EQ(behind(lines, "Matrix no.            3 (Residual)", 9),
              (Lines{"Variance structure I", "", "            Submodel/trait",
                     "  Row/  -----------------------", "  Col    No.      Name  R-Input",
                     "  ---   ----  --------  -------", "    1      1  Y1              4",
                     "    2      2  Y2              5", ""}));
}

TEST(ModelReport, GroupsOfTheResidualAreNamed) {
    Case grouped = many_matrices(1);
    grouped.analyse = "2 0 0 0";
    grouped.more = "$VAR_STR 2 GROUP 3\n";
    grouped.model.replace(0, 1, "1 1 0 0 0");
    const Outcome outcome = grouped.run();
    EXPECT_EQ(behind(lines_of(outcome.listing), "Matrix no.            2 (Residual)", 3),
              (Lines{"Variance structure GROUP", "Integer variable used for grouping : sex",
                     "Integer input no.                  :            3"}))
        << outcome.listing;
}

TEST(ModelReport, TenMatricesAreShownAndTheResidual) {
    const Outcome ten = many_matrices(10).run(), eleven = many_matrices(11).run();
    EXPECT_TRUE(ten.says("Structure of (co)variance matrices"));
    EXPECT_TRUE(ten.says("Matrix no. 10 Variance structure"));
    EXPECT_TRUE(eleven.says("Structure of the first 10 (co)variance matrices"));
    EXPECT_TRUE(eleven.says("Matrix no. 10 Variance structure"));
    EXPECT_FALSE(eleven.says("Matrix no. 11"));
    EXPECT_TRUE(eleven.says("Matrix no. 12 (Residual)"));
}

TEST(ModelReport, MiddleRowsAreLeftOutFrom31On) {
    const auto rows_of = [](const Outcome& outcome) {
        Lines rows =
            outcome.block("  ---   ----  --------  -------    -----  --------  -------", "");
        rows.erase(rows.begin());
        return rows;
    };
    const Outcome all = many_traits(30, "0").run();
    EXPECT_EQ(rows_of(all).size(), 30U) << all.listing;

    const Lines left = rows_of(many_traits(31, "0").run());
    ASSERT_EQ(left.size(), 11U);
    EXPECT_EQ(left[4], "    5      1  sire            1        5  TRAIT5          5");
    EXPECT_EQ(folded(left[5]), ".. .... ...... ..... .... ...... .....");
    EXPECT_EQ(left[6], "   27      1  sire            1       27  TRAIT27        27");

    const Lines shown = rows_of(many_traits(31, "1").run());
    ASSERT_EQ(shown.size(), 31U);
    EXPECT_EQ(shown[15], "   16      1  sire            1       16  TRAIT16        16");
}

TEST(ModelReport, ALongMatrixRepeatsItsHeadOnTheNextPage) {
    const Outcome outcome = many_traits(31, "1", 3).run();
    EXPECT_TRUE(outcome.says("93 3 sire 1 31 TRAIT31 31")) << outcome.listing;
    const std::string head = "  ---   ----  --------  -------    -----  --------  -------";
    const Lines lines = lines_of(outcome.listing);
    EXPECT_EQ(std::count(lines.begin(), lines.end(), head), 2);
}

TEST(LogTables, HoldTheEffectsOfAllTraits) {
    Scratch scratch;
    Case{}.run(scratch);
    const Lines log = lines_of(scratch.read("KVE_LOG"));
    EXPECT_EQ(
        behind(log, "--------  -------- -------  -------- -------  ", 2),
        (Lines{"Y1        herd           1  ", "Y2        herd           1  year           2  "}));
    EXPECT_EQ(
        behind(log, "                      -----------", 11),
        (Lines{"Trait                         1        2        3        4",
               "---------|-----------| -------- -------- -------- --------",
               "Y1       | F-input   |        1        1        2        2",
               "         |   Name    |      age      age      day      day",
               "         | Nesting   |        0        1        2        3",
               "         |   Name    |               sex     sire      dam",
               "         | Type      |        F        F        R        R", "",
               "Total no of covariables             4", "No of fixed covariables             2",
               "No of random covariables            2"}));
    EXPECT_EQ(behind(log, "I-Input-no for Classification Variables", 9),
              (Lines{"  Trait  |    1    2    3", "-------- |", "Y1       |    3    4    5", "",
                     "Description of random effects accross traits",
                     "Numbering of Random Effects ((co)variance matrix number)", "Trait    |",
                     "-------- |", "Y1       |    1    2"}));
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
    EXPECT_TRUE(in_order(
        log,
        {"Trait                         1 ", " 7\n                              8\n",
         "Y1       | F-input   |        1", "         |   Name    |        A",
         "         | Type      |", "         | F-input   |        9\n",
         "         |   Name    |        H\n", "         | Type      |        F\n",
         "  Trait  |    1", "   15\n         |   16\n", "-------- |\nY1       |    2",
         "    1\n         |    2\n", "-------- |\nY1       |    1", "   15\n         |   16\n"}))
        << log;
    EXPECT_FALSE(in_order(log, {"| Nesting"}));
}

TEST(LogTables, ClassEffectsStandOnlyWhereThereAreCovariables) {
    Scratch scratch;
    many_matrices(3).run(scratch);
    const Lines log = lines_of(scratch.read("KVE_LOG"));
    EXPECT_EQ(behind(log, "I-Input-no for Classification Variables", 9),
              (Lines{"  Trait  |    1    2    3", "-------- |", "",
                     "Description of random effects accross traits",
                     "Numbering of Random Effects ((co)variance matrix number)", "Trait    |",
                     "-------- |"}));
    EXPECT_EQ(scratch.read("KVE_LOG").find("Covariables"), std::string::npos);
    EXPECT_EQ(scratch.read("KVE_LOG").find("Effects to be absorbed"), std::string::npos);
}
