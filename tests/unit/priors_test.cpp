#include "data/priors.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cmath>
#include <filesystem>
#include <fstream>

#include "data/conditioning.h"
#include "data/covariance_listing.h"
#include "data/intake.h"
#include "data/record_positions.h"
#include "data/scaling.h"
#include "data/triangle_listing.h"
#include "model/records.h"
#include "run/directives.h"
#include "run/listing.h"
#include "stops.h"

using namespace kve;

namespace {

// A model of two traits with random matrices of the given orders. The rows of a matrix are the
// traits in turn.
class Priors : public testing::Test {
 protected:
    void SetUp() override {
        folder_ =
            std::filesystem::path(testing::TempDir()) / ("kve-priors-" + std::to_string(getpid()));
        std::filesystem::create_directories(folder_);
        std::filesystem::current_path(folder_);
        ASSERT_EQ(open_log(), 0);
    }
    void TearDown() override {
        std::filesystem::current_path("/");
        std::filesystem::remove_all(folder_);
    }

    static void model(std::initializer_list<int32_t> orders, int32_t groups = 1, int32_t nt = 2) {
        ModelCounts& counts = state::KVEINT;
        counts.nt = nt;
        counts.NRAMAT = static_cast<int32_t>(orders.size());
        allocate_model_level_1(nt);
        ASSERT_EQ(state::RMAT.allocate(counts.NRAMAT + 1), 0);
        int32_t k = 0;
        for (int32_t order : orders) {
            RMatrix& r = state::RMAT(++k);
            r.rank = r.n_rc = r.n_traits = order;
            RMAT_ALLOC4(r);
            for (int32_t i = 1; i <= order; ++i) r.rank_tn(i) = (i - 1) % nt + 1;
        }
        RMatrix& residual = state::RMAT(counts.NRAMAT + 1);
        residual.rank = residual.n_rc = residual.n_traits = nt;
        RMAT_ALLOC4(residual);
        RMAT_ALLOC5(residual);
        residual.grp_nlev = groups;
        if (groups > 1) residual.type = "GROUP";
    }

    static void prior_file(std::string_view content) {
        std::ofstream("prior") << content;
        state::DIRECTIVES.prior.name = "prior";
        state::DIRECTIVES.ITASK = 2;
    }

    static void run_on(std::string_view content) {
        prior_file(content);
        KVE_PRIORS();
    }

    // What the priors say to a file.
    static std::string outcome(std::string_view content) {
        testing::internal::CaptureStdout();
        run_on(content);
        return testing::internal::GetCapturedStdout();
    }

    std::filesystem::path folder_;
};

constexpr char kResidual[] = "2 1 1 4.0\n2 2 2 9.0\n";

bool holds(const std::string& text, std::string_view words) {
    return text.find(words) != std::string::npos;
}

}  // namespace

TEST_F(Priors, ValuesFillBothTrianglesAndBlankLinesAreSkipped) {
    model({2});
    EXPECT_EQ(outcome("\n1,1,1,2.5\n  \t\r\n1\t2\t1\t-0.5D0\r\n ,1 2 2 3\n2 1 1 4.0\n2 2 2 9\n"
                      "2 2 1 1.0 and more"),
              "");
    const RMatrix& r = state::RMAT(1);
    const RMatrix& residual = state::RMAT(2);
    EXPECT_EQ(r.cov_mat(1, 1), 2.5);
    EXPECT_EQ(r.cov_mat(1, 2), -0.5);
    EXPECT_EQ(r.cov_mat(2, 1), -0.5);
    EXPECT_EQ(r.cov_mat(2, 2), 3.0);
    EXPECT_EQ(residual.cov_mat(1, 2), 1.0);
    EXPECT_EQ(residual.h_cov_mat(2, 2, 1), 9.0);
    EXPECT_EQ(state::RSD(1), 2.0);
    EXPECT_EQ(state::RSD(2), 3.0);
    EXPECT_EQ(state::GDET(1), 0.0);  // nothing to repair
}

TEST_F(Priors, RepeatCopiesTheLastMatrix) {
    model({2, 2, 2, 1}, 2);
    outcome(
        "1 1 1 2\n1 2 2 3\n1 2 1 1\nREPEAT 2\n4 1 1 7\n"
        "5 1 1 4\n5 2 2 9\n5 2 1 2\nREPEAT 1\n");
    for (int32_t k = 2; k <= 3; ++k) {
        EXPECT_EQ(state::RMAT(k).cov_mat(1, 2), 1.0);
        EXPECT_EQ(state::RMAT(k).cov_mat(2, 2), 3.0);
    }
    const RMatrix& residual = state::RMAT(5);
    EXPECT_EQ(residual.h_cov_mat(2, 1, 2), 2.0);
    EXPECT_TRUE(residual.l_grp_pr(2));
    EXPECT_TRUE(residual.l_grp_prior);
}

TEST_F(Priors, RepeatIntoTheResidualMatrix) {
    model({2});
    outcome("1 1 1 4\n1 2 2 9\nREPEAT 1\n");
    EXPECT_EQ(state::RMAT(2).cov_mat(2, 2), 9.0);
    EXPECT_EQ(state::RMAT(2).h_cov_mat(1, 1, 1), 4.0);
    EXPECT_EQ(state::RSD(2), 3.0);
}

TEST_F(Priors, FaultyLinesStopWithTheirWords) {
    model({2, 1});
    struct Case {
        const char *content, *words;
    };
    for (const Case& c : {
             Case{"", "Reading 1'st line in the PRIOR section\n *Return status from read: *-1"},
             Case{"\n , \n\n", "Reading 1'st line in the PRIOR section"},
             Case{"1 1 1 4.0 REPEAT 1\n", "REPEAT can not be the first line in the PRIOR"},
             Case{"1 1 1 4.0\nREPEAT\n", "number of times to repeat a co-varaice matrices"},
             Case{"1 1 1 4.0\nREPEAT2\n", "number of times to repeat a co-varaice matrices"},
             Case{"1 1 1 4.0\nREPEAT x\n", "number of times .*\nLine read:\nREPEAT x"},
             Case{"1 1 1 4.0\nREPEAT 1\n", "to repeat is: *2\n.*taget matrix       : *1\n"},
             Case{"3 1 1 4.0\nREPEAT 2000000000\n", "In repeating a co-variance matrix"},
             Case{"2000000000 1 1 4.0\nREPEAT 2000000000\n", "In repeating a co-variance matrix"},
             Case{"1 1 1\n", "iostat from read\\) = *-1\nline read: 1 1 1\n"},
             Case{"1 1 1 4.0\n1 x 1 4.0\n", "line read: 1 x 1 4.0\n"},
             Case{"# a comment\n", "Reading file with prior \n\\(co\\)variance components"},
             Case{"1 1 1 4.0\n1 1.0 1 4.0\n", "line read: 1 1.0 1 4.0\n"},
         })
        EXPECT_STOP(run_on(c.content), c.words) << c.content;
}

TEST_F(Priors, PlacesThatDoNotExistAreCountedInTheLog) {
    model({2});
    const std::string good = std::string("1 1 1 2\n1 2 2 3\n") + kResidual;
    EXPECT_EQ(outcome(good), "");
    const std::string words = "ERROR: ILLEGAL VARIABLE NO IN \nPARAMETER FILE  *";
    EXPECT_STOP(run_on(good + "1 3 1 5.5\n"), words + "1 *3 *1 *5.5\n");
    EXPECT_STOP(run_on(good + "1 0 -1 5.5\n"), words + "1 *0 *-1 *5.5\n" + words + "1 *0");
    EXPECT_STOP(run_on(good + "2 1 3 5.5\n"), words + "2 *1 *3 *5.5\n");
    EXPECT_STOP(run_on(good + "0 1 1 5.5\n"), words + "0 ");
    EXPECT_STOP(run_on(good + "3 1 1 5.5\n"), words + "3 ");
    EXPECT_STOP(run_on(good + "-2147483648 2147483647 1 5.5\n"), words + "-2147483648");
}

TEST_F(Priors, MissingVariances) {
    model({2});
    EXPECT_EQ(outcome(std::string("1 1 1 1.0E-9\n1 2 2 3\n") + kResidual), "");
    EXPECT_STOP(run_on(std::string("1 1 1 0.9E-9\n1 2 2 3\n") + kResidual),
                " VARIANCE IN RANDOM EFFECT  *1 TRAIT  *1 IS MISSING");
    EXPECT_STOP(run_on("1 1 1 1\n1 2 2 3\n2 1 1 1\n"),
                " RESIDUAL VARIANCE \\(RANDOM EFFECT =  *2\\) TRAIT  *2 IS MISSING");
}

TEST_F(Priors, ResidualCovariancesFixedAtZeroTakeNoPrior) {
    model({2});
    RMatrix& residual = state::RMAT(2);
    residual.l_rcov_zero(1, 2) = residual.l_rcov_zero(2, 1) = true;
    EXPECT_EQ(outcome(std::string("1 1 1 2\n1 2 1 1\n1 2 2 3\n") + kResidual), "");
    const char words[] =
        "specified that\n the residual covariance between trait *2 and  *1\n"
        "should be equal to 0.0 \n\\(here specified as  *0\\)";
    EXPECT_STOP(run_on(std::string("1 1 1 2\n1 2 2 3\n") + kResidual + "2 2 1 0.0\n"), words);
    EXPECT_STOP(run_on("1 1 1 2\n1 2 1 1\n1 2 2 3\nREPEAT 1\n"), "\\(here specified as  *1\\)");
    EXPECT_EQ(outcome("1 1 1 2\n1 2 2 3\nREPEAT 1\n"), "");
}

TEST_F(Priors, APriorForTheFirstGroupHoldsForAll) {
    model({1}, 3);
    outcome("2 1 1 4\n2 2 2 9\n2 1 2 1\n1 1 1 2\n");
    const RMatrix& residual = state::RMAT(2);
    EXPECT_FALSE(residual.l_grp_pr(1));
    EXPECT_FALSE(residual.l_grp_prior);
    for (int32_t g = 1; g <= 3; ++g) {
        EXPECT_EQ(residual.h_cov_mat(2, 1, g), 1.0);
        EXPECT_EQ(residual.h_cov_mat(2, 2, g), 9.0);
    }
}

TEST_F(Priors, GroupsNeedAllOrOnePriorAndDefiniteMatrices) {
    model({1}, 3);
    const std::string two = std::string("1 1 1 2\n") + kResidual + "3 1 1 5\n3 2 2 5\n";
    EXPECT_STOP(run_on(two),
                "for all groups\n\n priors not specified for the following groups\n"
                " *3 numbered as matrix  *4\n");
    EXPECT_EQ(outcome(two + "4 1 1 6\n4 2 2 6\n"), "");
    EXPECT_EQ(state::RMAT(2).h_cov_mat(1, 1, 3), 6.0);
    EXPECT_EQ(state::RMAT(2).cov_mat(1, 1), 4.0);
    // A group with a variance of 0, and one that is indefinite.
    EXPECT_STOP(run_on(two + "4 1 1 6\n"), "not P.D. \nin heterogen variance group *3\n");
    EXPECT_STOP(run_on(two + "4 1 1 1\n4 2 2 1\n4 1 2 2\n"),
                " Serious singularity problems in residual COV -matrix \n"
                " For heterogen residual group  *3\n Smallest eigenvalue  *-1 rank :  *1 \\(size:");
}

TEST_F(Priors, IndefiniteAndNotANumberAreRefused) {
    model({2});
    EXPECT_STOP(run_on(std::string("1 1 1 4\n1 2 2 1\n1 1 2 6\n") + kResidual),
                "Serious singularity problems in random effect matrix  *1\n"
                "Smallest eigenvalue of the matrix  *-2 rank :  *1 \\(size: *2\\)");
    for (const char* odd : {"nan", "inf", "1e999"})
        EXPECT_STOP(run_on("1 1 1 4\n1 2 2 1\n2 1 1 4\n2 2 2 9\n2 1 2 " + std::string(odd) + "\n"),
                    " Serious singularity problems in residual CVC -matrix ");
}

TEST_F(Priors, NearlySingularMatricesAreBent) {
    model({2});
    state::DIRECTIVES.ITEST = 2;
    const std::string said = outcome(
        "1 1 1 1\n1 2 2 1\n1 1 2 1\n"
        "2 1 1 4\n2 2 2 9\n2 1 2 6.0000000000003\n");
    EXPECT_TRUE(holds(said, " (near) singularity found in\n g-inverse for  effect "));
    EXPECT_TRUE(holds(said, "found in inverse for residual (co)variance matrix"));
    EXPECT_TRUE(holds(said, " Matrix bend to be positive definite!"));
    EXPECT_TRUE(holds(said, "COV - residual"));
    EXPECT_TRUE(holds(said, "CORR - residual"));
    const RMatrix& residual = state::RMAT(2);
    EXPECT_LE(residual.cov_mat(1, 2), 6.0 + 1e-14);
    EXPECT_EQ(residual.h_cov_mat(1, 2, 1), residual.cov_mat(1, 2));
}

TEST_F(Priors, WithoutAFile) {
    model({2}, 2);
    state::DIRECTIVES.ITASK = 1;
    testing::internal::CaptureStdout();
    KVE_PRIORS();
    EXPECT_TRUE(holds(testing::internal::GetCapturedStdout(),
                      "An identity matrix is assumed for all (co)variance matrices"));
    EXPECT_EQ(state::RMAT(1).cov_mat(2, 2), 1.0);
    EXPECT_EQ(state::RMAT(2).h_cov_mat(1, 1, 2), 1.0);
    EXPECT_EQ(state::RMAT(2).h_cov_mat(2, 1, 2), 0.0);
    EXPECT_EQ(state::RSD(1), 1.0);

    prior_file("");
    std::filesystem::remove("prior");
    testing::internal::CaptureStdout();
    KVE_PRIORS();
    int32_t status = 0;
    KVE_SCALE(kScale, status);
    const std::string said = testing::internal::GetCapturedStdout();
    EXPECT_TRUE(holds(said, "This is required for ITASK =            2\n"));
    EXPECT_TRUE(holds(said, "ERROR - Scaling is not possible without prior"));
    EXPECT_EQ(status, 1);
    EXPECT_EQ(state::RMAT(1).cov_mat(2, 2), 0.0);

    std::filesystem::create_directory("prior");  // there, and no file
    EXPECT_STOP(KVE_PRIORS(), "Reading 1'st line in the PRIOR section");
}

TEST_F(Priors, ScalingAndBack) {
    model({4}, 2);
    outcome(
        "1 1 1 8\n1 2 2 18\n1 3 3 4\n1 4 4 9\n1 1 2 3\n1 1 4 1.5\n"
        "2 1 1 4\n2 2 2 9\n2 1 2 3\n3 1 1 8\n3 2 2 9\n");
    int32_t status = 1;
    KVE_SCALE(kScale, status);
    EXPECT_EQ(status, 0);
    const RMatrix& r = state::RMAT(1);
    const RMatrix& residual = state::RMAT(2);
    EXPECT_NEAR(r.cov_mat(1, 1), 2.0, 1e-14);
    EXPECT_NEAR(r.cov_mat(2, 1), 0.5, 1e-14);
    EXPECT_NEAR(r.cov_mat(4, 1), 0.25, 1e-14);
    EXPECT_NEAR(r.cov_mat(4, 4), 1.0, 1e-14);
    EXPECT_NEAR(residual.cov_mat(1, 2), 0.5, 1e-14);
    EXPECT_NEAR(residual.h_cov_mat(1, 1, 2), 2.0, 1e-14);
    EXPECT_EQ(state::RSD(1), 2.0);
    KVE_SCALE(kUnscale, status);
    EXPECT_NEAR(r.cov_mat(4, 1), 1.5, 1e-14);
    testing::internal::CaptureStdout();
    KVE_SCALE(3, status);
    EXPECT_TRUE(holds(testing::internal::GetCapturedStdout(),
                      " Undefined scaling of (co)variance\n parameters attempted"));
    EXPECT_EQ(status, 1);
}

TEST_F(Priors, PatternsOfPresentTraits) {
    model({}, 1, 3);
    outcome("1 1 1 4\n1 2 2 9\n1 3 3 1\n1 1 3 1\n1 1 2 2\n1 2 3 1\n");
    ResidualPattern patterns[] = {{0b101, 0}, {0b010, 0}, {0b110, 0}, {0b011, 0}};
    int32_t FAIL = 0;
    invert_residual_patterns(0, std::span(patterns).first(3), 1e-18, FAIL, 1);
    EXPECT_EQ(FAIL, 0);
    EXPECT_NEAR(patterns[0].det, 3.0, 1e-12);
    EXPECT_NEAR(patterns[1].det, 9.0, 1e-12);
    EXPECT_NEAR(patterns[2].det, 32.0, 1e-12);
    state::RMAT(1).cov_mat(3, 2) = 3.0;  // traits 2 and 3 correlate fully
    testing::internal::CaptureStdout();
    invert_residual_patterns(0, patterns, 1e-12, FAIL, 1);
    EXPECT_TRUE(
        holds(testing::internal::GetCapturedStdout(), " singularity found in r-inverse for"));
    EXPECT_EQ(FAIL, 1);
    EXPECT_STOP(KVEGRI(3, 1e-18, FAIL, 1), "KVEGRI called with illegel I_CODE :  *3\n");
}

// Two traits: trait 1 with one absorbed, two fixed and two random effects, one of them without a
// column, and a random regression; trait 2 with one fixed and one random effect.
TEST(RecordPositions, EveryListMovesOnce) {
    state::KVEINT.nt = 2;
    state::KVEINT.NRAMAT = 1;
    state::KVEINT.MAX_N_ABSORB = 1;
    allocate_model_level_1(2);
    ASSERT_EQ(state::RMAT.allocate(2), 0);
    Model& first = state::MODEL(1);
    Model& second = state::MODEL(2);
    auto effects = [](Model& m, int32_t fixed, int32_t random, int32_t regressions) {
        m.n_fixed = fixed, m.n_random = random, m.n_ef = fixed + random, m.n_reg = regressions;
        allocate_model_level_3(m);
        allocate_model_level_4(m);
        allocate_model_level_5(m);
    };
    effects(first, 2, 2, 2);
    effects(second, 1, 1, 0);
    first.f_ef_rci(1) = 1, first.f_ef_rci(2) = 2, second.f_ef_rci(1) = 3;
    first.r_ef_rci(1) = 1, first.r_ef_rci(2) = 0, second.r_ef_rci(1) = 2;
    first.reg_type(1) = kNestedInFixed, first.reg_n_ef_no(1) = 2;
    first.reg_type(2) = kNestedInRandom, first.reg_n_ef_no(2) = 3;
    RMatrix& r = state::RMAT(1);
    r.n_traits = r.n_r_eff = r.n_random_id = r.n_cont = 2;
    RMAT_ALLOC1(r);
    RMAT_ALLOC2(r);
    RMAT_ALLOC2A(r);
    for (int32_t i = 1; i <= 2; ++i) r.r_id_rci(i) = r.t_r_eff_rci(i) = r.cont_eff_rci(i) = i;
    state::RMAT(2).type = "GROUP";

    place_effects_in_record();

    EXPECT_EQ(state::RECODED.n_fixed_positions, 3);
    EXPECT_EQ(first.f_ef_rci(2), 3);
    EXPECT_EQ(second.ef_rci(1), 4);
    EXPECT_EQ(first.ef_rci(1), 2);
    EXPECT_EQ(first.ef_rci(3), 5);
    EXPECT_EQ(first.ef_rci(4), 0);
    EXPECT_EQ(second.r_ef_rci(1), 6);
    EXPECT_EQ(r.r_id_rci(2), 6);
    EXPECT_EQ(r.t_r_eff_rci(1), 5);
    EXPECT_EQ(r.cont_eff_rci(2), 6);
    EXPECT_EQ(first.reg_n_rci(1), 0);  // set with the equation numbers
    EXPECT_EQ(first.reg_n_rci(2), 5);
    EXPECT_EQ(state::RMAT(2).grp_rci, 7);
}

TEST_F(Priors, ListingOfTheSimplestModel) {
    model({2});
    outcome("1 1 1 1\n1 2 2 9\n1 1 2 1.5\n2 1 1 3\n2 2 2 7\n2 1 2 -0.5\n");
    testing::internal::CaptureStdout();
    KVEGR(kListingUnit);
    const std::string listing = testing::internal::GetCapturedStdout();
    EXPECT_TRUE(holds(listing,
                      "\n\n  Covariance matrix for random effect no:            1\n"
                      "                1              2\n"
                      "    1      1.0000000\n"
                      "    2      1.5000000      9.0000000\n"
                      "\n\n  Residual co-variance matrix   \n"))
        << listing;
    EXPECT_TRUE(holds(listing, "    2         0.5000         1.0000\n"));
    EXPECT_TRUE(holds(listing,
                      "Phenotypic correlation matrix      \n"
                      "                1              2\n"
                      "    1         1.0000\n"
                      "    2         0.1250         1.0000\n"));
    EXPECT_TRUE(holds(listing,
                      "    1    0.25000      1.000000      2.000000\n"
                      "    2    0.56250      3.000000      4.000000\n"));
    EXPECT_FALSE(holds(listing, "CHECK MODEL"));
    EXPECT_EQ(state::LINES_ON_PAGE, std::count(listing.begin(), listing.end(), '\n'));
}

TEST_F(Priors, PhenotypicSectionOnlyWhereItMakesSense) {
    auto listing = [] {
        testing::internal::CaptureStdout();
        KVEGR(kListingUnit);
        return testing::internal::GetCapturedStdout();
    };
    model({2});
    outcome(std::string("1 1 1 1\n1 2 2 3\n") + kResidual);
    state::RMAT(1).rank_tn(2) = 1;
    EXPECT_TRUE(holds(listing(),
                      "\nCOMPUTATION OF PHENOTYPIC CO-VARIANCE MATRIX TRIED\n"
                      "CHECK MODEL AND RESULTS CAREFULLY!\n\n"));
    state::MODEL(2).n_reg = 1;
    allocate_model_level_5(state::MODEL(2));
    EXPECT_TRUE(holds(listing(), "Phenotypic"));  // a general regression changes nothing
    state::MODEL(2).reg_type(1) = kNestedInFixed;
    EXPECT_FALSE(holds(listing(), "Phenotypic"));

    model({1});
    outcome(std::string("1 1 1 1\n") + kResidual);
    EXPECT_FALSE(holds(listing(), "Phenotypic"));
    model({2}, 2);
    outcome(std::string("1 1 1 1\n1 2 2 3\n") + kResidual);
    EXPECT_FALSE(holds(listing(), "Phenotypic"));
}

TEST_F(Priors, GroupsInTheListing) {
    model({}, 2);
    const std::string one = "1 1 1 1\n1 2 2 4\n1 1 2 1\n";
    outcome(one);
    testing::internal::CaptureStdout();
    KVEGR(kListingUnit);
    std::string listing = testing::internal::GetCapturedStdout();
    EXPECT_TRUE(holds(listing,
                      "\n  Heterogeneous Residual co-variance matrix   \n"
                      "  No. of groups           2\n  Same prior used for all groups\n"));
    EXPECT_TRUE(holds(listing, "\n  Heterogeneous Residual correlation matrix\n"));

    outcome(one + "2 1 1 9\n2 2 2 16\n2 1 2 -6\n");
    KVEGR(1);
    std::ifstream file("Latest_parm");
    listing.assign(std::istreambuf_iterator<char>(file), {});
    EXPECT_TRUE(
        holds(listing, " Heterogeneous Residual co-variance matrix - group            1\n"));
    EXPECT_TRUE(holds(listing,
                      " Heterogeneous Residual crrelation matrix - group            2\n"
                      "                1              2\n"
                      "    1         1.0000\n    2        -0.5000         1.0000\n"));
}

TEST_F(Priors, OddNumbersAndLargeTrianglesInAListing) {
    Triangle<double> a;
    ASSERT_EQ(a.allocate(8), 0);
    for (int64_t i = 1; i <= 8; ++i) a(i, i) = 1e9;
    a(8, 1) = std::nan("");
    a(2, 2) = 1e300;
    testing::internal::CaptureStdout();
    Sheet sheet;
    KVEPRM(0, 8, a, TriangleOf::covariances, sheet);
    const std::string listing = testing::internal::GetCapturedStdout();
    EXPECT_EQ(std::count(listing.begin(), listing.end(), '\n'), triangle_lines(8));
    EXPECT_TRUE(holds(listing, "                7              8\n    7 1000000000.0000000\n"));
    EXPECT_TRUE(holds(listing, "    8            NaN      0.0000000"));
}
