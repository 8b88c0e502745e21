// What a pass over the data has to look at, by the model.
#pragma once

#include <vector>

#include "kve/check/data_figures.h"

namespace kve::companion {

std::vector<ClassColumn> plan_class_columns();
// Traits, weights, offsets and covariables.
RealColumns plan_real_columns();

// Two columns that have been alike so far: all pairs, since those that differ go with the first
// records.
std::vector<ColumnPair> plan_column_pairs(const DataFigures& figures);

// Traits with the same fixed effects share a part; one with a single effect has nothing to look at.
std::vector<FixedCells> plan_fixed_parts();

// For each factor with a pedigree, by the first trait with the factor.
std::vector<AnimalGroups> plan_animal_groups();

}  // namespace kve::companion
