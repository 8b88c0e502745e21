// What the model section says and KVE1 lets pass: counts, columns, orders. Its warnings stand in
// KVE_LOG and on the listing; here they get their places.
#include <fmt/format.h>

#include <algorithm>
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

std::string trait_called(int32_t i) {
    const Name name = real_name(MODEL(i).trait_inp_no);
    return name.blank() ? fmt::format("trait {}", i) : "trait " + name.string();
}

// ---- Counts

// What stands behind the last effect or regression of a line, as KVE_LOG tells it.
struct Surplus {
    int32_t trait = 0;
    std::string text;
};

// `head` is the beginning of the warning, up to the number of the trait.
std::vector<Surplus> surplus_in_log(const Look& look, std::string_view head) {
    std::vector<Surplus> all;
    const std::string& log = look.reading.log;
    for (std::size_t at = 0; (at = log.find(head, at)) != log.npos;) {
        at += head.size();
        const int32_t trait = std::atoi(log.c_str() + at);
        const std::size_t next = std::min(log.find('\n', at), log.size() - 1) + 1;
        if (trait >= 1 && trait <= MODEL.size())
            all.push_back({trait, folded(log.substr(next, log.find('\n', next) - next))});
    }
    return all;
}

// Columns in the text that is left over, without options and comments.
std::vector<int32_t> columns_in(const std::string& text) {
    std::vector<int32_t> columns;
    const std::string counted = text.substr(0, text.find_first_of("#!"));
    for (const Word& word : words_of(counted)) {
        if (word.text.find_first_not_of("0123456789([)]NOINTnoint") != std::string_view::npos)
            break;
        columns.push_back(std::atoi(std::string(word.text).c_str()));
    }
    return columns;
}

std::string list_of(const std::vector<int32_t>& columns) {
    std::string names;
    for (const int32_t column : columns) add_item(names, integer_called(column));
    return names;
}

// The random effects are the last ones of the line: those that have taken the place of others.
std::string turned_random(const Model& m, std::size_t n_left_out) {
    const int32_t n = std::min<int32_t>(static_cast<int32_t>(n_left_out), m.n_random);
    std::vector<int32_t> columns;
    for (int32_t j = m.n_ef - m.n_random + 1; j <= m.n_ef - m.n_random + n; ++j)
        if (j >= 1) columns.push_back(m.ef_inp(j));
    return columns.empty() ? "" : fmt::format(" and {} become random", list_of(columns));
}

void look_for_uncounted_effects(Look& look) {
    for (const Surplus& left : surplus_in_log(look, "WARNING - model line of trait ")) {
        const Model& m = MODEL(left.trait);
        const std::vector<int32_t> columns = columns_in(left.text);
        const Place place = place_in_model(look, m.lines.effects, words_of(left.text)[0].text);
        if (columns.empty()) {
            look.findings.warn(
                "effect-count", place,
                fmt::format("{}: not used is {}", trait_called(left.trait), left.text),
                "Set # before a remark");
            continue;
        }
        look.findings.error(
            "effect-count", place,
            fmt::format("{}: {} effects are given and the count says {}; {} would be dropped{}",
                        trait_called(left.trait), m.n_ef + std::ssize(columns), m.n_ef,
                        list_of(columns), turned_random(m, columns.size())),
            fmt::format("Write {} in place of {}, or set # before the rest",
                        m.n_ef + std::ssize(columns), m.n_ef));
    }
}

void look_for_uncounted_regressions(Look& look) {
    for (const Surplus& left : surplus_in_log(look, "WARNING - regressions of trait ")) {
        const Model& m = MODEL(left.trait);
        const bool is_nesting = left.text.starts_with('(') || left.text.starts_with('[');
        look.findings.error("regression-count",
                            place_in_model(look, m.lines.regressions, words_of(left.text)[0].text),
                            fmt::format("{}: {} regressions are counted, not used is {}",
                                        trait_called(left.trait), m.n_reg, left.text),
                            is_nesting ? "The bracket stands right behind the column: 2(1)"
                                       : "Correct the count, or set # before the rest");
    }
}

// ---- Columns

void look_for_missing_columns(Look& look) {
    for (int32_t i = 1; i <= KVEINT.nt; ++i) {
        const Model& m = MODEL(i);
        const auto tell = [&](int32_t column, const char* what) {
            look.findings.error("no-column",
                                place_in_model(look, m.lines.effects, std::to_string(column)),
                                fmt::format("trait {}: the {} is real column {}, and there are {}",
                                            i, what, column, DIRECTIVES.NR),
                                "All its records would count as missing");
        };
        if (m.trait_inp_no < 1 || m.trait_inp_no > DIRECTIVES.NR) tell(m.trait_inp_no, "trait");
        if (m.wgt_inp_no < 0 || m.wgt_inp_no > DIRECTIVES.NR) tell(m.wgt_inp_no, "weight");
    }
}

// A covariable that is nested in an effect that the trait does not have.
void look_at_nesting(Look& look) {
    for (int32_t i = 1; i <= KVEINT.nt; ++i) {
        const Model& m = MODEL(i);
        for (int32_t l = 1; l <= m.n_reg; ++l) {
            const int32_t effect = m.reg_n_ef_no(l);
            if (effect >= 0 && effect <= m.n_ef) continue;
            const int32_t* same = std::find(m.ef_inp.begin(), m.ef_inp.end(), effect);
            const std::string hint =
                m.n_ef == 0 ? "The trait has no effects"
                : same == m.ef_inp.end()
                    ? fmt::format("Effects have the numbers 1 to {}", m.n_ef)
                    : fmt::format("Column {} is effect {}, {}: write the number of the effect",
                                  effect, same - m.ef_inp.begin() + 1, integer_called(effect));
            look.findings.error(
                "nesting", place_in_model(look, m.lines.regressions),
                fmt::format(
                    "{}: {} is nested in effect {}, which there is not; it becomes a general "
                    "regression",
                    trait_called(i), real_called(m.reg_inp(l)), effect),
                hint);
        }
    }
}

bool is_column_of_trait(int32_t column) {
    return std::any_of(MODEL.begin(), MODEL.end(),
                       [column](const Model& m) { return m.trait_inp_no == column; });
}

void look_for_repeated_effects(Look& look, int32_t i) {
    const Model& m = MODEL(i);
    const auto tell = [&](int32_t column, const char* what) {
        look.findings.warn(
            "effect-twice", place_in_model(look, m.lines.effects, std::to_string(column)),
            fmt::format("{}: {} is {}", trait_called(i), integer_called(column), what));
    };
    for (int32_t j = 2; j <= m.n_fixed; ++j) {
        const auto end = m.f_ef_inp.begin() + j - 1;
        if (m.f_intercept(j) && std::find(m.f_ef_inp.begin(), end, m.f_ef_inp(j)) != end)
            tell(m.f_ef_inp(j), "a fixed effect twice");
    }
    for (const int32_t fixed : m.f_ef_inp)
        if (fixed != 0 &&
            std::find(m.r_ef_inp.begin(), m.r_ef_inp.end(), fixed) != m.r_ef_inp.end())
            tell(fixed, "a fixed and a random effect");
}

void look_for_traits_as_covariables(Look& look, int32_t i) {
    const Model& m = MODEL(i);
    if (m.trait_inp_no >= 1 && std::ranges::count(m.reg_inp, m.trait_inp_no) > 0)
        look.findings.error(
            "trait-as-covariable",
            place_in_model(look, m.lines.effects, std::to_string(m.trait_inp_no)),
            fmt::format("{} is its own covariable, and nothing is left of it", trait_called(i)));
    for (const int32_t column : m.reg_inp)
        if (is_column_of_trait(column) && column != m.trait_inp_no)
            look.findings.warn("trait-as-covariable",
                               place_in_model(look, m.lines.regressions, std::to_string(column)),
                               fmt::format("{}: the covariable {} is a trait of this analysis",
                                           trait_called(i), real_called(column)));
}

// Columns that are used in two ways by a slip, or twice.
void look_for_repeated_columns(Look& look) {
    for (int32_t i = 1; i <= KVEINT.nt; ++i) {
        look_for_repeated_effects(look, i);
        look_for_traits_as_covariables(look, i);
        for (int32_t j = 1; j < i; ++j)
            if (MODEL(i).trait_inp_no == MODEL(j).trait_inp_no)
                look.findings.error("trait-twice", place_in_model(look, MODEL(i).lines.effects),
                                    fmt::format("traits {} and {} are the same real column {}", j,
                                                i, MODEL(i).trait_inp_no));
    }
}

// The warnings of the order name their trait; the analysis programs rely on it.
void look_at_regression_order(Look& look) {
    for (const std::string_view head : {"before nested regressions of trait i=", "For trait i="})
        for (const Surplus& told : surplus_in_log(look, head))
            look.findings.error(
                "regression-order", place_in_model(look, MODEL(told.trait).lines.regressions),
                fmt::format(
                    "{}: regressions on one column do not stand together, the general one first",
                    trait_called(told.trait)),
                "The analysis programs rely on this order");
}

// ---- Matrices

// The line of the effects that the words of KVE1 name by their trait.
Place place_of_told_trait(const Look& look, const std::string& words) {
    const bool is_reduced = !DIRECTIVES.reduce_file.blank();
    for (int32_t i = 1; i <= KVEINT.nt; ++i)
        if (words.find(" of trait " + MODEL(i).trait_name.string() + " ") != words.npos)
            return is_reduced ? place_in_reduce(look, MODEL(i).lines.reduce)
                              : place_in_model(look, MODEL(i).lines.random);
    return is_reduced ? place_in_reduce(look, 1) : place_in_model(look, MODEL(1).lines.random);
}

void tell_warnings_of_matrices(Look& look) {
    for (const Said& said : look.reading.said) {
        const std::string words = said.words();
        if (said.step != Step::model || !words.starts_with("WARNING - random matrix")) continue;
        const Place place = place_of_told_trait(look, words);
        const bool is_merge = words.find("the + before") != words.npos;
        const char* code = is_merge ? "merged-rows" : "other-rows";
        if (words.find("position 0") != words.npos)
            look.findings.warn(code, place, words.substr(10));
        else
            look.findings.error(code, place, words.substr(10));
    }
}

// A number that no effect uses makes a matrix without rows.
void look_for_empty_matrices(Look& look) {
    for (int32_t k = 1; k <= KVEINT.NRAMAT; ++k)
        if (RMAT(k).n_r_eff == 0)
            look.findings.error(
                "empty-matrix", place_in_model(look, MODEL(1).lines.random),
                fmt::format("no effect has random matrix {}, and there are {}", k, KVEINT.NRAMAT),
                "Number the matrices 1, 2, ... without gaps");
}

void look_for_zero_pairs(Look& look) {
    const int64_t nt = KVEINT.nt;
    if (KVEINT.N_ZERO_RCOV < 0 || KVEINT.N_ZERO_RCOV > nt * (nt - 1) / 2)
        look.findings.error("zero-covariances",
                            place_in_model(look, MODEL(KVEINT.nt).lines.regressions + 1),
                            fmt::format("{} residual covariances are fixed at zero, and {} traits "
                                        "have {}",
                                        KVEINT.N_ZERO_RCOV, nt, nt * (nt - 1) / 2));
}

// ---- The method and the task

void look_at_method(Look& look) {
    if (DIRECTIVES.method_changed)
        look.findings.warn("method-changed",
                           look.text.place(look.text.keyword_line(Keyword::ANALYSE)),
                           "the model has no class effects, so AI-REML becomes EM-REML");
    if (DIRECTIVES.ITASK == kVarianceComponents && KVEINT.NRAMAT == 0)
        look.findings.note("no-random-effect", place_in_model(look, MODEL(1).lines.random),
                           "no trait has a random effect");
}

}  // namespace

void look_at_model(Look& look) {
    look_for_uncounted_effects(look);
    look_for_uncounted_regressions(look);
    if (!look.reading.has_matrices()) return;
    look_for_missing_columns(look);
    look_at_nesting(look);
    look_for_repeated_columns(look);
    look_at_regression_order(look);
    tell_warnings_of_matrices(look);
    look_for_empty_matrices(look);
    look_for_zero_pairs(look);
    look_at_method(look);
}

}  // namespace kve::companion
