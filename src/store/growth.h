// First allocation and growth of the large work tables.
//
// Mode 0 allocates with the dimension as it stands, all zero; any other mode lengthens the tables
// by a tenth, at least by one. What they held stays in front and the new tail is zero. Growth goes
// through an unlinked scratch file in the working directory, so that the old and the new copy of a
// table are never in memory together; references to rows do not survive it. A table that cannot be
// had, and a scratch file that cannot be written or read back, stop the run.
#pragma once

#include <cstdint>

namespace kve {

void ALLOC_MFL(int mode);     // IFL
void ALLOC_MDL(int mode);     // IDL, IF, AD, LD; IN and IV when they are shorter than the new MDL
void ALLOC_MAXNRM(int mode);  // AI, IN, IV

// All three for the first time, in the dimensions that KVEDIM has left.
void allocate_tables();

// How much of each table the run has needed, into DIMENSIONS.
void note_used_dimensions();

// IF so long that it has an entry for `row`, the tail zero. Its rows can be levels of any factor
// and so pass MDL; no growth shortens it.
void lengthen_row_heads(int32_t row);

}  // namespace kve
