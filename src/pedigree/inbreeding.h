// Inbreeding: the diagonals of the numerator relationship matrix A and of its factor L, A = L L'.
#pragma once

#include "base/arrays.h"
#include "pedigree/pedigree_order.h"

namespace kve {

// Sets AD and LD of places 1..n of the list, and returns ln |A|, which is twice the sum of ln LD.
// Every parent must have a place before its progeny's. AD - 1 is the inbreeding coefficient. Where
// both parents are completely inbred LD is 0, and ln |A| minus infinity.
//
// Method: Sargolzaei, Iwaisaki and Colleau (2005), with the indirect product of Colleau (2002). The
// relationships of one sire with all his mates are found together: up through his ancestors,
// youngest first, for the weights, then down through the ancestors of the mates, oldest first. The
// time grows with the number of ancestors of each sire and of his mates taken together, which is
// less than the number of ancestors of each of his progeny.
double find_inbreeding(const Vec<Parentage>& parentage);

// Places of the parents in a list of animals, 0 unknown.
struct ParentPair {
    int32_t sire, dam;
};

// The array that found no memory, if any.
struct NoRoom {
    const char* array = nullptr;
    int64_t elements = 0;
};

// The same for any list of animals, into tables of at least its length. `parents` is used up.
[[nodiscard]] NoRoom find_diagonals(Vec<ParentPair>& parents, Vec<double>& ad, Vec<double>& ld);

}  // namespace kve
