// Inverse genomic relationship matrices (factors of type GREL), which the user gives in a file:
// both passes over it. The whole triangle is held in memory and written with its zeros.
#pragma once

#include <cstdint>

namespace kve {

// Reads the file of factor k. Writes its IDs among the levels of the factor, ITOPRS and NRALEV, the
// log determinant in RMAT, and MISS_IDk when levels have no diagonal element; `status` becomes 1
// then. Stops on a file that cannot be opened or has no readable first record.
void grel_check(int32_t k, int32_t& status);

// Reads the file again and writes GINVk, one record for each element of the lower triangle, row by
// row: column and row as int32, level numbers both, and value as real64. A failed write ends the
// file and the run goes on, but does not end well. Stops when the triangle does not fit into
// memory.
void GREL_RECODE(int32_t k);

}  // namespace kve
