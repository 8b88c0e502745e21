// A (co)variance matrix of the model as a packed triangle. Group 0 means cov_mat, group g above 0
// the matrix of residual group g.
#pragma once

#include <cstdint>
#include <string_view>

#include "base/arrays.h"
#include "model/model_records.h"

namespace kve {

// A copy of the lower triangle; a failed allocation stops the run in the name of `routine`.
Triangle<double> packed_covariances(const RMatrix& r, int32_t group, std::string_view routine);

// Fills both triangles of the matrix.
void unpack_covariances(const Triangle<double>& from, RMatrix& r, int32_t group);

}  // namespace kve
