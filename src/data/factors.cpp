#include "data/factors.h"

#include <algorithm>
#include <string_view>

#include "base/state.h"
#include "listing/stop.h"
#include "model/model_records.h"

namespace kve {

READS(KVEINT);
READS(RMAT);
WRITES(FACTORS);

namespace {

template <class T>
void per_factor(Vec<T>& array, std::string_view label) {
    check_allocated(array.allocate(KVEINT.NRAMAT), "KVE1", label, KVEINT.NRAMAT);
}

void table(Matrix<int32_t>& array, int64_t rows, int64_t columns, std::string_view label) {
    check_allocated(array.allocate(rows, columns), "KVE1", label, rows * columns);
}

}  // namespace

void allocate_factors() {
    int64_t nt = KVEINT.nt;
    FACTORS.ROOT_GRP = FACTORS.HEAD_GRP = 0;
    table(FACTORS.ROOT_EF, nt, KVEINT.MAX_N_FIXED, "ROOT_EF");
    table(FACTORS.HEAD_EF, nt, KVEINT.MAX_N_FIXED, "HEAD_EF");
    per_factor(FACTORS.ITOPR, "ITOPR");
    per_factor(FACTORS.ITOPRS, "ITOPRS");
    per_factor(FACTORS.ITPPHG, "ITPPHG");
    per_factor(FACTORS.ITPHGS, "ITPHGS");
    per_factor(FACTORS.ITP_FPHG, "ITP_FPHG");
    per_factor(FACTORS.ITP_FPHGS, "ITP_FPHGS");
    per_factor(FACTORS.ITOPA, "ITOPA");
    per_factor(FACTORS.ITOPAS, "ITOPAS");
    per_factor(FACTORS.FIRST_ANIMAL, "FIRST_ANIMAL");
    per_factor(FACTORS.LAST_ANIMAL, "LAST_ANIMAL");
    per_factor(FACTORS.ANIMAL_LIST, "ANIMAL_LIST");

    per_factor(FACTORS.NRALEV, "NRALEV");
    per_factor(FACTORS.NPHG, "NPHG");
    per_factor(FACTORS.NPHNUL, "NPHNUL");
    per_factor(FACTORS.N_AIN, "N_AIN");
    per_factor(FACTORS.N_AWD, "N_AWD");
    per_factor(FACTORS.N_RIN, "N_RIN");
    per_factor(FACTORS.NBAFT, "NBAFT");
    per_factor(FACTORS.NFINFO, "NFINFO");
    per_factor(FACTORS.NFPHG, "NFPHG");
    per_factor(FACTORS.IEQNEP, "IEQNEP");

    table(FACTORS.NLEV, nt, KVEINT.MAX_N_FIXED, "NLEV");
    table(FACTORS.NBEGREG, nt, KVEINT.MAX_N_REG, "NBEGREG");
    table(FACTORS.NBEGF, nt, KVEINT.MAX_N_FIXED, "NBEGF");
    int64_t starts = int64_t{KVEINT.NRAMAT} + 1;
    check_allocated(FACTORS.NBEGRA.allocate(starts), "KVE1", "NBEGRA", starts);
    // A matrix that no effect uses has no member and yet a first equation.
    int32_t members = 1;
    for (int32_t k = 1; k <= KVEINT.NRAMAT; ++k) members = std::max(members, RMAT(k).n_traits);
    table(FACTORS.NBEGRAT, members, KVEINT.NRAMAT, "NBEGRAT");
}

}  // namespace kve
