// What the user is told of the data: records, observations, averages, ranges, censoring.
//
// Reads INTAKE, MODEL and the names of DIRECTIVES. Turns the sums in INTAKE into averages and
// standard deviations; writes n_obs of MODEL.
// Stops when a variable that the analysis uses went out of range, or a binary value is not 0..1.
#pragma once

namespace kve {

void summarise_data();

}  // namespace kve
