// The summary of the data on the listing, against numbers found here in another way.

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
    return text(" %.8Lf %.8Lf %.8f %.8f ", mean, std::sqrt(squares / (n - 1)),
                static_cast<double>(least), static_cast<double>(most));
}

// One run with columns HERD, SIRE and the reals X, W, then a trait each.
Outcome run(const std::string& data, int nt, const std::string& model, int status = 0,
            const Scratch& scratch = Scratch()) {
    scratch.write("data", data);
    Outcome outcome = scratch.run(text("$ANALYSE 2 0 0 0\n$DATA ASCII (2,%d,-9.0) data", 2 + nt) +
                                  text("\n$VARIABLE\nHERD SIRE X W Trait[1:%d]\n$MODEL\n", nt) +
                                  model + "$PRIOR\n" + priors({nt, nt}));
    EXPECT_EQ(outcome.status, status) << outcome.listing;
    return outcome;
}

// All traits with herd as fixed and sire as random effect.
std::string plain_model(int nt) {
    std::string model = text("%d %d 0 0 0\n", nt, nt) + times(nt, "0\n");
    for (int i = 1; i <= nt; ++i) model += text("%d 0 2 1 2\n", i + 2);
    return model + times(nt, "1 1\n") + times(nt + 1, "0\n");
}

void expect_words(const Outcome& outcome, const std::string& words) {
    EXPECT_TRUE(outcome.says(words)) << words << outcome.listing;
}

const std::string kPairs = "No of obs for each trait combination ";
const std::string kOutOfRange = times(6, "WARNING ") + "INPUT DATA ";
const std::string kNumbers = "N-obs Average S.D. Min value Max value ";
const std::string kTraits = "Trait R-input " + kNumbers;
const std::string kVariables = "Trait R-input Name " + kNumbers;

}  // namespace

// Trait 2 has weight W and as covariables X, general and nested, and trait 1.
TEST(DataSummary, NumbersAreThoseOfTheUsableRecords) {
    std::mt19937 random(11);
    std::normal_distribution<float> normal(1234.5F, 0.75F);
    Floats y1, y2, w, x, y1_beside_2;
    int dropped[] = {0, 0}, both = 0;
    std::string data;
    const Scratch scratch;
    constexpr int records = 400;
    for (int k = 0; k < records; ++k) {
        const int herd = k % 11, sire = 1 + k % 7;
        float r[] = {normal(random), 1.0F + 0.1F * static_cast<float>(k % 3), normal(random),
                     normal(random)};
        for (float& value : r)
            if (random() % 8 == 0) value = -9;
        data +=
            text("%d %d %.9g %.9g %.9g %.9g\n", herd, sire, static_cast<double>(r[0]),
                 static_cast<double>(r[1]), static_cast<double>(r[2]), static_cast<double>(r[3]));
        auto has = [&r](int column) { return r[column] > -9; };
        const bool first = has(2) && herd > 0;
        const bool second = has(3) && herd > 0 && has(0) && has(1) && has(2);
        dropped[0] += has(2) && !first;
        dropped[1] += has(3) && !second;
        both += first && second;
        if (first) y1.push_back(r[2]);
        if (!second) continue;
        y2.push_back(r[3]), w.push_back(r[1]), x.push_back(r[0]), y1_beside_2.push_back(r[2]);
    }
    const Outcome outcome = run(
        data, 2, "2 2 0 0 0\n0\n0\n3 0 2 1 2\n4 2 2 1 2\n1 1\n1 1\n0\n3 1 1(1) 3\n0\n", 0, scratch);
    const int n1 = static_cast<int>(y1.size()), n2 = static_cast<int>(y2.size());
    expect_words(outcome,
                 text("SUMMARY OF DATA FILE No of records processed ............. %d ", records) +
                     text("No of Datapoints dropped for Trait1 %d ", dropped[0]) +
                     text("No of Datapoints dropped for Trait2 %d ", dropped[1]) +
                     "DEPENDENT VARIABLES (TRAITS) " + kTraits + text("Trait1 3 %d", n1) +
                     four_numbers(y1) + text("Trait2 4 %d", n2) + four_numbers(y2) +
                     "WEIGHTS Weight -------------- " + kVariables + text("Trait2 2 W %d", n2) +
                     four_numbers(w) + "COVARIABLES Covariable -------------- " + kVariables +
                     text("Trait2 1 X %d", n2) + four_numbers(x) + text("3 Trait1 %d", n2) +
                     four_numbers(y1_beside_2) + kPairs +
                     text("Trait1 Trait2 Trait1 %d Trait2 %d %d ", n1, both, n2));
    const Modinf model = decode_modinf(scratch.read("MODINF"));
    EXPECT_EQ(model.traits[0].at("n_obs"), printed(n1));
    EXPECT_EQ(model.traits[1].at("n_obs"), printed(both)) << "the second entry of the packed pairs";
}

TEST(DataSummary, FewObservationsShowWhatTheyAllow) {
    // Both traits with X as covariable and W as weight; the second trait has no value but one.
    const std::string model = "2 2 0 0 0\n0\n0\n3 2 2 1 2\n4 2 2 1 2\n1 1\n1 1\n1 1\n1 1\n0\n";
    const Outcome one = run("1 1 3 2.5 8 -9\n1 1 -9 2.5 9 -9\n", 2, model);
    expect_words(one, kTraits + "Trait1 3 1 8.00000000 NaN 8.00000000 8.00000000 Trait2 4 0 ");
    expect_words(one, kVariables + "Trait1 2 W 1 ");
    expect_words(one, kVariables + "Trait1 1 X 1 3.00000000 0.00000000 3.00000000 3.00000000 ");
    expect_words(one, "Trait1 Trait2 Trait1 1 Trait2 ");

    // Squares of this value fill more digits than their sum can hold.
    const Outcome same = run(times(5000, "1 1 12345.678 0.1 8 9\n"), 2, model);
    EXPECT_EQ(same.times("12345.67773438 0.00000000 12345.67773438 12345.67773438"), 2)
        << same.listing;
    EXPECT_FALSE(same.says("dropped"));
}

TEST(DataSummary, ManyCovariablesAreCutInTheMiddle) {
    for (int n : {30, 31}) {
        std::string columns;
        for (int k = 1; k <= n; ++k) columns += text(" %d", k);
        Scratch scratch;
        scratch.write("data", "1 1" + columns + " 5\n1 1" + columns + " 6\n");
        for (int debug : {0, 1}) {
            const bool cut = n > 30 && debug == 0;
            std::string expected = kVariables + "Y ";
            for (int k = 1; k <= n; ++k) {
                if (cut && k == 11)
                    expected += times(2, ".. .... ....." + times(4, " ..........") + " ");
                if (!cut || k < 11 || k > n - 10)
                    expected += text("%d C%d 2 %d.00000000 0.00000000 %d", k, k, k, k) +
                                text(".00000000 %d.00000000 ", k);
            }
            expect_words(
                scratch.run(
                    text("$ANALYSE 2 0 0 %d\n$DATA ASCII (2,%d,-9.0) data\n", debug, n + 1) +
                    text("$VARIABLE\nHERD SIRE C[1:%d] Y\n$MODEL\n1 1 0 0 0\n0\n", n) +
                    text("%d 0 2 1 2\n1 1\n%d", n + 1, n) + columns + "\n0\n$PRIOR\n" +
                    priors({1, 1})),
                expected);
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
        "$MODEL\n2 1 1 0 0\n0\n0\n3 0 1 1\n4 0 1 0\n0\n0\n0\n0\n0\n$CENS 2 CENS=2\n$PRIOR\n" +
        priors({2}));
    ASSERT_EQ(outcome.status, 0) << outcome.listing;
    expect_words(outcome,
                 "FREQUENSE OF CENSORING Trait R-input Uncensored Left Right Interval "
                 "Y2 4 1 2 1 2 " +
                     kPairs);
}

TEST(DataSummary, PairsOfTraitsStandInBlocksOfSixAndNoTableIsCutByAPage) {
    // Trait i is present in the first 40 - i records, and pairs count the smaller number.
    constexpr int nt = 31;
    std::string data;
    for (int k = 0; k < 39; ++k) {
        const int present = std::min(nt, 39 - k);
        data += "1 1 0 0" + times(present, " 5") + times(nt - present, " -9") + "\n";
    }
    const Outcome outcome = run(data, nt, plain_model(nt));
    for (int first = 1; first <= nt; first += 6) {
        const int last = std::min(first + 5, nt);
        std::string table;
        for (int j = first; j <= last; ++j) table += text("Trait%d ", j);
        for (int i = first; i <= nt; ++i)
            table +=
                text("Trait%d ", i) + times(std::min(i, last) - first + 1, text("%d ", 40 - i));
        expect_words(outcome, table);
    }
    EXPECT_LE(outcome.longest_page(), 78U);
}

TEST(DataSummary, ValuesOutOfRangeEndTheRunWhereTheyAreUsed) {
    const Outcome used =
        run("1 2147483648 1e39 0 5 6\n2147483648 1 1e39 0 5 -1e39\n", 2, plain_model(2), 16);
    const std::string rule = "--------- -------- -------- --------------------- ",
                      in_use = "Input no. Name Times Used in this ";
    expect_words(used,
                 kOutOfRange + "OUT OF RANGE INTEGER INPUT: " + in_use + "analyzes " + rule +
                     "1 HERD 1 X 2 SIRE 1 X REAL INPUT: " + in_use + "analysis " + rule +
                     "1 X 2 4 Trait2 1 X ONE OR MORE INPUT VARIABLES USED IN THIS ANALYSIS IS "
                     "OUT OF RANGE LEGAL RANGE FOR INTEGERS : 0 - 2147483647 LEGAL RANGE FOR "
                     "REALS : -3.4028235E+38 - 3.4028235E+38 COMPUTATIONS TERMINATES");
    // One value is enough, whatever the column is used for: a class effect, a random effect, a
    // covariable, a weight, a trait.
    const std::string model = "1 1 0 0 0\n0\n3 2 2 1 2\n1 1\n1 1\n0\n";
    for (const char* data : {"2147483648 1 2 3 4", "1 2147483648 2 3 4", "1 1 1e39 3 4",
                             "1 1 2 1e39 4", "1 1 2 3 1e39"})
        EXPECT_TRUE(run(std::string("1 1 2 3 4\n") + data + "\n", 1, model, 16)
                        .says("ONE OR MORE INPUT VARIABLES USED IN THIS ANALYSIS IS OUT OF RANGE"));
    const Outcome unused = run("1 1 1e39 0 5 6\n", 2, plain_model(2));
    EXPECT_TRUE(unused.says("REAL INPUT:"));
    EXPECT_FALSE(unused.says("INTEGER INPUT:"));
    EXPECT_TRUE(unused.says("No of records processed"));
}

TEST(DataSummary, BinaryTraitsAreListedUnderTheNameOfTheirNumber) {
    // Binary traits 2 and 3 of three, in real columns 4 and 5.
    const Outcome outcome = run("1 1 0 0 5 2 1\n1 1 0 0 5 0 -3\n1 1 0 0 5 1 7\n", 3,
                                "3 1 0 0 2" + plain_model(3).substr(9), 16);
    expect_words(outcome, kOutOfRange +
                              "FOR BINARY DATA OUT OF RANGE (0/1) REAL INPUT: Input no. Name Times"
                              " --------- -------- -------- 2 W 1 3 Trait1 2 COMPUTATIONS TERM");
}
