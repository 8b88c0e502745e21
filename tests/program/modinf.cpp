#include "modinf.h"

#include <stdexcept>

#include "run.h"

namespace {

// Records end with a bar. Each type stands with the extents of its items and a colon before them.
// "name?" says that the record is there only when the item of that name is neither 0 nor F.
const char* const kHead =
    "char1: version char3: release char24: RUN_DATE |"
    "char200: kve4 kve5 kveai kvemgp kvegs int: data_format | int: NI NR |"
    "int: ITASK IMETHOD ISCALE ITEST int64: NREC int: n_records total_observations |"
    "int: MAXZHZ IFSPWSP zero int64: zero_8 |"
    "int: nt NGaussTraits NRightCensTraits NCatTraits NBinTraits |"
    "int: N_CONT_TRAITS N_THRESH_TRAITS N_WGT_TRAITS int(nt): TraitIdWithWeight |"
    "int: MAX_N_ABSORB | MAX_N_ABSORB? int(MAX_N_ABSORB): NABGR MN_ABGR int: group_size |"
    "int: n_subjects largest_sequence | int: OLDSOL_H2 residual_format factor n_sol_cov |"
    "int: NRAMAT N_RAMAT_NOT_ABS |"
    "logical: any_covariable int: N_REG_TOTAL n_fixed_covariables n_random_covariables |"
    "int: MAX_N_REG N_REG_COLS | int: MAX_N_FIXED n_fixed_positions |"
    "int(nt,MAX_N_FIXED): NLEV int(NRAMAT): NRALEV int: grp_nlev |"
    "int: N_ZERO_RCOV | int(nt,nt+1): NORCOV |"  // two for each pair of traits
    "int: n_foreign_records | logical: L_INTERVAL";

const char* const kTrait =
    "int: trait_type trait_inp_no char8: trait_name int: trait_rci mix_trait seq_trait "
    "mix_t_inp_no "
    "seq_t_inp_no mix_t_rci seq_t_rci subject seq logical: l_cure |"
    "int: idelta wgt_inp_no char8: wgt_name int: wgt_rci int8: l_mixture int: mix_t_no mix_inp_no "
    "char8: mix_name int: mix_rci |"
    "int: n_absorb | int: n_ef n_fixed n_random n_random_abs | int: n_reg n_dif_reg |"
    "int: n_f_reg n_f_o_reg n_f_n_reg n_r_n_reg | int: n_cat n_obs |"
    "n_absorb? int(n_absorb): a_ef_inp char8(n_absorb): a_ef_name int(n_absorb): a_ef_rci |"
    "int(n_ef): ef_inp ef_rci reduce logical(n_ef): intercept logical(n_fixed): f_intercept "
    "logical(n_random): r_intercept real32(n_ef): ef_coeff real32(n_fixed): f_ef_coeff "
    "real32(n_random): r_ef_coeff |"
    "int(n_fixed): f_ef_inp char8(n_fixed): f_ef_name int(n_fixed): f_ef_rci |"
    "int(n_random): r_ef_inp char8(n_random): r_ef_name int(n_random): r_ef_rci |"
    "n_reg? int(n_reg): reg_type reg_inp int8(n_reg): reg_mixture char8(n_reg): reg_name "
    "int(n_reg): reg_rci int(n_dif_reg): n_times |"
    "n_reg? int(n_reg): reg_n_inp char18(n_reg): reg_name_n int(n_reg): reg_n_rci |"
    "n_reg? int(n_reg): reg_n_ef_no reg_r_number reg_r_matno reg_rmat_pos |"
    "int(n_random): r_ef_matno ass_rf | logical: l_glmm |"
    "real32: corr_fact int: offset_inp offset_rci | char256: var_fn | char256: link_fn |"
    "char256: var_f | char256: link_f | char256: dlink_f | char256: invlink_f | char256: deviance |"
    "logical: l_cens | l_cens? int: cens_inp cens_rci int_max_inp int_max_rci";

const char* const kMatrix =
    "int: n_cont n_rc rank n_traits n_r_eff n_random_id |"
    "char12: type int: method logical: l_ram int: ass_rf char8: reserved int: n_phg "
    "logical: phg_random real64: ran_factor int: rel_format char200: rel_file "
    "real64: log_det logical: l_log_det |"
    "int: m_n_rr logical: l_rr int(n_traits): trait_no | int(n_traits): trait_inp |"
    "random? int(n_cont): cont_rc cont_rc1 cont_t_no cont_t_inp cont_t_rci cont_eff cont_eff_inp "
    "cont_eff_rci cont_rr_inp cont_rr_rci char8(n_cont): cont_id_name cont_t_name cont_rr_name "
    "real64(n_cont): cont_coeff logical(n_cont): cont_rr_eff |"
    "random? int(n_traits): reduce r_eff int(n_r_eff): r_eff_inp int(n_traits): trait_blk_size "
    "trait_blk_start |"
    "int(n_r_eff): n_rr | m_n_rr? int(n_traits,m_n_rr): rr_f_inp rr_f_rcr |"
    "int(n_r_eff): t_r_eff_rci | int(n_random_id): random_id_inp logical(n_r_eff): intercept |"
    "int(n_random_id): r_id_rci int(rank): rank_tn rank_ndt |"
    "int(n_traits): t_no | char8(n_traits): t_name | real64(rank,rank): cov_mat p_cov_mat |"
    "residual? int: grp_inp grp_rci char8: grp_name int: grp_nlev |"
    "residual? int(grp_nlev): grp_code niegr | residual? real64(rank,rank,grp_nlev): h_cov_mat |"
    "residual? logical(n_rc,n_rc): l_rcov_zero logical: l_grp_prior logical(grp_nlev): l_grp_pr |"
    "logical(rank,rank): l_cv_rest | logical(rank,rank): l_cor_rest |"
    "logical: l_vratio_nom l_vratio_denon |"
    "logical: l_vratio_mat_rest logical(rank): l_vratio_elem real64(rank): p_ratio | int: zero";

const char* const kTail =
    "int(nt,MAX_N_REG): NBEGREG int(nt,MAX_N_FIXED): NBEGF int(NRAMAT+1): NBEGRA "
    "int(members,NRAMAT): NBEGRAT | real64(nt): RSD SPRE |"
    "int: glmm_iterations real64: glmm_criterion | int: NIOUT NFOUT |"
    "int: MFL MDL MAXNRM MAXZHZ IFSPWSP | grouped? int(grp_nlev): grp_code niegr |"
    "options? int: factor char4: model_type int: option_1 option_2 logical: pedigree_exists "
    "int: n_sol_cov int(equations): sol_cov";

class Records {
 public:
    explicit Records(const std::string& bytes) : all_(framed_records(bytes)) {}

    // The records of a block. `known` are the extents and conditions that it does not hold itself.
    Fields block(const char* layout, const Fields& known = {}) {
        fields_.clear();
        known_ = known;
        std::istringstream records(layout);
        while (std::getline(records, line_, '|')) record();
        return fields_;
    }

    void expect_end() {
        if (next_ < all_.size()) fail("is not the last one");
    }

 private:
    [[noreturn]] void fail(const std::string& what) const {
        throw std::runtime_error("the record " + line_ + " " + what);
    }

    void record() {
        rest_ = next_ < all_.size() ? all_[next_] : "";
        std::istringstream words(line_);
        std::string type;
        int64_t n = 1;
        for (std::string word; words >> word;) {
            if (word.back() == '?') {
                const std::string& condition = value(word.substr(0, word.size() - 1));
                if (condition == "0" || condition == "F") return;
            } else if (word.back() == ':') {
                word.resize(word.find_last_not_of("):") + 1);
                std::istringstream parts(word);
                std::getline(parts, type, '(');
                n = 1;
                for (std::string one; std::getline(parts, one, ',');) n *= extent(one);
            } else {
                std::string values;
                for (int64_t k = 0; k < n; ++k)
                    values.append(k > 0 ? " " : "").append(element(type));
                fields_[word] = values;
            }
        }
        if (next_++ >= all_.size()) fail("is not there");
        if (!rest_.empty()) fail("has more bytes than its items take");
    }

    std::string element(const std::string& type) {
        if (type == "int") return printed(numbers<int32_t>(cut(4)));
        if (type == "int8") return printed(numbers<int8_t>(cut(1)));
        if (type == "int64") return printed(numbers<int64_t>(cut(8)));
        if (type == "real32") return printed(numbers<float>(cut(4)));
        if (type == "real64") return printed(numbers<double>(cut(8)));
        if (type == "logical") {
            const std::string raw = printed(numbers<int32_t>(cut(4)));
            if (raw != "0" && raw != "-1") fail("holds the logical " + raw);
            return printed(raw == "-1");
        }
        const std::string chars = cut(std::stoul(type.substr(4)));
        if (chars.find('\0') != chars.npos) fail("holds a text with a zero byte");
        return chars.substr(0, chars.find_last_not_of(' ') + 1).insert(0, 1, '\'').append(1, '\'');
    }

    std::string cut(std::size_t n) {
        if (rest_.size() < n) fail("has fewer bytes than its items take");
        std::string piece = rest_.substr(0, n);
        rest_.erase(0, n);
        return piece;
    }

    // The value of a name or of "name+1".
    int64_t extent(const std::string& sum) const {
        const std::string name = sum.substr(0, sum.find('+'));
        return std::stoi(value(name)) + (name == sum ? 0 : 1);
    }
    const std::string& value(const std::string& name) const {
        auto at = fields_.find(name);
        return at != fields_.end() ? at->second : known_.at(name);
    }

    std::vector<std::string> all_;
    std::size_t next_ = 0;
    std::string line_, rest_;  // the record under way
    Fields fields_, known_;    // of the block
};

}  // namespace

Modinf decode_modinf(const std::string& bytes) {
    Records in(bytes);
    Modinf all;
    all.head = in.block(kHead);
    Fields known = all.head;
    for (int i = 1; i <= std::stoi(known["nt"]); ++i) all.traits.push_back(in.block(kTrait));
    int members = 0;
    for (int k = 1; k <= std::stoi(known["NRAMAT"]); ++k) {
        all.matrices.push_back(in.block(kMatrix, {{"random", "T"}, {"residual", "F"}}));
        members = std::max(members, std::stoi(all.matrices.back()["n_traits"]));
    }
    all.matrices.push_back(in.block(kMatrix, {{"random", "F"}, {"residual", "T"}}));
    known["members"] = printed(members);
    known["grouped"] = printed(all.matrices.back()["type"] == "'GROUP'");
    known["options"] = printed(known["factor"] != "0" || known["n_sol_cov"] != "0");
    known["equations"] = printed(std::max(std::stoi(known["n_sol_cov"]), 0));
    all.tail = in.block(kTail, known);
    in.expect_end();
    return all;
}
