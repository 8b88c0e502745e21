// Stages allocate_tables, note_used_dimensions: the large work tables at the beginning and at the
// end of their use.
//
// The first one reads DIMENSIONS as KVEDIM has left them and makes IFL, IDL, AD, LD and the sparse
// store, empty; a table that cannot be had stops the run. The second one writes to DIMENSIONS how
// much of each table the run has needed.
#pragma once

namespace kve {

void allocate_tables();
void note_used_dimensions();

}  // namespace kve
