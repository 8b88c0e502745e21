// What MODINF holds, in its order: the one list from which the file is written, from which it is
// read again, and from which its fields have their names.
//
// Each procedure below shows a part of the file to a visitor, a record at a time:
//
//     visitor.record(FIELDS(m.n_reg, m.n_dif_reg));
//     visitor.record(ARRAYS(extents(m.n_reg), m.reg_type, m.reg_inp), ...);
//
// A field goes by the name of its member: n_reg. Extents and conditions come from records further
// up, so that a visitor may fill the fields as it meets them. docs/files.md tells the same in
// words; a test compares both.
#pragma once

#include <algorithm>
#include <cstdint>
#include <string_view>
#include <tuple>

#include "base/arrays.h"
#include "base/text.h"
#include "directives/directives.h"
#include "model/model_records.h"

namespace kve {

// Rows, columns and layers of an array; a scalar has no dimension.
struct Extents {
    int dimensions = 0;
    int64_t n[3] = {1, 1, 1};
};
inline Extents extents(int64_t rows) { return {1, {rows, 1, 1}}; }
inline Extents extents(int64_t rows, int64_t columns) { return {2, {rows, columns, 1}}; }
inline Extents extents(int64_t rows, int64_t columns, int64_t layers) {
    return {3, {rows, columns, layers}};
}

// Fields of a record that follow each other and have the same extents. An array may hold more
// elements than its extents tell; those do not count.
template <class... Items>
struct FieldGroup {
    std::string_view names;  // as in the source: "m.n_reg, m.n_dif_reg"
    Extents shape;
    std::tuple<Items&...> items;
};

template <class... Items>
FieldGroup<Items...> group_fields(std::string_view names, const Extents& shape, Items&... items) {
    return {names, shape, std::tie(items...)};
}
#define FIELDS(...) group_fields(#__VA_ARGS__, Extents(), __VA_ARGS__)
#define ARRAYS(shape, ...) group_fields(#__VA_ARGS__, shape, __VA_ARGS__)

// What the readers expect at a place, whatever the run was.
template <class T>
struct Constant {
    T value;
};
template <class T>
Constant(T) -> Constant<T>;

// Calls visit(name, shape, item) for each field of the group.
template <class Visit, class... Items>
void for_each_field(const FieldGroup<Items...>& group, Visit&& visit) {
    std::string_view rest = group.names;
    const auto next_name = [&] {
        const std::string_view name = trimmed(rest.substr(0, rest.find(',')));
        rest.remove_prefix(std::min(rest.find(',') + 1, rest.size()));
        return name.substr(name.rfind('.') + 1);
    };
    std::apply([&](Items&... items) { (visit(next_name(), group.shape, items), ...); },
               group.items);
}
template <class Visit, class T>
void for_each_field(const Constant<T>&, Visit&&) {}

// Arrays that a record has for itself, and those of other tables.
template <class Array>
using Owned = Array;
template <class Array>
using Borrowed = const Array&;

// What the head and the tail of the file tell, in its order; the fields are told in docs/files.md.
template <template <class> class Held>
struct RunInformation {
    // Head
    Text<1> version;
    Text<3> release;
    Text<24> RUN_DATE;
    FileName kve4, kve5, kveai, kvemgp, kvegs;
    int32_t data_format;
    int32_t NI, NR;
    int32_t ITASK, IMETHOD, ISCALE, ITEST;
    int64_t NREC;
    int32_t n_records, total_observations;
    int32_t MAXZHZ, IFSPWSP;
    int32_t nt, NGaussTraits, NRightCensTraits, NCatTraits, NBinTraits;
    int32_t N_CONT_TRAITS, N_THRESH_TRAITS, N_WGT_TRAITS;
    Held<Vec<int32_t>> TraitIdWithWeight;
    int32_t MAX_N_ABSORB;
    Held<Vec<int32_t>> NABGR, MN_ABGR;
    int32_t n_subjects, largest_sequence;
    int32_t OLDSOL_H2, residual_format, factor, n_sol_cov;
    int32_t NRAMAT, N_RAMAT_NOT_ABS;
    logical4 any_covariable;
    int32_t N_REG_TOTAL, n_fixed_covariables, n_random_covariables;
    int32_t MAX_N_REG, N_REG_COLS;
    int32_t MAX_N_FIXED, n_fixed_positions;
    Held<Matrix<int32_t>> NLEV;
    Held<Vec<int32_t>> NRALEV;
    int32_t grp_nlev;
    int32_t N_ZERO_RCOV;
    Held<Matrix<int32_t>> NORCOV;
    int32_t n_foreign_records;
    logical4 L_INTERVAL;

    // Tail
    int32_t most_members;  // of a random matrix; the file has it in the matrix blocks only
    Held<Matrix<int32_t>> NBEGREG, NBEGF;
    Held<Vec<int32_t>> NBEGRA;
    Held<Matrix<int32_t>> NBEGRAT;
    Held<Vec<double>> RSD, SPRE;
    int32_t glmm_iterations;
    double glmm_criterion;
    int32_t NIOUT, NFOUT;
    int32_t MFL, MDL, MAXNRM;
    Text<4> model_type;
    int32_t option_1, option_2;
    logical4 pedigree_exists;
    Held<Vec<int32_t>> sol_cov;
};

// Head

template <class Visitor, class Run>
void describe_run(Visitor& visitor, Run& h) {
    visitor.record(FIELDS(h.version, h.release, h.RUN_DATE));
    visitor.record(FIELDS(h.kve4, h.kve5, h.kveai, h.kvemgp, h.kvegs, h.data_format));
    visitor.record(FIELDS(h.NI, h.NR));
    visitor.record(
        FIELDS(h.ITASK, h.IMETHOD, h.ISCALE, h.ITEST, h.NREC, h.n_records, h.total_observations));
    visitor.record(FIELDS(h.MAXZHZ, h.IFSPWSP), Constant{int32_t{0}}, Constant{int64_t{0}});
}

template <class Visitor, class Run>
void describe_trait_counts(Visitor& visitor, Run& h) {
    visitor.record(FIELDS(h.nt, h.NGaussTraits, h.NRightCensTraits, h.NCatTraits, h.NBinTraits));
    visitor.record(FIELDS(h.N_CONT_TRAITS, h.N_THRESH_TRAITS, h.N_WGT_TRAITS),
                   ARRAYS(extents(h.nt), h.TraitIdWithWeight));
    visitor.record(FIELDS(h.MAX_N_ABSORB));
    if (h.MAX_N_ABSORB > 0)
        visitor.record(ARRAYS(extents(h.MAX_N_ABSORB), h.NABGR, h.MN_ABGR),
                       Constant{int32_t{200}});  // the size of a group, whatever the data hold
    visitor.record(FIELDS(h.n_subjects, h.largest_sequence));
    visitor.record(FIELDS(h.OLDSOL_H2, h.residual_format, h.factor, h.n_sol_cov));
}

template <class Visitor, class Run>
void describe_head(Visitor& visitor, Run& h) {
    describe_run(visitor, h);
    describe_trait_counts(visitor, h);
    visitor.record(FIELDS(h.NRAMAT, h.N_RAMAT_NOT_ABS));
    visitor.record(
        FIELDS(h.any_covariable, h.N_REG_TOTAL, h.n_fixed_covariables, h.n_random_covariables));
    visitor.record(FIELDS(h.MAX_N_REG, h.N_REG_COLS));
    visitor.record(FIELDS(h.MAX_N_FIXED, h.n_fixed_positions));
    visitor.record(ARRAYS(extents(h.nt, h.MAX_N_FIXED), h.NLEV),
                   ARRAYS(extents(h.NRAMAT), h.NRALEV), FIELDS(h.grp_nlev));
    visitor.record(FIELDS(h.N_ZERO_RCOV));
    visitor.record(ARRAYS(extents(2, int64_t{h.nt} * (int64_t{h.nt} + 1) / 2), h.NORCOV));
    visitor.record(FIELDS(h.n_foreign_records));
    visitor.record(FIELDS(h.L_INTERVAL));
}

// Trait block

template <class Visitor, class Trait>
void describe_trait_variable(Visitor& visitor, Trait& m) {
    visitor.record(FIELDS(m.trait_type, m.trait_inp_no, m.trait_name, m.trait_rci, m.mix_trait,
                          m.seq_trait, m.mix_t_inp_no, m.seq_t_inp_no, m.mix_t_rci, m.seq_t_rci,
                          m.subject, m.seq, m.l_cure));
    visitor.record(FIELDS(m.idelta, m.wgt_inp_no, m.wgt_name, m.wgt_rci, m.l_mixture, m.mix_t_no,
                          m.mix_inp_no, m.mix_name, m.mix_rci));
}

template <class Visitor, class Trait>
void describe_effects(Visitor& visitor, Trait& m) {
    const Extents all = extents(m.n_ef), fixed = extents(m.n_fixed), random = extents(m.n_random);
    if (m.n_absorb > 0)
        visitor.record(ARRAYS(extents(m.n_absorb), m.a_ef_inp, m.a_ef_name, m.a_ef_rci));
    visitor.record(ARRAYS(all, m.ef_inp, m.ef_rci, m.reduce, m.intercept),
                   ARRAYS(fixed, m.f_intercept), ARRAYS(random, m.r_intercept),
                   ARRAYS(all, m.ef_coeff), ARRAYS(fixed, m.f_ef_coeff),
                   ARRAYS(random, m.r_ef_coeff));
    visitor.record(ARRAYS(fixed, m.f_ef_inp, m.f_ef_name, m.f_ef_rci));
    visitor.record(ARRAYS(random, m.r_ef_inp, m.r_ef_name, m.r_ef_rci));
}

template <class Visitor, class Trait>
void describe_regressions(Visitor& visitor, Trait& m) {
    if (m.n_reg == 0) return;
    const Extents all = extents(m.n_reg);
    visitor.record(ARRAYS(all, m.reg_type, m.reg_inp, m.reg_mixture, m.reg_name, m.reg_rci),
                   ARRAYS(extents(m.n_dif_reg), m.n_times));
    visitor.record(ARRAYS(all, m.reg_n_inp, m.reg_name_n, m.reg_n_rci));
    visitor.record(ARRAYS(all, m.reg_n_ef_no, m.reg_r_number, m.reg_r_matno, m.reg_rmat_pos));
}

template <class Visitor, class Trait>
void describe_generalized_model(Visitor& visitor, Trait& m) {
    visitor.record(FIELDS(m.l_glmm));
    visitor.record(FIELDS(m.corr_fact, m.offset_inp, m.offset_rci));
    visitor.record(FIELDS(m.var_fn));
    visitor.record(FIELDS(m.link_fn));
    visitor.record(FIELDS(m.var_f));
    visitor.record(FIELDS(m.link_f));
    visitor.record(FIELDS(m.dlink_f));
    visitor.record(FIELDS(m.invlink_f));
    visitor.record(FIELDS(m.deviance));
}

template <class Visitor, class Trait>
void describe_trait(Visitor& visitor, Trait& m) {
    describe_trait_variable(visitor, m);
    visitor.record(FIELDS(m.n_absorb));
    visitor.record(FIELDS(m.n_ef, m.n_fixed, m.n_random, m.n_random_abs));
    visitor.record(FIELDS(m.n_reg, m.n_dif_reg));
    visitor.record(FIELDS(m.n_f_reg, m.n_f_o_reg, m.n_f_n_reg, m.n_r_n_reg));
    visitor.record(FIELDS(m.n_cat, m.n_obs));
    describe_effects(visitor, m);
    describe_regressions(visitor, m);
    visitor.record(ARRAYS(extents(m.n_random), m.r_ef_matno, m.ass_rf));
    describe_generalized_model(visitor, m);
    visitor.record(FIELDS(m.l_cens));
    if (m.l_cens) visitor.record(FIELDS(m.cens_inp, m.cens_rci, m.int_max_inp, m.int_max_rci));
}

// Matrix block

template <class Visitor, class Table>
void describe_structure(Visitor& visitor, Table& r) {
    visitor.record(FIELDS(r.n_cont, r.n_rc, r.rank, r.n_traits, r.n_r_eff, r.n_random_id));
    visitor.record(group_fields("type", Extents(), r.structure),
                   FIELDS(r.method, r.l_ram, r.ass_rf), Constant{Text<8>()},
                   FIELDS(r.n_phg, r.phg_random, r.ran_factor, r.rel_format, r.rel_file, r.log_det,
                          r.l_log_det));
}

template <class Visitor, class Table>
void describe_contributions(Visitor& visitor, Table& r) {
    const Extents members = extents(r.n_traits);
    visitor.record(ARRAYS(extents(r.n_cont), r.cont_rc, r.cont_rc1, r.cont_t_no, r.cont_t_inp,
                          r.cont_t_rci, r.cont_eff, r.cont_eff_inp, r.cont_eff_rci, r.cont_rr_inp,
                          r.cont_rr_rci, r.cont_id_name, r.cont_t_name, r.cont_rr_name,
                          r.cont_coeff, r.cont_rr_eff));
    visitor.record(ARRAYS(members, r.reduce, r.r_eff), ARRAYS(extents(r.n_r_eff), r.r_eff_inp),
                   ARRAYS(members, r.trait_blk_size, r.trait_blk_start));
}

template <class Visitor, class Table>
void describe_members(Visitor& visitor, Table& r, bool is_random) {
    const Extents members = extents(r.n_traits), effects = extents(r.n_r_eff),
                  identities = extents(r.n_random_id), rows = extents(r.rank);
    visitor.record(FIELDS(r.m_n_rr, r.l_rr), ARRAYS(members, r.trait_no));
    visitor.record(ARRAYS(members, r.trait_inp));
    if (is_random) describe_contributions(visitor, r);
    visitor.record(ARRAYS(effects, r.n_rr));
    if (r.m_n_rr > 0) visitor.record(ARRAYS(extents(r.n_traits, r.m_n_rr), r.rr_f_inp, r.rr_f_rcr));
    visitor.record(ARRAYS(effects, r.t_r_eff_rci));
    visitor.record(ARRAYS(identities, r.random_id_inp), ARRAYS(effects, r.intercept));
    visitor.record(ARRAYS(identities, r.r_id_rci), ARRAYS(rows, r.rank_tn, r.rank_ndt));
    visitor.record(ARRAYS(members, r.t_no));
    visitor.record(ARRAYS(members, r.t_name));
}

// The groups stand here without a GROUP residual too: one, of code 0.
template <class Visitor, class Table>
void describe_residual_groups(Visitor& visitor, Table& r) {
    visitor.record(FIELDS(r.grp_inp, r.grp_rci, r.grp_name, r.grp_nlev));
    visitor.record(ARRAYS(extents(r.grp_nlev), r.grp_code, r.niegr));
    visitor.record(ARRAYS(extents(r.rank, r.rank, r.grp_nlev), r.h_cov_mat));
    visitor.record(ARRAYS(extents(r.n_rc, r.n_rc), r.l_rcov_zero), FIELDS(r.l_grp_prior),
                   ARRAYS(extents(r.grp_nlev), r.l_grp_pr));
}

template <class Visitor, class Table>
void describe_restrictions(Visitor& visitor, Table& r) {
    const Extents elements = extents(r.rank, r.rank), rows = extents(r.rank);
    visitor.record(ARRAYS(elements, r.l_cv_rest));
    visitor.record(ARRAYS(elements, r.l_cor_rest));
    visitor.record(FIELDS(r.l_vratio_nom, r.l_vratio_denon));
    visitor.record(FIELDS(r.l_vratio_mat_rest), ARRAYS(rows, r.l_vratio_elem, r.p_ratio));
}

template <class Visitor, class Table>
void describe_matrix(Visitor& visitor, Table& r, bool is_random) {
    describe_structure(visitor, r);
    describe_members(visitor, r, is_random);
    visitor.record(ARRAYS(extents(r.rank, r.rank), r.cov_mat, r.p_cov_mat));
    if (!is_random) describe_residual_groups(visitor, r);
    describe_restrictions(visitor, r);
    visitor.record(Constant{int32_t{0}});
}

// Tail

template <class Visitor, class Run, class Table>
void describe_tail(Visitor& visitor, Run& h, Table& residual) {
    visitor.record(ARRAYS(extents(h.nt, h.MAX_N_REG), h.NBEGREG),
                   ARRAYS(extents(h.nt, h.MAX_N_FIXED), h.NBEGF),
                   ARRAYS(extents(int64_t{h.NRAMAT} + 1), h.NBEGRA),
                   ARRAYS(extents(h.most_members, h.NRAMAT), h.NBEGRAT));
    visitor.record(ARRAYS(extents(h.nt), h.RSD, h.SPRE));
    visitor.record(FIELDS(h.glmm_iterations, h.glmm_criterion));
    visitor.record(FIELDS(h.NIOUT, h.NFOUT));
    visitor.record(FIELDS(h.MFL, h.MDL, h.MAXNRM, h.MAXZHZ, h.IFSPWSP));
    if (residual.structure == Structure::GROUP)
        visitor.record(ARRAYS(extents(residual.grp_nlev), residual.grp_code, residual.niegr));
    if (h.factor != 0 || h.n_sol_cov != 0)
        visitor.record(
            FIELDS(h.factor, h.model_type, h.option_1, h.option_2, h.pedigree_exists, h.n_sol_cov),
            ARRAYS(extents(std::max(h.n_sol_cov, 0)), h.sol_cov));
}

}  // namespace kve
