#include "model/covariance_structure.h"

#include "model_builder.h"

using namespace kve;
using state::DIRECTIVES, state::KVEINT, state::MODEL, state::RMAT;

namespace {

using CovarianceStructure = ModelTest;

VAR_STR_SPEC structure(Structure kind, const char* type, int factor, int associated = 0) {
    VAR_STR_SPEC spec;
    spec.structure = kind;
    spec.type = type;
    spec.factor = factor;
    spec.integer_input = associated;
    spec.format = kAscii;
    spec.file[0] = "first";
    return spec;
}

}  // namespace

TEST_F(CovarianceStructure, FollowsFromTheEffectsOfTheTraits) {
    struct Case {
        const char* shows;
        std::vector<Submodel> traits;
        std::vector<std::string> fields;
    };
    const Case cases[] = {
        {"rows run through the traits",
         {{"3 1 2 3", "2 1 2"}, {"2 4 2", "1 1"}},
         {"RMAT(1): n_rc 2; n_traits 2; cont_rc 1 2; cont_t_no 1 2; cont_t_name 'R1' 'R2'; "
          "reduce 1 2; trait_blk_start 1 2; t_no 1 2; rank 2; rank_tn 1 2; cov_mat(2,:) 0 0",
          "RMAT(2): rank 1"}},
        {"recoded columns run over the matrices",
         {{"4 1 5 3 2", "3 1 1 2"}, {"2 4 3", "1 2"}},
         {"RMAT(1): random_id_inp 3 5; cont_eff_rci 2 1; t_r_id_rci 2 1; r_id_rci 1 2",
          "RMAT(2): random_id_inp 2 3; r_id_rci 3 4", "MODEL(1): ef_rci 1 2 1 3",
          "MODEL(2): ef_rci 2 4"}},
        {"a merged effect shares the row before it",
         {{"2 1 2", "2 1 + 1"}},
         {"RMAT(1): n_cont 2; n_traits 1; n_r_eff 2; cont_rc 1 1; cont_eff 1 2; t_r_id_rci 1 0; "
          "rank 1",
          "MODEL(1): r_ef_rci 1 2"}},
        {"behind regressions the row of the last one, behind an earlier trait its last row",
         {{"2 1 2", "2 1 + 1", "1 3(1)"}, {"1 1", "1 + 1"}},
         {"RMAT(1): cont_rc 1 2 2 2; rank 2"}},
        {"the matrix drawn in the header: a list with levels, a merged effect, a second trait",
         {{"3 4 2 6", "2 1 + 1", "2 [3:4,2,L]"}, {"1 2", "1 1"}},
         {"RMAT(1): n_cont 5; n_traits 2; cont_rc 1 2 2 2 3; cont_rc1 1 1 2 1 1; "
          "cont_eff_inp 2 2 2 6 2; cont_rr_inp 0 3 4 0 0; trait_blk_size 2 1; "
          "trait_blk_start 1 3; rank 3"}},
        {"alone in its matrix it has row 0, and the matrix no member",
         {{"2 1 2", "2 1 + 2"}},
         {"RMAT(2): n_traits 0; random_id_inp 2; cont_rc 0; rank 0"}},
        {"without intercept the regression is the only row",
         {{"2 4 2(0)", "1 1", "1 3(2)"}},
         {"RMAT(1): n_cont 1; cont_rr_inp 3; cont_id_name 'I2'; cont_rr_name 'R3'; cont_rr_eff T; "
          "t_no 0; rank 1; rank_tn 1",
          "MODEL(1): reg_n_level 1", "KVEINT: N_RANDOM_COV 1"}},
        {"levels of a list share one row",
         {{"2 4 2", "1 1", "6 1(1) [3:6,2,L] 7(2)"}},
         {"RMAT(1): m_n_rr 5; l_rr T; cont_rc 1 2 2 2 2 3; cont_rc1 1 1 2 3 4 4; rank 3; "
          "rr_f_inp(1,:) 3 4 5 6 7; rr_f_rcr(1,:) 2 3 4 5 6",
          "MODEL(1): reg_rmat_pos 0 2 2 2 2 3"}},
        {"regressions follow their effect",
         {{"2 1 2", "2 1 2", "2 3(2) 4(1)"}, {"1 1", "1 1", "1 5(1)"}},
         {"RMAT(1): cont_rr_inp 0 4 0 5; trait_blk_start 1 3; rank_tn 1 1 2 2",
          "RMAT(2): cont_rr_inp 0 3", "KVEINT: N_RANDOM_COV 3"}},
        {"a further effect takes the block size of the first, which has a regression",
         {{"2 1 2", "2 1 1", "1 3(1)"}},
         {"RMAT(1): n_cont 3; rr_f_inp(2,:) 0; rank 4; rank_tn 1 1 1 0"}},
        {"or has none",
         {{"2 1 2", "2 1 1", "1 3(2)"}},
         {"RMAT(1): n_cont 3; r_eff 1 2; cont_rc 1 2 3; t_no 1 0; rank 2; rank_tn 1 1"}},
        {"reduced rank shares rows",
         {{"1 1", "1 1", "0", "1"}, {"1 1", "1 1", "0", "1"}, {"1 1", "1 1", "0", "2"}},
         {"RMAT(1): cont_rc 1 1 3; reduce 1 1 2; trait_blk_start 1 1 2; rank 2; rank_tn 1 3"}},
        {"the shift would reach behind the last row",
         {{"5 1 2 3 4 5", "5 1 1 1 1 1", "0", "1 2 2 2 2"}},
         {"RMAT(1): cont_rc 1 1 3 3 5; trait_blk_start 1 2 2 2 2; rank 2"}},
        {"an unused matrix number is an empty record",
         {{"2 1 2", "2 1 3"}},
         {"RMAT(2): n_cont 0; n_traits 0; rank 0", "RMAT(3): r_id_rci 2", "RMAT(4): rank 1"}},
        {"an effect without row has no recoded column",
         {{"3 4 2(0) 3", "2 1 1"}},
         {"RMAT(1): n_traits 2; random_id_inp 3; trait_blk_size 0 0; t_r_id_rci 0 1",
          "MODEL(1): r_ef_rci 0 1"}},
    };
    for (const Case& c : cases) {
        derive_model(c.traits);
        expect_fields(c.fields, c.shows);
    }
}

TEST_F(CovarianceStructure, ResidualRecordHasOneRowPerTraitAndIllegalColumnsOnlyWarn) {
    for (int32_t weight : {0, 10}) {
        build_model({{"1 1"}, {"1 1"}});
        KVEINT.LogicalZeroEltR0(1, 2) = KVEINT.LogicalZeroEltR0(2, 1) = true;
        MODEL(1).trait_inp_no = 0;
        MODEL(1).wgt_inp_no = weight;
        derive_covariance_structure();
        ASSERT_EQ(RMAT.size() + state::UNITS.KVE_LOG.flush(), 1);
        expect_fields(
            {"RMAT(1): n_cont 0; n_rc 2; n_traits 2; trait_no 1 2; trait_inp 0 2; t_no 1 2; "
             "rank 2; l_rcov_zero(1,:) F T"});
        const std::string warning = "ERROR: ILLEGAL VAR-NO IN MODEL DESCRIPTION\n OR WEIGHTS\n";
        EXPECT_EQ(content_of("KVE_LOG").ends_with(warning), weight == 10);
    }
}

TEST_F(CovarianceStructure, StructuresReachTheirRecords) {
    DIRECTIVES.ITASK = 2;
    VAR_STR_SPEC pedigree = structure(Structure::PED, "PED", 1);
    pedigree.method = 6;
    pedigree.r = true;
    pedigree.r_value = 0.5;
    VAR_STR_SPEC mixed = structure(Structure::PGMIX, "PGMIX", 2);
    mixed.file[2] = "third";
    mixed.weight = 0.25;
    DIRECTIVES.var_str = {structure(Structure::ABS_QTL, "ABS_QTL", 3, 1), pedigree, mixed,
                          structure(Structure::GROUP, "GROUP", 4, 7)};
    derive_model({{"3 1 2 3", "3 1 2 3"}, {"1 3", "1 3"}});
    expect_fields(
        {"RMAT(1): type 'PED'; method 6; phg_random T; ran_factor 0.5; rel_format 1; "
         "rel_file 'first'",
         "RMAT(2): type 'PGMIX'; pgmix_weight 0.25; rel_file3 'third'",
         "RMAT(4): type 'GROUP'; grp_inp 7; grp_name 'I7'",
         "MODEL(1): n_random_abs 1; ass_rf 0 0 1", "KVEINT: N_RAMAT_NOT_ABS 2"});
    // Dominance is not absorbed.
    DIRECTIVES.var_str = {pedigree, structure(Structure::DOM, "DOM", 2, 1)};
    derive_model({{"2 1 1", "2 1 2"}});
    expect_fields({"RMAT(2): ass_rf 1", "MODEL(1): ass_rf 0 0", "KVEINT: N_RAMAT_NOT_ABS 2"});
}

TEST_F(CovarianceStructure, RefusesStructuresThatDoNotFit) {
    const std::string factor = "and random factor no\\. +";
    const struct {
        int task;
        VAR_STR_SPEC spec;
        std::string words;
    } faults[] = {
        {1, structure(Structure::PED, "PED", 4),
         factor + "4 is specified,\n.*is only +3 random fac"},
        {1, structure(Structure::PED, "PED", 0), factor + "0 is specified"},
        {1, structure(Structure::PED, "PED", 3), "structure PED is specified for the residual\n"},
        {11, structure(Structure::GROUP, "GROUP", 3, 1), "GROUP is specified for the residual ran"},
        {2, structure(Structure::GROUP, "GROUP", 1, 1), "factor +1\n.*\n.*is random factor +3\n"},
        {1, structure(Structure::DOM, "DOM", 1, 3), factor + "3 is specified"},
        {1, structure(Structure::ABS_QTL, "ABS_QTL", 1), factor + "0 is specified"},
        {1, structure(Structure::DOM, "DOM", 1, 2), "factor: +1 associated factor: +2\n"},
        {1, structure(Structure::ABS_QTL, "ABS_QTL", 1, 1), "factor: +1 associated factor: +1\n"}};
    for (const auto& fault : faults) {
        DIRECTIVES.var_str = {fault.spec};
        DIRECTIVES.ITASK = fault.task;
        EXPECT_STOP(derive_model({{"2 1 2", "2 1 2"}}), fault.words) << fault.words;
    }
}

TEST_F(CovarianceStructure, ElementsOfAllMatricesAreBounded) {
    // 200 members of matrix 1, each with the block size of the first one, and one of matrix 2.
    std::string effects = "201 1", random = "201";
    for (int k = 0; k < 200; ++k) effects += " 1", random += " 1";
    const std::string words = "more than 1000000 elements together\n.*passed by matrix +";
    EXPECT_STOP(derive_model({{effects, random + " 2", "5 3(1) 4(1) 5(1) 6(1) 7(1)"}}),
                words + "1");
    EXPECT_STOP(derive_model({{effects, random + " 2", "4 3(1) 4(1) 5(1) 6(1)"}}), words + "2");
    derive_model({{effects, random + " 2", "3 3(1) 4(1) 5(1)"}});
}
