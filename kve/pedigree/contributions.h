// Where the genes of a reference population come from (Boichard, Maignel and Verrier 1997).
#pragma once

#include <vector>

#include "kve/pedigree/pedigree.h"

namespace kve::companion {

struct Ancestor {
    int32_t place;
    double share;     // expected share of the genes
    double marginal;  // of it what the ancestors chosen before do not explain
};

struct Contributions {
    int64_t reference = 0;  // animals
    int64_t founders = 0;   // with a share; an unknown parent of an animal with a known one counts
    double effective_founders = 0.0;
    // The founder genomes that would hold the same diversity, 1 over the mean relationship of the
    // reference population with itself (Caballero and Toro 2000).
    double founder_genomes = 0.0;
    std::vector<Ancestor> ancestors;  // by their marginal shares
    double explained = 0.0;           // by these ancestors
    // The effective number of ancestors; between these two when not all has been explained.
    double effective_ancestors_low = 0.0, effective_ancestors_high = 0.0;
};

// `reference(j)` tells whether the animal belongs to it. At most `most` ancestors are chosen; each
// costs a passage through the animals with progeny.
Contributions find_contributions(const Pedigree& pedigree, const Vec<bool>& reference,
                                 const Vec<double>& sampling, int64_t most);

}  // namespace kve::companion
