#include "covariances/starting_values.h"

#include <string>

#include "base/state.h"
#include "covariances/covariance_listing.h"
#include "covariances/scaling.h"
#include "directives/directives.h"
#include "listing/listing.h"
#include "listing/stop.h"
#include "model/model_records.h"

namespace kve {

READS(DIRECTIVES);
READS(KVEINT);
READS(MODEL);
READS(RSD);

namespace {

// What a division of the data is not meant for: the values are codes or have fixed functions.
const char* word_of_unscalable(const Model& m) {
    switch (m.trait_type) {
        case kCategorical:
            return "is categorical";
        case kBinary:
        case kSequentialBinary:
            return "is binary";
        case kMixtureLinear:
        case kSequentialLinear:
            return "belongs to a mixture";
        case kGeneralized:
            return "is generalised";
        default:
            return nullptr;
    }
}

// The recoding pass divides the values of the trait; what else stands in the record stays.
void warn_of_scaling(int32_t i) {
    const Model& m = MODEL(i);
    const bool has_limit = m.l_cens && m.int_max_inp > 0;
    const char* word = word_of_unscalable(m);
    if (word == nullptr && !has_limit) return;
    std::string stays;
    if (has_limit) stays += ", its limits stay";
    if (m.l_glmm) stays += ", its functions and offset stay";
    say_row(
        "WARNING - trait %.*s %s: scaling makes its values 1 2 3 to %.4g %.4g %.4g%s; leave it off",
        KVE_SV(m.trait_name.view()), word != nullptr ? word : "has a censoring limit", 1 / RSD(i),
        2 / RSD(i), 3 / RSD(i), stays.c_str());
}

}  // namespace

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
    for (int32_t i = 1; i <= KVEINT.nt; ++i) warn_of_scaling(i);
}

}  // namespace kve
