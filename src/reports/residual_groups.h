// The groups of a residual (co)variance matrix of type GROUP, one residual matrix each.
#pragma once

namespace kve {

// Behind the first data pass: numbers the group codes met in usable records, in ascending order,
// and sets grp_nlev of the residual matrix; 1 for a residual of another type. Reads FACTORS.
void count_residual_groups();

// Once the records are recoded: lists the groups and fills grp_code and niegr (records with the
// group) of the residual matrix, whose arrays the priors have allocated. Stops when a group has
// fewer than 10 records. Without GROUP nothing is listed, and both stay 0.
void report_residual_groups();

}  // namespace kve
