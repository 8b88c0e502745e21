// Stage report_model_statistics: how large the mixed model equations will be: levels, regressions,
// random factors, residual groups.
//
// Reads MODEL, RMAT, the level counts and lists in FACTORS, IFL and IDL, and what the recoding pass
// counted. Writes the listing alone.
// Stops on a residual group of few records, and on a mixture model with more than 2 groups.
#pragma once

namespace kve {

void report_model_statistics();

}  // namespace kve
