// The statistical model: one Model record per trait, one RMatrix record per (co)variance matrix.
// Fields stand in the order of the package's records and carry its names: `_inp` is a column of the
// data record, `_rci` a column of the recoded record, `rr` a random regression.
#pragma once

#include <cstdint>

#include "base/arrays.h"
#include "base/text.h"
#include "directives/directives.h"

namespace kve {

inline constexpr int kMostTraits = 31;  // a trait pattern is one 32-bit word

enum TraitType : int32_t {
    kGaussian = 1,
    kRightCensored = 2,
    kCategorical = 3,
    kBinary = 4,
    kMixtureLinear = 5,     // linear trait of a mixed-linear pair
    kGeneralized = 6,       // has a $GLMM line
    kSequentialBinary = 7,  // first trait of a $CURE pair
    kSequentialLinear = 8,  // second trait of such a pair
};

enum RegressionType : int32_t {
    kGeneralRegression = 0,
    kNestedInFixed = 1,
    kNestedInRandom = 2,  // a random regression
};

// How the variance of a generalized trait follows from its mean: the words of VARF=.
enum class VarianceFamily : int8_t { none, NORMAL, POISSON, BINOMIAL, GAMMA, INVGAUSSIAN };

// Where the lines of a trait end in the text of the model and of $REDUCE; 0 not read.
struct ModelPlaces {
    int32_t absorption = 0, effects = 0, random = 0, reduce = 0, regressions = 0;
};

// The submodel of one trait.
//
// Kept: nothing computes idelta, l_mixture, mix_t_no, mix_inp_no, mix_rci, mix_name, n_cat,
// reg_mixture, seq_trait, mix_trait, mix_t_rci and seq_t_rci; they belong to the record that later
// programs read and stay 0 or blank.
struct Model {
    ModelPlaces lines;  // for words on a fault
    int32_t trait_type = 0;
    int32_t trait_inp_no = 0;  // real column
    Name trait_name;
    int32_t trait_rci = 0;
    int32_t idelta = 0;
    int32_t wgt_inp_no = 0;  // real column, 0 no weight
    Name wgt_name;
    int32_t wgt_rci = 0;
    int8_t l_mixture = 0;
    int32_t mix_t_no = 0, mix_inp_no = 0, mix_rci = 0;
    Name mix_name;
    int32_t n_absorb = 0;
    int32_t n_ef = 0;  // class effects, fixed ones first
    int32_t n_fixed = 0;
    int32_t n_random = 0;
    int32_t n_random_abs = 0;  // random effects with ass_rf above 0
    int32_t n_reg = 0;
    int32_t n_f_reg = 0;    // general and nested in a fixed effect
    int32_t n_dif_reg = 0;  // different covariable columns
    int32_t n_f_o_reg = 0;  // general
    int32_t n_f_n_reg = 0;  // nested in a fixed effect
    int32_t n_r_n_reg = 0;  // nested in a random effect
    int32_t n_cat = 0;
    int32_t n_obs = 0;

    // Absorbed effects, n_absorb
    Vec<int32_t> a_ef_inp;
    Vec<Name> a_ef_name;
    Vec<int32_t> a_ef_rci;

    // All class effects, n_ef
    Vec<int32_t> ef_inp;
    Vec<int32_t> ef_rci;  // f_ef_rci, then r_ef_rci
    Vec<float> ef_coeff;
    Vec<int32_t> reduce;  // reduced rank position, 0 none
    Vec<logical4> intercept;

    // Fixed class effects, n_fixed
    Vec<logical4> f_intercept;
    Vec<int32_t> f_ef_inp;
    Vec<Name> f_ef_name;
    Vec<int32_t> f_ef_rci;
    Vec<float> f_ef_coeff;

    // Random effects, n_random
    Vec<logical4> r_intercept;
    Vec<int32_t> r_ef_no;  // effect number in the submodel
    Vec<int32_t> r_ef_inp;
    Vec<Name> r_ef_name;
    Vec<int32_t> r_ef_rci;
    Vec<float> r_ef_coeff;
    Vec<int8_t> merge_prev;  // shares the row of the effect before it

    // Regressions, n_reg
    Vec<int32_t> reg_type;
    Vec<int32_t> reg_inp;
    Vec<int8_t> reg_mixture;
    Vec<Name> reg_name;
    Vec<int32_t> reg_rci;
    Vec<int32_t> n_times;      // n_dif_reg: regressions on each different column
    Vec<int32_t> reg_n_inp;    // integer column of the nesting effect, 0 none
    Vec<Text<18>> reg_name_n;  // covariable(nesting effect)
    Vec<int32_t> reg_n_rci;
    Vec<int32_t> reg_n_ef_no;  // nesting effect in the submodel, 0 general
    Vec<int32_t> reg_r_number;
    Vec<int32_t> reg_r_matno;   // matrix of a random regression, else 0
    Vec<int32_t> reg_rmat_pos;  // its row there
    Vec<int32_t> reg_n_level;   // level inside a [a:b,e] list

    // Random effects again, n_random
    Vec<int32_t> r_ef_matno;  // matrix of each
    Vec<int32_t> ass_rf;      // its associated factor when it is absorbed, else 0

    // Generalized models
    logical4 l_glmm{};
    float corr_fact = 0.0F;
    int32_t offset_inp = 0, offset_rci = 0;
    VarianceFamily family = VarianceFamily::none;  // none with functions of the user's
    Text<256> var_fn, link_fn, var_f, link_f, dlink_f, invlink_f, deviance;

    // Sequential binary and mixture pairs, censoring
    int32_t seq_trait = 0, mix_trait = 0;
    int32_t seq_t_inp_no = 0, mix_t_inp_no = 0;
    int32_t seq_t_rci = 0, mix_t_rci = 0;
    int32_t subject = 0, seq = 0;
    logical4 l_cure{};
    logical4 l_cens{};
    int32_t cens_inp = 0, cens_rci = 0;        // integer column, 0 the constant 1
    int32_t int_max_inp = 0, int_max_rci = 0;  // real column, 0 none
};

// One (co)variance matrix. A member is a (trait, random effect) pair that is not merged.
//
// Kept: nothing computes rank_ndt, eigen_values, eigen_vectores, l_var_locked, p_cov_mat and
// p_ratio; they belong to the package's record and stay 0.
struct RMatrix {
    int32_t n_cont = 0;                  // rows of the contribution lists
    int32_t n_rc = 0;                    // equal to rank
    int32_t n_traits = 0;                // members
    int32_t n_random_id = 0;             // different integer columns that identify levels
    int32_t n_r_eff = 0;                 // members and merged effects
    Structure structure = Structure::I;  // MODINF has its name; residual: I or GROUP
    int32_t method = 0;
    logical4 l_ram{};
    int32_t n_phg = 0;
    logical4 phg_random{};
    double ran_factor = 0.0;
    double pgmix_weight = 0.0;
    logical4 pgmix_g_adjust{};
    int32_t rel_format = 0;
    FileName rel_file, rel_file2, rel_file3;
    int64_t n_rel_records = 0;  // of a matrix in rel_file, as its first pass met them
    int32_t grp_inp = 0;        // residual of type GROUP: integer column of the groups
    int32_t grp_rci = 0;
    Name grp_name;
    int32_t grp_nlev = 0;
    int32_t m_n_rr = 0;  // largest n_rr
    logical4 l_rr{};

    Vec<int32_t> trait_no, trait_inp, r_eff;  // n_traits
    Vec<int32_t> r_eff_inp;                   // n_r_eff, filled for the members
    Vec<int32_t> random_id_inp;               // n_random_id, ascending

    // Contributions, n_cont: each direct effect and each random regression
    Vec<int32_t> cont_rc;   // row of cov_mat
    Vec<int32_t> cont_rc1;  // level within the row
    Vec<int32_t> cont_t_no, cont_t_inp, cont_t_rci;
    Vec<int32_t> cont_eff, cont_eff_inp, cont_eff_rci;
    Vec<int32_t> cont_rr_inp, cont_rr_rci;
    Vec<double> cont_coeff;
    Vec<Name> cont_id_name, cont_t_name, cont_rr_name;
    Vec<logical4> cont_rr_eff;

    Vec<int32_t> reduce, trait_blk_size, trait_blk_start;  // n_traits
    Vec<logical4> intercept;                               // n_r_eff
    Vec<int32_t> t_r_eff_rci;                              // n_r_eff
    Vec<int32_t> r_id_rci;                                 // n_random_id
    Vec<logical4> merge_prev;                              // n_traits
    Vec<int32_t> n_rr;                                     // n_r_eff
    Vec<int32_t> t_no;                                     // n_traits
    Vec<Name> t_name;                                      // n_traits
    Matrix<int32_t> rr_f_inp, rr_f_rcr;                    // n_traits x m_n_rr
    int32_t rank = 0;
    Vec<int32_t> rank_tn;    // rank: trait of each row, 0 where no effect fills it
    Vec<int32_t> rank_ndt;   // rank
    Matrix<double> cov_mat;  // rank x rank
    Vec<double> eigen_values;
    Matrix<double> eigen_vectores;

    Matrix<logical4> l_rcov_zero;  // residual: n_rc x n_rc
    Vec<int32_t> niegr, grp_code;  // residual: grp_nlev
    logical4 l_grp_prior{};        // priors are given per group
    Vec<logical4> l_grp_pr;        // grp_nlev: a prior has been read
    Cube<double> h_cov_mat;        // rank x rank x grp_nlev
    int32_t ass_rf = 0;

    Vec<logical4> l_var_locked;
    Matrix<logical4> l_cv_rest, l_cor_rest;
    logical4 l_vratio_nom{}, l_vratio_denon{};
    Vec<logical4> l_vratio_elem;
    logical4 l_vratio_mat_rest{};
    Matrix<double> p_cov_mat;
    Vec<double> p_ratio;

    Vec<double> ad;  // diagonal of the relationship matrix
    double log_det = 0.0;
    logical4 l_log_det{};
    int32_t n_ainv_rows = 0, n_ram_rows = 0;
};

// Counters of the model that all stages share.
struct ModelCounts {
    int32_t nt = 0;  // traits
    int32_t NGaussTraits = 0, NRightCensTraits = 0, NCatTraits = 0, NBinTraits = 0;
    int32_t N_CONT_TRAITS = 0, N_THRESH_TRAITS = 0;
    int32_t NRAMAT = 0;  // random (co)variance matrices
    int32_t N_RAMAT_NOT_ABS = 0;
    int32_t MAX_N_ABSORB = 0, MAX_N_EF = 0, MAX_N_FIXED = 0, MAX_N_RANDOM = 0;
    int32_t MAX_N_REG = 0, MAX_N_DIF_REG = 0;
    int32_t N_REG_TOTAL = 0;
    int32_t N_RANDOM_COV = 0;
    int32_t N_REG_COLS = 0;  // different covariable columns of all traits
    int32_t N_WGT_TRAITS = 0;
    Vec<int32_t> TraitIdWithWeight;         // nt
    Vec<int32_t> ColRegInInpAllTraitsHelp;  // N_REG_COLS real columns, ascending
    int32_t N_ZERO_RCOV = 0;
    Matrix<int32_t> NORCOV;             // 2 x at least nt(nt+1)/2
    Matrix<logical4> LogicalZeroEltR0;  // nt x nt
    bool L_INDEP_BIN_RESIDUALS = false;
    Vec<double> H2, SPRE;  // nt; Kept: never computed, 0 in the records of later programs
};

namespace state {

inline constinit Vec<Model> MODEL;   // nt
inline constinit Vec<RMatrix> RMAT;  // NRAMAT + 1, the residual last
inline constinit ModelCounts KVEINT;

// Residual standard deviations, nt, before scaling. Written by the priors.
inline constinit Vec<double> RSD;

}  // namespace state

// The residual, the last of the (co)variance matrices.
inline RMatrix& residual_of(Vec<RMatrix>& RMAT) { return RMAT(RMAT.size()); }
inline const RMatrix& residual_of(const Vec<RMatrix>& RMAT) { return RMAT(RMAT.size()); }

// Class effects in any of the submodels.
bool has_effects(const Vec<Model>& models);

// The allocations of the Model records, in the order in which their counts become known. A failure
// shows its level, 1 to 6, and stops the run.
void allocate_trait_models(int64_t nt);  // MODEL itself
void allocate_absorbed_effects(Model& m);
void allocate_class_effects(Model& m);
void allocate_fixed_and_random_effects(Model& m);
void allocate_regressions(Model& m);
void allocate_different_covariables(Model& m);

// The allocations of an RMatrix record; the extents come from its counters. A failure stops the run
// with the name of the array.
void allocate_members(RMatrix& r);             // n_traits, n_r_eff
void allocate_contributions(RMatrix& r);       // n_cont
void allocate_identifiers(RMatrix& r);         // n_random_id, n_traits, n_r_eff
void allocate_random_regressions(RMatrix& r);  // n_traits x m_n_rr
void allocate_rows(RMatrix& r);                // n_traits, rank, and cov_mat with its companions
void allocate_zero_covariances(RMatrix& r);    // l_rcov_zero: n_rc
void allocate_residual_groups(RMatrix& r);     // rank, grp_nlev

}  // namespace kve
