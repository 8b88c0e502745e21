// Fills the shared tables by hand, a different value in every place, writes them and compares what
// the decoder finds. An item that is left out, swapped or written in another width shows. Then
// whole runs, whose files are read as an analysis program would read them.
#include "modinf.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include "data/code_table.h"
#include "data/factors.h"
#include "data/intake.h"
#include "data/model_information.h"
#include "model/records.h"
#include "run.h"
#include "run/big_tables.h"
#include "run/directives.h"
#include "run/listing.h"
#include "run/units.h"
#include "run/work_files.h"
#include "stops.h"

using namespace kve;
using namespace kve::state;

namespace {

// Numbers and texts that do not occur twice; logicals in a pattern that does not repeat soon.
class Distinct {
 public:
    template <class... Fields>
    void operator()(Fields&... fields) {
        (set(fields), ...);
    }

 private:
    void set(int32_t& field) { field = ++n_; }
    void set(int64_t& field) { field = (int64_t{++n_} << 32) + 7; }
    void set(float& field) { field = static_cast<float>(++n_) + 0.25F; }
    void set(double& field) { field = ++n_ + 0.1; }
    void set(int8_t& field) { field = 0; }
    void set(logical4& field) {
        bits_ = bits_ * 6364136223846793005U + 1442695040888963407U;
        field = (bits_ >> 62) % 2 == 1;
    }
    template <int N>
    void set(Text<N>& field) {
        std::string text = std::to_string(++n_);
        field = text + "t";
    }
    template <class T>
    void set(Vec<T>& field) {
        for (T& element : field) set(element);
    }
    void set(auto& array) requires requires { array.data(); }
    {
        for (int64_t k = 0; k < array.size(); ++k) set(array.data()[k]);
    }

    int32_t n_ = 1000;
    uint64_t bits_ = 1;
};
Distinct distinct;

// A table's field in the form of the decoder's.
template <class T>
T plain(const T& value) requires std::is_arithmetic_v<T> {
    return value;
}
bool plain(logical4 value) { return value; }
template <int N>
std::string plain(const Text<N>& text) {
    return text.string();
}
template <class Array>
auto plain(const Array& array) requires requires {
    array.data();
    array.size();
}
{
    std::vector<decltype(plain(*array.data()))> all;
    for (int64_t k = 0; k < array.size(); ++k) all.push_back(plain(array.data()[k]));
    return all;
}
void allocate(auto& array, auto... extents) {
    ASSERT_EQ(array.allocate(extents...), 0);
    distinct(array);
}

template <class T>
void same(const T& written, const T& found, const char* field) {
    EXPECT_EQ(found, written) << field;
}
#define SAME(field) same(plain(table.field), file.field, #field)
#define SAME_GRID(field) same(plain(table.field), file.field.values, #field)

void build_counts(int32_t nt, int32_t NRAMAT) {
    ModelCounts& c = KVEINT;
    distinct(c.NGaussTraits, c.NRightCensTraits, c.NCatTraits, c.NBinTraits, c.N_CONT_TRAITS,
             c.N_THRESH_TRAITS, c.N_WGT_TRAITS, c.N_RAMAT_NOT_ABS, c.N_REG_TOTAL, c.N_REG_COLS,
             c.N_ZERO_RCOV);
    c.nt = nt;
    c.NRAMAT = NRAMAT;
    allocate(c.TraitIdWithWeight, nt);
    allocate(c.SPRE, nt);
    allocate(RSD, nt);
}

void build_trait(Model& m) {
    m.n_ef = m.n_fixed + m.n_random;
    allocate_model_level_2(m);
    allocate_model_level_3(m);
    allocate_model_level_4(m);
    allocate_model_level_5(m);
    allocate_model_level_6(m);
    distinct(m.trait_type, m.trait_inp_no, m.trait_name, m.trait_rci, m.idelta, m.wgt_inp_no,
             m.wgt_name, m.wgt_rci, m.mix_t_no, m.mix_inp_no, m.mix_rci, m.mix_name, m.n_random_abs,
             m.n_f_reg, m.n_f_o_reg, m.n_f_n_reg, m.n_r_n_reg, m.n_cat, m.n_obs);
    distinct(m.a_ef_inp, m.a_ef_name, m.a_ef_rci, m.ef_inp, m.ef_rci, m.ef_coeff, m.reduce,
             m.intercept, m.f_intercept, m.f_ef_inp, m.f_ef_name, m.f_ef_rci, m.f_ef_coeff,
             m.r_intercept, m.r_ef_inp, m.r_ef_name, m.r_ef_rci, m.r_ef_coeff, m.r_ef_matno,
             m.ass_rf);
    distinct(m.reg_type, m.reg_inp, m.reg_name, m.reg_rci, m.reg_n_inp, m.reg_name_n, m.reg_n_rci,
             m.reg_n_ef_no, m.reg_r_number, m.reg_r_matno, m.reg_rmat_pos, m.n_times);
    distinct(m.l_glmm, m.corr_fact, m.offset_inp, m.offset_rci, m.var_fn, m.link_fn, m.var_f,
             m.link_f, m.dlink_f, m.invlink_f, m.deviance, m.seq_trait, m.mix_trait, m.seq_t_inp_no,
             m.mix_t_inp_no, m.seq_t_rci, m.mix_t_rci, m.subject, m.seq, m.cens_inp, m.cens_rci,
             m.int_max_inp, m.int_max_rci);
}

void build_matrix(RMatrix& r) {
    r.n_rc = r.rank;
    RMAT_ALLOC1(r);
    RMAT_ALLOC2(r);
    RMAT_ALLOC2A(r);
    RMAT_ALLOC3(r);
    RMAT_ALLOC4(r);
    distinct(r.method, r.n_phg, r.ran_factor, r.rel_format, r.rel_file, r.grp_inp, r.grp_rci,
             r.grp_name, r.l_rr, r.trait_no, r.trait_inp, r.r_eff, r.r_eff_inp, r.random_id_inp);
    distinct(r.cont_rc, r.cont_rc1, r.cont_t_no, r.cont_t_inp, r.cont_t_rci, r.cont_eff,
             r.cont_eff_inp, r.cont_eff_rci, r.cont_rr_inp, r.cont_rr_rci, r.cont_coeff,
             r.cont_id_name, r.cont_t_name, r.cont_rr_name, r.cont_rr_eff, r.reduce,
             r.trait_blk_size, r.trait_blk_start, r.intercept, r.t_r_eff_rci, r.r_id_rci, r.n_rr,
             r.t_no, r.t_name, r.rr_f_inp, r.rr_f_rcr, r.rank_tn, r.rank_ndt, r.cov_mat);
    distinct(r.l_grp_prior, r.l_cv_rest, r.l_cor_rest, r.l_vratio_elem, r.p_cov_mat, r.p_ratio,
             r.log_det);
}

void build_residual(int32_t nt, const char* type, int32_t groups) {
    RMatrix& r = RMAT(KVEINT.NRAMAT + 1);
    r.type = type;
    r.n_traits = r.rank = nt;
    r.grp_nlev = groups;
    build_matrix(r);
    RMAT_ALLOC5(r);
    RMAT_ALLOC6(r);
    distinct(r.l_rcov_zero, r.niegr, r.grp_code, r.l_grp_pr, r.h_cov_mat);
}

// What the size of the model decides in the other tables.
void build_outcome() {
    allocate_factors();
    Factors& f = FACTORS;
    distinct(f.NLEV, f.NRALEV, f.NFINFO, f.NBEGREG, f.NBEGF, f.NBEGRA, f.NBEGRAT);
    ASSERT_EQ(INTAKE.NS.allocate(KVEINT.nt), 0);
    distinct(INTAKE.NREC, INTAKE.NS);
    distinct(RECODED.NIOUT, RECODED.NFOUT, RECODED.n_records, RECODED.n_fixed_positions,
             RECODED.n_subjects, RECODED.largest_sequence);
    Directives& d = DIRECTIVES;
    distinct(d.ITASK, d.IMETHOD, d.ISCALE, d.ITEST, d.data_format, d.NI, d.NR, d.kve4.name,
             d.kve5.name, d.kveai.name, d.kvemgp.name, d.kvegs.name, d.residual_format,
             d.glmm_iterations, d.glmm_criterion, OLDSOL_H2);
    for (Dimension* dimension : {&DIMENSIONS.MFL, &DIMENSIONS.MDL, &DIMENSIONS.MAXNRM,
                                 &DIMENSIONS.MAXZHZ, &DIMENSIONS.IFSPWSP})
        distinct(dimension->now);
    RUN_DATE = "2024-03-05 06:07:08";
}

// Two traits: the first with every kind of effect, the second bare. Three random factors, the last
// without members, and residual groups.
void build_rich_model() {
    build_counts(2, 3);
    KVEINT.MAX_N_ABSORB = 2;
    KVEINT.MAX_N_FIXED = 3;
    KVEINT.MAX_N_REG = 4;
    allocate_model_level_1(2);
    MODEL(1).n_absorb = 2;
    MODEL(1).n_fixed = 3;
    MODEL(1).n_random = 2;
    MODEL(1).n_reg = 4;
    MODEL(1).n_dif_reg = 3;
    MODEL(1).l_cens = true;
    for (Model& m : MODEL) build_trait(m);

    ASSERT_EQ(RMAT.allocate(4), 0);
    RMatrix& pedigree = RMAT(1);
    pedigree.type = "PED";
    pedigree.n_cont = 6;
    pedigree.rank = 5;
    pedigree.n_traits = 2;
    pedigree.n_random_id = 1;
    pedigree.n_r_eff = 3;
    pedigree.m_n_rr = 4;
    pedigree.ass_rf = 9;
    pedigree.phg_random = true;
    pedigree.l_log_det = true;
    pedigree.l_vratio_denon = true;
    RMatrix& plain_factor = RMAT(2);
    plain_factor.n_cont = plain_factor.rank = 1;
    plain_factor.n_traits = plain_factor.n_random_id = plain_factor.n_r_eff = 1;
    plain_factor.l_ram = true;
    plain_factor.l_vratio_nom = true;
    plain_factor.l_vratio_mat_rest = true;
    for (int k = 1; k <= 3; ++k) build_matrix(RMAT(k));
    build_residual(2, "GROUP", 3);

    build_outcome();
    allocate(RECODED.NABGR, 2);
    allocate(RECODED.MN_ABGR, 2);
    allocate(KVEINT.NORCOV, 2, 7);  // more room than there are pairs of traits
    INTAKE.L_INTERVAL = true;
    TrendRequest& t = DIRECTIVES.td_ptd;
    distinct(t.factor, t.model_type, t.option_1, t.option_2);
    t.model_type = "AM";
    t.pedigree_exists = true;
    DIRECTIVES.n_sol_cov = 3;
    allocate(DIRECTIVES.sol_cov, 3);
}

// One trait with one random effect and nothing else.
void build_smallest_model() {
    build_counts(1, 1);
    KVEINT.N_REG_TOTAL = 0;
    allocate_model_level_1(1);
    MODEL(1).n_random = 1;
    build_trait(MODEL(1));
    ASSERT_EQ(RMAT.allocate(2), 0);
    RMatrix& r = RMAT(1);
    r.n_cont = r.rank = r.n_traits = r.n_random_id = r.n_r_eff = 1;
    build_matrix(r);
    build_residual(1, "I", 1);
    build_outcome();
}

Modinf write_and_decode(const Scratch& scratch) {
    EXPECT_EQ(UNITS.unit_53.open(scratch.folder() / "MODINF"), 0);
    KVEPFL();
    return decode_modinf(scratch.read("MODINF"));
}

void compare_trait(const Model& table, const ModinfTrait& file) {
    SAME(trait_type), SAME(trait_inp_no), SAME(trait_name), SAME(trait_rci), SAME(mix_trait);
    SAME(seq_trait), SAME(mix_t_inp_no), SAME(seq_t_inp_no), SAME(mix_t_rci), SAME(seq_t_rci);
    SAME(subject), SAME(seq), SAME(l_cure), SAME(idelta), SAME(wgt_inp_no), SAME(wgt_name);
    SAME(wgt_rci), SAME(l_mixture), SAME(mix_t_no), SAME(mix_inp_no), SAME(mix_name);
    SAME(mix_rci), SAME(n_absorb), SAME(n_ef), SAME(n_fixed), SAME(n_random);
    SAME(n_random_abs), SAME(n_reg), SAME(n_dif_reg), SAME(n_f_reg), SAME(n_f_o_reg);
    SAME(n_f_n_reg), SAME(n_r_n_reg), SAME(n_cat), SAME(n_obs);
    SAME(a_ef_inp), SAME(a_ef_name), SAME(a_ef_rci), SAME(ef_inp), SAME(ef_rci), SAME(reduce);
    SAME(intercept), SAME(f_intercept), SAME(r_intercept), SAME(ef_coeff), SAME(f_ef_coeff);
    SAME(r_ef_coeff), SAME(f_ef_inp), SAME(f_ef_name), SAME(f_ef_rci), SAME(r_ef_inp);
    SAME(r_ef_name), SAME(r_ef_rci), SAME(reg_type), SAME(reg_inp), SAME(reg_mixture);
    SAME(reg_name), SAME(reg_rci), SAME(n_times), SAME(reg_n_inp), SAME(reg_name_n);
    SAME(reg_n_rci), SAME(reg_n_ef_no), SAME(reg_r_number), SAME(reg_r_matno);
    SAME(reg_rmat_pos), SAME(r_ef_matno), SAME(ass_rf), SAME(l_glmm), SAME(corr_fact);
    SAME(offset_inp), SAME(offset_rci), SAME(var_fn), SAME(link_fn), SAME(var_f), SAME(link_f);
    SAME(dlink_f), SAME(invlink_f), SAME(deviance), SAME(l_cens);
    if (!table.l_cens) return;
    SAME(cens_inp), SAME(cens_rci), SAME(int_max_inp), SAME(int_max_rci);
}

void compare_matrix(const RMatrix& table, const ModinfMatrix& file) {
    SAME(n_cont), SAME(n_rc), SAME(rank), SAME(n_traits), SAME(n_r_eff), SAME(n_random_id);
    SAME(type), SAME(method), SAME(l_ram), SAME(ass_rf), SAME(n_phg), SAME(phg_random);
    SAME(ran_factor), SAME(rel_format), SAME(rel_file), SAME(log_det), SAME(l_log_det);
    SAME(m_n_rr), SAME(l_rr), SAME(trait_no), SAME(trait_inp), SAME(cont_rc), SAME(cont_rc1);
    SAME(cont_t_no), SAME(cont_t_inp), SAME(cont_t_rci), SAME(cont_eff), SAME(cont_eff_inp);
    SAME(cont_eff_rci), SAME(cont_rr_inp), SAME(cont_rr_rci), SAME(cont_id_name);
    SAME(cont_t_name), SAME(cont_rr_name), SAME(cont_coeff), SAME(cont_rr_eff), SAME(n_rr);
    SAME_GRID(rr_f_inp), SAME_GRID(rr_f_rcr), SAME(t_r_eff_rci), SAME(random_id_inp);
    SAME(intercept), SAME(r_id_rci), SAME(rank_tn), SAME(rank_ndt), SAME(t_no), SAME(t_name);
    SAME_GRID(cov_mat), SAME_GRID(p_cov_mat), SAME_GRID(l_cv_rest), SAME_GRID(l_cor_rest);
    SAME(l_vratio_nom), SAME(l_vratio_denon), SAME(l_vratio_mat_rest), SAME(l_vratio_elem);
    SAME(p_ratio);
    EXPECT_EQ(file.reserved, "");
    EXPECT_EQ(file.closing, 0);
}

void compare_random(const RMatrix& table, const ModinfMatrix& file) {
    SAME(reduce), SAME(r_eff), SAME(r_eff_inp), SAME(trait_blk_size), SAME(trait_blk_start);
}

void compare_residual(const RMatrix& table, const ModinfMatrix& file) {
    SAME(grp_inp), SAME(grp_rci), SAME(grp_name), SAME(grp_nlev), SAME(grp_code), SAME(niegr);
    SAME_GRID(h_cov_mat), SAME_GRID(l_rcov_zero), SAME(l_grp_prior), SAME(l_grp_pr);
}

void compare_counts(const ModinfHead& file) {
    const ModelCounts& table = KVEINT;
    SAME(nt), SAME(NGaussTraits), SAME(NRightCensTraits), SAME(NCatTraits), SAME(NBinTraits);
    SAME(N_CONT_TRAITS), SAME(N_THRESH_TRAITS), SAME(N_WGT_TRAITS), SAME(TraitIdWithWeight);
    SAME(MAX_N_ABSORB), SAME(NRAMAT), SAME(N_RAMAT_NOT_ABS), SAME(N_REG_TOTAL);
    SAME(MAX_N_REG), SAME(N_REG_COLS), SAME(MAX_N_FIXED), SAME(N_ZERO_RCOV);
}

void compare_run(const ModinfHead& file) {
    const Directives& table = DIRECTIVES;
    SAME(data_format), SAME(NI), SAME(NR), SAME(ITASK), SAME(IMETHOD), SAME(ISCALE);
    SAME(ITEST), SAME(residual_format), SAME(n_sol_cov);
    EXPECT_EQ(file.version + " " + file.release, "6 5.1");
    EXPECT_EQ(file.date, "2024-03-05 06:07:08");
    Texts names;
    for (const SectionFile* section :
         {&table.kve4, &table.kve5, &table.kveai, &table.kvemgp, &table.kvegs})
        names.push_back(section->name.string());
    EXPECT_EQ(file.section_files, names);
    EXPECT_EQ(file.records_read, INTAKE.NREC);
    EXPECT_EQ(file.records_written, RECODED.n_records);
    EXPECT_EQ(file.MAXZHZ, DIMENSIONS.MAXZHZ.now);
    EXPECT_EQ(file.IFSPWSP, DIMENSIONS.IFSPWSP.now);
    EXPECT_EQ(file.zero_4 + file.zero_8, 0);
    EXPECT_EQ(file.n_subjects, RECODED.n_subjects);
    EXPECT_EQ(file.largest_sequence, RECODED.largest_sequence);
    EXPECT_EQ(file.OLDSOL_H2, OLDSOL_H2);
    EXPECT_EQ(file.td_ptd_factor, table.td_ptd.factor);
    EXPECT_EQ(file.n_fixed_positions, RECODED.n_fixed_positions);
    EXPECT_EQ(file.L_INTERVAL, INTAKE.L_INTERVAL);
    EXPECT_EQ(file.NRALEV, plain(FACTORS.NRALEV));
    EXPECT_EQ(file.NLEV.values, plain(FACTORS.NLEV));
}

void compare_tail(const ModinfTail& file) {
    {
        const Factors& table = FACTORS;
        SAME_GRID(NBEGREG), SAME_GRID(NBEGF), SAME(NBEGRA), SAME_GRID(NBEGRAT);
    }
    EXPECT_EQ(file.RSD, plain(RSD));
    EXPECT_EQ(file.SPRE, plain(KVEINT.SPRE));
    EXPECT_EQ(file.glmm_iterations, DIRECTIVES.glmm_iterations);
    EXPECT_EQ(file.glmm_criterion, DIRECTIVES.glmm_criterion);
    EXPECT_EQ(file.NIOUT, RECODED.NIOUT);
    EXPECT_EQ(file.NFOUT, RECODED.NFOUT);
    EXPECT_EQ((Ints{file.MFL, file.MDL, file.MAXNRM, file.MAXZHZ, file.IFSPWSP}),
              (Ints{DIMENSIONS.MFL.now, DIMENSIONS.MDL.now, DIMENSIONS.MAXNRM.now,
                    DIMENSIONS.MAXZHZ.now, DIMENSIONS.IFSPWSP.now}));
}

}  // namespace

TEST(ModelInformation, HoldsEveryFieldOfARichModel) {
    build_rich_model();
    Scratch scratch;
    Modinf file = write_and_decode(scratch);
    compare_run(file.head);
    compare_counts(file.head);
    for (int k : {1, 2}) compare_trait(MODEL(k), file.traits.at(static_cast<std::size_t>(k - 1)));
    for (int k : {1, 2, 3, 4})
        compare_matrix(RMAT(k), file.matrices.at(static_cast<std::size_t>(k - 1)));
    for (int k : {1, 2, 3})
        compare_random(RMAT(k), file.matrices.at(static_cast<std::size_t>(k - 1)));
    compare_residual(RMAT(4), file.matrices.at(3));
    compare_tail(file.tail);
    // 20 of the head, 21 + 5 and 21 of the traits, 19 + 18 + 18 + 20 of the matrices, 7 of the tail
    EXPECT_EQ(file.n_records, 149U);
}

TEST(ModelInformation, DerivesTheNumbersThatStandInNoTable) {
    build_rich_model();
    Scratch scratch;
    Modinf file = write_and_decode(scratch);
    EXPECT_EQ(file.head.total_observations, 0) << "only a run of one trait has a total";
    EXPECT_TRUE(file.head.any_covariable);
    EXPECT_EQ(file.head.n_fixed_covariables, MODEL(1).n_f_reg + MODEL(2).n_f_reg);
    EXPECT_EQ(file.head.n_random_covariables, MODEL(1).n_r_n_reg + MODEL(2).n_r_n_reg);
    EXPECT_EQ(file.head.NABGR, plain(RECODED.NABGR));
    EXPECT_EQ(file.head.MN_ABGR, plain(RECODED.MN_ABGR));
    EXPECT_EQ(file.head.group_size, 200);
    EXPECT_EQ(file.head.n_groups, 3);
    EXPECT_EQ(file.head.n_foreign_records, FACTORS.NFINFO(1)) << "the factor of type PED";
    EXPECT_EQ(file.head.NORCOV.at(2, 3), KVEINT.NORCOV(2, 3));
    EXPECT_EQ(file.tail.group_codes, plain(RMAT(4).grp_code));
    EXPECT_EQ(file.tail.group_counts, plain(RMAT(4).niegr));
    EXPECT_EQ(file.tail.td_ptd_factor, DIRECTIVES.td_ptd.factor);
    EXPECT_EQ(file.tail.td_ptd_model, "AM");
    EXPECT_EQ(file.tail.td_ptd_option_1, DIRECTIVES.td_ptd.option_1);
    EXPECT_EQ(file.tail.td_ptd_option_2, DIRECTIVES.td_ptd.option_2);
    EXPECT_TRUE(file.tail.td_ptd_pedigree);
    EXPECT_EQ(file.tail.n_sol_cov, 3);
    EXPECT_EQ(file.tail.sol_cov, plain(DIRECTIVES.sol_cov));
}

TEST(ModelInformation, LeavesOutWhatTheSmallestModelDoesNotHave) {
    build_smallest_model();
    Scratch scratch;
    Modinf file = write_and_decode(scratch);
    EXPECT_EQ(file.n_records, 83U);
    EXPECT_EQ(file.head.total_observations, INTAKE.NS(1, 1));
    EXPECT_FALSE(file.head.any_covariable);
    EXPECT_EQ(file.head.NORCOV.values, Ints(2)) << "no pair declared: the parser made no room";
    EXPECT_EQ(file.head.n_foreign_records, 0);
    EXPECT_TRUE(file.head.NLEV.values.empty());
    compare_trait(MODEL(1), file.traits.at(0));
    compare_matrix(RMAT(1), file.matrices.at(0));
    compare_residual(RMAT(2), file.matrices.at(1));
    EXPECT_FALSE(file.tail.has_options);
}

TEST(ModelInformation, AsksForEquationsWithoutNumbers) {
    build_smallest_model();
    DIRECTIVES.n_sol_cov = -1;
    Scratch scratch;
    Modinf file = write_and_decode(scratch);
    EXPECT_EQ(file.head.n_sol_cov, -1);
    EXPECT_EQ(file.tail.n_sol_cov, -1);
    EXPECT_TRUE(file.tail.sol_cov.empty());
}

// A random factor whose only effect is merged into one that does not exist has no member, yet its
// table of equations has room for one.
TEST(ModelInformation, WritesNoMemberWhereThereIsNone) {
    build_smallest_model();
    RMatrix& r = RMAT(1);
    r.n_cont = r.rank = r.n_traits = r.n_random_id = 0;
    build_matrix(r);
    allocate_factors();
    Scratch scratch;
    Modinf file = write_and_decode(scratch);
    EXPECT_TRUE(file.tail.NBEGRAT.values.empty());
    EXPECT_TRUE(file.matrices.at(0).cov_mat.values.empty());
}

// A GROUP residual without usable records has no group, yet its arrays have room for one.
TEST(ModelInformation, WritesNoGroupWhereThereIsNone) {
    build_smallest_model();
    RMAT(2).type = "GROUP";
    RMAT(2).grp_nlev = 0;
    Scratch scratch;
    Modinf file = write_and_decode(scratch);
    EXPECT_TRUE(file.matrices.at(1).grp_code.empty());
    EXPECT_TRUE(file.matrices.at(1).h_cov_mat.values.empty());
    EXPECT_EQ(file.n_records, 84U) << "the record of the groups is there, and empty";
}

TEST(ModelInformation, FullDiskStopsTheRun) {
    build_smallest_model();
    EXPECT_STOP(
        {
            static_cast<void>(UNITS.unit_53.open("/dev/full"));
            KVEPFL();
        },
        "ERROR - writing the file MODINF failed\nProgram terminates");
}

namespace {

LevelRow level_row(int32_t next, int32_t key, int32_t level) {
    return {next, key, 10 * key, level, 100 * key, 1000 * key, -1};
}
CodeRow code_row(int32_t next, int32_t key, int32_t level) {
    return {next, key, 10 * key, level, 100 * key, 1000 * key};
}

AnimalRow animal_row(int32_t key, int32_t next) {
    return {-1,   key,     key + 1, key + 2, key + 3,  key + 4, key + 5,
            next, key + 7, key + 8, key + 9, key + 10, key + 11};
}
AnimalCode animal_code(int32_t row, int32_t key, int32_t next) {
    return {row,  key,     key + 1, key + 2, key + 3,  key + 4, key + 5,
            next, key + 7, key + 8, key + 9, key + 10, key + 11};
}

// Lists that run against the order of the rows: two fixed effects, one factor of each type, three
// residual groups.
void build_lists() {
    build_counts(1, 5);
    KVEINT.MAX_N_FIXED = 2;
    allocate_model_level_1(1);
    MODEL(1).n_fixed = 2;
    build_trait(MODEL(1));
    ASSERT_EQ(RMAT.allocate(6), 0);
    const char* types[] = {"DOM", "PED", "I", "ABS_QTL", "COR"};
    for (int k = 1; k <= 5; ++k) RMAT(k).type = types[k - 1];
    RMAT(1).ass_rf = RMAT(4).ass_rf = 2;
    for (int k = 1; k <= 5; ++k) build_matrix(RMAT(k));
    build_residual(1, "GROUP", 3);
    build_outcome();

    ASSERT_EQ(IFL.allocate(10), 0);
    IFL(4) = level_row(2, 11, 1), IFL(2) = level_row(0, 12, 2);
    IFL(3) = level_row(0, 21, 1);
    IFL(6) = level_row(5, 31, 1), IFL(5) = level_row(0, 32, 2);
    IFL(1) = level_row(0, 41, 1);
    IFL(9) = level_row(8, -3, 1), IFL(8) = level_row(7, 52, 2), IFL(7) = level_row(0, 53, 3);
    Factors& f = FACTORS;
    f.HEAD_EF(1, 1) = 4;
    f.HEAD_EF(1, 2) = 3;
    f.NLEV(1, 1) = 2;
    f.NLEV(1, 2) = 1;
    f.ITOPRS(3) = 6;
    f.ITOPRS(5) = 1;
    f.ITOPRS(4) = 2;  // levels of an absorbed effect are never listed
    f.NRALEV(3) = 2;
    f.NRALEV(5) = 1;
    f.HEAD_GRP = 9;
    ASSERT_EQ(IDL.allocate(3), 0);
    IDL(3) = animal_row(700, 1), IDL(1) = animal_row(800, 0);
    f.ITOPAS(2) = 3;
}

}  // namespace

TEST(CodeTable, FollowsTheListOfEveryFactor) {
    build_lists();
    Scratch scratch;
    Modinf model = write_and_decode(scratch);
    ASSERT_EQ(UNITS.unit_54.open(scratch.folder() / "CODE_TABLE"), 0);
    write_code_table();
    CodeTable table = decode_code_table(scratch.read("CODE_TABLE"), model);

    using Codes = std::vector<CodeRow>;
    using Animals = std::vector<AnimalCode>;
    EXPECT_EQ(table.fixed.at(0).at(0), (Codes{code_row(2, 11, 1), code_row(0, 12, 2)}));
    EXPECT_EQ(table.fixed.at(0).at(1), (Codes{code_row(0, 21, 1)}));
    Animals animals{animal_code(3, 700, 1), animal_code(1, 800, 0)};
    EXPECT_EQ(table.animals.at(0), animals) << "DOM: the list of its pedigree factor";
    EXPECT_EQ(table.animals.at(1), animals);
    EXPECT_EQ(table.levels.at(2), (Codes{code_row(5, 31, 1), code_row(0, 32, 2)}));
    EXPECT_TRUE(table.levels.at(3).empty() && table.animals.at(3).empty());
    EXPECT_EQ(table.levels.at(4), (Codes{code_row(0, 41, 1)}));
    EXPECT_EQ(table.levels.at(5),
              (Codes{code_row(8, -3, 1), code_row(7, 52, 2), code_row(0, 53, 3)}));
}

TEST(CodeTable, FullDiskStopsTheRun) {
    build_lists();
    EXPECT_STOP(
        {
            static_cast<void>(UNITS.unit_54.open("/dev/full"));
            write_code_table();
        },
        "ERROR - writing the file CODE_TABLE failed\nProgram terminates");
}

TEST(WorkFiles, StayOnlyWhenALineWasWritten) {
    Scratch scratch;
    allocate(FACTORS.NBAFT, 2);
    for (int used : {0, 1, 2}) {
        FACTORS.NBAFT(1) = 0;
        FACTORS.NBAFT(2) = used == 1;
        FACTORS.INBREED_LINES = used == 2;
        ASSERT_EQ(UNITS.unit_10.open(scratch.folder() / "PEDDATA"), 0);
        ASSERT_EQ(UNITS.unit_11.open(scratch.folder() / "INBREED"), 0);
        delete_empty_work_files();
        EXPECT_EQ(scratch.has("PEDDATA"), used == 1);
        EXPECT_EQ(scratch.has("INBREED"), used == 2);
    }
}

namespace {

const char* kDirectives = R"($ANALYSE 2 0 0 0
$DATA ASCII (3,3,-999.0) data
$VARIABLE
HERD ANIMAL GROUP AGE Y1 Y2
$MODEL
2 2 0 0 0
0
0
2 0 2 1 2
3 0 2 1 2
1 1
1 1
1 1
0
0
$VAR_STR 2 GROUP 3
$PRIOR
1 1 1 1.0
1 2 2 2.0
2 1 1 3.0
2 2 2 4.0
)";

// Herd, animal, group, age, two traits. The first record has no animal, the third no trait value,
// the fourth only the first one.
const char* kData = R"(30 -5 9 1.5 10 20
30 700 9 2.5 11 21
30 800 9 3.5 -999 -999
7 700 2 4.5 12 -999
12 1 5 5.5 13 23
7 2000000000 2 6.5 14 24
)";

// A residual group needs ten records.
constexpr int kTimes = 10;
template <class List>
List many_times(const List& list) {
    List all;
    for (int n = 0; n < kTimes; ++n) all.insert(all.end(), list.begin(), list.end());
    return all;
}

int32_t identity(const std::vector<CodeRow>& rows, int32_t level) {
    for (const CodeRow& row : rows)
        if (row.level == level) return row.key;
    return 0;
}

}  // namespace

// What an analysis program does: it finds the data again from the files alone.
TEST(HandOver, LevelsOfTheRecodedDataLeadBackToTheIdentities) {
    Scratch scratch;
    scratch.write("data", many_times(std::string(kData)));
    Outcome outcome = scratch.run(kDirectives);
    ASSERT_EQ(outcome.status, 0) << outcome.listing;
    Modinf model = decode_modinf(scratch.read("MODINF"));
    CodeTable codes = decode_code_table(scratch.read("CODE_TABLE"), model);

    std::vector<Ints> found;
    Floats ages;
    for (const std::string& record : framed_records(scratch.read("RCDATA_I"))) {
        Ints words = numbers<int32_t>(record);
        ASSERT_EQ(words.size(), static_cast<std::size_t>(model.tail.NIOUT));
        auto at = [&](int32_t rci) { return words.at(static_cast<std::size_t>(rci - 1)); };
        found.push_back({identity(codes.fixed[0][0], at(model.traits[0].f_ef_rci[0])),
                         identity(codes.fixed[1][0], at(model.traits[1].f_ef_rci[0])),
                         identity(codes.levels[0], at(model.matrices[0].r_id_rci[0])),
                         identity(codes.levels[1], at(model.matrices[1].grp_rci))});
    }
    EXPECT_EQ(found, many_times(std::vector<Ints>{
                         {30, 30, 700, 9}, {7, 0, 700, 2}, {12, 12, 1, 5}, {7, 7, 2000000000, 2}}));
    EXPECT_EQ(model.head.records_read, 6 * kTimes);
    EXPECT_EQ(model.head.records_written, 4 * kTimes);

    for (const std::string& record : framed_records(scratch.read("RCDATA_R"))) {
        Floats words = numbers<float>(record);
        ASSERT_EQ(words.size(), static_cast<std::size_t>(model.tail.NFOUT));
        ages.push_back(words.at(static_cast<std::size_t>(model.traits[0].reg_rci[0] - 1)));
    }
    EXPECT_EQ(ages, many_times(Floats{2.5, 4.5, 5.5, 6.5}));
}

TEST(HandOver, TellsWhatTheRunLearned) {
    Scratch scratch;
    scratch.write("data", many_times(std::string(kData)));
    scratch.write("KVEDIM", "&kvedim MFL=77 /");
    ASSERT_EQ(scratch.run(kDirectives).status, 0);
    Modinf file = decode_modinf(scratch.read("MODINF"));
    EXPECT_EQ(file.head.NLEV.values, (Ints{3, 3}));
    EXPECT_EQ(file.head.NRALEV, (Ints{3}));
    EXPECT_EQ(file.head.n_groups, 3);
    EXPECT_EQ(file.tail.group_codes, (Ints{2, 5, 9}));
    EXPECT_EQ(file.tail.group_counts, (Ints{2 * kTimes, kTimes, kTimes}));
    EXPECT_EQ(file.tail.MFL, 77);
    const ModinfMatrix& residual = file.matrices.at(1);
    EXPECT_EQ(residual.type, "GROUP");
    EXPECT_EQ(residual.grp_name, "GROUP");
    for (int g : {1, 2, 3}) EXPECT_EQ(residual.h_cov_mat.at(2, 2, g), 4.0);
    // one regression, then two herd effects of three levels, then animals with two rows each
    EXPECT_EQ(file.tail.NBEGREG.values, (Ints{0, 0}));
    EXPECT_EQ(file.tail.NBEGF.values, (Ints{1, 4}));
    EXPECT_EQ(file.tail.NBEGRA, (Ints{7, 6}));
    EXPECT_EQ(file.tail.NBEGRAT.values, (Ints{7, 8}));
    EXPECT_FALSE(scratch.has("PEDDATA"));
    EXPECT_FALSE(scratch.has("INBREED"));
}
