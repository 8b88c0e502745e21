// Values of real columns that are far from the others, one by one or together: a decimal point
// lost, other units, other columns.
#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <optional>
#include <string>
#include <vector>

#include "base/state.h"
#include "directives/directives.h"
#include "kve/check/data_figures.h"
#include "kve/check/data_words.h"
#include "kve/check/look.h"
#include "kve/check/thresholds.h"

namespace kve::companion {

READS(DIRECTIVES);

namespace {

// ---- One by one

// How many of the outermost values stand apart.
std::size_t count_far(const std::vector<Extreme>& values, const RealColumn::Middle& middle) {
    std::size_t n = 0;
    for (std::size_t k = 0; k + 1 < values.size(); ++k) {
        const double distance = std::abs(values[k].value - middle.median);
        const double next = std::abs(values[k + 1].value - middle.median);
        if (distance > kFarValue * middle.scale && distance > kFarGap * next) n = k + 1;
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
    const bool is_apart = gap > kMissingCodeGap * middle.scale;
    if (is_of_nines(value) && value < 0 && is_lowest) return next >= 0;
    if (is_of_nines(value)) return is_apart && gap > next - middle.median;
    return value == 0 && values[0].n > 1 && is_lowest && gap > kTinyFar * middle.scale;
}

void tell_missing_code(Look& look, const ColumnRef& ref, const std::vector<Extreme>& values,
                       bool is_lowest) {
    look.findings.warn(
        "missing-code", in_data(ref, values[0].line),
        fmt::format("{} is {:g} in {} records, and {:g} {} otherwise: is it meant as missing?",
                    name_of(ref), values[0].value, values[0].n, values[1].value,
                    is_lowest ? "and more" : "at most"),
        fmt::format("Missing is {:g} and all below it", DIRECTIVES.RMISS));
}

void tell_far(Look& look, const ColumnRef& ref, const Extreme& far,
              const RealColumn::Middle& middle) {
    const Place place = in_data(ref, far.line);
    if (look.findings.has_error_at(place.file, place.line)) return;
    look.findings.warn(
        "far-value", place,
        record_words(far.line) +
            fmt::format("{} is {:g}, {:.0f} standard deviations from the middle, {:g}{}",
                        name_of(ref), far.value, std::abs(far.value - middle.median) / middle.scale,
                        middle.median, far.n > 1 ? fmt::format(", in {} records", far.n) : ""));
}

// ---- Together

// Records whose values of a column are of another size.
struct OddOnes {
    ColumnRef column;
    const char* code;
    std::string words;
    int64_t first, last;  // lines
    double middle;        // of them
    double low_of_others, high_of_others;
};

std::string value_range(double low, double high) {
    return low == high ? fmt::format("{:g}", low) : fmt::format("{:g} to {:g}", low, high);
}

OddOnes as_odd_ones(const ColumnRef& ref, const ApartValues& apart) {
    // Some of the lines between may lack the column.
    constexpr int64_t kLinesOfOne = 2;
    std::string where;
    if (apart.last == apart.first)
        where = "1 record";
    else if (apart.last - apart.first < kLinesOfOne * apart.n)
        where = fmt::format("{} records ({})", apart.n, line_range(apart.first, apart.last));
    else
        where = fmt::format("{} records (within {})", apart.n, line_range(apart.first, apart.last));
    return {.column = ref,
            .code = "far-value",
            .words = fmt::format("{} is {} in {}, and {} in all others", name_of(ref),
                                 value_range(apart.low, apart.high), where,
                                 value_range(apart.low_of_others, apart.high_of_others)),
            .first = apart.first,
            .last = apart.last,
            .middle = (apart.low + apart.high) / 2,
            .low_of_others = apart.low_of_others,
            .high_of_others = apart.high_of_others};
}

struct Range {
    double low = std::numeric_limits<double>::infinity(), high = -low;

    void take(double value) {
        low = std::min(low, value);
        high = std::max(high, value);
    }
};

OddOnes as_odd_ones(const ColumnRef& ref, const RealColumn& column, const OddBlock& block) {
    const std::vector<SpreadSample::Value>& values = column.sample.values();
    Range inside, outside;
    for (std::size_t k = 0; k < values.size(); ++k)
        (k >= block.begin && k < block.end ? inside : outside).take(values[k].value);
    const int64_t first = values[block.begin].line, last = values[block.end - 1].line;
    return {
        .column = ref,
        .code = "kind-change",
        .words = fmt::format("{} is {} in about {}, mostly {:g}, and {} elsewhere", name_of(ref),
                             value_range(inside.low, inside.high), line_range(first, last),
                             block.median, value_range(outside.low, outside.high)),
        .first = first,
        .last = last,
        .middle = block.median,
        .low_of_others = outside.low,
        .high_of_others = outside.high};
}

void look_at_extremes(Look& look, const ColumnRef& ref, const RealColumn& column,
                      std::vector<OddOnes>& odd) {
    const std::optional<RealColumn::Middle> middle = column.middle();
    if (!middle) return;
    const std::vector<ValueSteps::Step> steps = column.steps.steps();
    const bool is_positive = column.lowest.values()[0].value >= 0;
    for (const bool is_lowest : {true, false}) {
        const std::vector<Extreme>& values = (is_lowest ? column.lowest : column.highest).values();
        if (is_missing_code(values, is_lowest, *middle)) {
            tell_missing_code(look, ref, values, is_lowest);
            continue;
        }
        std::size_t n_far = count_far(values, *middle);
        if (!is_lowest && is_positive && n_far > 0 &&
            !is_above_tail(steps, values[n_far - 1].value))
            n_far = 0;
        const std::optional<ApartValues> apart = find_apart(steps, !is_lowest);
        if (apart && (n_far == 0 || apart->n > static_cast<int64_t>(Extremes::kMost)))
            odd.push_back(as_odd_ones(ref, *apart));
        else
            for (std::size_t k = 0; k < n_far; ++k) tell_far(look, ref, values[k], *middle);
    }
}

// ---- Columns that change

bool are_of_other_kinds(const Range& low, const Range& high) {
    const double gap = high.low - low.high;
    const double width = std::max(low.high - low.low, high.high - high.low);
    return gap > 0 &&
           (gap > kChangeGap * width || (low.low > 0 && high.low > kChangeRatio * low.high));
}

// The first value behind the change, in the order of the file; null without one.
const SpreadSample::Value* find_change(const std::vector<SpreadSample::Value>& values) {
    std::vector<Range> behind(values.size());
    for (std::size_t k = values.size(); k-- > 0;) {
        if (k + 1 < values.size()) behind[k] = behind[k + 1];
        behind[k].take(values[k].value);
    }
    Range before;
    for (std::size_t k = 0; k + kFewestOfChange <= values.size(); ++k) {
        if (k >= kFewestOfChange &&
            (are_of_other_kinds(before, behind[k]) || are_of_other_kinds(behind[k], before)))
            return &values[k];
        before.take(values[k].value);
    }
    return nullptr;
}

bool tell_change(Look& look, const ColumnRef& ref, const RealColumn& column) {
    const SpreadSample::Value* change = find_change(column.sample.values());
    if (change == nullptr) return false;
    Range before, behind;
    for (const auto& [value, line] : column.sample.values())
        (line < change->line ? before : behind).take(value);
    look.findings.warn(
        "kind-change", in_data(ref, change->line),
        record_words(change->line) +
            fmt::format("about here {} changes from {:g}..{:g} to {:g}..{:g}", name_of(ref),
                        before.low, before.high, behind.low, behind.high),
        "Other units, other columns, or another file?");
    return true;
}

// ---- Columns that take each other's place

bool are_exchanged(const OddOnes& one, const OddOnes& other) {
    const auto is_of = [](const OddOnes& odd, const OddOnes& column) {
        return odd.middle >= column.low_of_others && odd.middle <= column.high_of_others;
    };
    const int64_t n_common = std::min(one.last, other.last) - std::max(one.first, other.first) + 1;
    const int64_t n_all = std::max(one.last, other.last) - std::min(one.first, other.first) + 1;
    return one.column != other.column &&
           static_cast<double>(n_common) >= kExchangedLines * static_cast<double>(n_all) &&
           is_of(one, other) && is_of(other, one);
}

void tell_odd_ones(Look& look, const std::vector<OddOnes>& odd) {
    std::vector<bool> is_told(odd.size());
    for (std::size_t k = 0; k < odd.size(); ++k) {
        for (std::size_t l = k + 1; l < odd.size() && !is_told[k]; ++l) {
            if (is_told[l] || !are_exchanged(odd[k], odd[l])) continue;
            is_told[k] = is_told[l] = true;
            look.findings.warn(
                "exchanged-columns", in_data(odd[k].column, odd[k].first),
                fmt::format("{} and {} seem to be exchanged in {}", name_of(odd[k].column),
                            name_of(odd[l].column), line_range(odd[k].first, odd[k].last)));
        }
        const Place place = in_data(odd[k].column, odd[k].first);
        if (is_told[k] ||
            (odd[k].first == odd[k].last && look.findings.has_error_at(place.file, place.line)))
            continue;
        look.findings.warn(odd[k].code, place, odd[k].words,
                           "Other units, other columns, or another file?");
    }
}

}  // namespace

void look_at_values(Look& look) {
    std::vector<OddOnes> odd;
    for (const auto& [number, column] : look.data->reals) {
        const ColumnRef ref{true, number};
        if (tell_change(look, ref, column)) continue;
        const std::size_t n_before = odd.size();
        look_at_extremes(look, ref, column, odd);
        if (odd.size() > n_before) continue;
        if (const std::optional<OddBlock> block = find_block(column))
            odd.push_back(as_odd_ones(ref, column, *block));
    }
    tell_odd_ones(look, odd);
}

}  // namespace kve::companion
