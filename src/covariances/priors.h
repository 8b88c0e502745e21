// Stage KVE_PRIORS: starting values of the (co)variance matrices.
//
// Reads the prior file. Writes cov_mat and h_cov_mat of RMAT with the flags of group priors, GDET,
// RDET and RSD. Stopped by a prior file that cannot be read, by values for matrices or rows that do
// not exist, by a missing variance, by groups without a prior and by an indefinite matrix.
#pragma once

namespace kve {

void KVE_PRIORS();

}  // namespace kve
