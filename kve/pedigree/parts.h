// The parts that animals have as parents, and their sexes.
#pragma once

#include "kve/pedigree/findings.h"
#include "kve/pedigree/herdbook.h"
#include "kve/tables/identities.h"

namespace kve::companion {

// Tells animals that are sire and dam, parents of another sex than their record has, parents
// without a record and animals of unknown sex, each with the line that shows it. A parent in one
// part has the sex of that part. What a column of sexes decides is mended if asked for: sire and
// dam whose sexes are each other's change places; of an animal that is both parts, those links go
// that its recorded sex forbids.
void settle_parts(Herdbook& book, const IdentityTable& names, PedigreeFindings& findings,
                  bool mends);

}  // namespace kve::companion
