// How many levels each random factor has: ITOPRS, NRALEV and the numbers in IFL.
#pragma once

namespace kve {

// Sorts and numbers the levels met in the data of every factor without a relationship structure.
// Reads RMAT and ITOPR; writes ITOPRS, NRALEV and the lists in IFL.
void sort_level_lists();

// Gives a factor of type I with a single level, as an overall mean of random regressions has, a
// level for each of the regressions. Reads MODEL and RMAT; writes ITOPR, ITOPRS, NRALEV and IFL.
void count_one_level_factors();

}  // namespace kve
