// The file INBREED and its head on the listing.
#pragma once

#include <cstdint>

#include "base/arrays.h"

namespace kve {

// One line for each animal of the list of factor k, `rows` of IDL, to INBREED, and at test print 2
// the first of them on the listing: identity, records, level, sort variable, parents, progeny, and
// the diagonals of A and L. Returns the number of lines.
int64_t write_inbreeding(int32_t k, const Vec<int32_t>& rows);

}  // namespace kve
