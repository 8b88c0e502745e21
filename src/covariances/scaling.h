// Brings the (co)variance matrices to the scale of data divided by their residual standard
// deviations, and back.
#pragma once

#include <cstdint>

namespace kve {

enum ScalingMode : int32_t { kScale = 1, kUnscale = 2 };

// Mode 1 scales, mode 2 unscales cov_mat of every record of RMAT and every residual group. Sets
// status to 0, or to 1 with words on the listing and nothing changed for another mode and for a
// residual standard deviation of 0.
void KVE_SCALE(int32_t mode, int32_t& status);

}  // namespace kve
