// Animals that are their own ancestors.
#pragma once

#include "kve/pedigree/findings.h"
#include "kve/pedigree/herdbook.h"
#include "kve/tables/identities.h"

namespace kve::companion {

// Finds loops and breaks them until there is none left. Broken is the link to the parent that is
// born longest after its progeny, or with it; where no dates tell, the one in the record that
// stands last in the file. Returns the generation of each animal, the length of its longest line of
// ancestors.
Vec<int32_t> break_loops(Herdbook& book, const IdentityTable& names, PedigreeFindings& findings);

}  // namespace kve::companion
