// Stage derive_covariance_structure: from the random effects of the submodels to one record per
// (co)variance matrix.
//
// Reads MODEL as the model section and $REDUCE describe it, and the $VAR_STR list of DIRECTIVES.
// Writes RMAT, the residual last, and completes MODEL: ass_rf, n_random_abs, reg_rmat_pos,
// reg_n_level, r_ef_rci, ef_rci; N_RAMAT_NOT_ABS and N_RANDOM_COV of KVEINT. Input columns outside
// the data only bring a warning in KVE_LOG. Stops: a $VAR_STR line that does not fit the model
// (words in KVE_LOG), more than 100,000 matrices or 10,000 rows, no memory.
//
// All random effects, of all traits, with one matrix number and all random regressions nested in
// them form one matrix. Its rows run through the traits, within a trait through the random effects
// in the order of its RANDOM line, within an effect first the direct effect, then its regressions.
// A member is an effect of a trait that is not merged with the one before it; the rows of a member
// are its block. A contribution is a direct effect or a regression: what is multiplied by a row.
//
// Trait 1 with the model line "... 3 4 2 6", RANDOM "2 1 + 1" and the regressions "2 [3:4,2,L]",
// trait 2 with "... 1 2" and RANDOM "1 1" make this matrix of rank 3 from 5 contributions:
//
//     member  block             contribution           row  level within the row
//       1     start 1, size 2   trait 1, I2              1    1
//                               trait 1, R3 within I2    2    1
//                               trait 1, R4 within I2    2    2   a list with L is one row
//     merged  -                 trait 1, I6              2    1   "+": the row before it
//       2     start 3, size 1   trait 2, I2              3    1
//
// $REDUCE gives each member a position; neighbours of one position share a block. Three traits with
// one effect each and the positions 1 1 2 make rank 2:
//
//     member  position  block start  row of its contribution
//       1        1           1         1
//       2        1           1         1
//       3        2           2         3   Kept: not renumbered, and so above the rank
#pragma once

namespace kve {

void derive_covariance_structure();

}  // namespace kve
