// What kve ped leaves.
#pragma once

#include <string>

#include "kve/pedigree/findings.h"
#include "kve/pedigree/groups.h"
#include "kve/pedigree/herdbook.h"
#include "kve/pedigree/places.h"
#include "kve/tables/codes.h"

namespace kve::companion {

// KVE1's form, text or framed records: identity, sire, dam, sort variable. Parents without a record
// get one with `adds_parents`; unknown parents are the groups' codes, or 0. Returns the records.
int64_t write_pedigree(const std::string& file, const Placed& placed, const Herdbook& book,
                       const Codes& codes, const Groups& groups, bool adds_parents, bool binary);

// Those of the pedigree, and all of the earlier table.
void write_identities(const std::string& file, const Placed& placed, const IdentityTable& names,
                      Codes codes);

// The words of a finding, without its animal and line.
std::string words_of(const PedigreeFinding& finding, const PedigreeFindings& findings,
                     const IdentityTable& names);
void write_findings(const std::string& file, const std::string& source,
                    const PedigreeFindings& findings, const IdentityTable& names);
void write_changes(const std::string& file, const std::string& source,
                   const PedigreeFindings& findings, const IdentityTable& names);
void write_groups(const std::string& file, const Groups& groups);

}  // namespace kve::companion
