// Stage read_dimensions: the user's dimensions of the large tables.
//
// Reads the file KVEDIM in the working directory, when there is one, and writes DIMENSIONS. The
// file holds any number of groups "&kvedim mfl=200000, mdl=500000 /" between text that is skipped.
// A file that cannot be read, an unknown name and a value that is no 32-bit integer stop the run.
#pragma once

namespace kve {

void read_dimensions();

}  // namespace kve
