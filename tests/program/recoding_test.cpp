// The road of the data records through whole runs: RCDATA_I, RCDATA_R and the stops on the way.

#include "modinf.h"
#include "run.h"

namespace {

// Columns HERD ANIMAL EXTRA and X Y1 Y2; a missing real is -9.
struct Case {
    std::string analyse = "2 0 0 0";
    std::string data = "ASCII (3,3,-9.0) data";
    std::string model =
        "2 2 0 0 0\n0\n0\n2 0 2 1 2\n3 0 2 1 2\n1 1\n1 1\n0\n0\n0\n";  // Y1, Y2: HERD, ANIMAL
    std::string more = "";
    std::string prior = "1 1 1 1.0\n1 2 2 2.0\n2 1 1 4.0\n2 2 2 9.0\n";

    std::string text() const {
        return "$ANALYSE " + analyse + "\n$DATA " + data +
               "\n$VARIABLE\nHERD ANIMAL EXTRA X Y1 Y2\n" + more + "$MODEL\n" + model + "$PRIOR\n" +
               prior;
    }
};

const char* kOneTrait = "1 1 0 0 0\n0\n2 0 2 1 2\n1 1\n0\n0\n";
const char* kOnePrior = "1 1 1 1.0\n2 1 1 4.0\n";

const Case kAbsorbing{
    .analyse = "12 1 0 0", .model = "1\n1 3\n2 0 2 1 2\n1 1\n0\n0\n", .prior = kOnePrior};
// Y2 is the sequential binary trait, Y1 its mixture trait: subject ANIMAL, number EXTRA.
const Case kCure{.model = "2 1 0 0 1\n0\n0\n2 0 1 1\n3 0 1 1\n0\n0\n0\n0\n0\n",
                 .more = "$CURE 3 2 2 3\n",
                 .prior = "1 1 1 4.0\n1 2 2 9.0\n"};

// The records of a file, "1 2 0; 2 1 0".
template <class T>
std::string records_of(const Scratch& scratch, const char* file) {
    std::ostringstream all;
    for (const std::string& record : framed_records(scratch.read(file))) {
        const char* ahead = all.tellp() > 0 ? "; " : "";
        for (T value : numbers<T>(record)) all << std::exchange(ahead, " ") << value;
    }
    return all.str();
}
std::string integers_of(const Scratch& scratch) { return records_of<int32_t>(scratch, "RCDATA_I"); }
std::string reals_of(const Scratch& scratch) { return records_of<float>(scratch, "RCDATA_R"); }

// A run that must reach its end.
Outcome run_well(const Scratch& scratch, const Case& given) {
    Outcome outcome = scratch.run(given.text());
    EXPECT_EQ(outcome.status, 0) << outcome.listing;
    return outcome;
}

}  // namespace

TEST(Recoding, RecordsThatAreNotWhatTheySeemAreTold) {
    const std::string good = "1 5 0 1 11 21\n1 5 0 1 12 22\n";
    const std::string two_lines = "1 5 0\n1 11 21\n1 5 0\n1 12 22\n";
    const Case two_texts{.data = "ASCII (3,3,-9.0) data reals"};
    const Case binary{.data = "BINARY (3,3,-9.0) data"};
    const Case censored{.model = kOneTrait, .more = "$CENS 1 CENS=3\n", .prior = kOnePrior};
    const std::string integers = bytes_of(std::vector<int32_t>{1, 5, 0});
    const std::string as_doubles = bytes_of(std::vector<double>{1, 11, 21});
    const std::string as_reals = bytes_of(std::vector<float>{1, 11, 21});
    const char* lines = "records stand on another number of lines than the first one: data";
    struct {
        Case given;
        std::string data, reals;
        std::vector<const char*> told;
    } cases[] = {
        {{}, good, "", {}},
        {{}, two_lines, "", {}},
        {{}, "\n" + good + "\n\n" + good, "", {}},
        {{},
         good + "1 5 0 1 11\n1 5 0 1 12 22\n" + good,
         "",
         {lines, "WARNING - 1 records", "is record 3, which begins on line 3."}},
        {{},
         "1 5 0\n1 11 21 " + good,
         "",
         {lines, "WARNING - 1 records", "record 2, which begins"}},
        {two_texts,
         "1 5 0\n1 5 0\n1 5 0\n",
         "1 11 21\n1 12 22\n",
         {"WARNING - 1 records more than in the other data file, which are not used: data "}},
        {two_texts,
         "1 5 0\n",
         "1 11 21\n1 12 22\n1 12 22",
         {"WARNING - 2 records", "used: reals "}},
        {binary, framed(integers + as_reals), "", {}},
        {binary,
         framed(integers + as_reals) + framed(integers + as_doubles),
         "",
         {"WARNING - 1 records are longer than their variables, 24 bytes: data",
          "is record 2 of 36 bytes"}},
        {{}, "0 5 0 1 11 21\n", "", {"WARNING - no record has a usable trait"}},
        {censored,
         "1 5 0 1 11 0\n2 5 3 1 12 0\n",
         "",
         {"WARNING - 1 records of RCDATA have level 0 of the fixed effect HERD of Y1",
          "The first is observation 2."}},
        {kCure,
         "1 8 1 0 -9 1\n1 8 2 0 -9 -9\n1 9 1 0 5 1\n",
         "",
         {"WARNING - the last record of 1 sequences", "The first is observation 2."}}};
    for (const auto& c : cases) {
        Scratch scratch;
        scratch.write("data", c.data);
        scratch.write("reals", c.reals);
        const Outcome outcome = run_well(scratch, c.given);
        for (const char* each : c.told) EXPECT_TRUE(outcome.says(each)) << each << outcome.listing;
        EXPECT_EQ(outcome.times("WARNING -"), c.told.empty() ? 0 : 1) << c.data << outcome.listing;
    }
}

TEST(Recoding, RecordsHoldLevelsCodesAndValues) {
    struct {
        const char* shows;
        Case given;
        const char* data;
        std::string integers, reals;
        std::map<std::string, std::string> head = {};  // of MODINF
    } cases[] = {
        {"levels follow the identities, and absent traits keep their values",
         {},
         "20 5 0  1 11 21\n"
         "10 9 0  1 12 -9\n"   // Y2 missing
         "0 7 0   1 13 23\n"   // no herd: nothing is usable
         "10 5 0  1 -9 24\n"   // Y1 missing
         "30 -2 0 1 15 25\n"   // no animal
         "20 3 0  1 -9 -10\n"  // both missing: the animal is not registered
         "20 9 0  1 16 26\n",
         "2 2 1 0 0; 1 0 2 0 0; 0 1 1 0 0; 2 2 2 0 0",
         "11 21; 12 -9; -9 24; 16 26"},
        {"absorbed effects keep their codes, whose groups are counted",
         kAbsorbing,
         "1 1 4 0 1 0\n1 2 4 0 1 0\n1 2 7 0 1 0\n1 2 3 0 -9 0\n1 2 9 0 1 0\n",
         "4 1 1 0 0; 4 1 2 0 0; 7 1 2 0 0; 9 1 2 0 0",
         "1; 1; 1; 1",
         {{"NABGR", "3"}, {"MN_ABGR", "2"}}},
        {"sequences end negative with their subject",
         kCure,
         "1 8 1 0 -9 1\n1 8 2 0 -9 1\n1 8 3 0 5 0\n1 9 1 0 5 1\n1 8 1 0 -9 1\n1 8 2 0 -9 -9\n",
         "0 1 8 1 0 0; 0 1 8 2 0 0; 1 1 8 -3 0 0; 1 1 9 -1 0 0; 0 1 8 1 0 0",
         "-9 1; -9 1; 5 0; 5 1; -9 1",
         {{"n_subjects", "3"}, {"largest_sequence", "3"}}},
        // Herd 2 stands on a record with a wrong code alone: it is written, without a level.
        {"censoring codes are checked only when levels are registered",
         {.model = kOneTrait, .more = "$CENS 1 CENS=3 INT_MAX=1\n", .prior = kOnePrior},
         "1 1 2 6.5 5 0\n2 1 5 0 5 0\n1 2 -1 0 5 0\n",
         "1 1 2 0 0; 0 1 5 0 0; 1 2 -1 0 0",
         "5 6.5; 5 0; 5 0"},
        {"effects of an absent trait have no level",
         {.model = "2 2 0 0 0\n0\n0\n2 0 2 1 2\n3 0 2 1 3\n1 1\n1 2\n0\n0\n0\n",
          .prior = "1 1 1 1.0\n2 1 1 4.0\n3 1 1 1\n3 2 2 1\n"},
         "1 7 8 0 5 5\n1 7 8 0 5 -9\n1 7 8 0 -9 5\n",
         "1 1 1 1 0 0; 1 0 1 0 0 0; 0 1 0 1 0 0",
         "5 5; 5 -9; -9 5"},
        {"merged effects share the tree of their matrix",
         {.model = "1 1 0 0 0\n0\n2 0 3 1 2 3\n2 1+1\n0\n0\n", .prior = kOnePrior},
         "1 30 20 0 5 0\n1 20 10 0 5 0\n",
         "1 3 2 0 0; 1 2 1 0 0",
         "5; 5"},
        {"a random factor of one level takes a level for each of its regressions",
         {.model = "1 1 0 0 0\n0\n2 0 2 1 2\n1 1\n2 1(2) 2(2)\n0\n",
          .prior = "1 1 1 1.0\n1 2 2 1.0\n1 3 3 1.0\n2 1 1 4.0\n"},
         "1 7 0 2 5 0\n1 7 0 3 6 0\n",
         "1 3 0 0; 1 3 0 0",
         "2 5 5; 3 6 6"},
    };
    for (const auto& c : cases) {
        Scratch scratch;
        scratch.write("data", c.data);
        run_well(scratch, c.given);
        EXPECT_EQ(integers_of(scratch), c.integers) << c.shows;
        EXPECT_EQ(reals_of(scratch), c.reals) << c.shows;
        Modinf model = decode_modinf(scratch.read("MODINF"));
        for (const auto& [field, value] : c.head) EXPECT_EQ(model.head[field], value) << c.shows;
    }
}

TEST(Recoding, ScalesTheStartingValuesAndTheTraitButNotTheCovariableOnItsColumn) {
    Scratch scratch;
    scratch.write("data", "1 1 0 3 8 0\n1 2 0 0 -9 0\n1 2 0 -2e6 6 0\n");
    // Y1 weighted by X, with Y1 itself as covariable.
    Case weighted{.data = "ASCII (3,3,-9e8) data",
                  .model = "1 1 0 0 0\n0\n2 1 2 1 2\n1 1\n1 2\n0\n",
                  .prior = kOnePrior};
    const Outcome plain = run_well(scratch, weighted);
    EXPECT_TRUE(
        plain.says("Starting parameters for model Covariance matrix for random effect no: "
                   "1 1 1 1.0000000 Residual co-variance matrix 1 1 4.0000000"))
        << plain.listing;
    EXPECT_TRUE(plain.says("Trait Correlation SD-R1 SD-Total 1 0.20000 1.000000 2.236068"));
    EXPECT_FALSE(plain.says("Scal"));

    weighted.analyse = "2 0 1 0";
    const Outcome scaled = run_well(scratch, weighted);
    EXPECT_EQ(reals_of(scratch), "8 4 3; -9 -4.5 0; 6 3 1");
    for (const char* words :
         {"Scaling of prior (co)-variances performed Scaled parameters for model",
          "Covariance matrix for random effect no: 1 1 1 0.2500000",
          "Residual co-variance matrix 1 1 1.0000000"})
        EXPECT_EQ(scaled.times(words), 1) << scaled.listing;
    EXPECT_EQ(scaled.times("Covariance matrix for random effect"), 2);
}

// Codes and limits do not stand on the scale that the values are brought to.
TEST(Recoding, ScalingOfCodesAndLimitsIsTold) {
    Scratch scratch;
    scratch.write("data", "1 1 5 9\n2 2 6 9\n");
    const auto run = [&](const std::string& scaling) {
        return scratch.run("$ANALYSE 2 0 " + scaling +
                           " 0\n$DATA ASCII (1,3,-9.0) data\n$CENS 1 CENS = 1 INT_MAX = 3\n"
                           "$MODEL\n3 2 0 1 0\n0\n0\n0\n1 0 1 1\n3 0 1 1\n2 0 1 1\n0\n0\n0\n"
                           "0\n0\n0\n0\n$PRIOR\n1 1 1 4.0\n1 2 2 4.0\n1 3 3 4.0\n");
    };
    const Outcome outcome = run("1");
    EXPECT_EQ(outcome.times("WARNING - trait"), 2) << outcome.listing;
    EXPECT_TRUE(
        outcome.prints("WARNING - trait R1 has a censoring limit: scaling makes its values "
                       "1 2 3 to 0.5 1 1.5, its limits stay; leave it off\n"));
    EXPECT_TRUE(
        outcome.prints("WARNING - trait R2 is categorical: scaling makes its values 1 2 3 "
                       "to 0.5 1 1.5; leave it off\n"));
    EXPECT_EQ(run("0").times("WARNING - trait"), 0);
}

TEST(Recoding, DataAndPriorsThatCannotBeUsedStopTheRun) {
    const Case one{.model = kOneTrait, .prior = kOnePrior};
    const Case places{.model = kOneTrait, .prior = "1 1 1 2\n2 1 1 8\n3 1 1 1.0\n"};
    struct {
        const Case& given;
        const char* data;
        const char* words;
    } faults[] = {
        {one, "1 1 0 0 5 0\n1 x 0 0 5 0\n", "ERROR - Reading data file at observation: 2"},
        {one, "\n\n", "ERROR: NO INPUT DATA FOUND"},
        {places, "1 1 0 0 5 0\n", "ERROR: ILLEGAL VARIABLE NO IN PARAMETER FILE 3 1 1 1"},
        {kAbsorbing, "1 1 4 0 1 0\n1 2 3 0 1 0\n",
         "Last absorption group= 4 Current absorption group= 3 Observation number= 2 "
         "Integer input for current observation: : 1 2 3 Computations Aborted"},
        {kCure, "1 8 2 0 5 1\n", "Sequence variable on first record not eq. 1"},
        {kCure, "1 8 1 0 5 1\n1 9 2 0 5 1\n",
         "Sequence variable on first record within subject not eq. 1 Current subject: 9 Last "
         "sequence number: 1 Current sequence number: 2 Observation number: 2"},
        {kCure, "1 8 1 0 -9 1\n1 8 2 0 -9 1\n1 8 4 0 5 1\n",
         "Data not in sequence within subject Current subject: 8 Last sequence number: 2 "
         "Current sequence number: 4 Observation number: 3 Program terminates"},
        {kCure, "1 8 1 0 5 1\n1 8 2 0 5 1\n",
         "The mixture trait for a CURE model must be missing on all but the last observation in a "
         "sequence within a subject Current subject: 8 Current sequence number: 1 Observation "
         "number: 1"},
    };
    Scratch scratch;
    for (const auto& fault : faults) {
        scratch.write("data", fault.data);
        const Outcome outcome = scratch.run(fault.given.text());
        EXPECT_TRUE(outcome.status == 16 && outcome.says(fault.words)) << outcome.listing;
        EXPECT_FALSE(&fault.given == &places && outcome.says("Starting parameters"));
    }
}

TEST(Recoding, FirstRecordsAreListedAtTestPrint2) {
    Scratch scratch;
    std::string data;
    for (int k = 1; k <= 12; ++k) data += std::to_string(k) + " 1 0 0 5 0\n";
    scratch.write("data", data);
    const Outcome outcome =
        run_well(scratch, {.analyse = "2 0 0 2", .model = kOneTrait, .prior = kOnePrior});
    EXPECT_EQ(outcome.times("Obs in RCDATA ="), 10);
    EXPECT_TRUE(
        outcome.says("Obs in KVEINP = 10 Integer input 10 1 0 Integer output 10 1 0 0 "
                     "Real input 0 5 0 Covariables Dependent variables 5 Weights 1"))
        << outcome.listing;
}
