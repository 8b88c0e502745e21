// Stage settle_trait_classes: the classes of the traits beyond those of the model section.
//
// Reads $MIXTURE, $CURE and NI of DIRECTIVES. Writes trait_type of mixture, generalized and $CURE
// traits in MODEL, with the partner columns of the latter, and the default of GLMM iterations and
// criterion in DIRECTIVES. Stops, with the words on the listing: a $CURE subject or sequence
// outside the integer columns.
#pragma once

namespace kve {

void settle_trait_classes();

}  // namespace kve
