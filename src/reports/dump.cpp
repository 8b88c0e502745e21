#include "reports/dump.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>

#include "base/arrays.h"
#include "base/state.h"
#include "base/text.h"
#include "directives/catalogue.h"
#include "directives/directives.h"
#include "listing/listing.h"
#include "model/model_records.h"

namespace kve {

READS(KVEINT);
READS(MODEL);
READS(RMAT);

namespace {

constexpr int64_t kMostElements = 100;  // of a list
constexpr int64_t kMostRows = 20;       // of a matrix
constexpr std::size_t kLongestLine = 110;

// One line of the dump, which goes on below its first value when it is full.
class Line {
 public:
    explicit Line(std::string_view name) : text_("  ") {
        text_ += name;
        text_.resize(std::max(kFirstValue, text_.size()), ' ');
    }
    void add(std::string_view item) {
        if (text_.size() + 1 + item.size() > kLongestLine && text_.size() > kFirstValue) {
            print();
            text_.assign(kFirstValue, ' ');
        }
        text_ += ' ';
        text_ += item;
    }
    void print() const { say_row("%.*s", KVE_SV(text_)); }

 private:
    static constexpr std::size_t kFirstValue = 28;
    std::string text_;
};

std::string joined(std::initializer_list<std::string_view> parts) {
    std::string text;
    for (std::string_view part : parts) text += part;
    return text;
}

std::string word(std::integral auto value) { return std::to_string(value); }
std::string word(bool value) { return value ? "T" : "F"; }
std::string word(logical4 value) { return word(static_cast<bool>(value)); }
std::string word(double value) {
    std::string text;
    append(text, "%.9g", value);
    return text;
}
std::string word(Structure value) { return joined({"'", structure_name(value), "'"}); }
template <int N>
std::string word(const Text<N>& value) {
    return joined({"'", value.view(), "'"});
}

void show(std::string_view name, const auto& value) {
    Line line(name);
    line.add(word(value));
    line.print();
}

template <class T>
void show(std::string_view name, const Vec<T>& list) {
    const int64_t shown = std::min(list.size(), kMostElements);
    Line line(name);
    for (int64_t i = 1; i <= shown; ++i) line.add(word(list(i)));
    if (shown < list.size()) line.add(joined({"... of ", word(list.size())}));
    line.print();
}

// A matrix stands row by row; `at` gives its elements.
void show_rows(std::string_view name, int64_t rows, int64_t columns, const auto& at) {
    if (rows == 0) Line(name).print();
    for (int64_t i = 1; i <= std::min(rows, kMostRows); ++i) {
        Line line(joined({name, "(", word(i), ",:)"}));
        for (int64_t j = 1; j <= std::min(columns, kMostElements); ++j) line.add(word(at(i, j)));
        line.print();
    }
    if (rows > kMostRows) Line(joined({"... of ", word(rows), " rows"})).print();
}

template <class T>
void show(std::string_view name, const Matrix<T>& matrix) {
    show_rows(name, matrix.rows(), matrix.columns(), matrix);
}

template <class T>
void show(std::string_view name, const Cube<T>& cube) {
    for (int64_t k = 1; k <= std::min(cube.layers(), kMostRows); ++k)
        show_rows(joined({name, "(:,:,", word(k), ")"}), cube.rows(), cube.columns(),
                  [&](int64_t i, int64_t j) { return cube(i, j, k); });
}

// What is dumped, in this order: lists of names and of what shows the member of that name.
template <class Record>
struct Field {
    const char* name;
    void (*show)(std::string_view name, const Record& record);
};

template <class Record, auto member>
constexpr Field<Record> field(const char* name) {
    return {name, [](std::string_view n, const Record& record) { show(n, record.*member); }};
}

#define MODEL_FIELD(name) field<Model, &Model::name>(#name)
#define RMAT_FIELD(name) field<RMatrix, &RMatrix::name>(#name)
#define COUNT_FIELD(name) field<ModelCounts, &ModelCounts::name>(#name)

constexpr Field<Model> kModelFields[] = {
    // the trait
    MODEL_FIELD(trait_type), MODEL_FIELD(trait_inp_no), MODEL_FIELD(trait_name),
    MODEL_FIELD(trait_rci), MODEL_FIELD(idelta), MODEL_FIELD(wgt_inp_no), MODEL_FIELD(wgt_name),
    MODEL_FIELD(wgt_rci), MODEL_FIELD(l_mixture), MODEL_FIELD(mix_t_no), MODEL_FIELD(mix_inp_no),
    MODEL_FIELD(mix_rci), MODEL_FIELD(mix_name),
    // counts
    MODEL_FIELD(n_absorb), MODEL_FIELD(n_ef), MODEL_FIELD(n_fixed), MODEL_FIELD(n_random),
    MODEL_FIELD(n_random_abs), MODEL_FIELD(n_reg), MODEL_FIELD(n_f_reg), MODEL_FIELD(n_dif_reg),
    MODEL_FIELD(n_f_o_reg), MODEL_FIELD(n_f_n_reg), MODEL_FIELD(n_r_n_reg), MODEL_FIELD(n_cat),
    MODEL_FIELD(n_obs),
    // class effects
    MODEL_FIELD(a_ef_inp), MODEL_FIELD(a_ef_name), MODEL_FIELD(a_ef_rci), MODEL_FIELD(ef_inp),
    MODEL_FIELD(ef_rci), MODEL_FIELD(ef_coeff), MODEL_FIELD(reduce), MODEL_FIELD(intercept),
    MODEL_FIELD(f_intercept), MODEL_FIELD(r_intercept), MODEL_FIELD(f_ef_inp),
    MODEL_FIELD(f_ef_name), MODEL_FIELD(f_ef_rci), MODEL_FIELD(f_ef_coeff), MODEL_FIELD(r_ef_no),
    MODEL_FIELD(r_ef_inp), MODEL_FIELD(r_ef_name), MODEL_FIELD(r_ef_rci), MODEL_FIELD(r_ef_coeff),
    MODEL_FIELD(merge_prev), MODEL_FIELD(r_ef_matno), MODEL_FIELD(ass_rf),
    // regressions
    MODEL_FIELD(reg_type), MODEL_FIELD(reg_inp), MODEL_FIELD(reg_mixture), MODEL_FIELD(reg_name),
    MODEL_FIELD(reg_rci), MODEL_FIELD(n_times), MODEL_FIELD(reg_n_inp), MODEL_FIELD(reg_name_n),
    MODEL_FIELD(reg_n_rci), MODEL_FIELD(reg_n_ef_no), MODEL_FIELD(reg_r_number),
    MODEL_FIELD(reg_r_matno), MODEL_FIELD(reg_rmat_pos), MODEL_FIELD(reg_n_level),
    // generalized models, pairs of traits, censoring
    MODEL_FIELD(l_glmm), MODEL_FIELD(corr_fact), MODEL_FIELD(offset_inp), MODEL_FIELD(offset_rci),
    MODEL_FIELD(var_fn), MODEL_FIELD(link_fn), MODEL_FIELD(var_f), MODEL_FIELD(link_f),
    MODEL_FIELD(dlink_f), MODEL_FIELD(invlink_f), MODEL_FIELD(deviance), MODEL_FIELD(seq_trait),
    MODEL_FIELD(mix_trait), MODEL_FIELD(seq_t_inp_no), MODEL_FIELD(mix_t_inp_no),
    MODEL_FIELD(seq_t_rci), MODEL_FIELD(mix_t_rci), MODEL_FIELD(subject), MODEL_FIELD(seq),
    MODEL_FIELD(l_cure), MODEL_FIELD(l_cens), MODEL_FIELD(cens_inp), MODEL_FIELD(cens_rci),
    MODEL_FIELD(int_max_inp), MODEL_FIELD(int_max_rci)};

constexpr Field<RMatrix> kRmatFields[] = {
    // the structure
    RMAT_FIELD(n_cont), RMAT_FIELD(n_rc), RMAT_FIELD(n_traits), RMAT_FIELD(n_random_id),
    RMAT_FIELD(n_r_eff), field<RMatrix, &RMatrix::structure>("type"), RMAT_FIELD(method),
    RMAT_FIELD(l_ram), RMAT_FIELD(n_phg), RMAT_FIELD(phg_random), RMAT_FIELD(ran_factor),
    RMAT_FIELD(pgmix_weight), RMAT_FIELD(pgmix_g_adjust), RMAT_FIELD(rel_format),
    RMAT_FIELD(rel_file), RMAT_FIELD(rel_file2), RMAT_FIELD(rel_file3), RMAT_FIELD(grp_inp),
    RMAT_FIELD(grp_rci), RMAT_FIELD(grp_name), RMAT_FIELD(grp_nlev), RMAT_FIELD(m_n_rr),
    RMAT_FIELD(l_rr),
    // members
    RMAT_FIELD(trait_no), RMAT_FIELD(trait_inp), RMAT_FIELD(r_eff), RMAT_FIELD(r_eff_inp),
    RMAT_FIELD(random_id_inp),
    // contributions
    RMAT_FIELD(cont_rc), RMAT_FIELD(cont_rc1), RMAT_FIELD(cont_t_no), RMAT_FIELD(cont_t_inp),
    RMAT_FIELD(cont_t_rci), RMAT_FIELD(cont_eff), RMAT_FIELD(cont_eff_inp),
    RMAT_FIELD(cont_eff_rci), RMAT_FIELD(cont_rr_inp), RMAT_FIELD(cont_rr_rci),
    RMAT_FIELD(cont_coeff), RMAT_FIELD(cont_id_name), RMAT_FIELD(cont_t_name),
    RMAT_FIELD(cont_rr_name), RMAT_FIELD(cont_rr_eff),
    // blocks and rows
    RMAT_FIELD(reduce), RMAT_FIELD(trait_blk_size), RMAT_FIELD(trait_blk_start),
    RMAT_FIELD(intercept),
    // Kept: the dump has its own name for t_r_eff_rci.
    field<RMatrix, &RMatrix::t_r_eff_rci>("t_r_id_rci"), RMAT_FIELD(r_id_rci),
    RMAT_FIELD(merge_prev), RMAT_FIELD(n_rr), RMAT_FIELD(t_no), RMAT_FIELD(t_name),
    RMAT_FIELD(rr_f_inp), RMAT_FIELD(rr_f_rcr), RMAT_FIELD(rank), RMAT_FIELD(rank_tn),
    RMAT_FIELD(rank_ndt),
    // values
    RMAT_FIELD(cov_mat), RMAT_FIELD(eigen_values), RMAT_FIELD(eigen_vectores),
    RMAT_FIELD(l_rcov_zero), RMAT_FIELD(niegr), RMAT_FIELD(grp_code), RMAT_FIELD(l_grp_prior),
    RMAT_FIELD(l_grp_pr), RMAT_FIELD(h_cov_mat), RMAT_FIELD(ass_rf),
    // restrictions and results
    RMAT_FIELD(l_var_locked), RMAT_FIELD(l_cv_rest), RMAT_FIELD(l_cor_rest),
    RMAT_FIELD(l_vratio_nom), RMAT_FIELD(l_vratio_denon), RMAT_FIELD(l_vratio_elem),
    RMAT_FIELD(l_vratio_mat_rest), RMAT_FIELD(p_cov_mat), RMAT_FIELD(p_ratio), RMAT_FIELD(ad),
    RMAT_FIELD(log_det), RMAT_FIELD(l_log_det), RMAT_FIELD(n_ainv_rows), RMAT_FIELD(n_ram_rows)};

constexpr Field<ModelCounts> kCountFields[] = {COUNT_FIELD(nt),
                                               COUNT_FIELD(NGaussTraits),
                                               COUNT_FIELD(NRightCensTraits),
                                               COUNT_FIELD(NCatTraits),
                                               COUNT_FIELD(NBinTraits),
                                               COUNT_FIELD(N_CONT_TRAITS),
                                               COUNT_FIELD(N_THRESH_TRAITS),
                                               COUNT_FIELD(NRAMAT),
                                               COUNT_FIELD(N_RAMAT_NOT_ABS),
                                               COUNT_FIELD(MAX_N_ABSORB),
                                               COUNT_FIELD(MAX_N_EF),
                                               COUNT_FIELD(MAX_N_FIXED),
                                               COUNT_FIELD(MAX_N_RANDOM),
                                               COUNT_FIELD(MAX_N_REG),
                                               COUNT_FIELD(MAX_N_DIF_REG),
                                               COUNT_FIELD(N_REG_TOTAL),
                                               COUNT_FIELD(N_RANDOM_COV),
                                               COUNT_FIELD(N_REG_COLS),
                                               COUNT_FIELD(N_WGT_TRAITS),
                                               COUNT_FIELD(TraitIdWithWeight),
                                               COUNT_FIELD(ColRegInInpAllTraitsHelp),
                                               COUNT_FIELD(N_ZERO_RCOV),
                                               COUNT_FIELD(NORCOV),
                                               COUNT_FIELD(LogicalZeroEltR0),
                                               COUNT_FIELD(L_INDEP_BIN_RESIDUALS),
                                               COUNT_FIELD(H2),
                                               COUNT_FIELD(SPRE)};

template <class Record, std::size_t n>
void dump_record(std::string_view title, const Record& record, const Field<Record> (&fields)[n]) {
    blank_lines();
    Line(title).print();
    for (const Field<Record>& f : fields) f.show(f.name, record);
}

}  // namespace

void dump_model_records() {
    page_header();
    dump_record("KVEINT", KVEINT, kCountFields);
    for (int64_t i = 1; i <= MODEL.size(); ++i)
        dump_record(joined({"MODEL(", word(i), ")"}), MODEL(i), kModelFields);
    for (int64_t k = 1; k <= RMAT.size(); ++k)
        dump_record(joined({"RMAT(", word(k), ")"}), RMAT(k), kRmatFields);
}

}  // namespace kve
