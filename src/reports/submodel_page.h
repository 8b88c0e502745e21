// The page that describes each trait's submodel in detail.
#pragma once

namespace kve {

// Each trait: its effects and covariables side by side with type, input number and (co)variance
// matrix, and its functions when it is a generalized trait. Then the models, a line each.
void report_submodels();

}  // namespace kve
