// What a pedigree is like: by birth, by generations known, by size of families.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "kve/pedigree/population.h"
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

// Where genes of the reference population come from.
struct AncestorFigures {
    int32_t identity, sort;
    Sex sex;
    double share, marginal;
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
    // Why the inbreeding was not found, and with it what comes of it; empty when it was.
    std::string without_inbreeding;
    bool by_generation = false;  // the classes of the population, which are years otherwise
    Population population{};     // without what it knows of each animal
    std::vector<AncestorFigures> ancestors;
};

// Where its inbreeding would take long it is left out, unless `all_inbreeding` asks for it.
PedigreeFigures survey_pedigree(const RunFolder& run, int32_t factor, bool all_inbreeding);

}  // namespace kve::companion
