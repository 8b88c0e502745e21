// First allocation and growth of the large work tables.
//
// Growing lengthens the tables of a dimension by a tenth, at least by one. What they held stays in
// front and the new tail is zero. The old and the new copy of a table are never in memory together;
// references to rows do not survive it. A table that cannot be had stops the run.
#pragma once

#include <cstdint>

namespace kve {

// With the dimension as it stands, all zero.
void allocate_levels();    // IFL
void allocate_animals();   // IDL, IF, AD, LD
void allocate_elements();  // AI, IN, IV

void grow_levels();    // IFL
void grow_animals();   // IDL, IF, AD, LD; IN and IV when they are shorter than the new MDL
void grow_elements();  // AI, IN, IV

// IF so long that it has an entry for `row`, the tail zero. Its rows can be levels of any factor
// and so pass MDL; no growth shortens it.
void lengthen_row_heads(int32_t row);

}  // namespace kve
