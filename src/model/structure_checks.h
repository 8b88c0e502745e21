// Stage check_structures: structures and models that cannot go together.
//
// Reads RMAT, MODEL, the task and $TD_PTD. Marks the $TD_PTD request in DIRECTIVES when its factor
// has a pedigree. Warns on the listing when the effects of one trait in a matrix have unequal
// regressions, or have not the rows that $REDUCE or a "+" asks for. Stops, with the words on the
// listing: a PGMIX matrix with another method than 1; trait deviations asked for a factor that does
// not exist, or in a model that they are not defined for.
#pragma once

namespace kve {

void check_structures();

}  // namespace kve
