// Residual covariances that the model section fixes at zero.
//
// Reads the model text. Writes N_ZERO_RCOV, NORCOV, LogicalZeroEltR0, L_INDEP_BIN_RESIDUALS. Faults
// are told in KVE_LOG and end the run; a number of pairs out of bounds is only told.
#pragma once

namespace kve {

class ModelLines;

// The number of pairs, then a record with two trait numbers for each.
void read_zero_covariances(ModelLines& lines);

}  // namespace kve
