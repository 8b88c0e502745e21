#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "kve/report/sections.h"
#include "kve/report/words.h"

namespace kve::companion {

namespace {

constexpr std::size_t kMostFigures = 60;

std::vector<double> doubles(const std::vector<int64_t>& counts) {
    return {counts.begin(), counts.end()};
}

Table moments_table(const std::vector<ValueColumn>& columns) {
    Table table{.columns = {{"Name"},
                            {"Records"},
                            {"Without"},
                            {"Mean"},
                            {"Standard deviation"},
                            {"Smallest"},
                            {"Largest"},
                            {"Coefficient of variation, %", 1}}};
    for (const ValueColumn& c : columns) {
        const Moments& m = c.moments;
        if (m.n == 0) {
            table.rows.push_back({c.column.name, m.n, c.n_without, {}, {}, {}, {}, {}});
            continue;
        }
        table.rows.push_back({c.column.name, m.n, c.n_without, m.mean, m.deviation(), m.smallest,
                              m.largest, 100.0 * m.deviation() / std::abs(m.mean)});
    }
    return table;
}

Table bins_table(const Bins& bins) {
    const bool whole = bins.is_discrete;
    Table table{.columns = {{whole ? "Value" : "From"}}};
    if (!whole) table.columns.push_back({"to below"});
    table.columns.push_back({"Records"});
    const auto add = [&](Cell from, Cell to, int64_t n) {
        std::vector<Cell> row{std::move(from)};
        if (!whole) row.push_back(std::move(to));
        row.push_back(n);
        table.rows.push_back(std::move(row));
    };
    if (bins.n_below > 0) add("lower", bins.first, bins.n_below);
    for (std::size_t b = 0; b < bins.counts.size(); ++b)
        add(whole ? bins.middle(b) : bins.start(b), bins.start(b + 1), bins.counts[b]);
    if (bins.n_above > 0) add(bins.start(bins.counts.size()), "higher", bins.n_above);
    return table;
}

Figure value_figure(const RunFolder& run, const ValueColumn& c) {
    Figure figure{.title = "Distribution of " + c.column.name};
    const Moments& m = c.moments;
    if (m.n == 0) {
        figure.words = "No record has a value.";
        return figure;
    }
    figure.words = fmt::format("{}, mean {:.6g}, standard deviation {:.6g}.",
                               grouped(m.n, "record"), m.mean, m.deviation());
    if (c.bins.n_below + c.bins.n_above > 0)
        figure.words += fmt::format(" Beyond six standard deviations, and in the table only: {}.",
                                    grouped(c.bins.n_below + c.bins.n_above, "value"));
    if (m.n_odd > 0) figure.words += fmt::format(" Not finite: {}.", counted(m.n_odd, "value"));
    if (!c.is_told)
        figure.words +=
            " Nothing in the files tells which records miss it: give the missing value code of "
            "$DATA with --missing CODE.";
    figure.picture = Chart{.kind = Chart::histogram,
                           .x = {axis_of_values(run, c)},
                           .y = {"records"},
                           .series = {{"records", doubles(c.bins.counts), {Tone::main}}},
                           .first = c.bins.first,
                           .width = c.bins.width};
    figure.table = bins_table(c.bins);
    return figure;
}

Section value_section(const RunFolder& run, const std::vector<ValueColumn>& columns) {
    Section section;
    if (columns.empty()) return section;
    section.tables.push_back(moments_table(columns));
    for (const ValueColumn& c : columns)
        if (section.figures.size() < kMostFigures) section.figures.push_back(value_figure(run, c));
    if (columns.size() > kMostFigures)
        section.words.push_back(fmt::format("The first {} are drawn.", kMostFigures));
    return section;
}

// Traits by traits: records and correlations.
Figure pair_map(const RecordFigures& records) {
    const std::size_t n = records.traits.size();
    Figure figure{.title = "Phenotypic correlations",
                  .words =
                      "Of the values as they stand in the data, with nothing adjusted, in the "
                      "records in which both traits are usable."};
    HeatMap map{.low = "−1", .high = "1"};
    for (const ValueColumn& c : records.traits) map.names.push_back(c.column.name);
    map.values.assign(n, std::vector<double>(n, 1.0));
    figure.table.columns = {{"Trait"}, {"Trait"}, {"Records with both"}, {"Correlation", 3}};
    for (const TraitPair& pair : records.pairs) {
        const double r = pair.moments.n() > 1 ? pair.moments.correlation() : NAN;
        map.values[pair.x][pair.y] = map.values[pair.y][pair.x] = r;
        figure.table.rows.push_back({map.names[pair.x], map.names[pair.y], pair.moments.n(), r});
    }
    map.colours = map.values;
    figure.picture = std::move(map);
    return figure;
}

Figure count_map(const RecordFigures& records) {
    Figure figure{.title = "Records with both traits"};
    const std::size_t n = records.traits.size();
    HeatMap map{.low = "0", .high = "all records"};
    map.digits = 0;
    map.is_signed = false;
    map.values.assign(n, std::vector<double>(n, 0.0));
    for (std::size_t i = 0; i < n; ++i) {
        map.names.push_back(records.traits[i].column.name);
        map.values[i][i] = static_cast<double>(records.traits[i].moments.n);
    }
    for (const TraitPair& pair : records.pairs)
        map.values[pair.x][pair.y] = map.values[pair.y][pair.x] =
            static_cast<double>(pair.moments.n());
    map.colours = map.values;
    const double all = std::max(static_cast<double>(records.n_records), 1.0);
    for (std::vector<double>& row : map.colours)
        for (double& colour : row) colour /= all;
    figure.table.columns = {{"Trait"}};
    for (const std::string& name : map.names) figure.table.columns.push_back({name, 0});
    for (std::size_t i = 0; i < n; ++i) {
        figure.table.rows.push_back({map.names[i]});
        for (const double value : map.values[i]) figure.table.rows.back().push_back(value);
    }
    figure.picture = std::move(map);
    return figure;
}

Figure cross_figure(const RunFolder& run, const RecordFigures& records, const TraitPair& pair) {
    const ValueColumn &x = records.traits[pair.x], &y = records.traits[pair.y];
    const CrossBins& cells = *pair.cells;
    Figure figure{
        .title = fmt::format("{} and {}", x.column.name, y.column.name),
        .words = fmt::format("{} with both, correlation {:.3f}.",
                             grouped(pair.moments.n(), "record"), pair.moments.correlation())};
    Grid grid{.x = {axis_of_values(run, x)}, .y = {axis_of_values(run, y)}, .unit = "records"};
    grid.first_x = cells.x.first;
    grid.width_x = cells.x.width;
    grid.first_y = cells.y.first;
    grid.width_y = cells.y.width;
    figure.table.columns = {{x.column.name + " from"}, {y.column.name + " from"}, {"Records"}};
    for (std::size_t j = 0; j < cells.y.counts.size(); ++j)
        for (std::size_t i = 0; i < cells.x.counts.size(); ++i)
            if (const int64_t n = cells.at(i, j); n > 0) {
                grid.squares.push_back({i, j, static_cast<double>(n)});
                figure.table.rows.push_back({cells.x.start(i), cells.y.start(j), n});
            }
    figure.picture = std::move(grid);
    return figure;
}

}  // namespace

std::string axis_of_values(const RunFolder& run, const ValueColumn& values) {
    const bool is_scaled = run.run().ISCALE == 1 && values.column.kind == DataColumn::dependent;
    return fmt::format("{} ({})", values.column.name,
                       is_scaled ? "residual standard deviations" : "units of the data");
}

Section trait_section(const RunFigures& figures) {
    Section section;
    if (figures.records) section = value_section(figures.run, figures.records->traits);
    section.id = "traits";
    section.title = "Traits";
    return section;
}

Section covariable_section(const RunFigures& figures) {
    Section section;
    if (figures.records) section = value_section(figures.run, figures.records->others);
    section.id = "covariables";
    const bool is_mixed =
        figures.records && std::ranges::any_of(figures.records->others, [](const ValueColumn& c) {
            return c.column.kind != DataColumn::covariable;
        });
    section.title = is_mixed ? "Covariables, weights and offsets" : "Covariables";
    return section;
}

Section pair_section(const RunFigures& figures) {
    Section section{.id = "pairs", .title = "Pairs of traits"};
    if (!figures.records || figures.records->pairs.empty()) return section;
    section.figures = {pair_map(*figures.records), count_map(*figures.records)};
    for (const TraitPair& pair : figures.records->pairs)
        if (pair.cells)
            section.figures.push_back(cross_figure(figures.run, *figures.records, pair));
    return section;
}

}  // namespace kve::companion
