// The starting values of the (co)variances.
#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <optional>
#include <set>
#include <tuple>

#include "base/freeform.h"
#include "base/state.h"
#include "directives/catalogue.h"
#include "directives/directives.h"
#include "kve/check/data_figures.h"
#include "kve/check/look.h"
#include "kve/check/thresholds.h"
#include "kve/check/told.h"
#include "kve/check/words.h"
#include "model/model_records.h"

namespace kve::companion {

READS(DIRECTIVES);
READS(KVEINT);
READS(MODEL);
READS(RMAT);

namespace {

// ---- The lines

using PriorPlace = std::tuple<int32_t, int32_t, int32_t>;  // matrix, row, column

struct PriorValue {
    int64_t line;
    int32_t matrix = 0, row = 0, column = 0;
    double value = 0;

    PriorPlace place() const { return {matrix, row, column}; }
};

// Those that can be read; lines with REPEAT are none. Read once.
const std::vector<PriorValue>& values_in_text(const Look& look) {
    static const std::vector<PriorValue> values = [&look] {
        std::vector<PriorValue> all;
        for (int64_t line = 1; line <= count_prior_lines(); ++line) {
            PriorValue v{.line = line};
            if (read_free(prior_line(look, line), v.matrix, v.row, v.column, v.value) == Read::ok)
                all.push_back(v);
        }
        return all;
    }();
    return values;
}

// The line of an element, else the last line of its matrix, else the keyword.
Place place_of_prior(const Look& look, int32_t matrix, int32_t row, int32_t column) {
    Place place = place_in_priors(look, 0);
    for (const PriorValue& v : values_in_text(look)) {
        if (v.matrix != matrix) continue;
        place = place_in_priors(look, v.line);
        if (std::minmax(v.row, v.column) == std::minmax(row, column)) break;
    }
    return place;
}

// ---- What KVE1 refuses

std::string called(int32_t matrix) {
    return matrix > KVEINT.NRAMAT ? "the residual matrix" : fmt::format("matrix {}", matrix);
}

// Each residual group has a number.
std::string residual_called() {
    const int32_t first = KVEINT.NRAMAT + 1, n = residual_of(RMAT).grp_nlev;
    return n > 1 ? fmt::format("the residual groups are {} to {}", first, first + n - 1)
                 : fmt::format("the residual is {}", first);
}

struct Pair {
    int32_t row = 0, column = 0;
    double correlation = 0;
};

// `group` 0 is the common matrix.
Pair largest_correlation(int32_t matrix, int32_t group) {
    const RMatrix& r = RMAT(matrix);
    const auto value = [&](int32_t i, int32_t j) {
        return group > 0 ? r.h_cov_mat(i, j, group) : r.cov_mat(i, j);
    };
    Pair largest;
    for (int32_t i = 2; i <= r.rank; ++i)
        for (int32_t j = 1; j < i; ++j) {
            const double correlation = value(i, j) / std::sqrt(value(i, i) * value(j, j));
            if (std::abs(correlation) > std::abs(largest.correlation))
                largest = {i, j, correlation};
        }
    return largest;
}

void tell_not_definite(Look& look, int32_t matrix, int32_t group) {
    if (matrix < 1 || matrix > RMAT.size() || group > RMAT(matrix).grp_nlev) return;
    const Pair pair = largest_correlation(matrix, group);
    const std::string of_group = group > 0 ? fmt::format(" of group {}", group) : "";
    if (pair.row == 0)
        return look.findings.error("prior-not-definite", place_in_priors(look, 0),
                                   called(matrix) + of_group + " is not positive definite");
    look.findings.error(
        "prior-not-definite",
        place_of_prior(look, matrix + std::max(group - 1, 0), pair.row, pair.column),
        fmt::format("{}{} is not positive definite; the largest correlation is {:.3g}, of rows {} "
                    "({}) and {} ({})",
                    called(matrix), of_group, pair.correlation, pair.column,
                    name_of_row(matrix, pair.column), pair.row, name_of_row(matrix, pair.row)));
}

void tell_missing_variance(Look& look, int32_t matrix, int32_t row) {
    if (matrix < 1 || matrix > RMAT.size() || row < 1 || row > RMAT(matrix).rank) return;
    look.findings.error("prior-missing", place_of_prior(look, matrix, row, row),
                        fmt::format("{} has no variance above 0 for row {} ({})", called(matrix),
                                    row, name_of_row(matrix, row)),
                        fmt::format("{} {} {} and the variance", matrix, row, row));
}

// ---- What it lets pass

void look_for_absent_priors(Look& look) {
    if (!DIRECTIVES.prior.name.blank() || !task_is_legal(DIRECTIVES.ITASK)) return;
    const Place place = look.text.place(look.text.keyword_line(Keyword::ANALYSE));
    if (DIRECTIVES.ITASK == kVarianceComponents)
        look.findings.note(
            "no-priors", place,
            "without $PRIOR the iteration starts from variances of 1 and no covariances");
    if (DIRECTIVES.ITASK == kSampling)
        look.findings.error("no-priors", place,
                            "without $PRIOR the run goes on with matrices of zeros");
}

void look_for_values_given_twice(Look& look) {
    std::set<PriorPlace> seen;
    for (const PriorValue& v : values_in_text(look)) {
        const auto [low, high] = std::minmax(v.row, v.column);
        if (seen.emplace(v.matrix, low, high).second) continue;
        look.findings.warn(
            "prior-twice", place_in_priors(look, v.line),
            fmt::format("element {} {} of matrix {} is given again, this value counts", v.row,
                        v.column, v.matrix));
    }
}

bool has_scale_of_data(const Model& m) {
    return m.trait_type == kGaussian || m.trait_type == kRightCensored;
}

// Of the trait's effects themselves and its residual; regressions have the scale of their columns.
double prior_variance(int32_t i) {
    double total = residual_of(RMAT).cov_mat(i, i);
    for (int32_t k = 1; k <= KVEINT.NRAMAT; ++k) {
        const RMatrix& r = RMAT(k);
        for (int32_t q = 1; q <= r.n_cont; ++q)
            if (r.cont_t_no(q) == i && !r.cont_rr_eff(q) && r.cont_rc(q) >= 1 &&
                r.cont_rc(q) <= r.rank)
                total += r.cov_mat(r.cont_rc(q), r.cont_rc(q)) * r.cont_coeff(q) * r.cont_coeff(q);
    }
    return total;
}

// A few wild values would make much of the variance.
double usual_variance(const RealColumn& column) {
    const std::optional<RealColumn::Middle> middle = column.middle();
    return middle ? middle->scale * middle->scale : column.variance();
}

void look_at_scale(Look& look) {
    const RealColumns& columns = look.data->reals;
    for (int32_t i = 1; i <= KVEINT.nt; ++i) {
        const auto column = columns.find(MODEL(i).trait_inp_no);
        if (column == columns.end() || column->second.n < kFewestForVariance ||
            !has_scale_of_data(MODEL(i)))
            continue;
        const double of_data = usual_variance(column->second), of_priors = prior_variance(i);
        if (of_data <= 0 || of_priors <= 0 ||
            (of_priors / of_data < kFarScale && of_data / of_priors < kFarScale))
            continue;
        look.findings.warn(
            "prior-scale", place_of_prior(look, KVEINT.NRAMAT + 1, i, i),
            fmt::format("trait {}: the prior variances add up to {:.3g}, and the data have {:.3g}",
                        real_called(MODEL(i).trait_inp_no), of_priors, of_data));
    }
}

}  // namespace

void tell_prior_words(Look& look, const Said& said) {
    constexpr CodeOfWords kPriorWords[] = {
        {"Elsewhere it has been", "prior-zero"},
        {"heterogen residual groups", "prior-groups"},
        {"REPEAT", "prior-repeat"},
        {"repeat", "prior-repeat"},
        {"PRIOR section", "prior-line"},
        {"Reading file with prior", "prior-line"},
        {"holds no line of numbers", "prior-line"},
    };
    const std::string words = said.words();
    const int32_t residual = KVEINT.NRAMAT + 1;
    const auto number = [&](std::string_view mark) {
        return static_cast<int32_t>(number_after(words, mark));
    };
    if (said.has("IS MISSING")) {
        const bool of_residual = words.find("RESIDUAL") != words.npos;
        return tell_missing_variance(look, of_residual ? residual : number("EFFECT"),
                                     number(" TRAIT"));
    }
    if (said.has("problems in random effect"))
        return tell_not_definite(look, number("effect matrix"), 0);
    if (said.has("problems in residual"))
        return tell_not_definite(look, residual, number("residual group"));
    if (said.has("not P.D.")) return tell_not_definite(look, residual, number("variance group"));
    if (const char* code = find_code(kPriorWords, words); code != nullptr)
        look.findings.error(code, place_in_priors(look, said.prior_line), without_head(words));
}

// In KVE_LOG: a line "PARAMETER FILE" with matrix, row, column and value.
void tell_places_outside(Look& look) {
    if (!look.reading.has_priors()) return;
    constexpr std::string_view kMark = "PARAMETER FILE";
    const std::string& log = look.reading.log;
    std::map<PriorPlace, int64_t> lines;
    for (const PriorValue& v : values_in_text(look)) lines[v.place()] = v.line;
    for (std::size_t at = 0; (at = log.find(kMark, at)) != log.npos;) {
        at += kMark.size();
        PriorValue told{.line = 0};
        if (read_free(log.substr(at, log.find('\n', at) - at), told.matrix, told.row,
                      told.column) != Read::ok)
            continue;
        const auto stands = lines.find(told.place());
        const bool exists = told.matrix >= 1 && told.matrix <= RMAT.size();
        look.findings.error(
            "prior-place", place_in_priors(look, stands == lines.end() ? 0 : stands->second),
            exists ? fmt::format("{} has the order {}, and this is element {} {}",
                                 called(told.matrix), RMAT(told.matrix).rank, told.row, told.column)
                   : fmt::format("there is no matrix {}; {}", told.matrix, residual_called()));
    }
}

void look_at_priors(Look& look) {
    look_for_absent_priors(look);
    if (!look.reading.has_priors()) return;
    look_for_values_given_twice(look);
    look_at_scale(look);
}

}  // namespace kve::companion
