// Stage KVEPFL: hands the whole model, with everything learned from the data, to the analysis
// programs.
//
// Reads the directives, the dimensions, MODEL, RMAT and their counters, the outcome of both data
// passes, the level counts and the places of the equations. Writes MODINF (unit 53) and closes it.
// Stops when the file cannot be written whole.
#pragma once

namespace kve {

void KVEPFL();

}  // namespace kve
