#include "kve/report/pattern_figures.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "kve/shared/failure.h"

namespace kve::companion {

namespace {

constexpr int64_t kMostCells = 64;
constexpr uintmax_t kPlaces = 1000;  // of a file, where elements of a sample stand together

void take_element(PatternFigures& figures, const Element& e) {
    ++figures.n_read;
    if (e.row < 1 || e.row > figures.order || e.column < 1 || e.column > e.row) {
        ++figures.n_outside;
        return;
    }
    const int64_t i = (e.row - 1) / figures.levels_in_cell,
                  j = (e.column - 1) / figures.levels_in_cell;
    ++figures.counts[static_cast<std::size_t>(i * (i + 1) / 2 + j)];
    if (e.value == 0.0) ++figures.n_zeros;
    if (e.row != e.column) return;
    figures.smallest = figures.n_diagonals == 0 ? e.value : std::min(figures.smallest, e.value);
    figures.largest = figures.n_diagonals == 0 ? e.value : std::max(figures.largest, e.value);
    ++figures.n_diagonals;
}

struct Descriptor {
    int number;
    ~Descriptor() { ::close(number); }
};

// Blocks at equal distances. All records of the file have one length, which is looked at.
void take_sample(const MatrixFile& whole, const std::string& path, uintmax_t sample,
                 PatternFigures& figures) {
    struct [[gnu::packed]] Framed {
        int32_t before;
        Element element;
        int32_t after;
    };
    static_assert(sizeof(Framed) == kElementBytes);
    const Descriptor file{::open(path.c_str(), O_RDONLY | O_CLOEXEC)};
    std::vector<Framed> block(std::max<uintmax_t>(sample / kPlaces, 1));
    const uintmax_t n_blocks = std::max<uintmax_t>(sample / block.size(), 2),
                    last = figures.n_elements - block.size();  // where the last one begins
    for (uintmax_t b = 0; b < n_blocks; ++b) {
        const std::size_t bytes = block.size() * kElementBytes;
        const auto from = static_cast<off_t>(last * b / (n_blocks - 1) * kElementBytes);
        const ssize_t n = ::pread(file.number, block.data(), bytes, from);
        if (n < 0) throw Failure(kUnreadable, path + ": " + std::strerror(errno));
        if (n != static_cast<ssize_t>(bytes)) whole.refuse("the file has become shorter");
        for (const Framed& f : block) {
            if (f.before != sizeof(Element) || f.after != sizeof(Element))
                whole.refuse("cut, or the file is no file of records");
            take_element(figures, f.element);
        }
    }
}

}  // namespace

double PatternFigures::room(int64_t i, int64_t j) const {
    const auto levels = [this](int64_t cell) {
        return static_cast<double>(std::min(levels_in_cell, order - cell * levels_in_cell));
    };
    return i == j ? levels(i) * (levels(i) + 1.0) / 2.0 : levels(i) * levels(j);
}

PatternFigures survey_pattern(const RunFolder& run, const RunFile& file, uintmax_t sample) {
    MatrixFile matrix(run, file);
    PatternFigures figures{.file = file.name, .factor = file.factor};
    figures.order = matrix.order();
    figures.n_elements = matrix.n_elements();
    figures.levels_in_cell = std::max<int64_t>((figures.order + kMostCells - 1) / kMostCells, 1);
    figures.n_cells = (figures.order + figures.levels_in_cell - 1) / figures.levels_in_cell;
    figures.counts.assign(static_cast<std::size_t>(figures.n_cells * (figures.n_cells + 1) / 2), 0);
    if (figures.n_elements > 2 * sample) {
        take_sample(matrix, (run.path() / file.name).string(), sample, figures);
        return figures;
    }
    Element e{0, 0, 0.0};
    while (matrix.next(e)) take_element(figures, e);
    matrix.require_end(e);
    return figures;
}

}  // namespace kve::companion
