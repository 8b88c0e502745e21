// The levels of a tree as a list in ascending order of their keys, numbered from 1. Every list of
// levels is made here, called by the stage that knows all levels of the tree; once levels have been
// added the list is made anew.
#pragma once

#include <cstdint>

#include "base/arrays.h"

namespace kve {

// Each writes the head of its list and its count in FACTORS, and the rows of the list in IFL.
int32_t sort_residual_groups();                          // HEAD_GRP; returns the count
void sort_fixed_levels(int32_t trait, int32_t effect);   // HEAD_EF, NLEV
void sort_random_levels(int32_t k);                      // ITOPRS, NRALEV
void sort_random_levels(int32_t k, Vec<int32_t>& rows);  // also the rows in the order of the list
void sort_parent_groups(int32_t k);                      // ITPHGS, NPHG
void sort_foreign_groups(int32_t k);                     // ITP_FPHGS, NFPHG

}  // namespace kve
