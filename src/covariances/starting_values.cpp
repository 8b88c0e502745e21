#include "covariances/starting_values.h"

#include "covariances/covariance_listing.h"
#include "covariances/scaling.h"
#include "directives/directives.h"
#include "listing/listing.h"
#include "listing/stop.h"

namespace kve {

READS(DIRECTIVES);

void list_starting_values() {
    page_if(4);
    blank_lines(2);
    say_line("  Starting parameters for model");
    blank_lines();
    KVEGR(kListingUnit);
}

void scale_starting_values() {
    if (DIRECTIVES.ISCALE != 1) return;
    page_if(2);
    say_line("  Scaling of prior (co)-variances performed");
    blank_lines();
    int32_t status = 0;
    KVE_SCALE(kScale, status);
    if (status > 0) stop_run();
    say_row("  Scaled parameters for model");
    KVEGR(kListingUnit);
}

}  // namespace kve
