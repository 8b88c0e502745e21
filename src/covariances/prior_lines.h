// The file of starting values for the (co)variance matrices.
#pragma once

namespace kve {

inline constexpr int kNoPriorFile = -1;

// Reads the file named by the directives into cov_mat, h_cov_mat and the flags of group priors of
// RMAT, which must be clear. A line holds matrix number, row, column and value; numbers above
// NRAMAT + 1 are residual groups from the second on. A line "REPEAT n" copies the last matrix to
// the n after it. The number of faults found in values that can be read, or kNoPriorFile; any other
// fault stops the run.
[[nodiscard]] int read_prior_lines();

}  // namespace kve
