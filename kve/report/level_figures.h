// How the records spread over the levels of each effect.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "kve/files/code_lists.h"
#include "kve/files/run_folder.h"
#include "kve/report/bins.h"

namespace kve::companion {

struct LevelCount {
    int32_t identity;
    int64_t n_records;
};

struct LevelFigures {
    CodeList list;
    std::vector<std::string> labels;  // of all lists that have the same levels and counts
    int64_t n_records = 0, largest = 0;
    Doublings sizes = {};                  // levels by their records
    std::vector<LevelCount> each = {};     // of an effect with few levels
    std::vector<int32_t> singles = {};     // the first levels with one record
    std::vector<LevelCount> leaders = {};  // the levels with most records
    uint64_t mark = 0;                     // equal in lists that are the same, level by level

    int64_t n_of_size(std::size_t place) const {
        return place < sizes.counts.size() ? sizes.counts[place] : 0;
    }
    int64_t n_empty() const { return n_of_size(0); }
    int64_t n_single() const { return n_of_size(1); }
};

// All lists, in the order of CODE_TABLE; animals that stand there for a second factor are left out.
std::vector<LevelFigures> survey_levels(const RunFolder& run);

}  // namespace kve::companion
