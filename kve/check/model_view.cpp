// The model as KVE1 understands it.
#include <fmt/format.h>

#include <nlohmann/json.hpp>
#include <vector>

#include "base/state.h"
#include "directives/catalogue.h"
#include "directives/directives.h"
#include "kve/check/look.h"
#include "kve/check/words.h"
#include "model/model_records.h"

namespace kve::companion {

READS(DIRECTIVES);
READS(KVEINT);
READS(MODEL);
READS(RMAT);

namespace {

using nlohmann::json;

std::string effect_called(int64_t column) {
    return column == 0 ? "mean" : integer_called(static_cast<int32_t>(column));
}

struct Term {
    std::string words;
    int32_t matrix = 0;  // 0 fixed
};

// An effect without a row of its own only carries regressions.
std::vector<Term> class_terms(const Model& m) {
    std::vector<Term> terms;
    for (int32_t j = 1; j <= m.n_fixed; ++j)
        if (m.f_intercept(j)) terms.push_back({effect_called(m.f_ef_inp(j))});
    for (int32_t k = 1; k <= m.n_random; ++k) {
        if (!m.r_intercept(k)) continue;
        const double coefficient = m.r_ef_coeff(k);
        terms.push_back({(coefficient == 1 ? "" : fmt::format("{:g} ", coefficient)) +
                             effect_called(m.r_ef_inp(k)),
                         m.r_ef_matno(k)});
    }
    return terms;
}

std::vector<Term> regression_terms(const Model& m) {
    std::vector<Term> terms;
    for (int32_t l = 1; l <= m.n_reg; ++l) {
        const std::string covariable = real_called(m.reg_inp(l));
        const bool is_nested = m.reg_n_ef_no(l) >= 1 && m.reg_n_ef_no(l) <= m.n_ef;
        terms.push_back({is_nested
                             ? fmt::format("{}({})", covariable, effect_called(m.reg_n_inp(l)))
                             : covariable,
                         m.reg_r_matno(l)});
    }
    return terms;
}

std::vector<Term> terms_of(const Model& m) {
    std::vector<Term> terms = class_terms(m);
    for (Term& term : regression_terms(m)) terms.push_back(std::move(term));
    return terms;
}

std::string formula(const Model& m) {
    std::string fixed, random;
    for (const Term& term : terms_of(m)) {
        if (term.matrix == 0) fixed += " + " + term.words;
        if (term.matrix > 0) random += fmt::format(" + {}:{}", term.words, term.matrix);
    }
    std::string all = fixed + random;
    all = all.empty() ? "nothing" : all.substr(3);
    std::string weight;
    if (m.wgt_inp_no != 0) weight = fmt::format(" (weight {})", real_called(m.wgt_inp_no));
    std::string absorbed;
    for (int32_t j = 1; j <= m.n_absorb; ++j)
        absorbed += fmt::format(", absorbed {}", effect_called(m.a_ef_inp(j)));
    return fmt::format("{}{} = {}{}", real_called(m.trait_inp_no), weight, all, absorbed);
}

std::string structure_in_words(const RMatrix& r) {
    std::string words(structure_name(r.structure));
    if (has_pedigree(r.structure)) words += fmt::format(" method {}", r.method);
    if (r.l_ram) words += " RAM";
    if (r.phg_random) words += fmt::format(" R {:g}", r.ran_factor);
    if (r.ass_rf > 0) words += fmt::format(" of factor {}", r.ass_rf);
    for (const FileName* file : {&r.rel_file, &r.rel_file2, &r.rel_file3})
        if (!file->blank()) words += " " + file->string();
    if (r.structure == Structure::PGMIX) words += fmt::format(" weight {:g}", r.pgmix_weight);
    if (r.structure == Structure::GROUP) words += " " + effect_called(r.grp_inp);
    return words;
}

std::string factor_line(const Look& look, int32_t k) {
    std::string line =
        k > KVEINT.NRAMAT ? fmt::format("  {} residual: ", k) : fmt::format("  {} ", k);
    line += structure_in_words(RMAT(k));
    for (int32_t row = 1; row <= RMAT(k).rank; ++row) {
        line += fmt::format("{} {} {}", row == 1 ? ";" : ",", row, name_of_row(k, row));
        if (look.reading.has_priors()) line += fmt::format(" {:g}", RMAT(k).cov_mat(row, row));
    }
    return line + "\n";
}

}  // namespace

// What contributes to it first names it.
std::string name_of_row(int32_t matrix, int32_t row) {
    const RMatrix& r = RMAT(matrix);
    if (matrix > KVEINT.NRAMAT) return real_called(r.trait_inp(row));
    for (int32_t q = 1; q <= r.n_cont; ++q) {
        if (r.cont_rc(q) != row) continue;
        const std::string words =
            real_called(r.cont_t_inp(q)) + " " + effect_called(r.cont_eff_inp(q));
        return r.cont_rr_eff(q) ? words + " " + real_called(r.cont_rr_inp(q)) : words;
    }
    return "of no effect";
}

std::string model_as_text(const Look& look) {
    if (!look.reading.has_matrices()) return {};
    std::string text = fmt::format("Task {}, method {}: {}, {}\n", DIRECTIVES.ITASK,
                                   DIRECTIVES.IMETHOD, task_label(DIRECTIVES.ITASK),
                                   method_label(DIRECTIVES.ITASK, DIRECTIVES.IMETHOD));
    text += "Traits; a random effect has the number of its factor\n";
    for (const Model& m : MODEL) text += "  " + formula(m) + "\n";
    text += "Random factors, rows with their prior variances\n";
    for (int32_t k = 1; k <= KVEINT.NRAMAT + 1; ++k) text += factor_line(look, k);
    return text;
}

json model_as_json(const Look& look) {
    if (!look.reading.has_matrices()) return nullptr;
    json traits = json::array(), factors = json::array();
    for (const Model& m : MODEL) {
        json terms = json::array();
        for (const Term& term : terms_of(m))
            terms.push_back({{"term", term.words}, {"factor", term.matrix}});
        traits.push_back({{"name", real_called(m.trait_inp_no)},
                          {"formula", formula(m)},
                          {"weight", m.wgt_inp_no == 0 ? "" : real_called(m.wgt_inp_no)},
                          {"terms", terms}});
    }
    for (int32_t k = 1; k <= KVEINT.NRAMAT + 1; ++k) {
        json rows = json::array();
        for (int32_t row = 1; row <= RMAT(k).rank; ++row)
            rows.push_back({{"name", name_of_row(k, row)},
                            {"variance", look.reading.has_priors() ? json(RMAT(k).cov_mat(row, row))
                                                                   : json()}});
        factors.push_back({{"factor", k},
                           {"residual", k > KVEINT.NRAMAT},
                           {"structure", structure_name(RMAT(k).structure)},
                           {"method", RMAT(k).method},
                           {"file", RMAT(k).rel_file.string()},
                           {"rows", rows}});
    }
    return {{"task", DIRECTIVES.ITASK},
            {"method", DIRECTIVES.IMETHOD},
            {"traits", traits},
            {"factors", factors}};
}

}  // namespace kve::companion
