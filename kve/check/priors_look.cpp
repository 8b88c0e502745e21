// The starting values of the (co)variances.
#include <fmt/format.h>

#include <cmath>

#include "base/state.h"
#include "directives/catalogue.h"
#include "directives/directives.h"
#include "kve/check/look.h"
#include "model/model_records.h"

namespace kve::companion {

READS(DIRECTIVES);
READS(KVEINT);
READS(RMAT);

namespace {

void look_for_absent_priors(Look& look) {
    if (!DIRECTIVES.prior.name.blank()) return;
    const Place place = look.text.place(look.text.keyword_line(Keyword::ANALYSE));
    if (DIRECTIVES.ITASK == kVarianceComponents)
        look.findings.note(
            "no-priors", place,
            "without $PRIOR the iteration starts from variances of 1 and no covariances");
    if (DIRECTIVES.ITASK == kSampling)
        look.findings.error("no-priors", place,
                            "without $PRIOR the run goes on with matrices of zeros");
}

}  // namespace

void look_at_priors(Look& look) { look_for_absent_priors(look); }

}  // namespace kve::companion
