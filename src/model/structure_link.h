// The $VAR_STR lines, applied to the records of the (co)variance matrices.
//
// Reads the $VAR_STR list and the task of DIRECTIVES. Writes structure, method, files and
// associated factor of the RMAT records, which exist and are in their initial state. Stops, with
// the words in KVE_LOG: a factor or an associated factor that does not exist, a structure that its
// factor cannot have, an associated factor without a pedigree.
#pragma once

namespace kve {

// In the order of the directive file: a later line for a factor replaces what it sets.
void link_variance_structures();

}  // namespace kve
