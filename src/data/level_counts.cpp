#include "data/level_counts.h"

#include <algorithm>
#include <cstdint>

#include "base/state.h"
#include "data/factors.h"
#include "data/level_lists.h"
#include "directives/directives.h"
#include "model/model_records.h"
#include "store/big_tables.h"
#include "store/level_code.h"

namespace kve {

READS(KVEINT);
READS(MODEL);
READS(RMAT);
WRITES(IFL);
WRITES(NMFL);
WRITES(FACTORS);

namespace {

// Largest number of random regressions that a trait has in matrix k.
int32_t most_regressions(int32_t k) {
    int32_t most = 0;
    for (const Model& m : MODEL)
        most = std::max(most, static_cast<int32_t>(std::ranges::count(m.reg_r_matno, k)));
    return most;
}

}  // namespace

void sort_level_lists() {
    for (int32_t k = 1; k <= KVEINT.NRAMAT; ++k)
        if (RMAT(k).structure == Structure::I || RMAT(k).structure == Structure::GROUP)
            sort_random_levels(k);
}

void count_one_level_factors() {
    for (int32_t k = 1; k <= KVEINT.NRAMAT; ++k) {
        if (RMAT(k).structure != Structure::I || FACTORS.NRALEV(k) != 1) continue;
        int32_t regressions = most_regressions(k);
        if (regressions == 0) continue;
        // Kept: the code met in the data stays a level beside the codes 1, 2, ... when it is none
        // of them.
        for (int32_t code = 1; code <= regressions; ++code)
            enter_level(code, FACTORS.ITOPR(k), 0, IFL, NMFL);
        sort_random_levels(k);
    }
}

}  // namespace kve
