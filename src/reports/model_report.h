// The model as it was understood, on the listing.
#pragma once

namespace kve {

// Reads MODEL with the final classes of the traits, RMAT, and the pairs of residual covariances
// that are fixed at zero. Prints a page each: the summary, the submodels in detail, the reduced
// ranks and the zero covariances where there are any, the structure of the (co)variance matrices.
void report_model();

}  // namespace kve
