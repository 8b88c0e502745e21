#include "model/model_records.h"

#include <algorithm>
#include <string_view>

#include "base/state.h"
#include "listing/listing.h"
#include "listing/stop.h"

namespace kve {

WRITES(MODEL);

namespace {

// Counts and lists in brackets let a short model line ask for billions of effects or regressions,
// which no recoded record could hold: so many count as memory that cannot be had.
constexpr int64_t kMostModelItems = 1000000;

// One array of a Model record: shows the level's text, then the array, and stops, when it cannot be
// had.
void check_level(int level, int status, std::string_view array, int64_t elements) {
    if (status == 0) return;
    log_blank();
    log_say("ERROR - Allocating memeory for level %d of the model structure", level);
    log_say("        Error code from allocate is : %12d", status);
    alloc_error("KVEINT", array, elements, status);
}

template <class Array>
void allocate_at_level(int number, Array& array, int64_t n, std::string_view label) {
    check_level(number, n <= kMostModelItems ? array.allocate(n) : kNoMemory, label, n);
}

void allocate_row(std::string_view routine, auto& array, int64_t n, std::string_view label) {
    check_allocated(array.allocate(n), routine, label, n);
}

void allocate_square(std::string_view routine, auto& array, int64_t n, std::string_view label) {
    check_allocated(array.allocate(n, n), routine, label, n * n);
}

}  // namespace

bool has_effects(const Vec<Model>& models) {
    return std::ranges::any_of(models, [](const Model& m) { return m.n_ef > 0; });
}

void allocate_trait_models(int64_t nt) { allocate_at_level(1, MODEL, nt, "MODEL"); }

void allocate_absorbed_effects(Model& m) {
    allocate_at_level(2, m.a_ef_inp, m.n_absorb, "MODEL%A_EF_INP");
    allocate_at_level(2, m.a_ef_name, m.n_absorb, "MODEL%A_EF_NAME");
    allocate_at_level(2, m.a_ef_rci, m.n_absorb, "MODEL%A_EF_RCI");
}

void allocate_class_effects(Model& m) {
    allocate_at_level(3, m.ef_inp, m.n_ef, "MODEL(I)%EF_INP");
    allocate_at_level(3, m.ef_rci, m.n_ef, "MODEL(I)%EF_RCI");
    allocate_at_level(3, m.ef_coeff, m.n_ef, "MODEL(I)%EF_COEFF");
    allocate_at_level(3, m.intercept, m.n_ef, "MODEL(I)%INTERCEPT");
    m.ef_coeff.fill(1.0F);
    m.intercept.fill(logical4{-1});
}

void allocate_fixed_and_random_effects(Model& m) {
    allocate_at_level(4, m.f_ef_inp, m.n_fixed, "MODEL(:)%f_ef_inp");
    allocate_at_level(4, m.f_intercept, m.n_fixed, "MODEL(:)%f_intercept");
    allocate_at_level(4, m.f_ef_coeff, m.n_fixed, "MODEL(:)%f_ef_coeff_");
    allocate_at_level(4, m.f_ef_name, m.n_fixed, "MODEL(:)%f_ef_name");
    allocate_at_level(4, m.f_ef_rci, m.n_fixed, "MODEL(:)%f_ef_rci");
    allocate_at_level(4, m.r_ef_no, m.n_random, "MODEL(:)%r_ef_no");
    allocate_at_level(4, m.r_ef_inp, m.n_random, "MODEL(:)%r_ef_inp");
    allocate_at_level(4, m.r_intercept, m.n_random, "MODEL(:)%r_intercept");
    allocate_at_level(4, m.r_ef_coeff, m.n_random, "MODEL(:)%r_ef_coeff");
    allocate_at_level(4, m.r_ef_name, m.n_random, "MODEL(:)%r_ef_name");
    allocate_at_level(4, m.r_ef_rci, m.n_random, "MODEL(:)%r_ef_rci");
    allocate_at_level(4, m.r_ef_matno, m.n_random, "MODEL(:)%r_ef_matno");
    allocate_at_level(4, m.ass_rf, m.n_random, "MODEL(:)%ass_rf");
    allocate_at_level(4, m.merge_prev, m.n_random, "MODEL(:)%merge_prev");
    allocate_at_level(4, m.reduce, m.n_ef, "MODEL(I)%REDUCE");
}

void allocate_regressions(Model& m) {
    allocate_at_level(5, m.reg_inp, m.n_reg, "MODEL(i)%REG_INP");
    allocate_at_level(5, m.reg_mixture, m.n_reg, "MODEL(i)%REG_MIXTURE");
    allocate_at_level(5, m.reg_name, m.n_reg, "MODEL(i)%REG_NAME");
    allocate_at_level(5, m.reg_name_n, m.n_reg, "MODEL(i)%REG_NAME_N");
    allocate_at_level(5, m.reg_rci, m.n_reg, "MODEL(i)%REG_RCI");
    allocate_at_level(5, m.reg_type, m.n_reg, "MODEL(i)%REG_TYPE");
    allocate_at_level(5, m.reg_n_inp, m.n_reg, "MODEL(i)%REG_N_INP");
    allocate_at_level(5, m.reg_n_rci, m.n_reg, "MODEL(i)%REG_N_RCI");
    allocate_at_level(5, m.reg_n_ef_no, m.n_reg, "MODEL(i)%REG_N_EF_NO");
    allocate_at_level(5, m.reg_r_number, m.n_reg, "MODEL(i)%REG_R_NUMBER");
    allocate_at_level(5, m.reg_r_matno, m.n_reg, "MODEL(i)%REG_R_MATNO");
    allocate_at_level(5, m.reg_rmat_pos, m.n_reg, "MODEL(i)%REG_RMAT_POS");
    allocate_at_level(5, m.reg_n_level, m.n_reg, "MODEL(i)%REG_N_LEVEL");
}

void allocate_different_covariables(Model& m) {
    allocate_at_level(6, m.n_times, m.n_dif_reg, "model(i)%n_times");
}

void allocate_members(RMatrix& r) {
    constexpr std::string_view routine = "RMAT_ALLOC1";
    allocate_row(routine, r.trait_no, r.n_traits, "RMAT%TRAIT_NO");
    allocate_row(routine, r.merge_prev, r.n_traits, "RMAT%MERGE_PREV");
    allocate_row(routine, r.trait_inp, r.n_traits, "RMAT%TRAIT_INP");
    allocate_row(routine, r.r_eff, r.n_traits, "RMAT%R_EFF");
    allocate_row(routine, r.r_eff_inp, r.n_r_eff, "RMAT%R_EFF_INP");
    allocate_row(routine, r.t_r_eff_rci, r.n_r_eff, "RMAT%T_R_EFF_RCI");
    allocate_row(routine, r.n_rr, r.n_r_eff, "RMAT%N_RR");
    allocate_row(routine, r.trait_blk_size, r.n_traits, "RMAT%TRAIT_BLK_SIZE");
    allocate_row(routine, r.trait_blk_start, r.n_traits, "RMAT%TRAIT_BLK_STAERT");
}

void allocate_contributions(RMatrix& r) {
    constexpr std::string_view routine = "RMAT_ALLOC2A";
    allocate_row(routine, r.cont_rc, r.n_cont, "RMAT%CONT_RC");
    allocate_row(routine, r.cont_rc1, r.n_cont, "RMAT%CONT_RC1");
    allocate_row(routine, r.cont_t_no, r.n_cont, "RMAT%CONT_T_NO");
    allocate_row(routine, r.cont_t_inp, r.n_cont, "RMAT%CONT_T_INP");
    allocate_row(routine, r.cont_t_rci, r.n_cont, "RMAT%CONT_T_RCI");
    allocate_row(routine, r.cont_eff, r.n_cont, "RMAT%CONT_EFF");
    allocate_row(routine, r.cont_eff_inp, r.n_cont, "RMAT%CONT_EFF_INP");
    allocate_row(routine, r.cont_eff_rci, r.n_cont, "RMAT%CONT_EFF_RCI");
    allocate_row(routine, r.cont_rr_inp, r.n_cont, "RMAT%CONT_RR_INP");
    allocate_row(routine, r.cont_rr_rci, r.n_cont, "RMAT%CONT_RR_RCI");
    allocate_row(routine, r.cont_coeff, r.n_cont, "RMAT%CONT_COEFF");
    allocate_row(routine, r.cont_id_name, r.n_cont, "RMAT%CONT_ID_NAME");
    allocate_row(routine, r.cont_t_name, r.n_cont, "RMAT%CONT_T_NAME");
    allocate_row(routine, r.cont_rr_name, r.n_cont, "RMAT%CONT_RR_NAME");
    allocate_row(routine, r.cont_rr_eff, r.n_cont, "RMAT%CONT_RR_EFF");
}

void allocate_identifiers(RMatrix& r) {
    constexpr std::string_view routine = "RMAT_ALLOC2";
    allocate_row(routine, r.random_id_inp, r.n_random_id, "RMAT%RANDOM_ID_INP");
    allocate_row(routine, r.reduce, r.n_traits, "RMAT%REDUCE");
    allocate_row(routine, r.intercept, r.n_r_eff, "RMAT%INTERCEPT");
    allocate_row(routine, r.r_id_rci, r.n_random_id, "RMAT%R_EFF_RCI");
}

void allocate_random_regressions(RMatrix& r) {
    constexpr std::string_view routine = "RMAT_ALLOC3";
    int64_t elements = int64_t{r.n_traits} * r.m_n_rr;
    check_allocated(r.rr_f_inp.allocate(r.n_traits, r.m_n_rr), routine, "RMAT%RR_F_INP", elements);
    check_allocated(r.rr_f_rcr.allocate(r.n_traits, r.m_n_rr), routine, "RMAT%RR_F_RCR", elements);
}

void allocate_rows(RMatrix& r) {
    constexpr std::string_view routine = "RMAT_ALLOC4";
    allocate_row(routine, r.t_no, r.n_traits, "RMAT%T_NO");
    allocate_row(routine, r.t_name, r.n_traits, "RMAT%T_NAME");
    allocate_row(routine, r.rank_tn, r.rank, "RMAT%RANK_TN");
    allocate_row(routine, r.rank_ndt, r.rank, "RMAT%RANK_NDT");
    allocate_square(routine, r.cov_mat, r.rank, "RMAT%COV_MAT");
    allocate_square(routine, r.p_cov_mat, r.rank, "RMAT%P_COV_MAT");
    allocate_row(routine, r.eigen_values, r.rank, "RMAT%EIGEN_VALUES");
    allocate_square(routine, r.eigen_vectores, r.rank, "RMAT%EIGEN_VECTORES");
    allocate_square(routine, r.l_cv_rest, r.rank, "RMAT%L_CV_REST");
    allocate_row(routine, r.l_var_locked, r.rank, "RMAT%L_VAR_LOCKED");
    allocate_square(routine, r.l_cor_rest, r.rank, "RMAT%L_COR_REST");
    allocate_row(routine, r.l_vratio_elem, r.rank, "RMAT%L_VRATIO_ELEM");
    allocate_row(routine, r.p_ratio, r.rank, "RMAT%P_RATIO");
}

void allocate_zero_covariances(RMatrix& r) {
    allocate_square("RMAT_ALLOC5", r.l_rcov_zero, r.n_rc, "RMAT%L_RCOV_ZERO");
}

void allocate_residual_groups(RMatrix& r) {
    constexpr std::string_view routine = "RMAT_ALLOC6";
    // A GROUP residual without a usable record has no group; the arrays keep one entry.
    int64_t groups = r.grp_nlev > 0 ? r.grp_nlev : 1;
    allocate_row(routine, r.niegr, groups, "RMAT(nramat+1)%NIEGR");
    allocate_row(routine, r.grp_code, groups, "RMAT(nramat+1)%GRP_CODE");
    allocate_row(routine, r.l_grp_pr, groups, "RMAT(nramat+1)%L_GRP_PR");
    check_allocated(r.h_cov_mat.allocate(r.rank, r.rank, groups), routine,
                    "RMAT(nramat+1)%h_cov_mat", int64_t{r.rank} * r.rank * groups);
}

}  // namespace kve
