// What the pedigree tells of each animal: how deep and how complete its lines are, and how inbred
// it is. All tables are by place.
#pragma once

#include "kve/pedigree/pedigree.h"

namespace kve::companion {

// The longest line of ancestors; 0 without parents.
Vec<int32_t> find_generations(const Pedigree& pedigree);

// Equivalent complete generations: the sum over all known ancestors of 1/2 to the power of the
// generations between (Maignel, Boichard and Verrier 1996).
Vec<float> find_equivalent_generations(const Pedigree& pedigree);

// Index of completeness over so many generations of ancestors, 1 to 8: the harmonic mean of the
// shares of known ancestors in the lines of sire and dam (MacCluer et al. 1983).
Vec<float> find_completeness(const Pedigree& pedigree, int generations);
inline constexpr int kMostCompleteness = 8;

struct Inbreeding {
    Vec<double> coefficient;
    Vec<double> sampling;  // Mendelian sampling variance, as a share of the additive one
};
// By the method with which KVE1 makes its inverse.
Inbreeding find_inbreeding(const Pedigree& pedigree);

// How many ancestors that will visit, about: of each sire and his mates together, counted for 50
// sires spread over the pedigree.
double estimate_visits(const Pedigree& pedigree);

}  // namespace kve::companion
