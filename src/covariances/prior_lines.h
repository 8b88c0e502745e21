// The file of starting values for the (co)variance matrices.
#pragma once

#include <cstdint>

namespace kve {

// Reads the file named by the directives into cov_mat, h_cov_mat and the flags of group priors of
// RMAT, which must be clear. A line holds matrix number, row, column and value; numbers above
// NRAMAT + 1 are residual groups from the second on. A line "REPEAT n" copies the last matrix to
// the n behind it. `errors` grows by the faults found in values that can be read; any other fault
// stops the run. False when the file does not exist.
[[nodiscard]] bool read_prior_lines(int32_t& errors);

}  // namespace kve
