// The animals of a herdbook in the order in which KVE1 takes them, oldest first.
#pragma once

#include <vector>

#include "kve/pedigree/herdbook.h"
#include "kve/pedigree/pedigree.h"

namespace kve::companion {

// Numbers of the animals by `sort`, and where that is equal by number.
Vec<int32_t> order_animals(const Vec<int32_t>& sort);

// By number: the animals of `from` and their ancestors, of `generations` generations at most; all
// of them when it is below 0.
Vec<bool> find_ancestors(const Herdbook& book, const Vec<int32_t>& order,
                         const std::vector<int32_t>& from, int32_t generations);

struct Placed {
    Pedigree pedigree;    // with births as they are known
    Vec<int32_t> number;  // in the herdbook, by place
    Vec<int32_t> sort;    // sort variable, by place, above 0
};

// The animals of `order` for which `keep` is set, all of them when it is empty; parents that are
// not kept are unknown. `sort` by number, in `sort_unit`.
Placed place_animals(const Herdbook& book, const Vec<int32_t>& order, const Vec<int32_t>& sort,
                     const Vec<bool>& keep, BirthUnit sort_unit);

}  // namespace kve::companion
