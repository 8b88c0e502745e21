// Digital search trees built all at once.
#pragma once

#include <cstdint>

#include "base/arrays.h"
#include "store/big_tables.h"

namespace kve {

// Makes `rows`, in the order of their arrival, the tree at `root`, as if level_code had entered one
// after the other. Their keys are different and above 0. `rows` comes back in the order of a walk
// from the root, the branch of bit 1 before that of bit 0. A descent for each row would touch a row
// of the table a bit, all over the memory; here all rows take each bit together. Stops the run when
// there is no memory.
void build_tree(Vec<LevelRow>& table, Vec<int32_t>& rows, int32_t& root);
void build_tree(Vec<AnimalRow>& table, Vec<int32_t>& rows, int32_t& root);

}  // namespace kve
