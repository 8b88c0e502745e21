#include "data/record_positions.h"

#include <cstdint>

#include "base/arrays.h"
#include "base/state.h"
#include "data/recoded_data.h"
#include "directives/directives.h"
#include "model/model_records.h"

namespace kve {

READS(KVEINT);
WRITES(MODEL);
WRITES(RMAT);
WRITES(RECODED);

namespace {

void shift(Vec<int32_t>& positions, int32_t by) {
    for (int32_t& position : positions)
        if (position != 0) position += by;
}

void place_effects_of_trait(Model& m, int32_t before_fixed, int32_t before_random) {
    shift(m.f_ef_rci, before_fixed);
    shift(m.r_ef_rci, before_random);
    for (int32_t j = 1; j <= m.n_fixed; ++j) m.ef_rci(j) = m.f_ef_rci(j);
    for (int32_t j = 1; j <= m.n_random; ++j) m.ef_rci(m.n_fixed + j) = m.r_ef_rci(j);
    for (int32_t r = 1; r <= m.n_reg; ++r)
        if (m.reg_type(r) == kNestedInRandom) m.reg_n_rci(r) = m.ef_rci(m.reg_n_ef_no(r));
}

}  // namespace

void place_effects_in_record() {
    int32_t fixed = 0;
    for (const Model& m : MODEL) fixed += m.n_fixed;
    RECODED.n_fixed_positions = fixed;

    const int32_t before_fixed = KVEINT.MAX_N_ABSORB;
    const int32_t before_random = before_fixed + fixed;
    for (Model& m : MODEL) place_effects_of_trait(m, before_fixed, before_random);

    int32_t random = 0;
    for (RMatrix& r : RMAT) {
        random += r.n_random_id;
        shift(r.r_id_rci, before_random);
        shift(r.t_r_eff_rci, before_random);
        shift(r.cont_eff_rci, before_random);
    }
    RMatrix& residual = residual_of(RMAT);
    if (residual.structure == Structure::GROUP) residual.grp_rci = before_random + random + 1;
}

}  // namespace kve
