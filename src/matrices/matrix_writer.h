// Writes inverse relationship matrices to their files, row after row.
#pragma once

#include <cstdint>
#include <functional>
#include <span>

#include "store/sparse_store.h"

namespace kve {

// What a matrix file holds; the number is the code of its name's prefix.
enum class MatrixFile : int32_t {
    AINV = 1,      // A inverse
    AINV_RAM = 2,  // A inverse for a reduced animal model
    PGMIX = 3,
    COR = 4,
    DOM = 5,
    IBD = 6,  // ABS_QTL
};

// Writes rows 1..n of the sparse store to the file of random factor k, a MatrixRecord for each
// element; columns ascend within a row. At test print 2 the first elements are listed. A failed
// write stops the run at once for a factor of type PED; for another type the elements end there and
// the run goes on, but does not end well (`note_cut_file`).
void kvewai(int32_t k, int32_t n, MatrixFile i_code);

// The elements of a row with ascending columns; they need to be good until the next call only.
using RowSource = std::function<std::span<const SparseElement>(int32_t row)>;

// The same with rows that `row_source` makes, one after the other, out of those of the store.
void write_matrix_file(int32_t k, int32_t n, MatrixFile i_code, const RowSource& row_source);

}  // namespace kve
