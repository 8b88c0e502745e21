#pragma once

namespace kve {

// Finds out where the run takes place: host, submission directory, working directory, and prints
// them. Reads the file ST_DIR, if there is one; its first line becomes DIRECTIVES.ST_DIR, the
// prefix of relative file names. Stops the run when that file has no line that can be read.
void find_place();

}  // namespace kve
