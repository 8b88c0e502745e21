// The groups of a residual (co)variance matrix of type GROUP, on the listing.
#pragma once

namespace kve {

// Stops when a group has fewer than 10 records. Without GROUP nothing is listed.
void report_residual_groups();

}  // namespace kve
