// Judges what the first pass met in the data and hands the counts of observations to the model.
//
// Reads INTAKE and the names of DIRECTIVES. Writes n_obs of MODEL.
// Stops when a variable that the analysis uses went out of range, or a binary value is not 0..1.
#pragma once

namespace kve {

void judge_data();

}  // namespace kve
