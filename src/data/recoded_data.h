// The recoded data, RCDATA_I and RCDATA_R: how long their records are and what was counted while
// they were written.
#pragma once

#include <cstdint>

#include "base/arrays.h"
#include "base/state.h"

namespace kve {

struct RecodedData {
    int32_t NIOUT = 0;              // words of a record of RCDATA_I
    int32_t NFOUT = 0;              // words of a record of RCDATA_R
    int32_t n_records = 0;          // records written
    int32_t n_fixed_positions = 0;  // F: fixed class effects of all traits
    int32_t n_subjects = 0;         // 0 without a sequential binary trait
    int32_t largest_sequence = 0;
    Vec<int32_t> NABGR;    // absorption groups per absorbed column
    Vec<int32_t> MN_ABGR;  // largest group per absorbed column
};

namespace state {

// n_fixed_positions is set with the places of the effects, all else by the second pass.
inline constinit RecodedData RECODED;

}  // namespace state
}  // namespace kve
