// Stages check_user_matrices, recode_user_matrices: the relationship matrices that the user gives
// in files, two passes over each.
//
// Types COR, DOM, ABS_QTL and GREL. The first pass comes before the pedigrees get their order, the
// second one when animals have their level numbers. Both stop on a file that cannot be opened or
// has no readable first record, and on the ID -2147483648.
#pragma once

namespace kve {

// Reads the files and enters their IDs into trees of IFL. Writes NRALEV, ITOPRS of COR and GREL,
// the log determinants in RMAT, and MISS_IDk for a factor with levels that have no diagonal
// element. Stops after the last file when there is such a factor.
void check_user_matrices();

// Reads the files again and writes the matrices by level numbers: CORk, DOMk, IBDk and GINVk.
// Writes NRALEV of DOM and ABS_QTL, that of their pedigree. Uses the sparse store. Stops when 51
// elements of a factor have IDs that its pedigree lacks, and when a GREL matrix does not fit into
// memory.
void recode_user_matrices();

}  // namespace kve
