// The animals of the pedigree factors in IDL: finding and entering them by their IDs.
#pragma once

#include <cstdint>

#include "base/arrays.h"
#include "store/level_index.h"

namespace kve {

namespace state {

// Row in IDL of each animal and group code, an index for each random factor. The pedigree reader
// fills it; it is emptied when the factor's pedigree has been processed.
inline constinit Vec<LevelIndex> ANIMAL_INDEX;  // NRAMAT

}  // namespace state

// The row of an ID of the factor, 0 when it has none.
inline int32_t find_animal(LevelIndex& index, int32_t id) {
    const LevelIndex::Slot* slot = index.find(id);
    return slot != nullptr ? slot->value() : 0;
}

// A cleared row after those in use, for an ID that has none; IDL grows when it is full. The row
// stands in no tree yet. References to rows do not survive the call.
int32_t append_animal(LevelIndex& index, int32_t id);

}  // namespace kve
