// Stage open_files: the input files that the directives name and the outputs of every run.
//
// Reads DIRECTIVES and writes UNITS; the outputs are created or emptied. Stops the run when a file
// cannot be opened.
#pragma once

namespace kve {

void open_files();

}  // namespace kve
