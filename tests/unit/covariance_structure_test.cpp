#include "model/covariance_structure.h"

#include <fstream>
#include <sstream>

#include "model_builder.h"
#include "run/directives.h"
#include "run/listing.h"
#include "stops.h"

using namespace kve;
using state::DIRECTIVES, state::KVEINT, state::MODEL, state::RMAT;

namespace {

class CovarianceStructure : public ModelTest {};

void derive(const std::vector<Submodel>& traits) {
    build_model(traits);
    derive_covariance_structure();
}

void add_structure(Structure structure, const char* type, int factor, int associated = 0) {
    VAR_STR_SPEC spec;
    spec.structure = structure;
    spec.type = type;
    spec.factor = factor;
    spec.integer_input = associated;
    spec.format = kAscii;
    spec.file[0] = "first";
    DIRECTIVES.var_str.push_back(spec);
}

std::string log_text() {
    EXPECT_EQ(flush_log(), 0);
    std::stringstream text;
    text << std::ifstream("KVE_LOG").rdbuf();
    return text.str();
}

}  // namespace

TEST_F(CovarianceStructure, RowsRunThroughTraits) {
    derive({{{1, 2, 3}, {1, 2}}, {{4, 2}, {1}}});
    const RMatrix& r = RMAT(1);
    EXPECT_EQ(r.n_traits, 2);
    EXPECT_EQ(r.rank, 2);
    EXPECT_EQ(r.n_rc, 2);
    EXPECT_EQ(numbers_of(r.cont_rc), (Numbers{1, 2}));
    EXPECT_EQ(numbers_of(r.cont_t_no), (Numbers{1, 2}));
    EXPECT_EQ(numbers_of(r.rank_tn), (Numbers{1, 2}));
    EXPECT_EQ(numbers_of(r.t_no), (Numbers{1, 2}));
    EXPECT_EQ(r.t_name(2).view(), "R2");
    EXPECT_EQ(numbers_of(r.trait_blk_start), (Numbers{1, 2}));
    EXPECT_EQ(numbers_of(r.reduce), (Numbers{1, 2}));
    EXPECT_EQ(r.cov_mat.size(), 4);
    EXPECT_EQ(RMAT(2).rank, 1);
}

TEST_F(CovarianceStructure, RecodedColumnsRunOverTheMatrices) {
    derive({{{1, 5, 3, 2}, {1, 1, 2}}, {{4, 3}, {2}}});
    EXPECT_EQ(numbers_of(RMAT(1).random_id_inp), (Numbers{3, 5}));
    EXPECT_EQ(numbers_of(RMAT(1).r_id_rci), (Numbers{1, 2}));
    EXPECT_EQ(numbers_of(RMAT(1).t_r_eff_rci), (Numbers{2, 1}));
    EXPECT_EQ(numbers_of(RMAT(1).cont_eff_rci), (Numbers{2, 1}));
    EXPECT_EQ(numbers_of(RMAT(2).random_id_inp), (Numbers{2, 3}));
    EXPECT_EQ(numbers_of(RMAT(2).r_id_rci), (Numbers{3, 4}));
    EXPECT_EQ(numbers_of(MODEL(1).ef_rci), (Numbers{1, 2, 1, 3}));
    EXPECT_EQ(numbers_of(MODEL(2).ef_rci), (Numbers{2, 4}));
}

TEST_F(CovarianceStructure, TwoEffectsOfOneTraitCorrelate) {
    derive({{{1, 2}, {1, 1}}});
    const RMatrix& r = RMAT(1);
    EXPECT_EQ(r.rank, 2);
    EXPECT_EQ(numbers_of(r.r_eff), (Numbers{1, 2}));
    EXPECT_EQ(numbers_of(r.cont_rc), (Numbers{1, 2}));
    EXPECT_EQ(numbers_of(r.rank_tn), (Numbers{1, 1}));
    EXPECT_EQ(numbers_of(r.t_no), (Numbers{1, 0}));
}

TEST_F(CovarianceStructure, MergedEffectSharesTheRowBeforeIt) {
    derive({{{1, 2}, {1, 1}, {}, {2}}});
    const RMatrix& r = RMAT(1);
    EXPECT_EQ(r.n_traits, 1);
    EXPECT_EQ(r.n_r_eff, 2);
    EXPECT_EQ(r.n_cont, 2);
    EXPECT_EQ(r.rank, 1);
    EXPECT_EQ(numbers_of(r.cont_rc), (Numbers{1, 1}));
    EXPECT_EQ(numbers_of(r.cont_eff), (Numbers{1, 2}));
    EXPECT_EQ(numbers_of(r.t_r_eff_rci), (Numbers{1, 0}));
    EXPECT_EQ(numbers_of(MODEL(1).r_ef_rci), (Numbers{1, 2}));
}

TEST_F(CovarianceStructure, MergedEffectTakesTheLastRowThatThereIs) {
    // Behind regressions the row of the last one, behind an earlier trait its last row.
    derive({{{1, 2}, {1, 1}, {{3, 1}}, {2}}, {{1}, {1}, {}, {1}}});
    EXPECT_EQ(numbers_of(RMAT(1).cont_rc), (Numbers{1, 2, 2, 2}));
    EXPECT_EQ(RMAT(1).rank, 2);
    // Alone in its matrix it has row 0, and the matrix no member.
    derive({{{1, 2}, {1, 2}, {}, {2}}});
    EXPECT_EQ(numbers_of(RMAT(2).cont_rc), (Numbers{0}));
    EXPECT_EQ(RMAT(2).n_traits, 0);
    EXPECT_EQ(RMAT(2).rank, 0);
    EXPECT_EQ(numbers_of(RMAT(2).random_id_inp), (Numbers{2}));
}

TEST_F(CovarianceStructure, RegressionWithoutInterceptIsTheOnlyRow) {
    derive({{{4, 2}, {1}, {{3, 2}}, {}, {2}}});
    const RMatrix& r = RMAT(1);
    EXPECT_EQ(r.n_cont, 1);
    EXPECT_EQ(r.rank, 1);
    EXPECT_TRUE(r.cont_rr_eff(1));
    EXPECT_EQ(r.cont_rr_inp(1), 3);
    EXPECT_EQ(r.cont_rr_name(1).view(), "R3");
    EXPECT_EQ(r.cont_id_name(1).view(), "I2");
    EXPECT_EQ(numbers_of(r.t_no), (Numbers{0}));
    EXPECT_EQ(numbers_of(r.rank_tn), (Numbers{1}));
    EXPECT_EQ(MODEL(1).reg_n_level(1), 1);
    EXPECT_EQ(KVEINT.N_RANDOM_COV, 1);
}

TEST_F(CovarianceStructure, LevelsOfAListShareOneRow) {
    derive({{{4, 2}, {1}, {{1, 1}, {3, 2, 1}, {4, 2, 2}, {5, 2, 3}, {6, 2, 4}, {7, 2}}}});
    const RMatrix& r = RMAT(1);
    EXPECT_EQ(numbers_of(r.cont_rc), (Numbers{1, 2, 2, 2, 2, 3}));
    EXPECT_EQ(numbers_of(r.cont_rc1), (Numbers{1, 1, 2, 3, 4, 4}));
    EXPECT_EQ(numbers_of(MODEL(1).reg_rmat_pos), (Numbers{0, 2, 2, 2, 2, 3}));
    EXPECT_EQ(r.rank, 3);
    EXPECT_EQ(r.m_n_rr, 5);
    EXPECT_TRUE(r.l_rr);
    EXPECT_EQ(r.rr_f_inp(1, 1), 3);
    EXPECT_EQ(r.rr_f_inp(1, 5), 7);
    EXPECT_EQ(r.rr_f_rcr(1, 5), 7);
}

TEST_F(CovarianceStructure, RegressionsFollowTheirEffect) {
    derive({{{1, 2}, {1, 2}, {{3, 2}, {4, 1}}}, {{1}, {1}, {{5, 1}}}});
    EXPECT_EQ(numbers_of(RMAT(1).cont_rr_inp), (Numbers{0, 4, 0, 5}));
    EXPECT_EQ(numbers_of(RMAT(1).trait_blk_start), (Numbers{1, 3}));
    EXPECT_EQ(numbers_of(RMAT(1).rank_tn), (Numbers{1, 1, 2, 2}));
    EXPECT_EQ(numbers_of(RMAT(2).cont_rr_inp), (Numbers{0, 3}));
    EXPECT_EQ(KVEINT.N_RANDOM_COV, 3);
}

TEST_F(CovarianceStructure, FurtherEffectOfATraitTakesTheBlockSizeOfTheFirst) {
    derive({{{1, 2}, {1, 1}, {{3, 1}}}});
    EXPECT_EQ(RMAT(1).n_cont, 3);
    EXPECT_EQ(RMAT(1).rank, 4);
    EXPECT_EQ(numbers_of(RMAT(1).rank_tn), (Numbers{1, 1, 1, 0}));
    EXPECT_EQ(RMAT(1).rr_f_inp(2, 1), 0);
    derive({{{1, 2}, {1, 1}, {{3, 2}}}});
    EXPECT_EQ(RMAT(1).n_cont, 3);
    EXPECT_EQ(RMAT(1).rank, 2);
    EXPECT_EQ(numbers_of(RMAT(1).rank_tn), (Numbers{1, 1}));
}

TEST_F(CovarianceStructure, ReducedRankSharesRows) {
    derive({{{1}, {1}, {}, {}, {}, {1}}, {{1}, {1}, {}, {}, {}, {1}}, {{1}, {1}, {}, {}, {}, {2}}});
    EXPECT_EQ(numbers_of(RMAT(1).reduce), (Numbers{1, 1, 2}));
    EXPECT_EQ(RMAT(1).rank, 2);
    EXPECT_EQ(numbers_of(RMAT(1).cont_rc), (Numbers{1, 1, 3}));
    EXPECT_EQ(numbers_of(RMAT(1).trait_blk_start), (Numbers{1, 1, 2}));
    EXPECT_EQ(numbers_of(RMAT(1).rank_tn), (Numbers{1, 3}));
    // The shift would reach behind the last row.
    derive({{{1, 2, 3, 4, 5}, {1, 1, 1, 1, 1}, {}, {}, {}, {1, 2, 2, 2, 2}}});
    EXPECT_EQ(RMAT(1).rank, 2);
    EXPECT_EQ(numbers_of(RMAT(1).trait_blk_start), (Numbers{1, 2, 2, 2, 2}));
    EXPECT_EQ(numbers_of(RMAT(1).cont_rc), (Numbers{1, 1, 3, 3, 5}));
}

TEST_F(CovarianceStructure, UnusedMatrixNumberIsAnEmptyRecord) {
    derive({{{1, 2}, {1, 3}}});
    EXPECT_EQ(RMAT.size(), 4);
    EXPECT_EQ(RMAT(2).n_traits, 0);
    EXPECT_EQ(RMAT(2).n_cont, 0);
    EXPECT_EQ(RMAT(2).rank, 0);
    EXPECT_EQ(numbers_of(RMAT(3).r_id_rci), (Numbers{2}));
}

TEST_F(CovarianceStructure, EffectWithoutRowHasNoRecodedColumn) {
    derive({{{4, 2, 3}, {1, 1}, {}, {}, {2}}});
    const RMatrix& r = RMAT(1);
    EXPECT_EQ(r.n_traits, 2);
    EXPECT_EQ(numbers_of(r.random_id_inp), (Numbers{3}));
    EXPECT_EQ(numbers_of(r.t_r_eff_rci), (Numbers{0, 1}));
    EXPECT_EQ(numbers_of(MODEL(1).r_ef_rci), (Numbers{0, 1}));
    EXPECT_EQ(r.trait_blk_size(1), 0);
}

TEST_F(CovarianceStructure, ResidualRecordHasOneRowPerTrait) {
    build_model({{{1}, {}}, {{1}, {}}});
    KVEINT.LogicalZeroEltR0(1, 2) = KVEINT.LogicalZeroEltR0(2, 1) = true;
    derive_covariance_structure();
    ASSERT_EQ(RMAT.size(), 1);
    const RMatrix& r = RMAT(1);
    EXPECT_EQ(r.n_traits, 2);
    EXPECT_EQ(r.rank, 2);
    EXPECT_EQ(r.n_rc, 2);
    EXPECT_EQ(r.n_cont, 0);
    EXPECT_EQ(numbers_of(r.t_no), (Numbers{1, 2}));
    EXPECT_TRUE(r.l_rcov_zero(1, 2));
    EXPECT_FALSE(r.l_rcov_zero(1, 1));
}

TEST_F(CovarianceStructure, StructuresReachTheirRecords) {
    DIRECTIVES.ITASK = 2;
    add_structure(Structure::ABS_QTL, "ABS_QTL", 3, 1);
    add_structure(Structure::PED, "PED", 1);
    DIRECTIVES.var_str.back().method = 6;
    DIRECTIVES.var_str.back().r = true;
    DIRECTIVES.var_str.back().r_value = 0.5;
    add_structure(Structure::PGMIX, "PGMIX", 2);
    DIRECTIVES.var_str.back().file[2] = "third";
    DIRECTIVES.var_str.back().weight = 0.25;
    add_structure(Structure::GROUP, "GROUP", 4, 7);
    derive({{{1, 2, 3}, {1, 2, 3}}, {{3}, {3}}});
    EXPECT_TRUE(RMAT(1).is("PED"));
    EXPECT_EQ(RMAT(1).method, 6);
    EXPECT_TRUE(RMAT(1).phg_random);
    EXPECT_EQ(RMAT(1).ran_factor, 0.5);
    EXPECT_EQ(RMAT(1).rel_file.view(), "first");
    EXPECT_EQ(RMAT(1).rel_format, 1);
    EXPECT_TRUE(RMAT(2).is("PGMIX"));
    EXPECT_EQ(RMAT(2).rel_file3.view(), "third");
    EXPECT_EQ(RMAT(2).pgmix_weight, 0.25);
    EXPECT_TRUE(RMAT(4).is("GROUP"));
    EXPECT_EQ(RMAT(4).grp_inp, 7);
    EXPECT_EQ(RMAT(4).grp_name.view(), "I7");
    EXPECT_EQ(numbers_of(MODEL(1).ass_rf), (Numbers{0, 0, 1}));
    EXPECT_EQ(MODEL(1).n_random_abs, 1);
    EXPECT_EQ(KVEINT.N_RAMAT_NOT_ABS, 2);
}

TEST_F(CovarianceStructure, DominanceIsNotAbsorbed) {
    add_structure(Structure::PED, "PED", 1);
    add_structure(Structure::DOM, "DOM", 2, 1);
    derive({{{1, 1}, {1, 2}}});
    EXPECT_EQ(RMAT(2).ass_rf, 1);
    EXPECT_EQ(numbers_of(MODEL(1).ass_rf), (Numbers{0, 0}));
    EXPECT_EQ(KVEINT.N_RAMAT_NOT_ABS, 2);
}

TEST_F(CovarianceStructure, RefusesStructuresThatDoNotFit) {
    struct Fault {
        int task;
        Structure structure;
        const char* type;
        int factor, associated;
        const char* words;
    };
    const Fault faults[] = {
        {1, Structure::PED, "PED", 4, 0,
         "and random factor no\\. +4 is specified,\n +but there is only +3 random factors"},
        {1, Structure::PED, "PED", 0, 0, "and random factor no\\. +0 is specified"},
        {1, Structure::PED, "PED", 3, 0, "structure PED is specified for the residual\n"},
        {11, Structure::GROUP, "GROUP", 3, 1, "GROUP is specified for the residual random factor"},
        {11, Structure::GROUP, "GROUP", 1, 1, "GROUP is specified for random factor +1\n"},
        {2, Structure::GROUP, "GROUP", 1, 1, "The residual is random factor +3\n"},
        {1, Structure::DOM, "DOM", 1, 3, "and random factor no\\. +3 is specified"},
        {1, Structure::ABS_QTL, "ABS_QTL", 1, 0, "and random factor no\\. +0 is specified"},
        {1, Structure::DOM, "DOM", 1, 2, "random factor: +1 associated factor: +2\n"},
        {1, Structure::ABS_QTL, "ABS_QTL", 1, 1, "random factor: +1 associated factor: +1\n"},
    };
    for (const Fault& fault : faults) {
        DIRECTIVES.var_str.clear();
        DIRECTIVES.ITASK = fault.task;
        add_structure(fault.structure, fault.type, fault.factor, fault.associated);
        EXPECT_STOP(derive({{{1, 2}, {1, 2}}}), fault.words) << fault.words;
    }
}

TEST_F(CovarianceStructure, AbsurdMatrixNumberIsAFailedAllocation) {
    build_model({{{1}, {1}}});
    KVEINT.NRAMAT = MODEL(1).r_ef_matno(1) = 1000000000;
    EXPECT_STOP(derive_covariance_structure(), "Trying to allocate +: RMAT\n");
}

TEST_F(CovarianceStructure, AbsurdRankIsAFailedAllocation) {
    // 200 members, each with the block size of the first one.
    const std::vector<int> effects(200, 1);
    const std::vector<Regression> regressions(50, {3, 1});
    EXPECT_STOP(derive({{effects, effects, regressions}}), "Trying to allocate +: RMAT%COV_MAT\n");
}

TEST_F(CovarianceStructure, IllegalColumnsOnlyWarn) {
    build_model({{{9}, {1}}});
    MODEL(1).trait_inp_no = 0;
    derive_covariance_structure();
    EXPECT_EQ(log_text(), "");
    build_model({{{9}, {1}}});
    MODEL(1).wgt_inp_no = 10;
    derive_covariance_structure();
    EXPECT_EQ(log_text(), "ERROR: ILLEGAL VAR-NO IN MODEL DESCRIPTION\n OR WEIGHTS\n");
    EXPECT_EQ(RMAT(2).rank, 1);
}
