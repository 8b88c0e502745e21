// What the listing of a run tells.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "kve/files/run_folder.h"

namespace kve::companion {

// The listing goes where the user sends it. This is the file in the folder, of names that are often
// taken, whose head has the date of this run; empty when there is none.
std::filesystem::path find_listing(const RunFolder& run);

// Lines without blanks at their ends; page heads are blank lines.
std::vector<std::string> read_listing(const std::filesystem::path& file);

// Why a run has stopped: the lines of the listing that tell it, without margins and blank lines.
// Empty when none does.
std::vector<std::string> find_reason(const std::vector<std::string>& listing);

struct TraitRecords {
    std::string name;
    int64_t used = 0;
    int64_t dropped = 0;  // have a value that cannot be used
};

inline constexpr const char* kMeaningOfDropped =
    "dropped: has a value, but a class below 1, or its covariable or weight is missing";

// From the summary of the data.
struct ListedData {
    int64_t records = 0;
    std::vector<TraitRecords> traits;
};
ListedData find_data_figures(const std::vector<std::string>& listing);

// Of all traits, with the regressions.
int64_t find_fixed_equations(const std::vector<std::string>& listing);

}  // namespace kve::companion
