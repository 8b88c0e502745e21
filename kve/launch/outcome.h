// What became of a run: for run.json, and on one screen.
#pragma once

#include <ctime>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "kve/check/findings.h"
#include "kve/launch/inputs.h"
#include "kve/launch/program.h"

namespace kve::companion {

inline const char* const kListing = "KVE1.lst";
inline const char* const kRecord = "run.json";

// NOLINTNEXTLINE(bugprone-exception-escape): a value of JSON asserts when it goes
struct RunOutcome {
    std::string directives, program, folder, inputs_folder;
    std::time_t begin = 0;
    Ended ended;
    std::vector<Input> inputs;
    Findings findings;
    nlohmann::ordered_json model;     // as the check has understood it
    std::vector<std::string> reason;  // of a stop
    std::vector<std::string> notes;   // of this program on a good run
};

// With what the files in `work` tell: the listing and, after a good run, the model.
nlohmann::ordered_json describe_run(const RunOutcome& outcome, const std::string& work);

// The screen after a good run, from its description.
std::string screen_of(const nlohmann::ordered_json& run);

}  // namespace kve::companion
