#include "handover/empty_work_files.h"

#include <cstdint>
#include <cstdio>

#include "base/state.h"
#include "data/factors.h"
#include "listing/units.h"

namespace kve {

READS(FACTORS);
WRITES(UNITS);

namespace {

// Nothing was written, so there is nothing that a failed close could lose; an empty file that
// cannot be removed does no harm.
void close_and_delete(TextOutput& unit) {
    static_cast<void>(unit.close());
    static_cast<void>(std::remove(unit.path().c_str()));
}

}  // namespace

void delete_empty_work_files() {
    int64_t parents_after_offspring = 0;
    for (int32_t lines : FACTORS.NBAFT) parents_after_offspring += lines;
    if (parents_after_offspring == 0) close_and_delete(UNITS.PEDDATA);
    if (FACTORS.INBREED_LINES == 0) close_and_delete(UNITS.INBREED);
}

}  // namespace kve
