#include <fmt/format.h>

#include <algorithm>

#include "kve/report/sections.h"
#include "kve/report/words.h"

namespace kve::companion {

namespace {

constexpr int64_t kBlocks = 8;  // rows of the table behind a picture

std::string words_of(const PatternFigures& p) {
    std::string words = fmt::format(
        "{} in the lower triangle of {}, {:.3g} % of its places.",
        grouped(static_cast<int64_t>(p.n_elements), "element"), grouped(p.order, "level"),
        100.0 * static_cast<double>(p.n_elements) /
            (static_cast<double>(p.order) * (static_cast<double>(p.order) + 1.0) / 2.0));
    if (p.n_read < p.n_elements)
        words += fmt::format(" The picture is a sample of {} of them.",
                             grouped(static_cast<int64_t>(p.n_read)));
    if (p.n_diagonals > 0)
        words += fmt::format(" Diagonal from {:.4g} to {:.4g}.", p.smallest, p.largest);
    if (p.n_zeros > 0)
        words += fmt::format(" {} 0.", grouped(p.n_zeros, "element that was read is",
                                               "elements that were read are"));
    if (p.n_outside > 0)
        words += fmt::format(" {} outside the lower triangle of the levels.",
                             grouped(p.n_outside, "element lies", "elements lie"));
    return words;
}

// The table sums cells into blocks.
Table blocks_table(const PatternFigures& p) {
    const int64_t cells = (p.n_cells + kBlocks - 1) / kBlocks;
    const int64_t n_blocks = cells > 0 ? (p.n_cells + cells - 1) / cells : 0;
    const auto label = [&](int64_t block) {
        const int64_t from = block * cells * p.levels_in_cell + 1;
        return fmt::format("{}–{}", from, std::min(p.order, from + cells * p.levels_in_cell - 1));
    };
    Table table{.columns = {{"Elements of rows"}}};
    for (int64_t j = 0; j < n_blocks; ++j) table.columns.push_back({"columns " + label(j)});
    std::vector<std::vector<int64_t>> sums(
        static_cast<std::size_t>(n_blocks),
        std::vector<int64_t>(static_cast<std::size_t>(n_blocks)));
    for (int64_t i = 0; i < p.n_cells; ++i)
        for (int64_t j = 0; j <= i; ++j)
            sums[static_cast<std::size_t>(i / cells)][static_cast<std::size_t>(j / cells)] +=
                p.at(i, j);
    for (int64_t i = 0; i < n_blocks; ++i) {
        table.rows.push_back({label(i)});
        for (int64_t j = 0; j < n_blocks; ++j)
            table.rows.back().push_back(
                j <= i ? Cell(sums[static_cast<std::size_t>(i)][static_cast<std::size_t>(j)])
                       : Cell());
    }
    return table;
}

Figure pattern_figure(const RunFolder& run, const PatternFigures& p) {
    Figure figure{.title = fmt::format("Pattern of {} ({})", p.file, run.factor_name(p.factor)),
                  .words = words_of(p)};
    if (p.n_read == 0) return figure;
    const auto width = static_cast<double>(p.levels_in_cell);
    Grid grid{.x = {"column (level)"}, .y = {"row (level)"}, .unit = "% of the places"};
    grid.first_x = grid.first_y = 0.5;
    grid.width_x = grid.width_y = width;
    grid.is_downward = true;
    const double part = static_cast<double>(p.n_elements) / static_cast<double>(p.n_read);
    for (int64_t i = 0; i < p.n_cells; ++i)
        for (int64_t j = 0; j <= i; ++j) {
            if (p.at(i, j) == 0) continue;
            const double filled =
                100.0 * std::min(1.0, part * static_cast<double>(p.at(i, j)) / p.room(i, j));
            const auto row = static_cast<std::size_t>(i), column = static_cast<std::size_t>(j);
            grid.squares.push_back({column, row, filled});
            if (i != j) grid.squares.push_back({row, column, filled});
        }
    figure.picture = std::move(grid);
    figure.table = blocks_table(p);
    return figure;
}

}  // namespace

Section matrix_section(const RunFigures& figures) {
    Section section{.id = "matrices", .title = "Relationship matrices"};
    for (const PatternFigures& p : figures.patterns)
        section.figures.push_back(pattern_figure(figures.run, p));
    return section;
}

}  // namespace kve::companion
