// Stage set_generalized_models: the $GLMM lines, applied to the submodels.
//
// Reads the $GLMM list of DIRECTIVES, NR. Writes l_glmm, corr_fact, offset_inp, the family and the
// seven texts of each trait in MODEL. A USER function is stored as text and compiled to see whether
// it is one. Stopped by lack of memory for the functions.
#pragma once

namespace kve {

// A trait without a $GLMM line gets the functions of a Gaussian one and blank words.
// The number of faults, each told on the listing: a trait that does not exist or has a line
// already, a USER function with errors, an offset column outside the data, an unknown family or
// link.
[[nodiscard]] int set_generalized_models();

}  // namespace kve
