#pragma once

namespace kve {

// Opens the units of the run: the input files that the directives name must exist, the output files
// of every run are created or emptied. Stops the run when one cannot be opened.
void open_files();

}  // namespace kve
