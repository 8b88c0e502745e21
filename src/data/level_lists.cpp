#include "data/level_lists.h"

#include "base/state.h"
#include "data/factors.h"
#include "store/sorting.h"

namespace kve {

WRITES(FACTORS);

int32_t sort_residual_groups() { return sort_level_list(FACTORS.ROOT_GRP, FACTORS.HEAD_GRP, 0); }

void sort_fixed_levels(int32_t trait, int32_t effect) {
    FACTORS.NLEV(trait, effect) =
        sort_level_list(FACTORS.ROOT_EF(trait, effect), FACTORS.HEAD_EF(trait, effect), 0);
}

void sort_random_levels(int32_t k) {
    FACTORS.NRALEV(k) = sort_level_list(FACTORS.ITOPR(k), FACTORS.ITOPRS(k), 0);
}

void sort_random_levels(int32_t k, Vec<int32_t>& rows) {
    FACTORS.NRALEV(k) = sort_level_list(FACTORS.ITOPR(k), FACTORS.ITOPRS(k), 0, rows);
}

void sort_parent_groups(int32_t k) {
    FACTORS.NPHG(k) = sort_level_list(FACTORS.ITPPHG(k), FACTORS.ITPHGS(k), 0);
}

void sort_foreign_groups(int32_t k) {
    FACTORS.NFPHG(k) = sort_level_list(FACTORS.ITP_FPHG(k), FACTORS.ITP_FPHGS(k), 0);
}

}  // namespace kve
