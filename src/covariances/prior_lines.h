// The file of starting values for the (co)variance matrices.
//
// Reads the prior file. Writes cov_mat, h_cov_mat, l_grp_prior and l_grp_pr of RMAT. Stopped, with
// the words on the listing, by a line that cannot be read and by a REPEAT that does not fit.
#pragma once

#include <cstdint>

namespace kve {

namespace state {

// The line of the prior file that is read, or was read last.
inline constinit int64_t PRIOR_LINE = 0;

}  // namespace state

inline constexpr int kNoPriorFile = -1;

// Reads the file named by the directives into cov_mat, h_cov_mat and the flags of group priors of
// RMAT, which must be clear. A line holds matrix number, row, column and value; numbers above
// NRAMAT + 1 are residual groups from the second on. A line "REPEAT n" copies the last matrix to
// the n after it. The number of faults found in values that can be read, or kNoPriorFile; any other
// fault stops the run.
[[nodiscard]] int read_prior_lines();

}  // namespace kve
