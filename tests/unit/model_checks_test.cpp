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

void derive(const std::vector<Submodel>& traits) {
    build_model(traits);
    derive_covariance_structure();
}

void check(const std::vector<Submodel>& traits) {
    derive(traits);
    check_structures();
}

}  // namespace

TEST_F(ModelChecks, PgmixNeedsMethodOne) {
    derive({{{1, 2}, {1, 2}}});
    RMAT(2).type = "PGMIX";
    RMAT(2).method = 1;
    check_structures();
    RMAT(2).method = 7;
    EXPECT_STOP(check_structures(), "PGMIX requiers\n +method 1 for");
}

TEST_F(ModelChecks, DeviationsNeedAPlainModelAndKnowTheirPedigree) {
    DIRECTIVES.ITASK = 11;
    DIRECTIVES.td_ptd.asked = true;
    DIRECTIVES.td_ptd.factor = 2;
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

    DIRECTIVES.ITASK = 2;
    DIRECTIVES.td_ptd.factor = 1;
    const char* words = "Trait Deviations and Progeny Trait Deviations\n";
    EXPECT_STOP(check({{{1}, {1}, {{3, 1}}}}), words);         // random regression
    EXPECT_STOP(check({{{1, 2, 3}, {1, 2, 1}}}), words);       // two in one matrix
    EXPECT_STOP(check({{{1, 2}, {1, 1}, {}, {2}}}), words);    // also when merged
    EXPECT_STOP(check({{{1}, {1}, {}, {}, {}, {1}}}), words);  // reduced rank
    DIRECTIVES.ITASK = 3;
    check({{{1, 2}, {1, 1}}});
}

TEST_F(ModelChecks, CensoredTraitsAreMarkedOrCounted) {
    build_model({{{1}, {}}, {{1}, {}}, {{1}, {}}});
    int status = 1;
    DIRECTIVES.cens = {{1, 0, 0, false},  {2, 9, 9, true}, {2, 1, 0, false},
                       {3, 10, 0, false}, {3, 1, 0, true}, {4, 1, 0, false}};
    EXPECT_EQ(
        listing_of([&] { mark_censored_traits(status); }),
        "ERROR - Repeated CENS specification for trait no.:            2\nERROR - CENS column out "
        "of range for trait no.:            3           10\nERROR - CENS column out of range for "
        "trait no.:            3            0\nERROR - CENS specification for trait no.:           "
        "          4\n        Number of traits in this analysis:                    3\n");
    EXPECT_EQ(status, 5);
    expect_fields({"MODEL(1): l_cens T; cens_inp 0", "MODEL(3): l_cens F",
                   "MODEL(2): l_cens T; cens_inp 9; int_max_inp 9"});
}

TEST_F(ModelChecks, LaterTraitClassesWin) {
    build_model({{{1}, {}}, {{1}, {}}, {{1}, {}}, {{1}, {}}});
    DIRECTIVES.IS_MIXTURE(1) = DIRECTIVES.IS_MIXTURE(2) = 1;
    MODEL(2).l_glmm = true;
    MODEL(3).l_glmm = true;
    MODEL(4).trait_inp_no = 10;
    DIRECTIVES.cure = {{3, 1, 4, 5}};
    settle_trait_classes();
    const int32_t types[] = {kSequentialLinear, kGeneralized, kSequentialBinary, kGaussian};
    for (int i : {1, 2, 3, 4}) EXPECT_EQ(MODEL(i).trait_type, types[i - 1]) << i;
    expect_fields({"MODEL(1): seq_t_inp_no 3; l_cure F",
                   "MODEL(3): mix_t_inp_no 1; subject 4; seq 5; l_cure T"});
    EXPECT_EQ(DIRECTIVES.glmm_iterations, 2);
    EXPECT_EQ(DIRECTIVES.glmm_criterion, 9.9999997473787516e-06);

    DIRECTIVES.glmm_iterations = 7;
    DIRECTIVES.glmm_criterion = 0.5;
    settle_trait_classes();
    EXPECT_EQ(DIRECTIVES.glmm_iterations, 7) << "given ones stay";
    EXPECT_EQ(DIRECTIVES.glmm_criterion, 0.5);

    for (CURE_SPEC pair : {CURE_SPEC{5, 6, 0, 1}, CURE_SPEC{5, 6, 1, 10}}) {
        DIRECTIVES.cure = {pair};
        EXPECT_STOP(settle_trait_classes(), "variable for subject or sequence: +(0|10)\n");
    }
}

TEST_F(ModelChecks, DumpShowsAllRecordsAndCutsLongLists) {
    derive({{{4, 2}, {1}, {{3, 2}}}});
    RMAT(1).cov_mat(2, 1) = -0.5;
    ASSERT_EQ(RMAT(1).ad.allocate(1000000), 0);
    const std::string listing = listing_of(dump_model_records);
    EXPECT_NE(listing.find("\n  cov_mat(2,:)               -0.5 0\n"), std::string::npos);
    EXPECT_NE(listing.find("... of 1000000\n"), std::string::npos);
    EXPECT_LT(listing.size(), 30000U);
    expect_fields(
        {"MODEL(1): reg_name 'R3'", "RMAT(1): n_cont 2; t_r_id_rci 1", "RMAT(2): rank 1"});
}

TEST_F(ModelChecks, EffectsOfATraitWithUnequalRegressionsAreToldOnTheListing) {
    derive({{{1, 2}, {1, 1}, {{3, 1}, {3, 2}}}});
    EXPECT_EQ(listing_of(check_structures), "");
    derive({{{1, 2}, {1, 1}, {{3, 2}}}});
    EXPECT_NE(listing_of(check_structures).find("matrix 1 has 3 rows but rank 2"),
              std::string::npos);
}
