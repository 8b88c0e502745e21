#include "covariances/covariance_triangle.h"

#include "listing/stop.h"

namespace kve {

Triangle<double> packed_covariances(const RMatrix& r, int32_t group, std::string_view routine) {
    Triangle<double> packed;
    check_allocated(packed.allocate(r.rank), routine, "A", packed_index(r.rank, r.rank));
    for (int32_t i = 1; i <= r.rank; ++i)
        for (int32_t j = 1; j <= i; ++j)
            packed(i, j) = group == kCommonMatrix ? r.cov_mat(i, j) : r.h_cov_mat(i, j, group);
    return packed;
}

void unpack_covariances(const Triangle<double>& from, RMatrix& r, int32_t group) {
    for (int32_t j = 1; j <= r.rank; ++j)
        for (int32_t i = 1; i <= r.rank; ++i)
            (group == kCommonMatrix ? r.cov_mat(i, j) : r.h_cov_mat(i, j, group)) = from(i, j);
}

}  // namespace kve
