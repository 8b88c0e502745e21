// The sparse store: one symmetric matrix, of which the lower triangle is kept as a list per row
// with ascending columns (tables IF, IN, IV, AI of run/big_tables.h).
#pragma once

#include <cstdint>

namespace kve {

// Empties the store. Call it before the first addition to a matrix, and whenever IF, IN or IV have
// served as workspace.
void clear_sparse();

// Adds `value` at (i, j), in either order. An addition with an index below 1 is dropped: it belongs
// to an unknown parent. Additions to one place sum up in the order of the calls. The tables grow
// when they are full.
void insert_sparse(int32_t i, int32_t j, double value);

}  // namespace kve
