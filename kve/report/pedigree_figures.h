// What a pedigree is like: by birth, by generations known, by size of families.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "kve/pedigree/class_statistics.h"
#include "kve/report/bins.h"
#include "kve/report/level_figures.h"

namespace kve::companion {

inline constexpr int kCompleteness = 5;  // generations of ancestors

// Animals with sort variables of one range.
struct Cohort {
    std::string label;
    bool is_unknown = false;  // without a birth
    int64_t n_with_records = 0;
    ClassRow row{};
};

// Parents of one sex by their offspring.
struct ParentFigures {
    int64_t n = 0, n_offspring = 0;
    Doublings sizes;
    std::vector<LevelCount> leaders;
};

struct PedigreeFigures {
    int32_t factor = 0;
    std::string name;
    std::string birth;            // what the sort variable is taken for
    std::vector<Cohort> cohorts;  // by birth; the first is of animals without, when there are such
    Cohort all;
    int64_t n_groups = 0;
    int64_t n_left_out = 0;  // links to a parent that descends from the animal
    int32_t longest = 0;     // generations
    Bins equivalents;        // animals by equivalent complete generations
    ParentFigures sires, dams;
};

PedigreeFigures survey_pedigree(const RunFolder& run, int32_t factor);

}  // namespace kve::companion
