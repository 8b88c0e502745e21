// Levels: what CODE_TABLE, RCDATA_I, RCDATA_R and INBREED tell of them.
#pragma once

#include <cstdint>
#include <vector>

#include "kve/files/code_lists.h"
#include "kve/files/run_folder.h"
#include "kve/results/run_findings.h"

namespace kve::companion {

// The observations of one list by level: what CODE_TABLE tells, and what the data hold. A record of
// which the files do not tell whether its trait is usable may count or not.
struct LevelCounts {
    std::vector<int32_t> told;
    std::vector<int32_t> sure, possible;
    bool is_sound = false;  // the list is there, and no fault was found in it
};

std::vector<LevelCounts> check_codes(const RunFolder& run, const std::vector<CodeList>& lists,
                                     RunFindings& findings);

// Counts of lists that are not sound are left out, so that one fault is told once.
void check_data(const RunFolder& run, const std::vector<CodeList>& lists,
                std::vector<LevelCounts> counts, RunFindings& findings);

// Beside a CODE_TABLE that is sound.
void check_inbreeding(const RunFolder& run, const std::vector<CodeList>& lists,
                      RunFindings& findings);

}  // namespace kve::companion
