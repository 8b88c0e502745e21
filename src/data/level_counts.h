// Stage sort_level_lists: sorts and numbers the levels met in the data of every factor without a
// relationship structure. Reads RMAT and the trees of FACTORS and IFL; writes ITOPRS, NRALEV and
// the lists in IFL.
//
// Stage count_one_level_factors: gives a factor of type I with a single level, as an overall mean
// of random regressions has, a level for each of the regressions. Reads MODEL, RMAT and NRALEV;
// writes the factor's tree and list in FACTORS and IFL, which may grow.
//
// Both stop when memory runs out.
#pragma once

namespace kve {

void sort_level_lists();
void count_one_level_factors();

}  // namespace kve
