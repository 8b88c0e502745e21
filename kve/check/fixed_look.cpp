// Fixed effects that cannot be told from each other.
#include <fmt/format.h>

#include <algorithm>
#include <numeric>
#include <string>

#include "base/state.h"
#include "kve/check/data_figures.h"
#include "kve/check/look.h"
#include "kve/check/thresholds.h"
#include "kve/check/words.h"
#include "model/model_records.h"

namespace kve::companion {

READS(KVEINT);
READS(MODEL);

namespace {

// A trait that has this fixed part.
const Model& model_of(const FixedCells& cells) {
    for (int32_t i = 1; i < KVEINT.nt; ++i)
        if ((cells.traits() & trait_bit(KVEINT.nt, i)) != 0) return MODEL(i);
    return MODEL(KVEINT.nt);
}

Place place_of_effect(const Look& look, const FixedCells& cells, int32_t column) {
    return place_in_model(look, model_of(cells).lines.effects, std::to_string(column));
}

bool is_copy(const Look& look, int32_t one, int32_t other) {
    return std::ranges::any_of(look.data->copies, [&](const auto& pair) {
        return !pair.first.is_real && !pair.second.is_real &&
               std::minmax(pair.first.column, pair.second.column) == std::minmax(one, other);
    });
}

// What has a level for each record holds all other effects, which is told elsewhere.
bool has_level_for_each(const Look& look, int32_t column) {
    const ClassColumn* found = look.data->class_column(column);
    return found != nullptr && found->n_levels == found->n_records;
}

// Effect `outer` says nothing that `inner` does not.
void tell_nested(Look& look, const FixedCells& cells, int32_t inner, int32_t outer,
                 bool is_mutual) {
    const Place place = place_of_effect(look, cells, outer);
    if (is_mutual)
        return look.findings.warn("confounded-effects", place,
                                  fmt::format("{} and {} divide the records in the same way: they "
                                              "cannot be told from each other",
                                              integer_called(outer), integer_called(inner)),
                                  "Take one of them");
    look.findings.warn(
        "confounded-effects", place,
        fmt::format("each level of {} stands with one level of {} only: {} adds nothing to it",
                    integer_called(inner), integer_called(outer), integer_called(outer)),
        fmt::format("Leave {} out, or take {} as random", integer_called(outer),
                    integer_called(inner)));
}

// Effects that are left when those are out that another one holds.
std::vector<std::size_t> look_for_nested(Look& look, const FixedCells& cells) {
    const std::vector<int32_t>& columns = cells.effects();
    std::vector<std::size_t> left(columns.size());
    std::iota(left.begin(), left.end(), std::size_t{0});
    std::erase_if(left, [&](std::size_t k) { return has_level_for_each(look, columns[k]); });
    for (std::size_t outer = 0; outer < columns.size(); ++outer)
        for (std::size_t inner = 0; inner < columns.size(); ++inner) {
            const bool is_left =
                std::ranges::count(left, inner) + std::ranges::count(left, outer) == 2;
            if (inner == outer || !is_left || look.data->count_levels(columns[outer]) < 2 ||
                !is_nested(cells, inner, outer))
                continue;
            if (!is_copy(look, columns[inner], columns[outer]))
                tell_nested(look, cells, columns[inner], columns[outer],
                            is_nested(cells, outer, inner));
            std::erase(left, outer);
        }
    std::erase_if(left, [&](std::size_t k) { return look.data->count_levels(columns[k]) < 2; });
    return left;
}

std::vector<std::size_t> without(std::vector<std::size_t> list, std::size_t item) {
    std::erase(list, item);
    return list;
}

void tell_too_large(Look& look, const FixedCells& cells) {
    look.findings.note("not-looked-at", place_of_effect(look, cells, cells.effects()[0]),
                       fmt::format("whether the fixed effects can be told from each other: that is "
                                   "looked at up to {} combinations of their levels, and {} levels "
                                   "beside those of the largest effect",
                                   FixedCells::kMost, kMostOtherLevels));
}

// Each effect after the first one is one short of its levels, the mean.
void look_at_rank(Look& look, const FixedCells& cells, const std::vector<std::size_t>& effects) {
    const std::optional<Rank> all = rank_of(cells, effects, {});
    if (!all) return tell_too_large(look, cells);
    const int64_t n_lost = all->n_levels - all->rank - std::ssize(effects) + 1;
    if (n_lost <= 0) return;
    bool is_told = false;
    for (const std::size_t effect : effects) {
        const std::optional<Rank> others = rank_of(cells, without(effects, effect), {});
        if (!others || others->rank < all->rank) continue;
        is_told = true;
        look.findings.warn("confounded-effects",
                           place_of_effect(look, cells, cells.effects()[effect]),
                           fmt::format("{} is a combination of the other fixed effects: it adds "
                                       "nothing to them",
                                       integer_called(cells.effects()[effect])));
    }
    if (!is_told)
        look.findings.note(
            "disconnected-levels", place_of_effect(look, cells, cells.effects()[effects[0]]),
            fmt::format("{} of {} differences between levels of the fixed effects cannot be "
                        "estimated: parts of the data have no levels in common",
                        n_lost, all->n_levels - std::ssize(effects)));
}

// A covariable that is the same for all records of a combination may depend on the effects alone.
void look_at_covariables(Look& look, const FixedCells& cells,
                         const std::vector<std::size_t>& effects) {
    for (std::size_t k = 0; k < cells.covariables().size(); ++k) {
        const int32_t column = cells.covariables()[k];
        const bool varies = look.data->reals.at(column).values.size() > 1;
        if (!varies || !cells.is_constant_within(k) || cells.n_repeated() < kFewestRepeats)
            continue;
        const std::optional<Rank> alone = rank_of(cells, effects, {});
        const std::optional<Rank> with = rank_of(cells, effects, {k});
        if (!alone || !with || with->rank > alone->rank) continue;
        look.findings.warn(
            "confounded-effects",
            place_in_model(look, model_of(cells).lines.regressions, std::to_string(column)),
            fmt::format("the covariable {} depends on the fixed effects alone: its regression "
                        "cannot be estimated",
                        real_called(column)));
    }
}

}  // namespace

void look_at_fixed_part(Look& look) {
    for (const FixedCells& cells : look.data->fixed_parts) {
        if (cells.count() == 0) continue;
        if (cells.is_too_many()) {
            tell_too_large(look, cells);
            continue;
        }
        const std::vector<std::size_t> effects = look_for_nested(look, cells);
        if (effects.size() > 1) look_at_rank(look, cells, effects);
        if (!effects.empty()) look_at_covariables(look, cells, effects);
    }
}

}  // namespace kve::companion
