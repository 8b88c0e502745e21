// Where a matrix has elements.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "kve/files/matrix_file.h"
#include "kve/files/run_folder.h"

namespace kve::companion {

struct PatternFigures {
    std::string file;
    int32_t factor = 0;
    int64_t order = 0;
    uintmax_t n_elements = 0, n_read = 0;  // fewer of a large file, from all over it
    int64_t levels_in_cell = 1;
    int64_t n_cells = 0;  // in a row of the picture
    std::vector<int64_t> counts =
        {};  // of the lower triangle, row by row: cell (i, j) at i(i + 1)/2 + j
    int64_t n_diagonals = 0, n_zeros = 0, n_outside = 0;
    double smallest = 0.0, largest = 0.0;  // of the diagonal

    int64_t at(int64_t i, int64_t j) const {
        return counts[static_cast<std::size_t>(i * (i + 1) / 2 + j)];
    }
    // Elements that a cell of the lower triangle can have.
    double room(int64_t i, int64_t j) const;
};

// Of more than twice as many elements as `sample` only so many are read.
inline constexpr uintmax_t kSample = 20'000'000;
PatternFigures survey_pattern(const RunFolder& run, const RunFile& file,
                              uintmax_t sample = kSample);

}  // namespace kve::companion
