#include "model/trait_classes.h"

#include <cstdint>

#include "base/state.h"
#include "directives/directives.h"
#include "listing/listing.h"
#include "listing/stop.h"
#include "model/model_records.h"

namespace kve {

WRITES(DIRECTIVES);
WRITES(MODEL);

namespace {

// Both index the integer record of the second data pass, where column 0 is no identity.
void check_cure_columns() {
    for (const CURE_SPEC& pair : DIRECTIVES.cure)
        for (int32_t column : {pair.subject, pair.sequence}) {
            if (column >= 1 && column <= DIRECTIVES.NI) continue;
            page_if(1);
            say("ERROR - CURE specification, illegal integer variable for subject or sequence: "
                "%12d",
                column);
            terminate_run();
        }
}

// The criterion is a 32-bit real in the package, widened.
void set_glmm_defaults() {
    if (DIRECTIVES.glmm_iterations != 0) return;
    DIRECTIVES.glmm_iterations = 2;
    DIRECTIVES.glmm_criterion = static_cast<double>(1.0E-5F);
}

void settle_cure_pair(Model& m, const CURE_SPEC& pair) {
    if (m.trait_inp_no == pair.trait_column) {
        m.trait_type = kSequentialBinary;
        m.mix_t_inp_no = pair.mixture_column;
        m.subject = pair.subject;
        m.seq = pair.sequence;
        m.l_cure = true;
    }
    if (m.trait_inp_no == pair.mixture_column) {
        m.trait_type = kSequentialLinear;
        m.seq_t_inp_no = pair.trait_column;
    }
}

}  // namespace

// A later class replaces an earlier one.
void settle_trait_classes() {
    check_cure_columns();
    for (Model& m : MODEL) {
        if (is_mixture_variable(m.trait_inp_no)) m.trait_type = kMixtureLinear;
        if (m.l_glmm) {
            m.trait_type = kGeneralized;
            set_glmm_defaults();
        }
        for (const CURE_SPEC& pair : DIRECTIVES.cure) settle_cure_pair(m, pair);
    }
}

}  // namespace kve
