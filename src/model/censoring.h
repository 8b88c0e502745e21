// The $CENS lines, applied to the submodels.
#pragma once

namespace kve {

// Marks the censored traits in MODEL with the columns of their censoring code and upper limit.
// A line for a trait that does not exist, a second one for a trait, and a column outside
// the data are told on the listing, add 1 each to `status` and change nothing.
void mark_censored_traits(int& status);

}  // namespace kve
