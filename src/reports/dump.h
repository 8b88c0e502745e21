// The test dump of the model: every field of MODEL, RMAT and KVEINT on the listing.
#pragma once

namespace kve {

// Reads the three tables as they are at the end of the run. Of long lists the first elements only.
void dump_model_records();

}  // namespace kve
