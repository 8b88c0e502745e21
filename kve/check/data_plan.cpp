#include "kve/check/data_plan.h"

#include <algorithm>
#include <map>
#include <new>
#include <utility>

#include "base/state.h"
#include "directives/directives.h"
#include "model/model_records.h"

namespace kve::companion {

READS(DIRECTIVES);
READS(KVEINT);
READS(MODEL);
READS(RMAT);

namespace {

bool is_integer_column(int32_t column) { return column >= 1 && column <= DIRECTIVES.NI; }

}  // namespace

std::vector<ClassColumn> plan_class_columns() {
    std::map<int32_t, TraitPattern> traits_of;
    for (int32_t i = 1; i <= KVEINT.nt; ++i)
        for (const int32_t column : MODEL(i).ef_inp)
            if (is_integer_column(column)) traits_of[column] |= trait_bit(KVEINT.nt, i);
    std::vector<ClassColumn> columns;
    for (const auto& [column, traits] : traits_of) {
        columns.push_back({.column = column, .traits = traits});
        if (columns.back().levels.allocate() != 0) throw std::bad_alloc();
    }
    return columns;
}

RealColumns plan_real_columns() {
    RealColumns columns;
    const auto use = [&columns](int32_t column) {
        if (column >= 1 && column <= DIRECTIVES.NR) columns[column];
    };
    for (const Model& m : MODEL) {
        use(m.trait_inp_no);
        use(m.wgt_inp_no);
        use(m.offset_inp);
        for (const int32_t column : m.reg_inp) use(column);
    }
    return columns;
}

std::vector<ColumnPair> plan_column_pairs(const DataFigures& figures) {
    constexpr std::size_t kMostColumns = 500;
    std::vector<ColumnRef> columns;
    for (const ClassColumn& column : figures.classes) columns.push_back({false, column.column});
    for (const auto& [column, values] : figures.reals) columns.push_back({true, column});
    std::vector<ColumnPair> pairs;
    if (columns.size() > kMostColumns) return pairs;
    for (std::size_t k = 1; k < columns.size(); ++k)
        for (std::size_t l = 0; l < k; ++l) pairs.push_back({columns[l], columns[k]});
    return pairs;
}

namespace {

// The fixed part of traits: columns of class effects with an intercept and of general regressions.
struct FixedPart {
    std::vector<int32_t> effects{}, covariables{};
    TraitPattern traits;
};

FixedPart fixed_part_of(int32_t trait) {
    const Model& m = MODEL(trait);
    FixedPart part{.traits = trait_bit(KVEINT.nt, trait)};
    for (int32_t j = 1; j <= m.n_fixed; ++j)
        if (m.f_intercept(j) && is_integer_column(m.f_ef_inp(j)) &&
            std::ranges::count(part.effects, m.f_ef_inp(j)) == 0)
            part.effects.push_back(m.f_ef_inp(j));
    for (int32_t l = 1; l <= m.n_reg; ++l)
        if (m.reg_type(l) == kGeneralRegression && m.reg_inp(l) <= DIRECTIVES.NR)
            part.covariables.push_back(m.reg_inp(l));
    return part;
}

}  // namespace

std::vector<FixedCells> plan_fixed_parts() {
    std::vector<FixedPart> parts;
    for (int32_t i = 1; i <= KVEINT.nt; ++i) {
        FixedPart part = fixed_part_of(i);
        if (part.effects.size() + part.covariables.size() < 2 || part.effects.empty()) continue;
        const auto same = std::ranges::find_if(parts, [&part](const FixedPart& other) {
            return other.effects == part.effects && other.covariables == part.covariables;
        });
        if (same == parts.end())
            parts.push_back(std::move(part));
        else
            same->traits |= part.traits;
    }
    std::vector<FixedCells> all;
    all.reserve(parts.size());
    for (FixedPart& part : parts)
        all.emplace_back(part.traits, std::move(part.effects), std::move(part.covariables));
    return all;
}

namespace {

// Of each fixed effect of the trait and its animals in factor k; empty when it has none there.
std::vector<FixedCells> cells_of_animals(int32_t trait, int32_t k) {
    const Model& m = MODEL(trait);
    std::vector<FixedCells> cells;
    for (int32_t j = 1; j <= m.n_random && cells.empty(); ++j) {
        if (m.r_ef_matno(j) != k) continue;
        for (const int32_t fixed : m.f_ef_inp)
            if (is_integer_column(fixed))
                cells.emplace_back(trait_bit(KVEINT.nt, trait), std::vector{fixed, m.r_ef_inp(j)},
                                   std::vector<int32_t>());
    }
    return cells;
}

}  // namespace

std::vector<AnimalGroups> plan_animal_groups() {
    std::vector<AnimalGroups> all;
    for (int32_t k = 1; k <= KVEINT.NRAMAT; ++k) {
        if (!has_pedigree(RMAT(k).structure)) continue;
        AnimalGroups groups{k, {}};
        for (int32_t i = 1; i <= KVEINT.nt && groups.cells.empty(); ++i)
            groups.cells = cells_of_animals(i, k);
        all.push_back(std::move(groups));
    }
    return all;
}

}  // namespace kve::companion
