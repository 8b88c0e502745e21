// The $GLMM lines, applied to the submodels.
//
// Reads the $GLMM list of DIRECTIVES; writes l_glmm, corr_fact, offset_inp and the seven texts of
// each trait in MODEL. A USER function is stored as text and compiled to see whether it is one.
#pragma once

namespace kve {

// A trait without a $GLMM line gets the functions of a Gaussian one and blank words.
// What is wrong is told on the listing and adds 1 each to `status`: a trait that does not exist or
// has a line already, a USER function with errors, an offset column outside the data, an unknown
// family or link. Stops the run: no memory for the functions.
void set_generalized_models(int& status);

}  // namespace kve
