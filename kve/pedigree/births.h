// The sort variable of a pedigree: parents before their progeny.
#pragma once

#include "kve/pedigree/findings.h"
#include "kve/pedigree/herdbook.h"
#include "kve/tables/identities.h"

namespace kve::companion {

// Gives up dates of birth until no parent is born after a descendant, or with it: each time of the
// two in conflict the one that is in more conflicts, the parent's when these are as many.
// `generation` as break_loops has it.
void settle_births(Herdbook& book, const Vec<int32_t>& generation, const IdentityTable& names,
                   PedigreeFindings& findings);

// Births of which each is later than those of the parents: as known, and for the others two years
// before the oldest progeny (one unit where these are no time), two years after the parents without
// progeny.
Vec<int32_t> estimate_births(const Herdbook& book, const Vec<int32_t>& generation);

}  // namespace kve::companion
