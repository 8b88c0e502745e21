// Stage parse_model: the model section. What stands in it decides by the place of its lines,
// without keywords.
//
// Reads the model text and, with $REDUCE alone, KVE1.reduce of UNITS, and DIRECTIVES. Writes MODEL,
// the model counters of KVEINT, and KVE_LOG with all that was understood; closes both files. Stops,
// with the words in KVE_LOG: any fault in the text that its block does not let pass.
#pragma once

namespace kve {

void parse_model();

}  // namespace kve
