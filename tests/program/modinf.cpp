#include "modinf.h"

#include <algorithm>
#include <concepts>
#include <stdexcept>

#include "run.h"

namespace {

// An item of a record that needs more than its type: a text of a width, a list, a grid.
struct chars {
    std::size_t width;
    std::string& into;
};
template <class List>
struct many {
    int64_t n;
    List& into;
};
template <class List>
many(int64_t, List&) -> many<List>;
struct names {
    int64_t n;
    std::size_t width;
    Texts& into;
};
template <class T>
struct grid {
    std::vector<int64_t> extents;
    Grid<T>& into;
};
template <class T>
grid(std::vector<int64_t>, Grid<T>&) -> grid<T>;

template <class T>
concept Number = std::same_as<T, int8_t> || std::same_as<T, int32_t> || std::same_as<T, int64_t> ||
    std::same_as<T, float> || std::same_as<T, double>;

class Records {
 public:
    Records(const std::string& file, const std::string& bytes)
        : file_(file), all_(framed_records(bytes)) {}

    // The next record, of exactly the bytes that the layout tells, made of the items.
    template <class... Items>
    void record(const std::string& name, int64_t bytes, Items&&... items) {
        name_ = name;
        if (next_ == all_.size()) fail("is not there");
        const std::string& found = all_[next_++];
        if (found.size() != static_cast<std::size_t>(bytes))
            fail("has " + std::to_string(found.size()) + " bytes, not " + std::to_string(bytes));
        rest_ = found;
        (take(items), ...);
        if (!rest_.empty()) fail("has more bytes than its items take");
    }

    std::size_t count() const { return all_.size(); }
    void expect_end() {
        if (next_ < all_.size()) fail("is not the last one");
    }

 private:
    [[noreturn]] void fail(const std::string& what) const {
        throw std::runtime_error(file_ + " record " + std::to_string(next_) + " (" + name_ + ") " +
                                 what);
    }

    std::string_view cut(std::size_t n) {
        if (rest_.size() < n) fail("has fewer bytes than its items take");
        std::string_view piece = rest_.substr(0, n);
        rest_.remove_prefix(n);
        return piece;
    }

    template <Number T>
    void take(T& into) {
        std::string_view piece = cut(sizeof into);
        std::copy(piece.begin(), piece.end(), reinterpret_cast<char*>(&into));
    }
    void take(bool& into) {
        int32_t raw = 0;
        take(raw);
        if (raw != 0 && raw != -1) fail("holds the logical " + std::to_string(raw));
        into = raw == -1;
    }
    void take(const chars& item) {
        std::string_view piece = cut(item.width);
        if (piece.find('\0') != piece.npos) fail("holds a text with a zero byte");
        item.into = piece.substr(0, piece.find_last_not_of(' ') + 1);
    }
    template <class T>
    void take(const many<std::vector<T>>& item) {
        for (int64_t k = 0; k < item.n; ++k) {
            T value{};
            take(value);
            item.into.push_back(value);
        }
    }
    void take(const names& item) {
        for (int64_t k = 0; k < item.n; ++k) take(chars{item.width, item.into.emplace_back()});
    }
    template <class T>
    void take(const grid<T>& item) {
        int64_t n = 1;
        for (int64_t extent : item.extents) n *= extent;
        item.into.extents = item.extents;
        take(many{n, item.into.values});
    }

    std::string file_, name_;
    std::vector<std::string> all_;
    std::size_t next_ = 0;
    std::string_view rest_;
};

ModinfHead head_block(Records& in) {
    ModinfHead h;
    in.record("head 1", 28, chars{1, h.version}, chars{3, h.release}, chars{24, h.date});
    in.record("head 2", 1004, names{5, 200, h.section_files}, h.data_format);
    in.record("head 3", 8, h.NI, h.NR);
    in.record("head 4", 32, h.ITASK, h.IMETHOD, h.ISCALE, h.ITEST, h.records_read,
              h.records_written, h.total_observations);
    in.record("head 5", 20, h.MAXZHZ, h.IFSPWSP, h.zero_4, h.zero_8);
    in.record("head 6", 20, h.nt, h.NGaussTraits, h.NRightCensTraits, h.NCatTraits, h.NBinTraits);
    in.record("head 7", 12 + 4 * h.nt, h.N_CONT_TRAITS, h.N_THRESH_TRAITS, h.N_WGT_TRAITS,
              many{h.nt, h.TraitIdWithWeight});
    in.record("head 8", 4, h.MAX_N_ABSORB);
    if (h.MAX_N_ABSORB > 0)
        in.record("head 9", 8 * h.MAX_N_ABSORB + 4, many{h.MAX_N_ABSORB, h.NABGR},
                  many{h.MAX_N_ABSORB, h.MN_ABGR}, h.group_size);
    in.record("head 10", 8, h.n_subjects, h.largest_sequence);
    in.record("head 11", 16, h.OLDSOL_H2, h.residual_format, h.td_ptd_factor, h.n_sol_cov);
    in.record("head 12", 8, h.NRAMAT, h.N_RAMAT_NOT_ABS);
    in.record("head 13", 16, h.any_covariable, h.N_REG_TOTAL, h.n_fixed_covariables,
              h.n_random_covariables);
    in.record("head 14", 8, h.MAX_N_REG, h.N_REG_COLS);
    in.record("head 15", 8, h.MAX_N_FIXED, h.n_fixed_positions);
    in.record("head 16", 4 * (h.nt * h.MAX_N_FIXED + h.NRAMAT + 1),
              grid{{h.nt, h.MAX_N_FIXED}, h.NLEV}, many{h.NRAMAT, h.NRALEV}, h.n_groups);
    in.record("head 17", 4, h.N_ZERO_RCOV);
    in.record("head 18", 4 * h.nt * (h.nt + 1), grid{{2, h.nt * (h.nt + 1) / 2}, h.NORCOV});
    in.record("head 19", 4, h.n_foreign_records);
    in.record("head 20", 4, h.L_INTERVAL);
    return h;
}

void trait_regressions(Records& in, const std::string& at, ModinfTrait& t) {
    int64_t n = t.n_reg;
    in.record(at + "12a", 21 * n + 4 * t.n_dif_reg, many{n, t.reg_type}, many{n, t.reg_inp},
              many{n, t.reg_mixture}, names{n, 8, t.reg_name}, many{n, t.reg_rci},
              many{t.n_dif_reg, t.n_times});
    in.record(at + "12b", 26 * n, many{n, t.reg_n_inp}, names{n, 18, t.reg_name_n},
              many{n, t.reg_n_rci});
    in.record(at + "12c", 16 * n, many{n, t.reg_n_ef_no}, many{n, t.reg_r_number},
              many{n, t.reg_r_matno}, many{n, t.reg_rmat_pos});
}

void trait_functions(Records& in, const std::string& at, ModinfTrait& t) {
    in.record(at + "14", 4, t.l_glmm);
    in.record(at + "15", 12, t.corr_fact, t.offset_inp, t.offset_rci);
    for (std::string* text :
         {&t.var_fn, &t.link_fn, &t.var_f, &t.link_f, &t.dlink_f, &t.invlink_f, &t.deviance})
        in.record(at + "16", 256, chars{256, *text});
    in.record(at + "17", 4, t.l_cens);
    if (t.l_cens) in.record(at + "18", 16, t.cens_inp, t.cens_rci, t.int_max_inp, t.int_max_rci);
}

ModinfTrait trait_block(Records& in, int i) {
    const std::string at = "trait " + std::to_string(i) + ", ";
    ModinfTrait t;
    in.record(at + "1", 56, t.trait_type, t.trait_inp_no, chars{8, t.trait_name}, t.trait_rci,
              t.mix_trait, t.seq_trait, t.mix_t_inp_no, t.seq_t_inp_no, t.mix_t_rci, t.seq_t_rci,
              t.subject, t.seq, t.l_cure);
    in.record(at + "2", 41, t.idelta, t.wgt_inp_no, chars{8, t.wgt_name}, t.wgt_rci, t.l_mixture,
              t.mix_t_no, t.mix_inp_no, chars{8, t.mix_name}, t.mix_rci);
    in.record(at + "3", 4, t.n_absorb);
    in.record(at + "4", 16, t.n_ef, t.n_fixed, t.n_random, t.n_random_abs);
    in.record(at + "5", 8, t.n_reg, t.n_dif_reg);
    in.record(at + "6", 16, t.n_f_reg, t.n_f_o_reg, t.n_f_n_reg, t.n_r_n_reg);
    in.record(at + "7", 8, t.n_cat, t.n_obs);
    if (t.n_absorb > 0)
        in.record(at + "8", 16 * t.n_absorb, many{t.n_absorb, t.a_ef_inp},
                  names{t.n_absorb, 8, t.a_ef_name}, many{t.n_absorb, t.a_ef_rci});
    in.record(at + "9", 28 * t.n_ef, many{t.n_ef, t.ef_inp}, many{t.n_ef, t.ef_rci},
              many{t.n_ef, t.reduce}, many{t.n_ef, t.intercept}, many{t.n_fixed, t.f_intercept},
              many{t.n_random, t.r_intercept}, many{t.n_ef, t.ef_coeff},
              many{t.n_fixed, t.f_ef_coeff}, many{t.n_random, t.r_ef_coeff});
    in.record(at + "10", 16 * t.n_fixed, many{t.n_fixed, t.f_ef_inp},
              names{t.n_fixed, 8, t.f_ef_name}, many{t.n_fixed, t.f_ef_rci});
    in.record(at + "11", 16 * t.n_random, many{t.n_random, t.r_ef_inp},
              names{t.n_random, 8, t.r_ef_name}, many{t.n_random, t.r_ef_rci});
    if (t.n_reg > 0) trait_regressions(in, at, t);
    in.record(at + "13", 8 * t.n_random, many{t.n_random, t.r_ef_matno},
              many{t.n_random, t.ass_rf});
    trait_functions(in, at, t);
    return t;
}

void matrix_contributions(Records& in, const std::string& at, ModinfMatrix& r) {
    int64_t n = r.n_cont, members = r.n_traits;
    in.record(at + "5", 76 * n, many{n, r.cont_rc}, many{n, r.cont_rc1}, many{n, r.cont_t_no},
              many{n, r.cont_t_inp}, many{n, r.cont_t_rci}, many{n, r.cont_eff},
              many{n, r.cont_eff_inp}, many{n, r.cont_eff_rci}, many{n, r.cont_rr_inp},
              many{n, r.cont_rr_rci}, names{n, 8, r.cont_id_name}, names{n, 8, r.cont_t_name},
              names{n, 8, r.cont_rr_name}, many{n, r.cont_coeff}, many{n, r.cont_rr_eff});
    in.record(at + "6", 4 * (4 * members + r.n_r_eff), many{members, r.reduce},
              many{members, r.r_eff}, many{r.n_r_eff, r.r_eff_inp}, many{members, r.trait_blk_size},
              many{members, r.trait_blk_start});
}

void matrix_groups(Records& in, const std::string& at, ModinfMatrix& r) {
    int64_t rank = r.rank, n_rc = r.n_rc, groups = 0;
    in.record(at + "15", 20, r.grp_inp, r.grp_rci, chars{8, r.grp_name}, r.grp_nlev);
    groups = r.grp_nlev;
    in.record(at + "16", 8 * groups, many{groups, r.grp_code}, many{groups, r.niegr});
    in.record(at + "17", 8 * rank * rank * groups, grid{{rank, rank, groups}, r.h_cov_mat});
    in.record(at + "18", 4 * (n_rc * n_rc + 1 + groups), grid{{n_rc, n_rc}, r.l_rcov_zero},
              r.l_grp_prior, many{groups, r.l_grp_pr});
}

ModinfMatrix matrix_block(Records& in, int k, bool residual) {
    const std::string at = "matrix " + std::to_string(k) + ", ";
    ModinfMatrix r;
    in.record(at + "1", 24, r.n_cont, r.n_rc, r.rank, r.n_traits, r.n_r_eff, r.n_random_id);
    int64_t members = r.n_traits, rank = r.rank, ids = r.n_random_id, effects = r.n_r_eff;
    in.record(at + "2", 264, chars{12, r.type}, r.method, r.l_ram, r.ass_rf, chars{8, r.reserved},
              r.n_phg, r.phg_random, r.ran_factor, r.rel_format, chars{200, r.rel_file}, r.log_det,
              r.l_log_det);
    in.record(at + "3", 8 + 4 * members, r.m_n_rr, r.l_rr, many{members, r.trait_no});
    in.record(at + "4", 4 * members, many{members, r.trait_inp});
    if (!residual) matrix_contributions(in, at, r);
    in.record(at + "7", 4 * effects, many{effects, r.n_rr});
    if (r.m_n_rr > 0)
        in.record(at + "8", 8 * members * r.m_n_rr, grid{{members, r.m_n_rr}, r.rr_f_inp},
                  grid{{members, r.m_n_rr}, r.rr_f_rcr});
    in.record(at + "9", 4 * effects, many{effects, r.t_r_eff_rci});
    in.record(at + "10", 4 * (ids + effects), many{ids, r.random_id_inp},
              many{effects, r.intercept});
    in.record(at + "11", 4 * (ids + 2 * rank), many{ids, r.r_id_rci}, many{rank, r.rank_tn},
              many{rank, r.rank_ndt});
    in.record(at + "12", 4 * members, many{members, r.t_no});
    in.record(at + "13", 8 * members, names{members, 8, r.t_name});
    in.record(at + "14", 16 * rank * rank, grid{{rank, rank}, r.cov_mat},
              grid{{rank, rank}, r.p_cov_mat});
    if (residual) matrix_groups(in, at, r);
    in.record(at + "19", 4 * rank * rank, grid{{rank, rank}, r.l_cv_rest});
    in.record(at + "20", 4 * rank * rank, grid{{rank, rank}, r.l_cor_rest});
    in.record(at + "21", 8, r.l_vratio_nom, r.l_vratio_denon);
    in.record(at + "22", 4 + 12 * rank, r.l_vratio_mat_rest, many{rank, r.l_vratio_elem},
              many{rank, r.p_ratio});
    in.record(at + "23", 4, r.closing);
    return r;
}

ModinfTail tail_block(Records& in, const ModinfHead& h, const std::vector<ModinfMatrix>& all) {
    const ModinfMatrix& residual = all.back();
    int64_t most_members = 0;
    for (std::size_t k = 0; k + 1 < all.size(); ++k)
        most_members = std::max<int64_t>(most_members, all[k].n_traits);
    ModinfTail t;
    int64_t places = h.nt * h.MAX_N_REG + h.nt * h.MAX_N_FIXED + h.NRAMAT + 1;
    in.record("tail 1", 4 * (places + most_members * h.NRAMAT),
              grid{{h.nt, h.MAX_N_REG}, t.NBEGREG}, grid{{h.nt, h.MAX_N_FIXED}, t.NBEGF},
              many{h.NRAMAT + 1, t.NBEGRA}, grid{{most_members, h.NRAMAT}, t.NBEGRAT});
    in.record("tail 2", 16 * h.nt, many{h.nt, t.RSD}, many{h.nt, t.SPRE});
    in.record("tail 3", 12, t.glmm_iterations, t.glmm_criterion);
    in.record("tail 4", 8, t.NIOUT, t.NFOUT);
    in.record("tail 5", 20, t.MFL, t.MDL, t.MAXNRM, t.MAXZHZ, t.IFSPWSP);
    if (residual.type == "GROUP")
        in.record("tail 6", 8 * residual.grp_nlev, many{residual.grp_nlev, t.group_codes},
                  many{residual.grp_nlev, t.group_counts});
    t.has_options = h.td_ptd_factor != 0 || h.n_sol_cov != 0;
    int64_t equations = std::max(h.n_sol_cov, 0);
    if (t.has_options)
        in.record("tail 7", 24 + 4 * equations, t.td_ptd_factor, chars{4, t.td_ptd_model},
                  t.td_ptd_option_1, t.td_ptd_option_2, t.td_ptd_pedigree, t.n_sol_cov,
                  many{equations, t.sol_cov});
    return t;
}

std::vector<CodeRow> level_list(Records& in, const std::string& name, int64_t n) {
    std::vector<CodeRow> rows;
    for (int64_t k = 0; k < n; ++k) {
        CodeRow& r = rows.emplace_back();
        in.record(name, 24, r.next, r.key, r.n_obs, r.level, r.child_0, r.child_1);
        if ((r.next == 0) != (k + 1 == n))
            throw std::runtime_error(name + ": the list does not end with its last level");
    }
    return rows;
}

// The number of animals on a list stands nowhere: the last one has no next row.
std::vector<AnimalCode> animal_list(Records& in, const std::string& name) {
    std::vector<AnimalCode> rows;
    do {
        AnimalCode& r = rows.emplace_back();
        in.record(name, 52, r.row, r.key, r.n_obs, r.level, r.sort, r.sire, r.dam, r.next,
                  r.sire_row, r.dam_row, r.child_0, r.child_1, r.n_desc);
    } while (rows.back().next != 0);
    return rows;
}

}  // namespace

Modinf decode_modinf(const std::string& bytes) {
    Records in("MODINF", bytes);
    Modinf all;
    all.n_records = in.count();
    all.head = head_block(in);
    for (int i = 1; i <= all.head.nt; ++i) all.traits.push_back(trait_block(in, i));
    for (int k = 1; k <= all.head.NRAMAT + 1; ++k)
        all.matrices.push_back(matrix_block(in, k, k > all.head.NRAMAT));
    all.tail = tail_block(in, all.head, all.matrices);
    in.expect_end();
    return all;
}

CodeTable decode_code_table(const std::string& bytes, const Modinf& model) {
    Records in("CODE_TABLE", bytes);
    CodeTable all;
    for (int i = 1; i <= model.head.nt; ++i) {
        auto& effects = all.fixed.emplace_back();
        for (int j = 1; j <= model.traits[static_cast<std::size_t>(i - 1)].n_fixed; ++j)
            effects.push_back(level_list(in, "fixed effect", model.head.NLEV.at(i, j)));
    }
    for (std::size_t k = 0; k < model.matrices.size(); ++k) {
        const ModinfMatrix& r = model.matrices[k];
        auto& levels = all.levels.emplace_back();
        auto& animals = all.animals.emplace_back();
        bool residual = k + 1 == model.matrices.size();
        if (residual && r.type == "GROUP")
            levels = level_list(in, "residual groups", r.grp_nlev);
        else if (!residual && (r.type == "I" || r.type == "COR" || r.type == "GREL"))
            levels = level_list(in, "random factor", model.head.NRALEV[k]);
        else if (r.type == "PED" || r.type == "PGMIX" || r.type == "DOM")
            animals = animal_list(in, "pedigree");
    }
    in.expect_end();
    return all;
}
