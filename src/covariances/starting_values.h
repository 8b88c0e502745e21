// Stage list_starting_values, scale_starting_values: shows the starting (co)variances and, when the
// directives ask for it, scales them by the residual standard deviations and shows them again.
//
// Warns of each trait whose data should not be scaled.
//
// Reads RMAT, RSD, ISCALE, MODEL. Scales cov_mat and h_cov_mat of RMAT. Stopped by scaling without
// priors.
#pragma once

namespace kve {

void list_starting_values();
void scale_starting_values();

}  // namespace kve
