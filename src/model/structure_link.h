// The $VAR_STR lines, applied to the records of the (co)variance matrices.
#pragma once

namespace kve {

// Reads them in the order of the directive file and sets structure, method and files
// of the RMAT records that they name. The records exist and are in their initial state.
// Stops, with the words in KVE_LOG: a factor or an associated factor that does not exist, a
// structure that its factor cannot have, an associated factor without a pedigree.
void link_variance_structures();

}  // namespace kve
