// What the first pass found outside the range of a variable: tables on the listing, and the stop
// when the analysis uses such a variable.
#pragma once

namespace kve {

// Integers and reals that a text file holds and a record cannot. Variables that the analysis does
// not use are a warning only.
void judge_ranges();

// Values of binary traits outside 0..1. Any of them stops the run.
void judge_binary_values();

}  // namespace kve
