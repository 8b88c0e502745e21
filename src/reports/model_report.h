// Stage report_model: the model as it was understood, on the listing. A page each for the summary,
// the submodels in detail, the reduced ranks and the zero covariances where there are any, and the
// structure of the (co)variance matrices.
//
// Reads DIRECTIVES, KVEINT, MODEL with the final classes of the traits, and RMAT. Writes the
// listing alone. Nothing stops it.
#pragma once

namespace kve {

void report_model();

}  // namespace kve
