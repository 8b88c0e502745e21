// The animals of a pedigree by classes: years of birth or generations.
#pragma once

#include <array>
#include <vector>

#include "kve/pedigree/animal_figures.h"
#include "kve/pedigree/pedigree.h"

namespace kve::companion {

// What is known of each animal, by place.
struct AnimalFigures {
    Vec<float> equivalent, completeness;
    Vec<double> inbreeding;
    Vec<double> sampling;  // Mendelian sampling variance, as a share of the additive one
};
// Without its inbreeding all that comes of it is not a number.
AnimalFigures find_figures(const Pedigree& pedigree, int completeness_generations,
                           bool with_inbreeding = true);

inline constexpr int32_t kNoClass = kNoBirth;
enum Path { kSireSon, kSireDaughter, kDamSon, kDamDaughter, kPaths };

// Age of parents at the birth of those progeny that have progeny themselves.
struct PathAges {
    int64_t count = 0;
    double sum = 0.0;

    double mean() const { return sum / static_cast<double>(count); }
};

// Progeny of the class by their parents of one sex.
struct Families {
    int64_t parents = 0, progeny = 0, largest = 0;
    double mean() const { return static_cast<double>(progeny) / static_cast<double>(parents); }
};

struct ClassRow {
    int32_t label;
    int64_t animals = 0, males = 0, females = 0;
    int64_t with_both_parents = 0, founders = 0, inbred = 0;
    double completeness = 0.0, equivalent = 0.0;        // means
    double inbreeding = 0.0, largest_inbreeding = 0.0;  // mean and largest
    // Increase of inbreeding in a generation, the mean of 1 - (1 - F)**(1 / (t - 1)) over the
    // animals with more than one equivalent complete generation t (Gutierrez, Cervantes and Goyache
    // 2009). 1 over twice that is an effective size.
    int64_t with_increase = 0;
    double increase = 0.0;
    std::array<PathAges, kPaths> ages{};
    Families sires{}, dams{};
};

// `label_of` is the class of each animal by place, kNoClass for none; `per_year` the units of
// Pedigree::birth in a year. Rows come by their labels.
std::vector<ClassRow> sum_up_classes(const Pedigree& pedigree, const AnimalFigures& figures,
                                     const Vec<int32_t>& label_of, double per_year);

// All rows as one, of the families too: those count once a class.
ClassRow add_up(const std::vector<ClassRow>& rows);

// The mean of those paths that are known.
double generation_interval(const ClassRow& row);

// Rise of ln(1 - F) in a year of birth, by regression over the animals that have a class: with the
// generation interval L the rate of inbreeding a generation is 1 - exp(L times it) (Perez-Enciso
// 1995).
double regress_inbreeding(const Pedigree& pedigree, const AnimalFigures& figures,
                          const Vec<int32_t>& label_of, double per_year);

}  // namespace kve::companion
