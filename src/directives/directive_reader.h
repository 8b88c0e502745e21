// Stage read_directives: the directive file on standard input.
//
// Writes DIRECTIVES and the section files, KVE1.dir, PARIN, CVREST.DIR and the others, and shows on
// the listing what was understood. Tells as many faults as it can find and stops the run at the end
// when there was one. A number that cannot be read, an unknown keyword, a line ended by a carriage
// return and a section file that cannot be written stop it at once; an inline text that would
// replace an input is refused.
#pragma once

namespace kve {

void read_directives();

}  // namespace kve
