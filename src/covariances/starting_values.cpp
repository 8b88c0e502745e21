#include "covariances/starting_values.h"

#include "covariances/covariance_listing.h"
#include "covariances/scaling.h"
#include "directives/directives.h"
#include "listing/listing.h"
#include "listing/stop.h"

namespace kve {

READS(DIRECTIVES);

void list_starting_values() {
    Block block;
    block.blank(2);
    block.line("  Starting parameters for model");
    block.blank();
    block.print();
    KVEGR(kListingUnit);
}

void scale_starting_values() {
    if (DIRECTIVES.ISCALE != 1) return;
    Block block;
    block.line("  Scaling of prior (co)-variances performed");
    block.blank();
    block.print();
    if (KVE_SCALE(kScale) != 0) stop_run();
    say_row("  Scaled parameters for model");
    KVEGR(kListingUnit);
}

}  // namespace kve
