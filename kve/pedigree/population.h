// The statistics of a pedigree, as kve ped leaves and kve report shows them.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "kve/pedigree/class_statistics.h"
#include "kve/pedigree/contributions.h"
#include "kve/pedigree/herdbook.h"
#include "kve/pedigree/places.h"
#include "kve/tables/identities.h"

namespace kve::companion {

struct PopulationOptions {
    bool by_generation = false;  // classes; otherwise years of birth
    bool with_inbreeding = true;
    int completeness_generations = 5;
    int64_t most_ancestors = 100;
    std::string reference;  // FROM:TO, classes; the youngest when it is empty
};

struct Population {
    std::vector<ClassRow> classes;
    ClassRow all;
    double interval;  // generation interval in years, or 1 by generation; not a number if unknown
    int32_t reference_first, reference_last;
    // Rate of inbreeding a generation by regression on birth over the last three generation
    // intervals; not a number without births.
    double regressed_rate;
    Contributions contributions;
    int32_t depth;
    int64_t without_class;
    AnimalFigures figures;
};

Population describe_population(const Pedigree& pedigree, BirthUnit unit,
                               const PopulationOptions& options);

// Rise of the mean F over a generation up to this class, as a share of what was left; not a number
// where the class a generation before has no animals.
double rate_of_class(const Population& population, const ClassRow& row);
// 1 / (2 rate), not a number unless the rate is above 0.
double effective_size(double rate);
// The individual rate; not a number where no animal has one.
double increase_of(const ClassRow& row);

void write_classes(const std::string& file, const Population& population, bool by_generation);
// Measures of the whole, with their names and values.
std::vector<std::pair<std::string, double>> list_measures(const Population& population);
void write_measures(const std::string& file, const Population& population);
void write_ancestors(const std::string& file, const Population& population, const Placed& placed,
                     BirthUnit unit, const IdentityTable& names);

}  // namespace kve::companion
