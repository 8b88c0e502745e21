// The animals of one pedigree factor in an order in which parents come before their progeny, as far
// as the sort variable can give one; links to the parents' rows; level numbers.
#pragma once

#include <cstdint>

#include "base/arrays.h"

namespace kve {

// What a row means to the rules of the inverse: level numbers, those of phantom parent groups
// negative. 0 is the unknown parent. The extra group is a group where it stands itself and a known
// animal where it is a parent.
struct Parentage {
    int32_t animal;
    int32_t sire;  // sire and dam, or sire and maternal grandsire
    int32_t dam;
};

// Reads the rows and the tree of factor k as the pedigree reader has left them. Sorts them by the
// sort variable; inserts parents without a record and phantom groups at the front; links every row
// to its parents' rows (columns 9 and 10), counting its progeny (13); makes the extra phantom group
// where method 6 needs one; makes the list, ANIMAL_LIST, and chains its rows behind the sentinel
// (8), whose row is ITOPAS; and gives them their levels (4). Sets NRALEV, N_RIN, NBAFT and NPHNUL.
// Parents with a sort variable that is not before their progeny's go to PEDDATA; under methods 1
// and 3 they stop the run.
//
// Returns the parentage of the animals of the list, in its order.
Vec<Parentage> order_pedigree(int32_t k);

}  // namespace kve
