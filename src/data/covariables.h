// The covariables of a trait: regressions on one column that stand together are one, however many
// nested regressions it has.
#pragma once

#include "model/model_records.h"

namespace kve {

inline bool begins_covariable(const Model& m, int32_t regression) {
    return regression == 1 || m.reg_inp(regression) != m.reg_inp(regression - 1);
}

inline int32_t count_covariables(const Model& m) {
    int32_t n = 0;
    for (int32_t j = 1; j <= m.n_reg; ++j) n += begins_covariable(m, j);
    return n;
}

}  // namespace kve
