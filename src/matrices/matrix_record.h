// The record of AINVk, AINV_RAMk, PGMIXk, CORk, DOMk, IBDk and GINVk, as it is written and read.
#pragma once

#include <cstdint>

#include "base/records.h"

namespace kve {

// An element of the lower triangle, by level numbers.
struct MatrixRecord {
    int32_t column, row;
    double value;
};
static_assert(sizeof(MatrixRecord) == 16, "items follow each other without padding");

inline void write_matrix_record(RecordOutput& to, const MatrixRecord& element) {
    write_record(to, element.column, element.row, element.value);
}

}  // namespace kve
