// A user's table of animals into a herdbook.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "kve/pedigree/findings.h"
#include "kve/pedigree/herdbook.h"
#include "kve/tables/identities.h"
#include "kve/tables/table_reader.h"
#include "kve/tables/values.h"

namespace kve::companion {

// What the user says of the file; what is left empty is found out.
struct PedigreeForm {
    std::string file;
    std::string id, sire, dam, sex, birth, family;  // names of columns, or their numbers from 1
    std::vector<std::string> missing;               // signs beside the usual ones and 0
    std::string dates;                              // ymd, dmy, mdy, year or number
    TableForm table;
};

struct PedigreeTable {
    Herdbook book;
    IdentityTable names;  // by number
    int64_t records = 0;
    std::string described;  // how the file was understood
};

// Reads the whole file. Records without an identity or with a wrong number of fields, animals that
// are their own parent, one animal as both parents and second records are told and settled: the
// record or the parent is left out, and of two records the first one counts, with what only the
// second one knows.
PedigreeTable read_pedigree(const PedigreeForm& form, PedigreeFindings& findings);

}  // namespace kve::companion
