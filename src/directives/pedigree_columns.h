// Stage check_pedigree_columns: the first line of every text pedigree, ahead of all other work.
//
// Reads DIRECTIVES and the files and writes nothing. Stops the run when a file cannot be opened
// and, once all are looked at, when a line holds fewer than four columns.
#pragma once

namespace kve {

void check_pedigree_columns();

}  // namespace kve
