// Stage mark_censored_traits: the $CENS lines, applied to the submodels.
//
// Reads the $CENS list of DIRECTIVES, NI, NR. Writes l_cens, cens_inp and int_max_inp of the
// censored traits in MODEL. Stops nothing itself.
#pragma once

namespace kve {

// The number of faulty lines, each told on the listing and without effect: for a trait that does
// not exist, a second one for a trait, a column outside the data.
[[nodiscard]] int mark_censored_traits();

}  // namespace kve
