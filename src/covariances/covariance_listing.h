// The current (co)variance matrices of the model with their correlations, and, for the simplest
// models, the phenotypic matrix.
//
// Reads RMAT, MODEL and the counters. Stopped by a file that cannot be written and lack of memory.
#pragma once

#include <cstdint>

namespace kve {

inline constexpr int32_t kListingUnit = 6;

// Prints to the listing (kListingUnit), in pages, or, for any other unit, to the file
// "Latest_parm", which it creates or empties and closes.
//
// Kept: the stages of this program print to the listing alone; the file belongs to the interface.
void KVEGR(int32_t unit);

}  // namespace kve
