// Brings the (co)variance matrices to the scale of data divided by their residual standard
// deviations, and back. Reads RSD; writes cov_mat and h_cov_mat of RMAT.
#pragma once

#include <cstdint>

namespace kve {

// Kept: this program only scales; the way back belongs to the same interface of the package.
enum ScalingMode : int32_t { kScale = 1, kUnscale = 2 };

// Scales or unscales cov_mat of every record of RMAT and every residual group. 0, or 1 with words
// on the listing and nothing changed for another mode and for a residual standard deviation of 0.
[[nodiscard]] int KVE_SCALE(int32_t mode);

}  // namespace kve
