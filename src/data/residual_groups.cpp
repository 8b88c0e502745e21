#include "data/residual_groups.h"

#include "data/factors.h"
#include "model/records.h"
#include "run/big_tables.h"
#include "run/sorting.h"

namespace kve {

READS(KVEINT);
READS(IFL);
WRITES(RMAT);
WRITES(FACTORS);

void count_residual_groups() {
    RMatrix& residual = RMAT(KVEINT.NRAMAT + 1);
    residual.grp_nlev =
        residual.is("GROUP") ? sort_level_list(FACTORS.ROOT_GRP, FACTORS.HEAD_GRP, 0) : 1;
}

void record_group_counts() {
    RMatrix& residual = RMAT(KVEINT.NRAMAT + 1);
    if (!residual.is("GROUP")) return;
    int32_t group = 0;
    for (int32_t row = FACTORS.HEAD_GRP; row != 0; row = IFL(row).next) {
        ++group;
        residual.grp_code(group) = IFL(row).key;
        residual.niegr(group) = IFL(row).n_obs;
    }
}

}  // namespace kve
