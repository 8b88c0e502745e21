// What the data show of columns and traits, after the pass over them.
#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <optional>
#include <set>
#include <vector>

#include "base/state.h"
#include "data/raw_record.h"
#include "directives/directives.h"
#include "kve/check/data_pass.h"
#include "kve/check/look.h"
#include "model/model_records.h"

namespace kve::companion {

READS(DIRECTIVES);
READS(KVEINT);
READS(MODEL);
READS(RMAT);

namespace {

std::string called(const ColumnRef& column) {
    const Name name = column.is_real ? real_name(column.column) : integer_name(column.column);
    return name.blank()
               ? fmt::format("{} column {}", column.is_real ? "real" : "integer", column.column)
               : name.string();
}

bool has_lines() { return DIRECTIVES.data_format == kAscii; }

Place in_data(const ColumnRef& column, int64_t line) {
    return {DIRECTIVES.data_file[column.is_real && DIRECTIVES.n_data_files == 2 ? 1 : 0].string(),
            has_lines() ? line : 0, 0};
}

std::string record_words(int64_t number) {
    return has_lines() ? std::string() : fmt::format("record {}: ", number);
}

bool is_trait(int32_t column) {
    return std::ranges::any_of(MODEL,
                               [column](const Model& m) { return m.trait_inp_no == column; });
}

// Where the model uses the column first.
Place place_of_use(const Look& look, const ColumnRef& column) {
    const std::string word = std::to_string(column.column);
    for (const Model& m : MODEL) {
        const bool in_effects =
            column.is_real ? m.trait_inp_no == column.column || m.wgt_inp_no == column.column
                           : std::ranges::count(m.ef_inp, column.column) > 0;
        if (in_effects) return place_in_model(look, m.lines.effects, word);
        if (column.is_real && std::ranges::count(m.reg_inp, column.column) > 0)
            return place_in_model(look, m.lines.regressions, word);
    }
    return place_in_model(look, 1);
}

// ---- Values that are far from the rest

// How many of the outermost values stand apart: more than ten standard deviations off, and twice as
// far as the next one. Long tails have no such gap.
std::size_t count_far(const std::vector<Extreme>& values, const RealColumn::Middle& middle) {
    constexpr double kFar = 10, kGap = 2;
    std::size_t n = 0;
    for (std::size_t k = 0; k + 1 < values.size(); ++k) {
        const double distance = std::abs(values[k].value - middle.median);
        const double next = std::abs(values[k + 1].value - middle.median);
        if (distance > kFar * middle.scale && distance > kGap * next) n = k + 1;
    }
    return n;
}

bool is_of_nines(double value) {
    for (double nines = 9; nines < 1e7; nines = 10 * nines + 9)
        if (std::abs(value) == nines) return true;
    return false;
}

// A value by which somebody meant a missing one.
bool is_missing_code(const std::vector<Extreme>& values, bool is_lowest,
                     const RealColumn::Middle& middle) {
    if (values.size() < 2) return false;
    const double value = values[0].value, next = values[1].value;
    const double gap = std::abs(value - next);
    if (is_of_nines(value) && value < 0 && is_lowest) return next >= 0;
    if (is_of_nines(value)) return gap > 5 * middle.scale && gap > next - middle.median;
    return value == 0 && values[0].n > 1 && is_lowest && gap > 5 * middle.scale;
}

void look_at_extremes(Look& look, const ColumnRef& ref, const RealColumn& column) {
    const std::optional<RealColumn::Middle> middle = column.middle();
    if (!middle) return;
    for (const bool is_lowest : {true, false}) {
        const std::vector<Extreme>& values = (is_lowest ? column.lowest : column.highest).values();
        if (is_missing_code(values, is_lowest, *middle)) {
            look.findings.warn(
                "missing-code", in_data(ref, values[0].line),
                fmt::format(
                    "{} is {:g} in {} records, and {:g} {} otherwise: is it meant as missing?",
                    called(ref), values[0].value, values[0].n, values[1].value,
                    is_lowest ? "and more" : "at most"),
                fmt::format("Missing is {:g} and all below it", DIRECTIVES.RMISS));
            continue;
        }
        const std::size_t n_far = count_far(values, *middle);
        for (std::size_t k = 0; k < n_far; ++k) {
            const Place place = in_data(ref, values[k].line);
            if (look.findings.has_error_at(place.file, place.line)) continue;
            look.findings.warn(
                "far-value", place,
                record_words(values[k].line) +
                    fmt::format(
                        "{} is {:g}, {:.0f} standard deviations from the middle, {:g}{}",
                        called(ref), values[k].value,
                        std::abs(values[k].value - middle->median) / middle->scale, middle->median,
                        values[k].n > 1 ? fmt::format(", in {} records", values[k].n) : ""));
        }
    }
}

// ---- Columns that change

struct Range {
    double low, high;
};

bool are_of_other_kinds(const Range& low, const Range& high) {
    constexpr double kGap = 3, kRatio = 20;
    const double gap = high.low - low.high;
    const double width = std::max(low.high - low.low, high.high - high.low);
    return gap > 0 && (gap > kGap * width || (low.low > 0 && high.low > kRatio * low.high));
}

// The first value behind the change, in the order of the file; null without one.
const SpreadSample::Value* find_change(const std::vector<SpreadSample::Value>& values) {
    constexpr std::size_t kFewest = 20;  // on either side
    std::vector<Range> behind(values.size());
    for (std::size_t k = values.size(); k-- > 0;) {
        const double value = values[k].value;
        behind[k] = {value, value};
        if (k + 1 < values.size())
            behind[k] = {std::min(value, behind[k + 1].low), std::max(value, behind[k + 1].high)};
    }
    Range before{values.empty() ? 0 : values[0].value, values.empty() ? 0 : values[0].value};
    for (std::size_t k = 1; k + kFewest <= values.size(); ++k) {
        if (k >= kFewest &&
            (are_of_other_kinds(before, behind[k]) || are_of_other_kinds(behind[k], before)))
            return &values[k];
        before = {std::min(before.low, values[k].value), std::max(before.high, values[k].value)};
    }
    return nullptr;
}

void look_for_change(Look& look, const ColumnRef& ref, const RealColumn& column) {
    const SpreadSample::Value* change = find_change(column.sample.values());
    if (change == nullptr) return;
    Range before{INFINITY, -INFINITY}, behind = before;
    for (const auto& [value, line] : column.sample.values()) {
        Range& range = line < change->line ? before : behind;
        range = {std::min(range.low, value), std::max(range.high, value)};
    }
    look.findings.warn(
        "kind-change", in_data(ref, change->line),
        record_words(change->line) +
            fmt::format("about here {} changes from {:g}..{:g} to {:g}..{:g}", called(ref),
                        before.low, before.high, behind.low, behind.high),
        "Other units, other columns, or another file?");
}

// ---- Columns without information

void look_for_empty(Look& look, const ColumnRef& ref, const RealColumn& column) {
    const char* what = is_trait(ref.column) ? "trait" : "column";
    if (column.n == 0)
        look.findings.error("empty-column", place_of_use(look, ref),
                            fmt::format("the {} {} is missing in all records", what, called(ref)),
                            fmt::format("Missing is {:g} and all below it", DIRECTIVES.RMISS));
    else if (column.n > 1 && column.values.size() == 1)
        look.findings.warn("constant-column", place_of_use(look, ref),
                           fmt::format("the {} {} is {:g} in all records that have it", what,
                                       called(ref), column.origin));
}

// Whole, large and hardly two alike.
void look_for_identities(Look& look, const ColumnRef& ref, const RealColumn& column) {
    constexpr int64_t kFewest = 30;
    constexpr double kLeast = 100'000, kDifferent = 0.3;
    if (!is_trait(ref.column) || column.n < kFewest || !column.is_whole ||
        column.lowest.values()[0].value < kLeast)
        return;
    std::set<double> different;
    for (const SpreadSample::Value& spread : column.sample.values()) different.insert(spread.value);
    if (static_cast<double>(different.size()) >
        kDifferent * static_cast<double>(column.sample.values().size()))
        look.findings.warn("trait-is-identity", place_of_use(look, ref),
                           fmt::format("the trait {} has only whole values, most of them "
                                       "different, from {:.0f} to {:.0f}: is it an identity?",
                                       called(ref), column.lowest.values()[0].value,
                                       column.highest.values()[0].value));
}

bool is_weight_or_offset(int32_t column) {
    return std::ranges::any_of(MODEL, [column](const Model& m) {
        return m.wgt_inp_no == column || m.offset_inp == column;
    });
}

void look_at_copies(Look& look, const DataFigures& data) {
    constexpr int64_t kFewest = 10;
    if (data.n_records < kFewest) return;
    for (const auto& [first, second] : data.copies) {
        const RealColumn* real = second.is_real ? &data.reals.at(second.column) : nullptr;
        const ClassColumn* of_classes = second.is_real ? nullptr : data.class_column(second.column);
        const bool varies = real != nullptr ? real->values.size() > 1 : of_classes->n_levels > 1;
        if (varies)
            look.findings.warn("copied-column", place_of_use(look, second),
                               fmt::format("{} and {} are the same in all {} records",
                                           called(first), called(second), data.n_records));
    }
}

void look_at_columns(Look& look, const DataFigures& data) {
    for (const auto& [number, column] : data.reals) {
        const ColumnRef ref{true, number};
        if (!is_weight_or_offset(number) || column.n == 0) look_for_empty(look, ref, column);
        look_for_identities(look, ref, column);
        look_at_extremes(look, ref, column);
        look_for_change(look, ref, column);
    }
    look_at_copies(look, data);
}

// ---- Records that are dropped

std::string reasons_of(const TraitFigures& figures) {
    std::string words;
    const auto add = [&words](const std::string& name, int64_t n) {
        words += fmt::format("{}{} in {}", words.empty() ? "" : ", ", name, n);
    };
    for (const auto& [place, n] : figures.n_without_identity)
        add(place > DIRECTIVES.NI ? "a column that there is not" : called({false, place}), n);
    for (const auto& [place, n] : figures.n_without_value)
        add(place > DIRECTIVES.NR ? "a column that there is not" : called({true, place}), n);
    return words;
}

void look_at_dropped(Look& look, const DataFigures& data) {
    constexpr double kMany = 0.25;
    for (int32_t i = 1; i <= KVEINT.nt; ++i) {
        const TraitFigures& figures = data.traits[static_cast<std::size_t>(i - 1)];
        const int64_t n_dropped = figures.n_present - figures.n_usable;
        if (n_dropped == 0) continue;
        const ColumnRef trait{true, MODEL(i).trait_inp_no};
        const std::string words =
            fmt::format("{} of the {} records with {} are dropped; missing are {}", n_dropped,
                        figures.n_present, called(trait), reasons_of(figures));
        const Place place = place_of_use(look, trait);
        const char* hint = "A class below 1 is missing";
        if (figures.n_usable == 0)
            look.findings.error("dropped-records", place, words, hint);
        else if (static_cast<double>(n_dropped) > kMany * static_cast<double>(figures.n_present))
            look.findings.warn("dropped-records", place, words, hint);
        else if (!look.findings.has_error_in(DIRECTIVES.data_file[0].string()))
            look.findings.note("dropped-records", place, words, hint);
    }
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
                            called({true, MODEL(j).trait_inp_no}),
                            called({true, MODEL(i).trait_inp_no})),
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
                                k, called({true, MODEL(i).trait_inp_no}),
                                called({true, MODEL(j).trait_inp_no})),
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
    look_at_dropped(look, data);
    look_at_trait_pairs(look, data);
    look_at_factor_pairs(look, data);
    look_at_classes(look);
    look_at_fixed_part(look);
}

}  // namespace kve::companion
