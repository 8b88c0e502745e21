#pragma once

namespace kve {

// Looks at the first line of every text pedigree that the directives name, before any other work:
// it must hold at least four columns. Stops the run when one does not or cannot be opened.
void check_pedigree_columns();

}  // namespace kve
