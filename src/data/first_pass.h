// Stage KVEFP1: the first pass over the data. It decides record by record which traits are usable,
// enters every class level of the usable ones into the level table and counts it, and collects the
// statistics of the data summary.
//
// Reads DIRECTIVES, MODEL, RMAT and the data files, which it leaves rewound.
// Writes RECORD, INTAKE, IFL with the roots of FACTORS, and n_obs of MODEL.
// Stops on a record that cannot be read, on data without a record, and when memory runs out.
#pragma once

namespace kve {

void KVEFP1();

}  // namespace kve
