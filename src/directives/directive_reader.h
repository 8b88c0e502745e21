#pragma once

namespace kve {

// Reads the whole directive file from standard input into DIRECTIVES, writes the section files and
// shows on the listing what was understood. Tells as many faults as it can find and stops the run
// at the end when there was one; a number that cannot be read, an unknown keyword and a line ended
// by a carriage return stop it at once.
void read_directives();

}  // namespace kve
