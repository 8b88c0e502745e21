// Stage count_residual_groups: the groups of a residual (co)variance matrix of type GROUP, one
// residual matrix each.
//
// Numbers the group codes that usable records hold in ascending order, from 1. A residual of
// another type has one group, of code 0.
//
// Reads the tree of group codes in FACTORS and IFL. Writes its list and, of the residual in RMAT,
// grp_nlev, grp_code and niegr (the records with the code); the arrays of the groups' priors get
// their size. Stops when memory runs out.
#pragma once

namespace kve {

void count_residual_groups();

}  // namespace kve
