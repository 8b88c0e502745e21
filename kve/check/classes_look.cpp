// The class effects of the model: levels that say little.
#include <fmt/format.h>

#include <algorithm>
#include <set>

#include "base/state.h"
#include "kve/check/data_figures.h"
#include "kve/check/look.h"
#include "kve/check/thresholds.h"
#include "kve/check/words.h"
#include "model/model_records.h"

namespace kve::companion {

READS(KVEINT);
READS(MODEL);
READS(RMAT);

namespace {

int64_t count_single_levels(const ClassColumn& column) {
    return std::ranges::count_if(column.levels.slots(), [](const LevelSlot& slot) {
        return !slot.is_empty() && slot.n == 1;
    });
}

// Effect k of the random ones of a trait carries a regression.
bool has_regression(const Model& m, int32_t effect) {
    return std::ranges::count(m.reg_n_ef_no, effect) > 0;
}

void look_at_fixed(Look& look, const Model& m, int32_t effect, const ClassColumn& column) {
    const std::string name = integer_called(column.column);
    const Place place = place_in_model(look, m.lines.effects, std::to_string(column.column));
    if (column.n_levels == 1 && column.n_records > 1 && m.n_fixed > 1)
        look.findings.note("class-one-level", place,
                           fmt::format("{} has one level only, beside other fixed effects", name));
    if (column.n_levels < kFewestLevels || !m.f_intercept(effect)) return;
    const int64_t n_single = count_single_levels(column);
    if (column.n_levels == column.n_records)
        look.findings.warn("class-of-single-records", place,
                           fmt::format("the fixed effect {} has a level for each of the {} records",
                                       name, column.n_records),
                           "Is it an identity? Nothing is left to estimate anything from");
    else if (static_cast<double>(n_single) > kManySingle * static_cast<double>(column.n_records))
        look.findings.warn("class-of-single-records", place,
                           fmt::format("{} of the {} levels of {} have one record, which is {:.0f} "
                                       "% of all records and tells nothing else",
                                       n_single, column.n_levels, name,
                                       100.0 * static_cast<double>(n_single) /
                                           static_cast<double>(column.n_records)),
                           "Join small levels");
}

void look_at_random(Look& look, const Model& m, int32_t effect, const ClassColumn& column) {
    const int32_t matrix = m.r_ef_matno(effect);
    const bool is_plain = matrix >= 1 && matrix <= KVEINT.NRAMAT &&
                          RMAT(matrix).structure == Structure::I && m.r_intercept(effect) &&
                          !has_regression(m, m.r_ef_no(effect));
    if (!is_plain) return;
    const std::string name = integer_called(column.column);
    const Place place = place_in_model(look, m.lines.effects, std::to_string(column.column));
    if (column.n_levels == 1 && column.n_records > 1)
        look.findings.warn("class-one-level", place,
                           fmt::format("the random effect {} has one level only: there is no "
                                       "variance between levels",
                                       name));
    else if (column.n_levels >= kFewestLevels && column.n_levels == column.n_records)
        look.findings.warn(
            "class-of-single-records", place,
            fmt::format("the random effect {} has a level for each of the {} records: it and the "
                        "residual are the same",
                        name, column.n_records),
            fmt::format("Relationships for its factor? $VAR_STR {} is missing", matrix));
}

// A slip of the pen in a single record.
void look_for_far_level(Look& look, const Model& m, const ClassColumn& column) {
    LevelSlot highest{};
    int64_t next = 0;
    for (const LevelSlot& slot : column.levels.slots()) {
        if (slot.is_empty()) continue;
        next = std::max<int64_t>(next, std::min(slot.key, highest.key));
        if (slot.key > highest.key) highest = slot;
    }
    if (column.n_levels >= kFewestLevels && highest.n == 1 && highest.key > kFarLevel * next)
        look.findings.note(
            "far-level", place_in_model(look, m.lines.effects, std::to_string(column.column)),
            fmt::format("{} has the level {} with one record, and {} is the next one below it",
                        integer_called(column.column), highest.key, next),
            "A digit too many?");
}

}  // namespace

// The figures of a column are those of all traits: it is told of once, where it stands first.
void look_at_classes(Look& look) {
    std::set<int32_t> fixed, random;
    for (const Model& m : MODEL) {
        for (int32_t j = 1; j <= m.n_fixed; ++j)
            if (const ClassColumn* column = look.data->class_column(m.f_ef_inp(j));
                column != nullptr && fixed.insert(column->column).second) {
                look_for_far_level(look, m, *column);
                look_at_fixed(look, m, j, *column);
            }
        for (int32_t j = 1; j <= m.n_random; ++j)
            if (const ClassColumn* column = look.data->class_column(m.r_ef_inp(j));
                column != nullptr && random.insert(column->column).second)
                look_at_random(look, m, j, *column);
    }
}

}  // namespace kve::companion
