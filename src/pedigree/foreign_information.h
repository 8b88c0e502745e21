// Stages count_foreign_records, convert_foreign_records: breeding values of a foreign evaluation as
// virtual progeny groups.
//
// The file of $FINFO (unit 9) belongs to the last factor of type PED. The first stage, before the
// pedigrees are processed, reads it and writes the count of its records, NFINFO, and that of its
// codes of phantom parent groups, NFPHG, which get a level list of their own in IFL. The second
// one, after them, reads it again, converts the records with the level numbers in IDL and the
// variances in RMAT and writes RC_F_INFO (unit 59). Records that cannot be
// used are listed and left out; more than 1000 of them stop the run. Stops also on a file that
// cannot be read or written.
#pragma once

namespace kve {

void count_foreign_records();
void convert_foreign_records();

}  // namespace kve
