// From the random effects of the submodels to one record per (co)variance matrix.
//
// All random effects, of all traits, with one matrix number and all random regressions nested in
// them form one matrix. Its rows run through the traits, within a trait through the random effects
// in the order of its RANDOM line, within an effect first the direct effect, then its regressions.
#pragma once

namespace kve {

// Reads MODEL as the model section and $REDUCE describe it, and the $VAR_STR records.
// Makes RMAT, the residual last, and completes MODEL: ass_rf, n_random_abs, reg_rmat_pos,
// reg_n_level, r_ef_rci, ef_rci. Input columns outside the data only bring a warning in KVE_LOG.
// Stops: a $VAR_STR record that does not fit the model (words in KVE_LOG), no memory.
void derive_covariance_structure();

}  // namespace kve
