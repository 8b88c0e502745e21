// Stage: PEDFILE, the parents of the animals by level numbers, of each factor of type PED.
//
// Reads the level numbers and links in IDL. Stops on a factor number above 999 and on a file that
// cannot be written.
#pragma once

namespace kve {

void write_pedigree_files();

}  // namespace kve
