// The classes of the traits beyond those of the model section.
#pragma once

namespace kve {

// Settles trait_type of mixture, generalized and $CURE traits in MODEL, with the partner columns of
// the latter, and gives the GLMM iterations and criterion of DIRECTIVES their defaults.
// Stops, with the words on the listing: a $CURE subject or sequence outside the integer columns.
void settle_trait_classes();

}  // namespace kve
