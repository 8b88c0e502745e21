// Where everything stands in a recoded record, RCDATA_I and RCDATA_R, and where it comes from.
#pragma once

#include <cstdint>

#include "base/arrays.h"
#include "data/intake.h"
#include "data/usability.h"
#include "store/level_index.h"

namespace kve {

// One class effect of the recoded record: the level of the identity at `place` of the data record
// goes to `position`. The level is looked up while one of `traits` is usable, or always.
struct LevelColumn {
    enum Table : int32_t { levels, animals };
    TraitPattern traits;
    bool always;
    bool enters_unknown;  // an unknown identity gets a row of its own, of level 0
    Table table;
    int32_t place;
    int32_t position;  // 0: it is looked up and not written
    int32_t* root;
    int32_t n_levels;  // of the factor or effect
    LevelIndex index;  // levels of the identities on the factor's list, and of others met so far
    bool waits;        // for the level of `key`, noted from the record under the reader
    int32_t key;
    OddRecords without_level;  // records in which it is asked for and is 0
};

// An integer that is taken over as it stands.
struct RawColumn {
    int32_t place;
    int32_t position;
};

struct RecodingLayout {
    Vec<LevelColumn> fixed;   // trait by trait
    Vec<LevelColumn> random;  // matrix by matrix
    Vec<RawColumn> raw;       // absorbed effects, subject and sequence, censoring codes
    Vec<int32_t> real_place;  // NFOUT: place in FINP of each position of RCDATA_R

    int32_t group_place = kNotChecked;  // of a GROUP residual
    int32_t group_position = 0;

    // A sequential binary trait: places of subject and sequence number, position of the latter.
    bool has_sequences = false;
    int32_t subject_place = 0, sequence_place = 0, sequence_position = 0;
};

// Gives every trait of a generalized model a weight, sets the positions that the model records
// hold for weights, offsets, interval limits and censoring codes, and NIOUT and NFOUT of RECODED.
// Stops on a structure that no level can be looked up for, and when memory runs out.
RecodingLayout lay_out_recoded_data();

}  // namespace kve
