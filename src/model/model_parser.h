// The model section: what stands in it decides by the place of its lines, without keywords.
//
// Reads the model text (unit 15), KVE1.reduce (unit 16, only with $REDUCE) and the directives.
// Leaves MODEL and the model counters of KVEINT, and KVE_LOG with all that was understood. A fault
// is told in KVE_LOG and ends the run.
#pragma once

namespace kve {

void parse_model();

}  // namespace kve
