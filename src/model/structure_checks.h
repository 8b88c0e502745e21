// Structures and models that cannot go together.
#pragma once

namespace kve {

// Reads RMAT, MODEL and the $TD_PTD request; marks the request when its factor has a pedigree.
// Warns on the listing when the effects of one trait in a matrix have unequal regressions.
// Stops, with the words on the listing: a PGMIX matrix with another method than 1; trait deviations
// asked for a factor that does not exist, or in a model that they are not defined for.
void check_structures();

}  // namespace kve
