#include "model/censoring.h"
#include "model/covariance_structure.h"
#include "model/dump.h"
#include "model/structure_checks.h"
#include "model/trait_classes.h"
#include "model_builder.h"
#include "run/directives.h"
#include "stops.h"

using namespace kve;
using state::DIRECTIVES, state::MODEL, state::RMAT;

namespace {

class ModelChecks : public ModelTest {};

void ask_for_deviations(int task, int factor) {
    DIRECTIVES.ITASK = task;
    DIRECTIVES.td_ptd.asked = true;
    DIRECTIVES.td_ptd.factor = factor;
}

void check(const std::vector<Submodel>& traits) {
    build_model(traits);
    derive_covariance_structure();
    check_structures();
}

}  // namespace

TEST_F(ModelChecks, PgmixNeedsMethodOne) {
    build_model({{{1, 2}, {1, 2}}});
    derive_covariance_structure();
    RMAT(2).type = "PGMIX";
    RMAT(2).method = 1;
    check_structures();
    RMAT(2).method = 7;
    EXPECT_STOP(check_structures(), "PGMIX requiers\n +method 1 for");
}

TEST_F(ModelChecks, DeviationsPassAPlainModelAndKnowTheirPedigree) {
    ask_for_deviations(11, 2);
    const std::vector<Submodel> plain = {{{1, 2, 3}, {1, 2}, {{3, 1}}}, {{1, 2}, {1, 2}}};
    check(plain);
    EXPECT_FALSE(DIRECTIVES.td_ptd.pedigree_exists);
    RMAT(2).type = "PED";
    check_structures();
    EXPECT_TRUE(DIRECTIVES.td_ptd.pedigree_exists);
    for (int factor : {0, 3}) {
        DIRECTIVES.td_ptd.factor = factor;
        EXPECT_STOP(check(plain), "TD and PTD: +[03]\n +Must be between 1 and +2\n");
    }
}

TEST_F(ModelChecks, DeviationsRefuseModelsThatTheyAreNotDefinedFor) {
    ask_for_deviations(2, 1);
    const char* words = "Trait Deviations and Progeny Trait Deviations\n";
    EXPECT_STOP(check({{{1}, {1}, {{3, 1}}}}), words);         // random regression
    EXPECT_STOP(check({{{1, 2, 3}, {1, 2, 1}}}), words);       // two in one matrix
    EXPECT_STOP(check({{{1, 2}, {1, 1}, {}, {2}}}), words);    // also when merged
    EXPECT_STOP(check({{{1}, {1}, {}, {}, {}, {1}}}), words);  // reduced rank
    ask_for_deviations(3, 1);
    DIRECTIVES.reduce_file = "";
    check({{{1, 2}, {1, 1}}});
}

TEST_F(ModelChecks, CensoredTraitsAreMarkedOrCounted) {
    build_model({{{1}, {}}, {{1}, {}}, {{1}, {}}});
    int status = 1;
    DIRECTIVES.cens = {{1, 0, 0, false},  {2, 9, 9, true}, {2, 1, 0, false},
                       {3, 10, 0, false}, {3, 1, 0, true}, {4, 1, 0, false}};
    testing::internal::CaptureStdout();
    mark_censored_traits(status);
    const std::string listing = testing::internal::GetCapturedStdout();
    EXPECT_EQ(status, 5);
    EXPECT_TRUE(MODEL(1).l_cens);
    EXPECT_EQ(MODEL(1).cens_inp, 0);
    EXPECT_EQ(MODEL(2).cens_inp, 9);
    EXPECT_EQ(MODEL(2).int_max_inp, 9);
    EXPECT_FALSE(MODEL(3).l_cens);
    EXPECT_EQ(listing,
              "ERROR - Repeated CENS specification for trait no.:            2\n"
              "ERROR - CENS column out of range for trait no.:            3           10\n"
              "ERROR - CENS column out of range for trait no.:            3            0\n"
              "ERROR - CENS specification for trait no.:                     4\n"
              "        Number of traits in this analysis:                    3\n");
}

TEST_F(ModelChecks, LaterTraitClassesWin) {
    build_model({{{1}, {}}, {{1}, {}}, {{1}, {}}, {{1}, {}}});
    DIRECTIVES.IS_MIXTURE(1) = DIRECTIVES.IS_MIXTURE(2) = 1;
    MODEL(2).l_glmm = true;
    MODEL(3).l_glmm = true;
    MODEL(4).trait_inp_no = 10;
    DIRECTIVES.cure = {{3, 1, 4, 5}};
    settle_trait_classes();
    EXPECT_EQ(MODEL(1).trait_type, kSequentialLinear);
    EXPECT_EQ(MODEL(1).seq_t_inp_no, 3);
    EXPECT_FALSE(MODEL(1).l_cure);
    EXPECT_EQ(MODEL(2).trait_type, kGeneralized);
    EXPECT_EQ(MODEL(3).trait_type, kSequentialBinary);
    EXPECT_EQ(MODEL(3).mix_t_inp_no, 1);
    EXPECT_EQ(MODEL(3).subject, 4);
    EXPECT_EQ(MODEL(3).seq, 5);
    EXPECT_TRUE(MODEL(3).l_cure);
    EXPECT_EQ(MODEL(4).trait_type, kGaussian);
    EXPECT_EQ(DIRECTIVES.glmm_iterations, 2);
    EXPECT_EQ(DIRECTIVES.glmm_criterion, 9.9999997473787516e-06);
}

TEST_F(ModelChecks, GivenGlmmIterationsStay) {
    build_model({{{1}, {}}});
    MODEL(1).l_glmm = true;
    DIRECTIVES.glmm_iterations = 7;
    DIRECTIVES.glmm_criterion = 0.5;
    settle_trait_classes();
    EXPECT_EQ(DIRECTIVES.glmm_iterations, 7);
    EXPECT_EQ(DIRECTIVES.glmm_criterion, 0.5);
}

TEST_F(ModelChecks, CureColumnsAreColumnsOfTheRecord) {
    build_model({{{1}, {}}});
    for (CURE_SPEC pair : {CURE_SPEC{5, 6, 0, 1}, CURE_SPEC{5, 6, 1, 10}}) {
        DIRECTIVES.cure = {pair};
        EXPECT_STOP(settle_trait_classes(), "variable for subject or sequence: +(0|10)\n");
    }
}

TEST_F(ModelChecks, DumpShowsFieldsOfAllRecordsAndCutsLongLists) {
    build_model({{{4, 2}, {1}, {{3, 2}}}});
    derive_covariance_structure();
    RMAT(1).cov_mat(2, 1) = -0.5;
    ASSERT_EQ(RMAT(1).ad.allocate(1000000), 0);
    const std::string listing = listing_of(dump_model_records);
    for (const char* line :
         {"\n  MODEL(1)", "\n  RMAT(2)", "\n  n_cont                     2\n",
          "\n  reg_name                   'R3'\n", "\n  t_r_id_rci                 1\n",
          "\n  cov_mat(2,:)               -0.5 0\n", "... of 1000000\n"})
        EXPECT_NE(listing.find(line), std::string::npos) << line << listing;
    EXPECT_EQ(listing.find("t_r_eff_rci"), std::string::npos);
    EXPECT_LT(listing.size(), 30000U);
}

TEST_F(ModelChecks, EffectsOfATraitWithUnequalRegressionsAreToldOnTheListing) {
    build_model({{{1, 2}, {1, 1}, {{3, 1}, {3, 2}}}});
    derive_covariance_structure();
    EXPECT_EQ(listing_of(check_structures), "");
    build_model({{{1, 2}, {1, 1}, {{3, 2}}}});
    derive_covariance_structure();
    EXPECT_NE(listing_of(check_structures).find("matrix 1 has 3 rows but rank 2"),
              std::string::npos);
}
