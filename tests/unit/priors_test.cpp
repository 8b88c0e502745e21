#include "covariances/priors.h"

#include "covariances/conditioning.h"
#include "covariances/covariance_listing.h"
#include "covariances/scaling.h"
#include "listing/triangle_listing.h"
#include "model_builder.h"

using namespace kve;
using state::RMAT;

namespace {

class Priors : public ModelTest {
 protected:
    static void model(const std::vector<Submodel>& traits, int32_t groups = 1) {
        derive_model(traits);
        RMatrix& residual = RMAT(RMAT.size());
        residual.grp_nlev = groups;
        if (groups > 1) residual.structure = Structure::GROUP;
        allocate_residual_groups(residual);
    }

    static void run_on(const std::string& content) {
        std::ofstream("prior") << content;
        state::DIRECTIVES.prior.name = "prior";
        state::DIRECTIVES.ITASK = 2;
        KVE_PRIORS();
    }

    // What the priors say to a file.
    static std::string outcome(const std::string& content) {
        return listing_of([&] { run_on(content); });
    }
    // What is listed of the priors.
    static std::string listing(const std::string& content) {
        run_on(content);
        return listing_of([] { KVEGR(kListingUnit); });
    }
    static std::string listing_again() {
        return listing_of([] { KVEGR(kListingUnit); });
    }
};

// Two traits with one random matrix, or with none.
const std::vector<Submodel> kMatrix = {{"1 1", "1 1"}, {"1 1", "1 1"}}, kNoMatrix(2);
const std::string kRandom = "1 1 1 2\n1 2 2 3\n";
const std::string kResidual = "2 1 1 4.0\n2 2 2 9.0\n";

bool holds(const std::string& text, const std::string& words) {
    return text.find(words) != words.npos;
}
void expect_words(const std::string& text, const std::vector<std::string>& all) {
    for (const std::string& words : all) EXPECT_TRUE(holds(text, words)) << words << text;
}

}  // namespace

TEST_F(Priors, ValuesFillBothTrianglesAndBlankLinesAreSkipped) {
    model(kMatrix);
    EXPECT_EQ(outcome("\n1,1,1,2.5\n  \t\r\n1\t2\t1\t-0.5D0\r\n ,1 2 2 3\n2 1 1 4.0\n2 2 2 9\n"
                      "2 2 1 1.0 and more"),
              "");
    expect_fields({"RMAT(1): cov_mat(1,:) 2.5 -0.5; cov_mat(2,:) -0.5 3",
                   "RMAT(2): cov_mat(1,:) 4 1; h_cov_mat(:,:,1)(2,:) 1 9"});
    EXPECT_EQ(state::RSD(1), 2.0);
    EXPECT_EQ(state::RSD(2), 3.0);
    EXPECT_EQ(state::GDET(1), 0.0);  // nothing to repair
}

TEST_F(Priors, RepeatCopiesTheLastMatrix) {
    model({{"4 1 1 1 1", "4 1 2 3 4"}, {"3 1 1 1", "3 1 2 3"}}, 2);
    outcome(
        "1 1 1 2\n1 2 2 3\n1 2 1 1\nREPEAT 2\n4 1 1 7\n"
        "5 1 1 4\n5 2 2 9\n5 2 1 2\nREPEAT 1\n");
    expect_fields({"RMAT(2): cov_mat(1,:) 2 1; cov_mat(2,:) 1 3",
                   "RMAT(3): cov_mat(1,:) 2 1; cov_mat(2,:) 1 3",
                   "RMAT(5): l_grp_prior T; l_grp_pr T T; h_cov_mat(:,:,2)(2,:) 2 9"});
    // Into the residual matrix.
    model(kMatrix);
    outcome("1 1 1 4\n1 2 2 9\nREPEAT 1\n");
    expect_fields({"RMAT(2): cov_mat(2,:) 0 9; h_cov_mat(:,:,1)(1,:) 4 0"});
    EXPECT_EQ(state::RSD(2), 3.0);
}

TEST_F(Priors, FaultyLinesStopWithTheirWords) {
    model({{"2 1 1", "2 1 2"}, {"1 1", "1 1"}});
    const char* first = "Reading 1'st line in the PRIOR section\n *Return status from read: *-1";
    const char* times = "number of times to repeat a co-varaice matrices\nLine read:\nREPEAT";
    const char* repeating = "In repeating a co-variance matrix";
    const std::pair<const char*, const char*> cases[] = {
        {"", first},
        {"\n , \n\n", first},
        {"1 1 1 4.0 REPEAT 1\n", "REPEAT can not be the first line in the PRIOR"},
        {"1 1 1 4.0\nREPEAT\n", times},
        {"1 1 1 4.0\nREPEAT2\n", times},
        {"1 1 1 4.0\nREPEAT x\n", times},
        {"1 1 1 4.0\nREPEAT 1\n", "to repeat is: *2\n.*taget matrix       : *1\n"},
        {"3 1 1 4.0\nREPEAT 2000000000\n", repeating},
        {"2000000000 1 1 4.0\nREPEAT 2000000000\n", repeating},
        {"1 1 1\n", "iostat from read\\) = *-1\nline read: 1 1 1\n"},
        {"1 1 1 4.0\n1 x 1 4.0\n", "line read: 1 x 1 4.0\n"},
        {"# a comment\n", "Reading file with prior \n\\(co\\)variance components"},
        {"1 1 1 4.0\n1 1.0 1 4.0\n", "line read: 1 1.0 1 4.0\n"}};
    for (auto [content, words] : cases) EXPECT_STOP(run_on(content), words) << content;
    std::filesystem::remove("prior");
    std::filesystem::create_directory("prior");  // there, and no file
    EXPECT_STOP(run_on(""), "Reading 1'st line in the PRIOR section");
}

TEST_F(Priors, ValuesThatMayNotBeAreRefused) {
    model(kMatrix);
    const std::string good = kRandom + kResidual;
    const std::string place = "ILLEGAL VARIABLE NO IN \nPARAMETER FILE  *";
    const std::string odd = " Serious singularity problems in residual CVC -matrix ";
    EXPECT_EQ(outcome("1 1 1 1.0E-9\n1 2 2 3\n" + kResidual), "");
    const std::pair<std::string, std::string> cases[] = {
        // Places that do not exist are told in the log.
        {good + "1 3 1 5.5\n", place + "1 *3 *1 *5.5\n"},
        {good + "1 0 -1 5.5\n", place + "1 *0 *-1 *5.5\nERROR: " + place + "1 *0"},
        {good + "2 1 3 5.5\n", place + "2 *1 *3 *5.5\n"},
        {good + "0 1 1 5.5\n", place + "0 "},
        {good + "3 1 1 5.5\n", place + "3 "},
        {good + "-2147483648 2147483647 1 5.5\n", place + "-2147483648"},
        {"1 1 1 0.9E-9\n1 2 2 3\n" + kResidual, "RANDOM EFFECT  *1 TRAIT  *1 IS MISSING"},
        {kRandom + "2 1 1 1\n", "RESIDUAL VARIANCE \\(RANDOM EFFECT =  *2\\) TRAIT  *2 IS MISS"},
        {"1 1 1 4\n1 2 2 1\n1 1 2 6\n" + kResidual,
         "in random effect matrix  *1\nSmallest.* matrix  *-2 rank :  *1 \\(size: *2\\)"},
        {good + "2 1 2 nan\n", odd},
        {good + "2 1 2 inf\n", odd},
        {good + "2 1 2 1e999\n", odd}};
    for (const auto& [content, words] : cases) EXPECT_STOP(run_on(content), words) << content;
    // Residual covariances that are fixed at zero take no prior.
    RMAT(2).l_rcov_zero(1, 2) = RMAT(2).l_rcov_zero(2, 1) = true;
    EXPECT_EQ(outcome(kRandom + "1 2 1 1\n" + kResidual), "");
    std::string again = kRandom;
    for (int k = 0; k < 200; ++k) again += "REPEAT 1\n" + kRandom;
    EXPECT_EQ(outcome(again), "");
    EXPECT_STOP(run_on(again + "REPEAT 1\n"), "the same matrices more than 100 times\nLine read");
    EXPECT_STOP(run_on(good + "2 2 1 0.0\n"), "the residual covariance between trait *2 and  *1\n");
    EXPECT_STOP(run_on(kRandom + "1 2 1 1\nREPEAT 1\n"), "\\(here specified as  *1\\)");
}

TEST_F(Priors, GroupsNeedAllOrOnePriorAndDefiniteMatrices) {
    model({{"1 1", "1 1"}, {}}, 3);
    const std::string one = "1 1 1 2\n" + kResidual;
    outcome(one + "2 1 2 1\n");
    expect_fields(
        {"RMAT(2): l_grp_prior F; l_grp_pr F F F; h_cov_mat(:,:,1)(2,:) 1 9; "
         "h_cov_mat(:,:,2)(2,:) 1 9; h_cov_mat(:,:,3)(2,:) 1 9"});
    const std::string two = one + "3 1 1 5\n3 2 2 5\n";
    EXPECT_STOP(run_on(two),
                "priors not specified for the following groups\n *3 numbered as matrix  *4\n");
    EXPECT_EQ(outcome(two + "4 1 1 6\n4 2 2 6\n"), "");
    expect_fields({"RMAT(2): cov_mat(1,:) 4 0; h_cov_mat(:,:,3)(1,:) 6 0"});
    // A group with a variance of 0, and one that is indefinite.
    EXPECT_STOP(run_on(two + "4 1 1 6\n"), "not P.D. \nin heterogen variance group *3\n");
    EXPECT_STOP(
        run_on(two + "4 1 1 1\n4 2 2 1\n4 1 2 2\n"),
        "residual COV -matrix \n For heterogen residual group  *3\n Small.* *-1 rank :  *1 ");
}

TEST_F(Priors, NearlySingularMatricesAreBent) {
    model(kMatrix);
    state::DIRECTIVES.ITEST = 2;
    expect_words(outcome("1 1 1 1\n1 2 2 1\n1 1 2 1\n2 1 1 4\n2 2 2 9\n2 1 2 6.0000000000003\n"),
                 {" (near) singularity found in\n g-inverse for  effect ", "CORR - residual",
                  "found in inverse for residual (co)variance matrix", "COV - residual",
                  " Matrix bend to be positive definite!"});
    EXPECT_LE(RMAT(2).cov_mat(1, 2), 6.0 + 1e-14);
    EXPECT_EQ(RMAT(2).h_cov_mat(1, 2, 1), RMAT(2).cov_mat(1, 2));
}

TEST_F(Priors, WithoutAFile) {
    model(kMatrix, 2);
    state::DIRECTIVES.ITASK = 1;
    expect_words(listing_of(KVE_PRIORS), {"An identity matrix is assumed for all (co)variance"});
    expect_fields({"RMAT(1): cov_mat(2,:) 0 1",
                   "RMAT(2): h_cov_mat(:,:,2)(1,:) 1 0; h_cov_mat(:,:,2)(2,:) 0 1"});
    EXPECT_EQ(state::RSD(1), 1.0);

    state::DIRECTIVES.prior.name = "gone";
    state::DIRECTIVES.ITASK = 2;
    int status = 0;
    expect_words(listing_of([&] { KVE_PRIORS(), status = KVE_SCALE(kScale); }),
                 {"This is required for ITASK =            2\n",
                  "ERROR - Scaling is not possible without prior"});
    EXPECT_EQ(RMAT(1).cov_mat(2, 2), 0.0);
    EXPECT_EQ(status, 1);
}

TEST_F(Priors, ScalingAndBack) {
    model({{"2 1 1", "2 1 1"}, {"2 1 1", "2 1 1"}}, 2);
    outcome(
        "1 1 1 8\n1 2 2 4\n1 3 3 18\n1 4 4 9\n1 1 3 3\n1 1 4 1.5\n"
        "2 1 1 4\n2 2 2 9\n2 1 2 3\n3 1 1 8\n3 2 2 9\n");
    EXPECT_EQ(KVE_SCALE(kScale), 0);
    expect_fields({"RMAT(1): cov_mat(1,:) 2 0 0.5 0.25; cov_mat(4,:) 0.25 0 0 1",
                   "RMAT(2): cov_mat(1,:) 1 0.5; h_cov_mat(:,:,2)(1,:) 2 0"});
    EXPECT_EQ(state::RSD(1), 2.0);
    EXPECT_EQ(KVE_SCALE(kUnscale), 0);
    expect_fields({"RMAT(1): cov_mat(1,:) 8 0 3 1.5"});
    int status = 0;
    expect_words(listing_of([&] { status = KVE_SCALE(3); }),
                 {" Undefined scaling of (co)variance"});
    EXPECT_EQ(status, 1);
}

TEST_F(Priors, PatternsOfPresentTraits) {
    model(std::vector<Submodel>(3));
    outcome("1 1 1 4\n1 2 2 9\n1 3 3 1\n1 1 3 1\n1 1 2 2\n1 2 3 1\n");
    ResidualPattern patterns[] = {{0b101, 0}, {0b010, 0}, {0b110, 0}, {0b011, 0}};
    int FAIL = invert_residual_patterns(0, std::span(patterns).first(3), 1e-18, true);
    EXPECT_EQ(FAIL, 0);
    const double determinants[] = {3.0, 9.0, 32.0};
    for (int k : {0, 1, 2}) EXPECT_NEAR(patterns[k].det, determinants[k], 1e-12);
    RMAT(1).cov_mat(3, 2) = 3.0;  // traits 2 and 3 correlate fully
    expect_words(listing_of([&] { FAIL = invert_residual_patterns(0, patterns, 1e-12, true); }),
                 {" singularity found in r-inverse for"});
    EXPECT_EQ(FAIL, 1);
    EXPECT_STOP(static_cast<void>(KVEGRI(3, 1e-18, true)),
                "KVEGRI called with illegel I_CODE :  *3\n");
}

TEST_F(Priors, ListingOfTheSimplestModel) {
    model(kMatrix);
    const std::string found =
        listing("1 1 1 1\n1 2 2 9\n1 1 2 1.5\n2 1 1 3\n2 2 2 7\n2 1 2 -0.5\n");
    const std::string columns = "                1              2\n";
    expect_words(found, {"\n\n  Covariance matrix for random effect no:            1\n" + columns +
                             "    1      1.0000000\n    2      1.5000000      9.0000000\n"
                             "\n\n  Residual co-variance matrix   \n",
                         "    2         0.5000         1.0000\n",
                         "Phenotypic correlation matrix      \n" + columns +
                             "    1         1.0000\n    2         0.1250         1.0000\n",
                         "    1    0.25000      1.000000      2.000000\n"
                         "    2    0.56250      3.000000      4.000000\n"});
    EXPECT_FALSE(holds(found, "CHECK MODEL"));
    EXPECT_EQ(state::LINES_ON_PAGE, std::count(found.begin(), found.end(), '\n'));

    // The phenotypic section stands only where it makes sense.
    RMAT(1).rank_tn(2) = 1;
    expect_words(listing_again(), {"\nCOMPUTATION OF PHENOTYPIC CO-VARIANCE MATRIX TRIED\n"
                                   "CHECK MODEL AND RESULTS CAREFULLY!\n\n"});
    state::MODEL(2).n_reg = 1;
    allocate_regressions(state::MODEL(2));
    expect_words(listing_again(), {"Phenotypic"});  // a general regression changes nothing
    state::MODEL(2).reg_type(1) = kNestedInFixed;
    EXPECT_FALSE(holds(listing_again(), "Phenotypic"));
    model({{"1 1", "1 1"}, {}});
    EXPECT_FALSE(holds(listing("1 1 1 1\n" + kResidual), "Phenotypic"));
    model(kMatrix, 2);
    EXPECT_FALSE(holds(listing(kRandom + kResidual), "Phenotypic"));
}

TEST_F(Priors, GroupsInTheListing) {
    model(kNoMatrix, 2);
    const std::string one = "1 1 1 1\n1 2 2 4\n1 1 2 1\n";
    expect_words(listing(one), {"\n  Heterogeneous Residual co-variance matrix   \n"
                                "  No. of groups           2\n  Same prior used for all groups\n",
                                "\n  Heterogeneous Residual correlation matrix\n"});
    outcome(one + "2 1 1 9\n2 2 2 16\n2 1 2 -6\n");
    KVEGR(1);
    expect_words(content_of("Latest_parm"),
                 {" Heterogeneous Residual co-variance matrix - group            1\n",
                  " Heterogeneous Residual crrelation matrix - group            2\n"
                  "                1              2\n    1         1.0000\n    2        -0.5000    "
                  "     1.0"});
}

TEST_F(Priors, OddNumbersAndLargeTrianglesInAListing) {
    Triangle<double> a;
    ASSERT_EQ(a.allocate(8), 0);
    for (int64_t i = 1; i <= 8; ++i) a(i, i) = 1e9;
    a(8, 1) = std::nan("");
    a(2, 2) = 1e300;
    Sheet sheet;
    const std::string listing_8 =
        listing_of([&] { KVEPRM(0, 8, a, TriangleOf::covariances, sheet); });
    EXPECT_EQ(std::count(listing_8.begin(), listing_8.end(), '\n'), triangle_lines(8));
    expect_words(listing_8, {"                7              8\n    7 1000000000.0000000\n",
                             "    8            NaN      0.0000000"});
}
