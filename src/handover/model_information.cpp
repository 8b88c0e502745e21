#include "handover/model_information.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>

#include "base/arrays.h"
#include "base/records.h"
#include "base/state.h"
#include "base/text.h"
#include "data/factors.h"
#include "data/intake.h"
#include "data/recoded_data.h"
#include "directives/catalogue.h"
#include "directives/directives.h"
#include "handover/old_solution_head.h"
#include "listing/listing.h"
#include "listing/stop.h"
#include "listing/units.h"
#include "model/model_records.h"
#include "store/big_tables.h"

namespace kve {

READS(DIMENSIONS);
READS(DIRECTIVES);
READS(FACTORS);
READS(INTAKE);
READS(KVEINT);
READS(MODEL);
READS(OLDSOL_H2);
READS(RECODED);
READS(RMAT);
READS(RSD);
READS(RUN_DATE);
WRITES(UNITS);

// One write_record call is one record of the file; docs/files.md tells the whole layout. An array
// stands there over the extent that an earlier record tells, so a change here needs one there.
namespace {

constexpr RecordOutput& MODINF = UNITS.MODINF;

logical4 make_logical(bool value) { return logical4{value ? -1 : 0}; }

// The first n elements of an array that may have room for more.
template <class Array>
auto take_first(const Array& array, int64_t n) {
    return std::span(array.data(), static_cast<std::size_t>(n));
}

// Head

void write_run() {
    const Directives& d = DIRECTIVES;
    int32_t total_observations = KVEINT.nt == 1 ? INTAKE.NS(1, 1) : 0;
    write_record(MODINF, Text<1>("6"), Text<3>("5.1"), Text<24>(RUN_DATE.padded()));
    write_record(MODINF, d.kve4.name, d.kve5.name, d.kveai.name, d.kvemgp.name, d.kvegs.name,
                 d.data_format);
    write_record(MODINF, d.NI, d.NR);
    write_record(MODINF, d.ITASK, d.IMETHOD, d.ISCALE, d.ITEST, INTAKE.NREC, RECODED.n_records,
                 total_observations);
    write_record(MODINF, DIMENSIONS.MAXZHZ.now, DIMENSIONS.IFSPWSP.now, int32_t{0}, int64_t{0});
}

void write_trait_counts() {
    write_record(MODINF, KVEINT.nt, KVEINT.NGaussTraits, KVEINT.NRightCensTraits, KVEINT.NCatTraits,
                 KVEINT.NBinTraits);
    write_record(MODINF, KVEINT.N_CONT_TRAITS, KVEINT.N_THRESH_TRAITS, KVEINT.N_WGT_TRAITS,
                 KVEINT.TraitIdWithWeight);
    write_record(MODINF, KVEINT.MAX_N_ABSORB);
    constexpr int32_t group_size = 200;  // what the readers expect here, whatever the data hold
    if (KVEINT.MAX_N_ABSORB > 0) write_record(MODINF, RECODED.NABGR, RECODED.MN_ABGR, group_size);
    write_record(MODINF, RECODED.n_subjects, RECODED.largest_sequence);
    write_record(MODINF, OLDSOL_H2, DIRECTIVES.residual_format, DIRECTIVES.td_ptd.factor,
                 DIRECTIVES.n_sol_cov);
}

void write_covariable_counts() {
    // A regression nested in no effect of its trait is general, though no count of the trait has
    // it.
    const int32_t fixed = KVEINT.N_REG_TOTAL - KVEINT.N_RANDOM_COV;
    write_record(MODINF, make_logical(KVEINT.N_REG_TOTAL > 0), KVEINT.N_REG_TOTAL, fixed,
                 KVEINT.N_RANDOM_COV);
    write_record(MODINF, KVEINT.MAX_N_REG, KVEINT.N_REG_COLS);
}

// The pairs of traits whose residual covariance is zero: a column for every pair of traits, blank
// behind the declared ones, however many columns the parser made room for.
void write_zero_residual_covariances() {
    int64_t pairs = int64_t{KVEINT.nt} * (KVEINT.nt + 1) / 2;
    Matrix<int32_t> NORCOV;
    check_allocated(NORCOV.allocate(2, pairs), "KVEPFL", "NORCOV", 2 * pairs);
    std::copy_n(KVEINT.NORCOV.data(), std::min(NORCOV.size(), KVEINT.NORCOV.size()), NORCOV.data());
    write_record(MODINF, KVEINT.N_ZERO_RCOV);
    write_record(MODINF, NORCOV);
}

void write_foreign_information_count() {
    int32_t records = 0;
    for (int32_t k = 1; k <= KVEINT.NRAMAT; ++k)
        if (RMAT(k).structure == Structure::PED) records = FACTORS.NFINFO(k);
    write_record(MODINF, records);
}

void write_head() {
    write_run();
    write_trait_counts();
    write_record(MODINF, KVEINT.NRAMAT, KVEINT.N_RAMAT_NOT_ABS);
    write_covariable_counts();
    write_record(MODINF, KVEINT.MAX_N_FIXED, RECODED.n_fixed_positions);
    write_record(MODINF, FACTORS.NLEV, FACTORS.NRALEV, residual_of(RMAT).grp_nlev);
    write_zero_residual_covariances();
    write_foreign_information_count();
    write_record(MODINF, make_logical(INTAKE.L_INTERVAL));
}

// Trait block

void write_trait_variable(const Model& m) {
    write_record(MODINF, m.trait_type, m.trait_inp_no, m.trait_name, m.trait_rci, m.mix_trait,
                 m.seq_trait, m.mix_t_inp_no, m.seq_t_inp_no, m.mix_t_rci, m.seq_t_rci, m.subject,
                 m.seq, m.l_cure);
    write_record(MODINF, m.idelta, m.wgt_inp_no, m.wgt_name, m.wgt_rci, m.l_mixture, m.mix_t_no,
                 m.mix_inp_no, m.mix_name, m.mix_rci);
}

void write_effect_counts(const Model& m) {
    write_record(MODINF, m.n_absorb);
    write_record(MODINF, m.n_ef, m.n_fixed, m.n_random, m.n_random_abs);
    write_record(MODINF, m.n_reg, m.n_dif_reg);
    write_record(MODINF, m.n_f_reg, m.n_f_o_reg, m.n_f_n_reg, m.n_r_n_reg);
    write_record(MODINF, m.n_cat, m.n_obs);
}

void write_effects(const Model& m) {
    if (m.n_absorb > 0) write_record(MODINF, m.a_ef_inp, m.a_ef_name, m.a_ef_rci);
    write_record(MODINF, m.ef_inp, m.ef_rci, m.reduce, m.intercept, m.f_intercept, m.r_intercept,
                 m.ef_coeff, m.f_ef_coeff, m.r_ef_coeff);
    write_record(MODINF, m.f_ef_inp, m.f_ef_name, m.f_ef_rci);
    write_record(MODINF, m.r_ef_inp, m.r_ef_name, m.r_ef_rci);
}

void write_regressions(const Model& m) {
    if (m.n_reg == 0) return;
    write_record(MODINF, m.reg_type, m.reg_inp, m.reg_mixture, m.reg_name, m.reg_rci, m.n_times);
    write_record(MODINF, m.reg_n_inp, m.reg_name_n, m.reg_n_rci);
    write_record(MODINF, m.reg_n_ef_no, m.reg_r_number, m.reg_r_matno, m.reg_rmat_pos);
}

void write_generalized_model(const Model& m) {
    write_record(MODINF, m.l_glmm);
    write_record(MODINF, m.corr_fact, m.offset_inp, m.offset_rci);
    write_record(MODINF, m.var_fn);
    write_record(MODINF, m.link_fn);
    write_record(MODINF, m.var_f);
    write_record(MODINF, m.link_f);
    write_record(MODINF, m.dlink_f);
    write_record(MODINF, m.invlink_f);
    write_record(MODINF, m.deviance);
}

void write_trait(const Model& m) {
    write_trait_variable(m);
    write_effect_counts(m);
    write_effects(m);
    write_regressions(m);
    write_record(MODINF, m.r_ef_matno, m.ass_rf);
    write_generalized_model(m);
    write_record(MODINF, m.l_cens);
    if (m.l_cens) write_record(MODINF, m.cens_inp, m.cens_rci, m.int_max_inp, m.int_max_rci);
}

// Matrix block

void write_structure(const RMatrix& r) {
    constexpr Text<8> reserved;
    write_record(MODINF, r.n_cont, r.n_rc, r.rank, r.n_traits, r.n_r_eff, r.n_random_id);
    write_record(MODINF, Text<12>(structure_name(r.structure)), r.method, r.l_ram, r.ass_rf,
                 reserved, r.n_phg, r.phg_random, r.ran_factor, r.rel_format, r.rel_file, r.log_det,
                 r.l_log_det);
}

void write_contributions(const RMatrix& r) {
    write_record(MODINF, r.cont_rc, r.cont_rc1, r.cont_t_no, r.cont_t_inp, r.cont_t_rci, r.cont_eff,
                 r.cont_eff_inp, r.cont_eff_rci, r.cont_rr_inp, r.cont_rr_rci, r.cont_id_name,
                 r.cont_t_name, r.cont_rr_name, r.cont_coeff, r.cont_rr_eff);
    write_record(MODINF, r.reduce, r.r_eff, r.r_eff_inp, r.trait_blk_size, r.trait_blk_start);
}

void write_members(const RMatrix& r, bool random) {
    write_record(MODINF, r.m_n_rr, r.l_rr, r.trait_no);
    write_record(MODINF, r.trait_inp);
    if (random) write_contributions(r);
    write_record(MODINF, r.n_rr);
    if (r.m_n_rr > 0) write_record(MODINF, r.rr_f_inp, r.rr_f_rcr);
    write_record(MODINF, r.t_r_eff_rci);
    write_record(MODINF, r.random_id_inp, r.intercept);
    write_record(MODINF, r.r_id_rci, r.rank_tn, r.rank_ndt);
    write_record(MODINF, r.t_no);
    write_record(MODINF, r.t_name);
}

// The groups stand here without a GROUP residual too: one, of code 0.
void write_residual_groups(const RMatrix& r) {
    int64_t groups = r.grp_nlev;
    write_record(MODINF, r.grp_inp, r.grp_rci, r.grp_name, r.grp_nlev);
    write_record(MODINF, take_first(r.grp_code, groups), take_first(r.niegr, groups));
    write_record(MODINF, take_first(r.h_cov_mat, groups * r.rank * r.rank));
    write_record(MODINF, r.l_rcov_zero, r.l_grp_prior, take_first(r.l_grp_pr, groups));
}

void write_restrictions(const RMatrix& r) {
    write_record(MODINF, r.l_cv_rest);
    write_record(MODINF, r.l_cor_rest);
    write_record(MODINF, r.l_vratio_nom, r.l_vratio_denon);
    write_record(MODINF, r.l_vratio_mat_rest, r.l_vratio_elem, r.p_ratio);
}

void write_matrix(int32_t k) {
    const RMatrix& r = RMAT(k);
    bool random = k <= KVEINT.NRAMAT;
    write_structure(r);
    write_members(r, random);
    write_record(MODINF, r.cov_mat, r.p_cov_mat);
    if (!random) write_residual_groups(r);
    write_restrictions(r);
    write_record(MODINF, int32_t{0});
}

// Tail

void write_options() {
    const TrendRequest& t = DIRECTIVES.td_ptd;
    if (t.factor == 0 && DIRECTIVES.n_sol_cov == 0) return;
    int32_t equations = std::max(DIRECTIVES.n_sol_cov, 0);
    write_record(MODINF, t.factor, t.model_type, t.option_1, t.option_2,
                 make_logical(t.pedigree_exists), DIRECTIVES.n_sol_cov,
                 take_first(DIRECTIVES.sol_cov, equations));
}

// The table of the members has room for one where no matrix has a member; a reader takes its extent
// from the matrix blocks.
void write_places_of_equations() {
    int64_t most_members = 0;
    for (int32_t k = 1; k <= KVEINT.NRAMAT; ++k)
        most_members = std::max<int64_t>(most_members, RMAT(k).n_traits);
    write_record(MODINF, FACTORS.NBEGREG, FACTORS.NBEGF, FACTORS.NBEGRA,
                 take_first(FACTORS.NBEGRAT, most_members * KVEINT.NRAMAT));
}

void write_tail() {
    const Dimensions& d = DIMENSIONS;
    const RMatrix& residual = residual_of(RMAT);
    write_places_of_equations();
    write_record(MODINF, RSD, KVEINT.SPRE);
    write_record(MODINF, DIRECTIVES.glmm_iterations, DIRECTIVES.glmm_criterion);
    write_record(MODINF, RECODED.NIOUT, RECODED.NFOUT);
    write_record(MODINF, d.MFL.now, d.MDL.now, d.MAXNRM.now, d.MAXZHZ.now, d.IFSPWSP.now);
    if (residual.structure == Structure::GROUP)
        write_record(MODINF, take_first(residual.grp_code, residual.grp_nlev),
                     take_first(residual.niegr, residual.grp_nlev));
    write_options();
}

}  // namespace

void KVEPFL() {
    write_head();
    for (const Model& m : MODEL) write_trait(m);
    for (int32_t k = 1; k <= KVEINT.NRAMAT + 1; ++k) write_matrix(k);
    write_tail();
    if (MODINF.close() != 0) stop_not_written("MODINF");
}

}  // namespace kve
