#include "data/residual_groups.h"

#include <cstdint>

#include "base/state.h"
#include "data/factors.h"
#include "data/level_lists.h"
#include "directives/directives.h"
#include "model/model_records.h"
#include "store/big_tables.h"

namespace kve {

READS(FACTORS);
READS(IFL);
WRITES(RMAT);

void count_residual_groups() {
    RMatrix& residual = residual_of(RMAT);
    const bool grouped = residual.structure == Structure::GROUP;
    residual.grp_nlev = grouped ? sort_residual_groups() : 1;
    allocate_residual_groups(residual);
    if (!grouped) return;
    int32_t group = 0;
    for (int32_t row = FACTORS.HEAD_GRP; row != 0; row = IFL(row).next) {
        residual.grp_code(++group) = IFL(row).key;
        residual.niegr(group) = IFL(row).n_obs;
    }
}

}  // namespace kve
