// Stage KVEWDF: the second pass over the data. Every usable record becomes one record of RCDATA_I,
// with level numbers in the place of identities, and one of RCDATA_R, with the reals that the
// analysis needs. What depends on the order of the records is checked here: absorption groups,
// sequences within subjects.
//
// Reads DIRECTIVES, MODEL, RMAT, RSD, the level and animal tables and the data files.
// Writes the two files, RECODED, and the positions that MODEL holds; releases RECORD. Identities
// that no record registered get rows of level 0 in IFL and IDL.
// Stops on data that are not in order and when a file cannot be written.
#pragma once

namespace kve {

void KVEWDF();

}  // namespace kve
