#pragma once

namespace kve {

// Opens the units of the run: the input files that the directives name must exist, the output files
// of every run are created or emptied. Stops the run when one cannot be opened, and when an output
// would empty an input.
void open_files();

}  // namespace kve
