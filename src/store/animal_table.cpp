#include "store/animal_table.h"

#include "base/state.h"
#include "listing/stop.h"
#include "store/big_tables.h"
#include "store/growth.h"

namespace kve {

WRITES(IDL);
WRITES(NMDL);

int32_t append_animal(LevelIndex& index, int32_t id) {
    if (NMDL >= IDL.size()) grow_animals();
    const int32_t row = ++NMDL;
    IDL(row) = AnimalRow{};
    IDL(row).key = id;
    check_allocated(index.enter(id, row), "PEDIGREE", "ANIMAL INDEX", NMDL);
    return row;
}

}  // namespace kve
