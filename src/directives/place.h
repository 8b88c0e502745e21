// Stage find_place: where the run takes place.
//
// Prints host, submission directory and working directory. Reads the file ST_DIR, when there is
// one; its first line becomes DIRECTIVES.ST_DIR, the prefix of relative file names. Stops the run
// when that file has no line that can be read.
//
// Stage claim_place: the working directory belongs to this run until it ends, however it ends.
// Stops when another run works there.
#pragma once

namespace kve {

void find_place();
void claim_place();

}  // namespace kve
