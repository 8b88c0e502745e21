#include "store/work_tables.h"

#include "base/state.h"
#include "store/big_tables.h"
#include "store/growth.h"

namespace kve {

WRITES(DIMENSIONS);
READS(NMDL);
READS(NMFL);
READS(N_SPARSE);

void allocate_tables() {
    allocate_levels();
    allocate_animals();
    allocate_elements();
}

void note_used_dimensions() {
    DIMENSIONS.MFL.used = NMFL;
    DIMENSIONS.MDL.used = NMDL;
    DIMENSIONS.MAXNRM.used = N_SPARSE;
}

}  // namespace kve
