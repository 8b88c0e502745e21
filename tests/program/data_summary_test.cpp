// The summary of the data on the listing, against numbers found here in another way.
#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "modinf.h"
#include "run.h"

namespace {

// Average, standard deviation, smallest and largest value, in two passes of high precision.
std::string four_numbers(const Floats& values) {
    long double sum = 0, squares = 0;
    float least = values.at(0), most = values.at(0);
    for (float v : values) sum += v, least = std::min(least, v), most = std::max(most, v);
    const long double n = static_cast<long double>(values.size()), mean = sum / n;
    for (float v : values) squares += (v - mean) * (v - mean);
    return text("%17.8Lf%17.8Lf%17.8f%17.8f", mean, std::sqrt(squares / (n - 1)),
                static_cast<double>(least), static_cast<double>(most));
}

std::string one_a_line(int n, const std::string& line) {
    std::string all;
    for (int k = 0; k < n; ++k) all += line + "\n";
    return all;
}

std::string priors(int nt) {
    std::string all;
    for (int m : {1, 2})
        for (int i = 1; i <= nt; ++i) all += text("%d %d %d 1.0\n", m, i, i);
    return all;
}

constexpr float kMissing = -9.0F;

// Columns HERD, SIRE and the reals X, W, then a trait each.
std::string directives(int nt, const std::string& model, const std::string& analyse = "2 0 0 0",
                       const std::string& more = "") {
    return "$ANALYSE " + analyse + text("\n$DATA ASCII (2,%d,-9.0) data", 2 + nt) +
           text("\n$VARIABLE\nHERD SIRE X W Trait[1:%d]\n", nt) + more + "$MODEL\n" + model +
           "$PRIOR\n" + priors(nt);
}

// All traits with herd as fixed and sire as random effect.
std::string plain_model(int nt) {
    std::string model = text("%d %d 0 0 0\n", nt, nt) + one_a_line(nt, "0");
    for (int i = 1; i <= nt; ++i) model += text("%d 0 2 1 2\n", i + 2);
    return model + one_a_line(nt, "1 1") + one_a_line(nt + 1, "0");
}

constexpr char kTraits[] =
    "Trait          R-input     N-obs      Average          S.D.           Min value        "
    "Max value";
constexpr char kVariables[] =
    "Trait   R-input Name          N-obs      Average          S.D.           Min value        "
    "Max value";

}  // namespace

// Trait 2 has weight W and as covariables X, general and nested, and trait 1.
TEST(DataSummary, NumbersAreThoseOfTheUsableRecords) {
    std::mt19937 random(11);
    std::normal_distribution<float> normal(1234.5F, 0.75F);
    Floats y1, y2, w, x, y1_beside_2;
    int dropped[] = {0, 0}, both = 0;
    std::string data;
    constexpr int records = 400;
    for (int k = 0; k < records; ++k) {
        const int herd = k % 11, sire = 1 + k % 7;
        float r[] = {normal(random), 1.0F + 0.1F * static_cast<float>(k % 3), normal(random),
                     normal(random)};
        for (float& value : r)
            if (random() % 8 == 0) value = kMissing;
        data +=
            text("%d %d %.9g %.9g %.9g %.9g\n", herd, sire, static_cast<double>(r[0]),
                 static_cast<double>(r[1]), static_cast<double>(r[2]), static_cast<double>(r[3]));
        auto has = [&r](int column) { return r[column] > kMissing; };
        const bool first = has(2) && herd > 0;
        const bool second = has(3) && herd > 0 && has(0) && has(1) && has(2);
        dropped[0] += has(2) && !first;
        dropped[1] += has(3) && !second;
        both += first && second;
        if (first) y1.push_back(r[2]);
        if (!second) continue;
        y2.push_back(r[3]), w.push_back(r[1]), x.push_back(r[0]), y1_beside_2.push_back(r[2]);
    }
    Scratch scratch;
    scratch.write("data", data);
    const Outcome outcome = scratch.run(
        directives(2, "2 2 0 0 0\n0\n0\n3 0 2 1 2\n4 2 2 1 2\n1 1\n1 1\n0\n3 1 1(1) 3\n0\n"));
    ASSERT_EQ(outcome.status, 0) << outcome.listing;

    const int n1 = static_cast<int>(y1.size()), n2 = static_cast<int>(y2.size());
    const std::vector<std::string> expected{
        "SUMMARY OF DATA FILE        ",
        "",
        text("No of records processed ............. %10d", records),
        "",
        text("No of Datapoints dropped for Trait1   %10d", dropped[0]),
        text("No of Datapoints dropped for Trait2   %10d", dropped[1]),
        "",
        "",
        "DEPENDENT VARIABLES (TRAITS)",
        "",
        kTraits,
        text("Trait1               3%10d", n1) + four_numbers(y1),
        text("Trait2               4%10d", n2) + four_numbers(y2),
        "",
        "",
        "WEIGHTS                     ",
        "            Weight  ",
        "        --------------",
        kVariables,
        text("Trait2        2 W       %11d", n2) + four_numbers(w),
        "",
        "",
        "COVARIABLES                 ",
        "          Covariable",
        "        --------------",
        kVariables,
        text("Trait2        1 X       %11d", n2) + four_numbers(x),
        text("              3 Trait1  %11d", n2) + four_numbers(y1_beside_2),
    };
    auto found = outcome.block(expected[0], "No of obs for each trait combination");
    found.resize(expected.size());
    EXPECT_EQ(found, expected);
    EXPECT_EQ(outcome.block("No of obs for each trait combination", ""),
              (std::vector<std::string>{"No of obs for each trait combination",
                                        "            Trait1    Trait2", text("Trait1  %10d", n1),
                                        text("Trait2  %10d%10d", both, n2)}));
    const Modinf model = decode_modinf(scratch.read("MODINF"));
    EXPECT_EQ(model.traits[0].at("n_obs"), std::to_string(n1));
    EXPECT_EQ(model.traits[1].at("n_obs"), std::to_string(both))
        << "the second entry of the packed pairs";
}

TEST(DataSummary, FewObservationsShowWhatTheyAllow) {
    Scratch scratch;
    // Both traits with X as covariable and W as weight; the second trait has no value but one.
    const std::string model = "2 2 0 0 0\n0\n0\n3 2 2 1 2\n4 2 2 1 2\n1 1\n1 1\n1 1\n1 1\n0\n";
    scratch.write("data", "1 1 3 2.5 8 -9\n1 1 -9 2.5 9 -9\n");
    const Outcome one = scratch.run(directives(2, model));
    ASSERT_EQ(one.status, 0) << one.listing;
    const auto traits = one.block(kTraits, "");
    EXPECT_EQ(traits.at(1),
              "Trait1               3         1       8.00000000              NaN       "
              "8.00000000       8.00000000");
    EXPECT_EQ(traits.at(2), "Trait2               4         0");
    const std::string x = "       3.00000000       0.00000000       3.00000000       3.00000000";
    std::vector<std::string> rows;
    for (const std::string& line : one.block("SUMMARY OF DATA FILE        ", " END OF KVE1V6  "))
        if (line.starts_with("Trait1        ")) rows.push_back(line);
    EXPECT_EQ(rows, (std::vector<std::string>{traits.at(1), "Trait1        2 W                 1",
                                              "Trait1        1 X                 1" + x,
                                              "Trait1           1"}));

    // Squares of this value fill more digits than their sum can hold.
    std::string constant;
    for (int k = 0; k < 5000; ++k) constant += "1 1 12345.678 0.1 8 9\n";
    scratch.write("data", constant);
    const Outcome same = scratch.run(directives(2, model));
    EXPECT_EQ(same.times("12345.67773438 0.00000000 12345.67773438 12345.67773438"), 2)
        << same.listing;
    EXPECT_FALSE(same.says("dropped"));
}

TEST(DataSummary, ManyCovariablesAreCutInTheMiddle) {
    for (int n : {30, 31}) {
        std::string reals, regressions = std::to_string(n);
        for (int k = 1; k <= n; ++k) {
            reals += text(" %d", k);
            regressions += text(" %d", k);
        }
        const std::string rest =
            text("\n$DATA ASCII (2,%d,-9.0) data\n$VARIABLE\nHERD SIRE C[1:%d] Y\n", n + 1, n) +
            text("$MODEL\n1 1 0 0 0\n0\n%d 0 2 1 2\n1 1\n", n + 1) + regressions + "\n0\n$PRIOR\n" +
            priors(1);
        Scratch scratch;
        scratch.write("data", "1 1" + reals + " 5\n1 1" + reals + " 6\n");
        const std::string dots =
            "             .. ....          .....   ..........       ..........       ..........    "
            "   ..........    ";
        for (int debug : {0, 1}) {
            const bool cut = n > 30 && debug == 0;
            const Outcome outcome = scratch.run(text("$ANALYSE 2 0 0 %d", debug) + rest);
            std::vector<std::string> expected;
            for (int k = 1; k <= n; ++k) {
                if (cut && k == 11) expected.insert(expected.end(), 2, dots);
                if (cut && k > 10 && k <= n - 10) continue;
                expected.push_back(text("%-8s %6d C%-7d%11d%17.8f%17.8f", k == 1 ? "Y" : "", k, k,
                                        2, double(k), 0.0) +
                                   text("%17.8f%17.8f", double(k), double(k)));
            }
            auto found = outcome.block(kVariables, "");
            found.erase(found.begin());
            EXPECT_EQ(found, expected) << n << " at test print " << debug;
        }
    }
}

TEST(DataSummary, CensoringIsCountedByItsCodes) {
    // Gaussian trait 1, right censored trait 2: columns of the code are HERD and SIRE.
    Scratch scratch;
    scratch.write("data",
                  "1 1 0 0 5 5\n1 2 0 0 5 5\n1 2 0 0 5 5\n2 -1 0 0 5 5\n0 -1 0 0 5 -9\n"
                  "1 -1 0 0 5 5\n2 0 0 0 5 5\n1 7 0 0 5 5\n");
    const Outcome outcome = scratch.run(
        "$ANALYSE 2 0 0 0\n$DATA ASCII (2,4,-9.0) data\n$VARIABLE\nHERD CODE X W Y1 Y2\n"
        "$MODEL\n2 1 1 0 0\n0\n0\n3 0 1 1\n4 0 1 0\n0\n0\n0\n0\n0\n$CENS 2 CENS=2\n"
        "$PRIOR\n1 1 1 1.0\n1 2 2 1.0\n");
    ASSERT_EQ(outcome.status, 0) << outcome.listing;
    EXPECT_EQ(outcome.block("FREQUENSE OF CENSORING      ", "No of obs for each trait combination"),
              (std::vector<std::string>{
                  "FREQUENSE OF CENSORING      ", "",
                  "Trait          R-input    Uncensored        Left       Right    Interval",
                  "Y2                   4             1           2           1           2", "",
                  "", "", ""}));
}

TEST(DataSummary, PairsOfTraitsStandInBlocksOfSix) {
    // Trait i is present in the first 10 - i records, and pairs count the smaller number.
    constexpr int nt = 8;
    std::string data;
    for (int k = 0; k < 9; ++k) {
        data += "1 1 0 0";
        for (int i = 1; i <= nt; ++i) data += k < 10 - i ? " 5" : " -9";
        data += "\n";
    }
    Scratch scratch;
    scratch.write("data", data);
    const Outcome outcome = scratch.run(directives(nt, plain_model(nt)));
    ASSERT_EQ(outcome.status, 0) << outcome.listing;
    std::vector<std::string> expected{"No of obs for each trait combination"};
    for (int first : {1, 7}) {
        const int last = std::min(first + 5, nt);
        std::string line(8, ' ');
        for (int j = first; j <= last; ++j) line += text("    Trait%d", j);
        expected.push_back(line);
        for (int i = first; i <= nt; ++i) {
            line = text("Trait%d  ", i);
            for (int j = first; j <= std::min(i, last); ++j) line += text("%10d", 10 - i);
            expected.push_back(line);
        }
        expected.push_back("");
    }
    auto found = outcome.block(expected[0], " END OF KVE1V6  ");
    found.resize(expected.size());
    EXPECT_EQ(found, expected);
}

TEST(DataSummary, PagesHoldTheSummaryOfManyTraits) {
    constexpr int nt = 31;
    std::string data;
    for (int k = 0; k < 4; ++k) {
        data += "1 1 0 0";
        for (int i = 1; i <= nt; ++i) data += text(" %d", -1 - k);
        data += "\n";
    }
    Scratch scratch;
    scratch.write("data", data);
    const Outcome outcome = scratch.run(directives(nt, plain_model(nt)));
    ASSERT_EQ(outcome.status, 0) << outcome.listing;
    const auto lines = lines_of(outcome.listing);
    int on_page = 0;
    for (const std::string& line : lines) {
        on_page = line.starts_with("1KVE1") ? 1 : on_page + 1;
        EXPECT_LE(on_page, 78) << line;
    }
    // No table of traits or pairs is cut by a page head.
    EXPECT_EQ(outcome.block(kTraits, "").size(), 32U);
    EXPECT_EQ(
        outcome.block("            Trait1    Trait2    Trait3    Trait4    Trait5    Trait6", "")
            .size(),
        32U);
}

TEST(DataSummary, ValuesOutOfRangeEndTheRunWhereTheyAreUsed) {
    Scratch scratch;
    scratch.write("data", "1 2147483648 1e39 0 5 6\n2147483648 1 1e39 0 5 -1e39\n");
    const Outcome used = scratch.run(directives(2, plain_model(2)));
    EXPECT_EQ(used.status, 16);
    const std::string rule = "---------  --------  --------  ---------------------";
    EXPECT_EQ(
        used.block("WARNING WARNING WARNING WARNING WARNING  WARNING", "COMPUTATIONS TERMINATES"),
        (std::vector<std::string>{
            "WARNING WARNING WARNING WARNING WARNING  WARNING",
            "",
            "INPUT DATA OUT OF RANGE",
            "",
            "INTEGER INPUT:",
            "",
            "Input no.    Name     Times    Used in this analyzes",
            rule,
            "        1  HERD             1                      X",
            "        2  SIRE             1                      X",
            "",
            "",
            "REAL INPUT:",
            "",
            "Input no.    Name     Times    Used in this analysis",
            rule,
            "        1  X                2",
            "        4  Trait2           1                      X",
            "",
            "",
            "",
            "",
            "ONE OR MORE INPUT VARIABLES USED IN THIS ANALYSIS IS OUT OF RANGE",
            "",
            "LEGAL RANGE FOR INTEGERS : 0 - 2147483647",
            "",
            "LEGAL RANGE FOR REALS    : -3.4028235E+38 - 3.4028235E+38",
            ""}));

    scratch.write("data", "1 1 1e39 0 5 6\n");
    const Outcome unused = scratch.run(directives(2, plain_model(2)));
    EXPECT_EQ(unused.status, 0);
    EXPECT_TRUE(unused.says("REAL INPUT:"));
    EXPECT_FALSE(unused.says("INTEGER INPUT:"));
    EXPECT_TRUE(unused.says("No of records processed"));
}

TEST(DataSummary, BinaryTraitsAreListedUnderTheNameOfTheirNumber) {
    // Binary traits 2 and 3 of three, in real columns 4 and 5.
    Scratch scratch;
    scratch.write("data", "1 1 0 0 5 2 1\n1 1 0 0 5 0 -3\n1 1 0 0 5 1 7\n");
    std::string model = plain_model(3);
    model.replace(0, model.find('\n'), "3 1 0 0 2");
    const Outcome outcome = scratch.run(directives(3, model));
    EXPECT_EQ(outcome.status, 16);
    EXPECT_EQ(outcome.block("WARNING WARNING WARNING WARNING WARNING  WARNING",
                            "COMPUTATIONS TERMINATES"),
              (std::vector<std::string>{
                  "WARNING WARNING WARNING WARNING WARNING  WARNING",
                  "INPUT DATA FOR BINARY DATA OUT OF RANGE (0/1)",
                  "REAL INPUT:", "Input no.    Name     Times", "---------  --------  --------",
                  "        2  W                1", "        3  Trait1           2"}));
}
