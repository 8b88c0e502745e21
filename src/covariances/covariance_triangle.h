// A (co)variance matrix of the model as a packed triangle: cov_mat, or the matrix h_cov_mat of a
// residual group from 1 on. Only a failed allocation stops the run.
#pragma once

#include <cstdint>
#include <string_view>

#include "base/arrays.h"
#include "model/model_records.h"

namespace kve {

inline constexpr int32_t kCommonMatrix = 0;  // in the place of a group: cov_mat

// A copy of the lower triangle; a failed allocation stops the run in the name of `routine`.
Triangle<double> packed_covariances(const RMatrix& r, int32_t group, std::string_view routine);

// Fills both triangles of the matrix.
void unpack_covariances(const Triangle<double>& from, RMatrix& r, int32_t group);

}  // namespace kve
