#include "data/starting_values.h"

#include "data/covariance_listing.h"
#include "data/scaling.h"
#include "run/directives.h"
#include "run/listing.h"
#include "run/stop.h"

namespace kve {

READS(DIRECTIVES);

void list_starting_values() {
    page_if(4);
    blank(2);
    say("  Starting parameters for model");
    blank();
    count_lines(4);
    KVEGR(kListingUnit);
}

void scale_starting_values() {
    if (DIRECTIVES.ISCALE != 1) return;
    page_if(2);
    say("  Scaling of prior (co)-variances performed");
    blank();
    count_lines(2);
    int32_t status = 0;
    KVE_SCALE(kScale, status);
    if (status > 0) stop_run();
    page_if(1);
    say("  Scaled parameters for model");
    count_lines(1);
    KVEGR(kListingUnit);
}

}  // namespace kve
