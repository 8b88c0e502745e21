// What stands at each position of the recoded data.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "kve/files/code_lists.h"
#include "kve/files/run_folder.h"

namespace kve::companion {

struct DataColumn {
    enum Kind {
        absorbed,    // identities
        level,       // of a list of CODE_TABLE
        group,       // number of the residual group
        plain,       // integers as in the data: subject, sequence, censoring code
        covariable,  // reals from here on
        dependent,
        other_real,  // weight, offset, upper limit
    };
    Kind kind;
    int32_t position;    // in RCDATA_I or, of reals, in RCDATA_R
    int32_t trait = 0;   // 0: of several traits, as `factor` or `covariable` tell
    int32_t factor = 0;  // random factor
    std::size_t list = 0;
    std::string name;       // the user's, with what tells it from others of that name in front
    std::string qualifier;  // that is this

    bool is_real() const { return kind >= covariable; }
};

// The columns in the order of the files, integers first; of one trait alone when it is not 0.
std::vector<DataColumn> data_columns(const RunFolder& run, const std::vector<CodeList>& lists,
                                     int32_t trait);

// The number of a trait given by name or number; Failure when there is none.
int32_t find_trait(const RunFolder& run, const std::string& name_or_number);

}  // namespace kve::companion
