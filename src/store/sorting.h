// Sorting of keys with companions, and the sorted list of a tree of levels.
#pragma once

#include <cstdint>

#include "base/arrays.h"

namespace kve {

// Heap sort of keys[0..n-1], ascending, moving `companion` along. Equal keys end in a fixed order
// that is not that of the input; it decides level numbers, so the way of the sort is not to be
// changed.
void heap_sort_pairs(int32_t n, int32_t* keys, int32_t* companion);
// The same with a second key where the first ones are equal.
void heap_sort_pairs(int32_t n, int32_t* keys, int32_t* second_keys, int32_t* companion);

// Chains the rows of the tree of IFL rows at `root` in ascending order of their keys (`head` is the
// first row, 0 for an empty tree) and numbers them from `last_number` + 1 on. Returns the last
// number given, `last_number` for an empty tree. IN and IV are the workspace, so what the sparse
// store held is lost; they grow when the tree asks for it.
[[nodiscard]] int32_t sort_level_list(int32_t root, int32_t& head, int32_t last_number);
// The same, and `rows` becomes the rows of the list in its order: a walk along it that can look
// ahead.
[[nodiscard]] int32_t sort_level_list(int32_t root, int32_t& head, int32_t last_number,
                                      Vec<int32_t>& rows);

}  // namespace kve
