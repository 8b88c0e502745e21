// Stage dump_model_records: the test dump of the model, every field of MODEL, RMAT and KVEINT as
// they are at the end of the run. Of long lists the first elements only.
//
// Reads the three tables, writes the listing alone. Nothing stops it.
#pragma once

namespace kve {

void dump_model_records();

}  // namespace kve
