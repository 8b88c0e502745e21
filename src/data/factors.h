// Per factor: roots of the search trees, heads of the sorted lists, level counts and the places of
// the equations.
#pragma once

#include <cstdint>

#include "base/arrays.h"

namespace kve {

struct Factors {
    // Roots and list heads in IFL
    int32_t ROOT_GRP = 0;  // residual groups
    int32_t HEAD_GRP = 0;
    Matrix<int32_t> ROOT_EF;  // nt x MAX_N_FIXED: fixed class effect j of trait i
    Matrix<int32_t> HEAD_EF;
    Vec<int32_t> ITOPR;  // NRAMAT: levels of the random factor met in the data
    Vec<int32_t> ITOPRS;
    Vec<int32_t> ITPPHG;  // NRAMAT: phantom parent groups
    Vec<int32_t> ITPHGS;
    Vec<int32_t> ITP_FPHG;  // NRAMAT: phantom parent groups of the foreign information
    Vec<int32_t> ITP_FPHGS;
    // Roots and list heads in IDL, NRAMAT
    Vec<int32_t> ITOPA;
    Vec<int32_t> ITOPAS;  // the sentinel row, which stands for the unknown parent
    // Rows of IDL that the factor's pedigree file and data have brought, NRAMAT
    Vec<int32_t> FIRST_ANIMAL;
    Vec<int32_t> LAST_ANIMAL;
    // Rows of the list that begins after ITOPAS, in its order; until the list is made, those of the
    // tree at ITOPA in the order of a walk through it, the branch of bit 1 before that of bit 0.
    // NRAMAT
    Vec<Vec<int32_t>> ANIMAL_LIST;

    // Counts, NRAMAT
    Vec<int32_t> NRALEV;  // levels
    Vec<int32_t> NPHG;    // phantom parent groups
    Vec<int32_t> NPHNUL;  // parent codes 0 under a method above 4
    Vec<int32_t> N_AIN;   // animals with data that the pedigree lacks
    Vec<int32_t> N_AWD;   // animals with data
    Vec<int32_t> N_RIN;   // relatives inserted
    Vec<int32_t> NBAFT;   // lines of PEDDATA
    Vec<int32_t> NFINFO;  // records of the foreign information file
    Vec<int32_t> NFPHG;   // phantom parent groups there
    Vec<int32_t> IEQNEP;  // code of the extra phantom group

    int64_t INBREED_LINES = 0;  // lines of INBREED, all factors together

    // Fixed class effects, nt x MAX_N_FIXED
    Matrix<int32_t> NLEV;

    int32_t n_fixed_equations = 0;  // of class effects and fixed regressions

    // Equations before the item
    Matrix<int32_t> NBEGREG;  // nt x MAX_N_REG
    Matrix<int32_t> NBEGF;    // nt x MAX_N_FIXED
    Vec<int32_t> NBEGRA;      // NRAMAT + 1; the last entry counts all random equations
    Matrix<int32_t> NBEGRAT;  // largest n_traits x NRAMAT
};

namespace state {

// Roots: the first pass and the pedigree reader. Heads, counts: the level counts stage and the
// pedigree stages. Places: the equation numbers stage.
inline constinit Factors FACTORS;

}  // namespace state

// All arrays of FACTORS, 0, in the sizes of the parsed model. A failure stops the run.
void allocate_factors();

}  // namespace kve
