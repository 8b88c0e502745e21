// Lower triangles of (co)variances and correlations on the listing or in a file.
#pragma once

#include <cstdint>
#include <string>

#include "base/arrays.h"
#include "listing/units.h"

namespace kve {

// Where a report goes: to a file, or, without one, to the listing, whose lines are counted as they
// are printed and which alone has pages.
struct Sheet {
    TextOutput* file = nullptr;

    [[gnu::format(printf, 2, 3)]] void line(const char* format, ...);
    void empty(int lines = 1);
    void page_for(int64_t lines);  // a new page unless this many lines more have room
};

enum class TriangleOf { covariances, correlations };

// The lines that KVEPRM prints for a matrix of this order.
int64_t triangle_lines(int32_t order);

// Prints rows and columns 1..order of the triangle in blocks of 6 columns; rows and columns are
// numbered from row_offset + 1. Covariances have 7 decimals, correlations 4. A triangle longer than
// a page goes on under the next page head.
void KVEPRM(int32_t row_offset, int32_t order, const Triangle<double>& matrix, TriangleOf mode,
            Sheet& unit);

// Turns covariances into correlations; a variance of 0 leaves not-a-number in its row and column.
void to_correlations(Triangle<double>& matrix);

// A number in a column of the given width, never without a blank before it.
std::string number_column(double value, int width, int decimals);

}  // namespace kve
