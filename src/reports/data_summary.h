// Stage summarise_data: what the user is told of the data: records, observations, averages, ranges,
// censoring.
//
// Reads DIRECTIVES, INTAKE, KVEINT and MODEL. Writes the listing alone.
// Stops when a variable that the analysis uses went out of range, or a binary value is not 0..1.
#pragma once

namespace kve {

void summarise_data();

}  // namespace kve
