// The inverse of the numerator relationship matrix, into the sparse store.
//
// Method: Henderson (1976) and Quaas (1976) with parents and groups as known; phantom parent groups
// as Westell, Quaas and Van Vleck (1988). Each animal adds the elements of its own row of the
// decomposition at its own level number and at those of its parents.
#pragma once

#include <cstdint>

#include "base/arrays.h"
#include "pedigree/pedigree_order.h"

namespace kve {

// Coefficients of KVEA24.
enum class ParentRule : int32_t {
    parents = 2,             // sire and dam, no inbreeding
    maternal_grandsire = 4,  // sire and maternal grandsire
    phantom_groups = 6,      // sire and dam or group
};

// Adds A inverse without regard to inbreeding and returns ln |A|. `ran_factor` goes to the diagonal
// of each phantom group; only the rule with groups reads it.
double KVEA24(const Vec<Parentage>& parentage, ParentRule code, double ran_factor);

// The same by the rule `parents`, of the animals with progeny alone: `rows` of IDL, one for each
// entry of `parentage`.
void add_reduced_a_inverse(const Vec<int32_t>& rows, const Vec<Parentage>& parentage);

// Adds A inverse with LD, the diagonal of L, which find_inbreeding has left.
void add_a_inverse_with_inbreeding(const Vec<Parentage>& parentage);

}  // namespace kve
