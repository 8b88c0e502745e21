// Sorting of keys with companions, and the sorted list of a tree of levels.
#pragma once

#include <cstdint>

#include "base/arrays.h"

namespace kve {

// Keys of a heap sort: elements 1 to n, with a spare one in front.
using SortKeys = Vec<uint64_t, 0>;

// Two keys that are compared one after the other, as one number of the same order.
inline uint64_t join_keys(int32_t first, int32_t second) {
    const auto in_order = [](int32_t key) { return static_cast<uint32_t>(key) ^ 0x80000000U; };
    return static_cast<uint64_t>(in_order(first)) << 32 | in_order(second);
}

// Heap sort of n companions, 0 or more, by their keys, ascending. The keys are used up. Companions
// of equal keys end in a fixed order that is not that of the input; it decides level numbers, so
// the way of the sort is not to be changed.
void heap_sort_pairs(SortKeys& keys, Vec<int32_t>& companions);

// Chains the rows of the tree of IFL rows at `root` in ascending order of their keys (`head` is the
// first row, 0 for an empty tree) and numbers them from `last_number` + 1 on. Returns the last
// number given, `last_number` for an empty tree. IV is the workspace, so what the sparse store held
// is lost; it grows when the tree asks for it.
[[nodiscard]] int32_t sort_level_list(int32_t root, int32_t& head, int32_t last_number);
// The same, and `rows` becomes the rows of the list in its order: a walk along it that can look
// ahead.
[[nodiscard]] int32_t sort_level_list(int32_t root, int32_t& head, int32_t last_number,
                                      Vec<int32_t>& rows);

}  // namespace kve
