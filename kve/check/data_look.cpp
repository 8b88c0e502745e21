// What the data show of columns and traits, after the pass over them.
#include <fmt/format.h>

#include <algorithm>
#include <set>

#include "base/state.h"
#include "data/raw_record.h"
#include "directives/directives.h"
#include "kve/check/data_figures.h"
#include "kve/check/data_words.h"
#include "kve/check/look.h"
#include "kve/check/thresholds.h"
#include "model/model_records.h"

namespace kve::companion {

READS(DIRECTIVES);
READS(KVEINT);
READS(MODEL);
READS(RMAT);

namespace {

// ---- Columns without information, or with another one than is meant

bool is_covariable(int32_t column) {
    return std::ranges::any_of(
        MODEL, [column](const Model& m) { return std::ranges::count(m.reg_inp, column) > 0; });
}

bool is_weight_or_offset(int32_t column) {
    return std::ranges::any_of(MODEL, [column](const Model& m) {
        return m.wgt_inp_no == column || m.offset_inp == column;
    });
}

void look_for_empty(Look& look, const ColumnRef& ref, const RealColumn& column) {
    const char* what = is_trait(ref.column) ? "trait" : "column";
    if (column.n == 0)
        look.findings.error("empty-column", place_of_use(look, ref),
                            fmt::format("the {} {} is missing in all records", what, name_of(ref)),
                            fmt::format("Missing is {:g} and all below it", DIRECTIVES.RMISS));
    else if (column.n > 1 && column.values.size() == 1)
        look.findings.warn("constant-column", place_of_use(look, ref),
                           fmt::format("the {} {} is {:g} in all records that have it", what,
                                       name_of(ref), column.origin));
}

// Whole, large and seldom alike.
bool are_like_identities(const RealColumn& column) {
    if (column.n < kFewestIdentities || !column.is_whole ||
        column.lowest.values()[0].value < kLeastIdentity)
        return false;
    std::set<double> different;
    for (const SpreadSample::Value& spread : column.sample.values()) different.insert(spread.value);
    return static_cast<double>(different.size()) >
           kDifferentIdentities * static_cast<double>(column.sample.values().size());
}

// Numbers of real columns that are something else.
void look_for_codes(Look& look, const ColumnRef& ref, const RealColumn& column) {
    const bool is_of_trait = is_trait(ref.column);
    if (!is_of_trait && !is_covariable(ref.column)) return;
    if (are_like_identities(column))
        return look.findings.warn(
            is_of_trait ? "trait-is-identity" : "covariable-is-identity", place_of_use(look, ref),
            fmt::format("the {} {} has only whole values that seldom come again, from {:.0f} to "
                        "{:.0f}: is it an identity?",
                        is_of_trait ? "trait" : "covariable", name_of(ref),
                        column.lowest.values()[0].value, column.highest.values()[0].value));
    const std::size_t n_values = column.values.size();
    if (!is_of_trait && column.n >= kFewestForClass && column.is_whole && n_values > 1 &&
        n_values <= kMostClassValues)
        look.findings.note("covariable-is-class", place_of_use(look, ref),
                           fmt::format("the covariable {} has only {} different values, all whole",
                                       name_of(ref), n_values),
                           "As a class effect it belongs to the integer columns");
}

void look_at_copies(Look& look, const DataFigures& data) {
    if (data.n_records < kFewestForCopy) return;
    for (const auto& [first, second] : data.copies) {
        const RealColumn* real = second.is_real ? &data.reals.at(second.column) : nullptr;
        const ClassColumn* of_classes = second.is_real ? nullptr : data.class_column(second.column);
        const bool varies = real != nullptr ? real->values.size() > 1 : of_classes->n_levels > 1;
        if (varies)
            look.findings.warn("copied-column", place_of_use(look, second),
                               fmt::format("{} and {} are the same in all {} records",
                                           name_of(first), name_of(second), data.n_records));
    }
}

// ---- The missing value code

// Whoever writes several codes means missing by them; data are mostly different from each other.
void look_below_missing_code(Look& look, const DataFigures& data) {
    std::string words;
    for (const auto& [number, column] : data.reals)
        if (column.missing_values.size() > kMostMissingCodes)
            add_item(words, fmt::format("{} {:g} to {:g} in {} of {} records", real_called(number),
                                        column.lowest_missing, column.highest_missing,
                                        column.n_missing, data.n_records));
    if (!words.empty())
        look.findings.warn(
            "below-missing-code", look.text.place(look.text.keyword_line(Keyword::DATA)),
            fmt::format("values at or below {:g} count as missing, and they are not all one code: "
                        "{}",
                        DIRECTIVES.RMISS, words),
            "A code below all values of the data, such as -999999");
    if (KVEINT.nt != 1) return;
    const auto trait = data.reals.find(MODEL(1).trait_inp_no);
    if (words.empty() && trait != data.reals.end() && trait->second.n > 0 &&
        static_cast<double>(trait->second.n_missing) >
            kManyMissing * static_cast<double>(data.n_records))
        look.findings.note("many-missing", place_of_use(look, {true, trait->first}),
                           fmt::format("{} of {} records have no {}", trait->second.n_missing,
                                       data.n_records, real_called(trait->first)));
}

// ---- Records that come again

void look_for_repeats(Look& look, const DataFigures& data) {
    for (const RepeatedRecords::Run& run : data.repeats.runs())
        look.findings.warn(
            "repeated-records", in_data({false, 1}, run.first),
            fmt::format("{}{} are {} again", data.repeats.is_sampled() ? "about " : "",
                        line_range(run.first, run.last),
                        line_range(run.first - run.back, run.last - run.back)),
            "Was a part of the file joined to it twice?");
}

void look_at_columns(Look& look, const DataFigures& data) {
    for (const auto& [number, column] : data.reals) {
        const ColumnRef ref{true, number};
        if (!is_weight_or_offset(number) || column.n == 0) look_for_empty(look, ref, column);
        look_for_codes(look, ref, column);
    }
    look_at_values(look);
    look_at_copies(look, data);
    look_below_missing_code(look, data);
    look_for_repeats(look, data);
}

// ---- Traits that no record has together

bool is_zero_covariance(int32_t i, int32_t j) {
    return KVEINT.LogicalZeroEltR0.rows() >= std::max(i, j) &&
           (KVEINT.LogicalZeroEltR0(i, j) || KVEINT.LogicalZeroEltR0(j, i));
}

bool estimates_covariances() {
    return DIRECTIVES.ITASK == kVarianceComponents || DIRECTIVES.ITASK == kSampling;
}

bool are_seen_together(const DataFigures& data, TraitPattern both) {
    return std::ranges::any_of(data.patterns,
                               [both](const auto& entry) { return (entry.first & both) == both; });
}

void look_at_trait_pairs(Look& look, const DataFigures& data) {
    if (!estimates_covariances()) return;
    for (int32_t i = 2; i <= KVEINT.nt; ++i)
        for (int32_t j = 1; j < i; ++j) {
            const TraitPattern both = trait_bit(KVEINT.nt, i) | trait_bit(KVEINT.nt, j);
            if (data.traits[static_cast<std::size_t>(i - 1)].n_usable == 0 ||
                data.traits[static_cast<std::size_t>(j - 1)].n_usable == 0 ||
                is_zero_covariance(i, j) || are_seen_together(data, both))
                continue;
            look.findings.warn(
                "never-together", place_of_use(look, {true, MODEL(i).trait_inp_no}),
                fmt::format("no record has {} and {} together, so their residual covariance cannot "
                            "be estimated",
                            real_called(MODEL(j).trait_inp_no), real_called(MODEL(i).trait_inp_no)),
                fmt::format("Fix it at zero: {} {} behind the regressions", j, i));
        }
}

// The same of the levels of a random factor that is independent from level to level.
bool have_levels_together(const DataFigures& data, const RMatrix& r, TraitPattern both) {
    const ClassColumn* found =
        r.random_id_inp.size() == 1 ? data.class_column(r.random_id_inp(1)) : nullptr;
    if (found == nullptr) return true;  // not known
    return std::ranges::any_of(found->levels.slots(), [both](const LevelSlot& slot) {
        return !slot.is_empty() && (slot.traits & both) == both;
    });
}

void look_at_factor_pairs(Look& look, const DataFigures& data) {
    if (!estimates_covariances()) return;
    for (int32_t k = 1; k <= KVEINT.NRAMAT; ++k) {
        const RMatrix& r = RMAT(k);
        if (r.structure != Structure::I) continue;
        for (int32_t q = 2; q <= r.n_traits; ++q)
            for (int32_t p = 1; p < q; ++p) {
                const int32_t i = r.trait_no(p), j = r.trait_no(q);
                const TraitPattern both = trait_bit(KVEINT.nt, i) | trait_bit(KVEINT.nt, j);
                if (i == j || data.traits[static_cast<std::size_t>(i - 1)].n_usable == 0 ||
                    data.traits[static_cast<std::size_t>(j - 1)].n_usable == 0 ||
                    have_levels_together(data, r, both))
                    continue;
                look.findings.warn(
                    "never-together", place_in_model(look, MODEL(j).lines.random),
                    fmt::format("no level of random factor {} has records of both {} and {}, so "
                                "their covariance cannot be estimated",
                                k, real_called(MODEL(i).trait_inp_no),
                                real_called(MODEL(j).trait_inp_no)),
                    "Give one of them a matrix of its own");
            }
    }
}

}  // namespace

void look_at_data(Look& look) {
    tell_failed_first_pass(look);
    const DataFigures& data = *look.data;
    if (!data.is_complete || data.n_records == 0) return;
    look_at_columns(look, data);
    look_at_dropped(look);
    look_at_trait_pairs(look, data);
    look_at_factor_pairs(look, data);
    look_at_classes(look);
    look_at_fixed_part(look);
}

}  // namespace kve::companion
