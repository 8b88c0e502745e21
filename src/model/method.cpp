#include "model/method.h"

#include "base/state.h"
#include "directives/directives.h"
#include "model/model_records.h"

namespace kve {

READS(MODEL);
WRITES(DIRECTIVES);

void settle_method() {
    if (has_effects(MODEL) || DIRECTIVES.ITASK != kVarianceComponents ||
        DIRECTIVES.IMETHOD != kAverageInformation)
        return;
    DIRECTIVES.IMETHOD = kExpectationMaximization;
    DIRECTIVES.method_changed = true;
}

}  // namespace kve
