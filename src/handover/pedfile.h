// Stage write_pedfiles: PEDFILEk, the parents of the animals by level numbers, of each factor of
// type PED.
//
// Reads the level numbers and links in IDL, and NRALEV. Writes PEDFILEk. Stops on a factor number
// above 999 and on a file that cannot be written.
#pragma once

namespace kve {

void write_pedfiles();

}  // namespace kve
