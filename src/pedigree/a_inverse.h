// The inverse of the numerator relationship matrix.
//
// Method: Henderson (1976) and Quaas (1976) with parents and groups as known; phantom parent groups
// as Westell, Quaas and Van Vleck (1988). Each animal adds the elements of its own row of the
// decomposition at its own level number and at those of its parents.
//
// A row has the animal's parents, its older mates and itself. The values are not kept but for the
// diagonal, to which many animals add: a row is made of its animals when it is wanted. Every place
// sums up its additions in the order of the list.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "base/arrays.h"
#include "pedigree/pedigree_order.h"
#include "store/sparse_store.h"

namespace kve {

// Coefficients of KVEA24; and those of animals whose parents may be inbred.
enum class ParentRule : int32_t {
    inbreeding = 1,          // sire and dam, LD
    parents = 2,             // sire and dam, no inbreeding
    maternal_grandsire = 4,  // sire and maternal grandsire
    phantom_groups = 6,      // sire and dam or group
};

struct AInverse {
    Vec<Parentage> parentage{};
    ParentRule rule = ParentRule::parents;
    double ran_factor = 0.0;
    Vec<double> diagonal{};
    Vec<int32_t> first{};       // of the additions of a row; those of the next row come after them
    Vec<uint64_t> additions{};  // column, and place of the animal in the list
    std::vector<SparseElement> row{};
};

namespace state {

// A inverse of one pedigree, from its forming until it has been written.
inline AInverse A_INVERSE;

}  // namespace state

// Forms A inverse without regard to inbreeding and returns ln |A|. `ran_factor` goes to the
// diagonal of each phantom group; only the rule with groups reads it. MAXNRM becomes what its
// elements take in the sparse store, which is left empty.
double KVEA24(Vec<Parentage> parentage, ParentRule code, double ran_factor);

// The same with LD, the diagonal of L, which find_inbreeding has left and which must stay.
void form_a_inverse_with_inbreeding(Vec<Parentage> parentage);

// The elements of a row with ascending columns, good until the next call. Rows are made the fastest
// one after the other.
std::span<const SparseElement> a_inverse_row(int32_t row);

void release_a_inverse();

// Into the sparse store, by the rule `parents`, of the animals with progeny alone: `rows` of IDL,
// one for each entry of `parentage`.
void add_reduced_a_inverse(const Vec<int32_t>& rows, const Vec<Parentage>& parentage);

}  // namespace kve
