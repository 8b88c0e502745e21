// The sparse store: one symmetric matrix, of which the lower triangle is kept, row by row (tables
// IF, IN, IV, AI of store/big_tables.h).
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "base/memory.h"
#include "store/big_tables.h"
#include "store/element_index.h"

namespace kve {

struct SparseElement {
    int32_t column;
    double value;
};

namespace state {

// The elements that no walk along their row reaches: all but the first few of a long row.
inline constinit ElementIndex FAR_ELEMENTS;

// What sparse_row has returned last.
inline constinit std::vector<SparseElement> ROW_COPY;

}  // namespace state

// Empties the store. Call it before the first addition to a matrix.
void clear_sparse();

// Leaves the store empty and counts so many elements as in use: those of a matrix that is kept
// elsewhere count as if they stood here. MAXNRM grows when it is less.
void claim_elements(int64_t n);

// Adds `value` at (i, j), in either order. An addition with an index below 1 is dropped: it belongs
// to an unknown parent. Additions to one place sum up in the order of the calls. The tables grow
// when they are full.
void insert_sparse(int32_t i, int32_t j, double value);

// The elements of a row with ascending columns, none for a row beyond IF. They are a copy, good
// until the next call; the store may be added to afterwards.
std::span<const SparseElement> sparse_row(int32_t row);

// Number of rows 1..n that have an element.
int32_t count_sparse_rows(int32_t n);

// A row will be added to soon: fetches its head from the memory, and once that is there, its first
// element, the diagonal as a rule. A row of 0 or below is left alone.
KVE_FETCH void expect_sparse_head(int32_t row) {
    if (row > 0 && row <= state::IF.size()) __builtin_prefetch(&state::IF(row));
}
KVE_FETCH void expect_sparse_element(int32_t row) {
    if (row < 1 || row > state::IF.size()) return;
    const int32_t head = state::IF(row);
    if (head == 0) return;
    __builtin_prefetch(&state::IN(head));
    __builtin_prefetch(&state::IV(head));
    __builtin_prefetch(&state::AI(head));
}
// A row will be read soon: fetches the element behind those of the animal and its parents, which
// are there already.
KVE_FETCH void expect_sparse_mate(int32_t row) {
    if (row < 1 || row > state::IF.size()) return;
    int32_t element = state::IF(row);
    for (int k = 0; k < 3 && element != 0; ++k) element = state::IN(element);
    if (element == 0) return;
    __builtin_prefetch(&state::IN(element));
    __builtin_prefetch(&state::IV(element));
    __builtin_prefetch(&state::AI(element));
}

// An addition to a place beside the diagonal will come soon, and the row may have many elements.
void expect_sparse_place(int32_t i, int32_t j);

}  // namespace kve
