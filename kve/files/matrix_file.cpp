#include "kve/files/matrix_file.h"

#include <algorithm>

namespace kve::companion {

void MatrixSummary::end_row() {
    if (n_in_row_ > longest) {
        longest = n_in_row_;
        longest_row = last_.row;
    }
    n_in_row_ = 0;
}

void MatrixSummary::add(const Element& e) {
    ++n_elements;
    if (e.row < 1 || e.row > order || e.column < 1 || e.column > order) {
        ++n_outside;
        return;
    }
    if (e.column > e.row) ++n_above;
    if (e.row != last_.row) end_row();
    if (e.row < last_.row || (e.row == last_.row && e.column <= last_.column)) ++n_unordered;
    ++n_in_row_;
    if (e.row == e.column && (e.row != last_.row || e.column != last_.column)) {
        smallest = n_diagonals == 0 ? e.value : std::min(smallest, e.value);
        largest = n_diagonals == 0 ? e.value : std::max(largest, e.value);
        ++n_diagonals;
    }
    last_ = e;
}

}  // namespace kve::companion
