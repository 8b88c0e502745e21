// Decoders of MODINF and CODE_TABLE. They know the layout told in docs/files.md and nothing of the
// program's own records: every extent comes from an earlier record. A record of another length
// than the layout says, a logical other than 0 and -1, a text with a zero byte or a record too
// many throws std::runtime_error, which names the record.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

// An array of up to three dimensions, first index fastest.
template <class T>
struct Grid {
    std::vector<int64_t> extents;
    std::vector<T> values;

    T at(int64_t i, int64_t j, int64_t k = 1) const {
        int64_t place = ((k - 1) * extents.at(1) + j - 1) * extents.at(0) + i - 1;
        return values.at(static_cast<std::size_t>(place));
    }
};

using Ints = std::vector<int32_t>;
using Floats = std::vector<float>;
using Doubles = std::vector<double>;
using Logicals = std::vector<bool>;
using Texts = std::vector<std::string>;  // without the padding

struct ModinfHead {
    std::string version, release, date;
    Texts section_files;
    int32_t data_format;
    int32_t NI, NR;
    int32_t ITASK, IMETHOD, ISCALE, ITEST;
    int64_t records_read;
    int32_t records_written, total_observations;
    int32_t MAXZHZ, IFSPWSP, zero_4;
    int64_t zero_8;
    int32_t nt, NGaussTraits, NRightCensTraits, NCatTraits, NBinTraits;
    int32_t N_CONT_TRAITS, N_THRESH_TRAITS, N_WGT_TRAITS;
    Ints TraitIdWithWeight;
    int32_t MAX_N_ABSORB;
    Ints NABGR, MN_ABGR;
    int32_t group_size = 0;
    int32_t n_subjects, largest_sequence;
    int32_t OLDSOL_H2, residual_format, td_ptd_factor, n_sol_cov;
    int32_t NRAMAT, N_RAMAT_NOT_ABS;
    bool any_covariable;
    int32_t N_REG_TOTAL, n_fixed_covariables, n_random_covariables;
    int32_t MAX_N_REG, N_REG_COLS;
    int32_t MAX_N_FIXED, n_fixed_positions;
    Grid<int32_t> NLEV;
    Ints NRALEV;
    int32_t n_groups;
    int32_t N_ZERO_RCOV;
    Grid<int32_t> NORCOV;
    int32_t n_foreign_records;
    bool L_INTERVAL;
};

struct ModinfTrait {
    int32_t trait_type, trait_inp_no;
    std::string trait_name;
    int32_t trait_rci, mix_trait, seq_trait, mix_t_inp_no, seq_t_inp_no, mix_t_rci, seq_t_rci;
    int32_t subject, seq;
    bool l_cure;
    int32_t idelta, wgt_inp_no;
    std::string wgt_name;
    int32_t wgt_rci;
    int8_t l_mixture;
    int32_t mix_t_no, mix_inp_no;
    std::string mix_name;
    int32_t mix_rci;
    int32_t n_absorb, n_ef, n_fixed, n_random, n_random_abs;
    int32_t n_reg, n_dif_reg, n_f_reg, n_f_o_reg, n_f_n_reg, n_r_n_reg;
    int32_t n_cat, n_obs;
    Ints a_ef_inp, a_ef_rci;
    Texts a_ef_name;
    Ints ef_inp, ef_rci, reduce;
    Logicals intercept, f_intercept, r_intercept;
    Floats ef_coeff, f_ef_coeff, r_ef_coeff;
    Ints f_ef_inp, f_ef_rci, r_ef_inp, r_ef_rci;
    Texts f_ef_name, r_ef_name;
    Ints reg_type, reg_inp, reg_rci, n_times;
    std::vector<int8_t> reg_mixture;
    Texts reg_name, reg_name_n;
    Ints reg_n_inp, reg_n_rci, reg_n_ef_no, reg_r_number, reg_r_matno, reg_rmat_pos;
    Ints r_ef_matno, ass_rf;
    bool l_glmm;
    float corr_fact;
    int32_t offset_inp, offset_rci;
    std::string var_fn, link_fn, var_f, link_f, dlink_f, invlink_f, deviance;
    bool l_cens;
    int32_t cens_inp = 0, cens_rci = 0, int_max_inp = 0, int_max_rci = 0;
};

struct ModinfMatrix {
    int32_t n_cont, n_rc, rank, n_traits, n_r_eff, n_random_id;
    std::string type;
    int32_t method;
    bool l_ram;
    int32_t ass_rf;
    std::string reserved;
    int32_t n_phg;
    bool phg_random;
    double ran_factor;
    int32_t rel_format;
    std::string rel_file;
    double log_det;
    bool l_log_det;
    int32_t m_n_rr;
    bool l_rr;
    Ints trait_no, trait_inp;
    Ints cont_rc, cont_rc1, cont_t_no, cont_t_inp, cont_t_rci, cont_eff, cont_eff_inp;
    Ints cont_eff_rci, cont_rr_inp, cont_rr_rci;
    Texts cont_id_name, cont_t_name, cont_rr_name;
    Doubles cont_coeff;
    Logicals cont_rr_eff;
    Ints reduce, r_eff, r_eff_inp, trait_blk_size, trait_blk_start;
    Ints n_rr;
    Grid<int32_t> rr_f_inp, rr_f_rcr;
    Ints t_r_eff_rci, random_id_inp;
    Logicals intercept;
    Ints r_id_rci, rank_tn, rank_ndt, t_no;
    Texts t_name;
    Grid<double> cov_mat, p_cov_mat;
    int32_t grp_inp = 0, grp_rci = 0;
    std::string grp_name;
    int32_t grp_nlev = 0;
    Ints grp_code, niegr;
    Grid<double> h_cov_mat;
    Grid<bool> l_rcov_zero;
    bool l_grp_prior = false;
    Logicals l_grp_pr;
    Grid<bool> l_cv_rest, l_cor_rest;
    bool l_vratio_nom, l_vratio_denon, l_vratio_mat_rest;
    Logicals l_vratio_elem;
    Doubles p_ratio;
    int32_t closing;
};

struct ModinfTail {
    Grid<int32_t> NBEGREG, NBEGF;
    Ints NBEGRA;
    Grid<int32_t> NBEGRAT;
    Doubles RSD, SPRE;
    int32_t glmm_iterations;
    double glmm_criterion;
    int32_t NIOUT, NFOUT;
    int32_t MFL, MDL, MAXNRM, MAXZHZ, IFSPWSP;
    Ints group_codes, group_counts;  // only with a GROUP residual
    bool has_options = false;
    int32_t td_ptd_factor = 0;
    std::string td_ptd_model;
    int32_t td_ptd_option_1 = 0, td_ptd_option_2 = 0;
    bool td_ptd_pedigree = false;
    int32_t n_sol_cov = 0;
    Ints sol_cov;
};

struct Modinf {
    ModinfHead head;
    std::vector<ModinfTrait> traits;
    std::vector<ModinfMatrix> matrices;  // the residual last
    ModinfTail tail;
    std::size_t n_records = 0;
};

struct CodeRow {
    int32_t next, key, n_obs, level, child_0, child_1;
    bool operator==(const CodeRow&) const = default;
};

struct AnimalCode {
    int32_t row, key, n_obs, level, sort, sire, dam, next, sire_row, dam_row, child_0, child_1,
        n_desc;
    bool operator==(const AnimalCode&) const = default;
};

struct CodeTable {
    std::vector<std::vector<std::vector<CodeRow>>> fixed;  // trait, fixed effect, level
    std::vector<std::vector<CodeRow>> levels;              // factor; the residual groups last
    std::vector<std::vector<AnimalCode>> animals;          // factor
};

// The whole content of the file.
Modinf decode_modinf(const std::string& bytes);
CodeTable decode_code_table(const std::string& bytes, const Modinf& model);
