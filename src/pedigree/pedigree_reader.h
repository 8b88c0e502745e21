// Stage read_pedigrees: the pedigree file of each PED and PGMIX factor into the animal table.
//
// Reads the pedigree files and the tree of the levels met in the data. Writes rows of IDL with ID,
// parents' codes, sort variable and record counts, the tree of the factor, the tree of phantom
// group codes, and the counts NRALEV, NPHNUL, N_AIN and N_AWD. Faulty records and repeated IDs are
// reported and left out, with the reason; a line ahead of the first report names factor and file.
// Stops when a file cannot be opened or read, on values beyond 32 bits, and on a factor without a
// level in the data.
#pragma once

namespace kve {

void read_pedigrees();

}  // namespace kve
