// A check for other commands.
#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>
#include <vector>

#include "kve/check/findings.h"

namespace kve::companion {

// Reads the directive file and all that it names from the folder that the command stands in, or
// from KVE_INPUTS, for a run in a fresh folder. "model" is what KVE1 will understand, null when
// that is nothing; "inputs" are the files that it would read, by their names in the directives. A
// file that cannot be read throws Failure.
nlohmann::json check_analysis(const std::string& file, bool fast, Findings& findings);

// All files that a run would read, as the directives name them; of the process that has read these.
struct Look;
std::vector<std::string> names_of_inputs(const Look& look);

}  // namespace kve::companion
