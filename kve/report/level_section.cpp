#include <fmt/format.h>

#include "kve/report/sections.h"
#include "kve/report/words.h"

namespace kve::companion {

namespace {

constexpr std::size_t kMostFigures = 60;
constexpr std::size_t kNamed = 5;  // levels with most observations

std::string title_of(const LevelFigures& f) {
    switch (f.list.kind) {
        case CodeList::fixed:
            return fmt::format("{}", fmt::join(f.labels, ", "));
        case CodeList::groups:
            return fmt::format("residual groups of {}", f.list.name);
        case CodeList::animals:
        case CodeList::random:
            break;
    }
    return fmt::format("{} (random factor {})", f.list.name, f.list.label);
}

const char* kind_of(const LevelFigures& f) {
    switch (f.list.kind) {
        case CodeList::fixed:
            return "fixed";
        case CodeList::random:
            return "random";
        case CodeList::animals:
            return "animals";
        case CodeList::groups:
            break;
    }
    return "residual groups";
}

Table lists_table(const std::vector<LevelFigures>& all) {
    Table table{.columns = {{"Effect"},
                            {"Kind"},
                            {"Levels"},
                            {"Observations"},
                            {"Levels with 0"},
                            {"with 1"},
                            {"Mean above 0", 1},
                            {"Most"}}};
    for (const LevelFigures& f : all) {
        const int64_t n_filled = f.list.n_levels - f.n_empty();
        table.rows.push_back(
            {title_of(f), kind_of(f), f.list.n_levels, f.n_records, f.n_empty(), f.n_single(),
             n_filled > 0 ? Cell(static_cast<double>(f.n_records) / static_cast<double>(n_filled))
                          : Cell(),
             f.largest});
    }
    return table;
}

std::string named(const RunFigures& figures, const LevelFigures& f, int32_t identity) {
    return figures.name_of(f.list.name, identity);
}

std::string singles_of(const RunFigures& figures, const LevelFigures& f) {
    if (f.n_single() == 0) return {};
    std::string words = fmt::format(" {} with a single one", grouped(f.n_single()));
    if (f.list.kind != CodeList::animals) {
        const bool is_cut = static_cast<int64_t>(f.singles.size()) < f.n_single();
        std::vector<std::string> names;
        for (const int32_t identity : f.singles) names.push_back(named(figures, f, identity));
        words += fmt::format("{}{}", is_cut ? ", such as " : ": ", fmt::join(names, ", "));
    }
    return words + ".";
}

std::string words_of(const RunFigures& figures, const LevelFigures& f) {
    std::string words = fmt::format("{}, {}.{}", grouped(f.list.n_levels, "level"),
                                    grouped(f.n_records, "observation"), singles_of(figures, f));
    if (!f.each.empty() || f.largest <= 1) return words;
    std::vector<std::string> most;
    for (const LevelCount& level : f.leaders)
        if (most.size() < kNamed)
            most.push_back(fmt::format("{} ({})", named(figures, f, level.identity),
                                       grouped(level.n_records)));
    return words + fmt::format(" Most observations: {}.", fmt::join(most, ", "));
}

// An effect with few levels: each of them.
Figure each_figure(const RunFigures& figures, const LevelFigures& f) {
    Figure figure{.title = "Observations per level of " + title_of(f),
                  .words = words_of(figures, f)};
    Chart chart{.kind = Chart::bars,
                .x = {fmt::format("{} ({})", f.list.name,
                                  figures.names ? "name of the user" : "identity in the data")},
                .y = {"observations"},
                .series = {{"observations", {}, {}}}};
    figure.table.columns = {{f.list.name}, {"Observations"}};
    for (const LevelCount& level : f.each) {
        chart.labels.push_back(named(figures, f, level.identity));
        chart.series[0].values.push_back(static_cast<double>(level.n_records));
        chart.series[0].tones.push_back(level.n_records == 1 ? Tone::mark : Tone::main);
        figure.table.rows.push_back({chart.labels.back(), level.n_records});
    }
    figure.picture = std::move(chart);
    return figure;
}

Figure sizes_figure(const RunFigures& figures, const LevelFigures& f) {
    Figure figure{.title = "Observations per level of " + title_of(f),
                  .words = words_of(figures, f)};
    Chart chart{.kind = Chart::bars,
                .x = {"observations of a level"},
                .y = {"levels"},
                .series = {{"levels", {}, {}}}};
    figure.table.columns = {{"Observations"}, {"Levels"}};
    for (std::size_t p = 0; p < f.sizes.counts.size(); ++p) {
        chart.labels.push_back(Doublings::label(p));
        chart.series[0].values.push_back(static_cast<double>(f.sizes.counts[p]));
        chart.series[0].tones.push_back(p == 1 ? Tone::mark : p == 0 ? Tone::quiet : Tone::main);
        figure.table.rows.push_back({chart.labels.back(), f.sizes.counts[p]});
    }
    figure.picture = std::move(chart);
    return figure;
}

}  // namespace

Section level_section(const RunFigures& figures) {
    Section section{.id = "levels", .title = "Observations per level"};
    if (figures.levels.empty()) return section;
    section.words.push_back(
        "Observations as the program counts them: usable records of the trait, or of any trait of "
        "the random factor. Levels with a single one are marked.");
    section.tables.push_back(lists_table(figures.levels));
    for (const LevelFigures& f : figures.levels)
        if (section.figures.size() < kMostFigures && f.list.n_levels > 0)
            section.figures.push_back(f.each.empty() ? sizes_figure(figures, f)
                                                     : each_figure(figures, f));
    if (figures.levels.size() > kMostFigures)
        section.words.push_back(fmt::format("The first {} are drawn.", kMostFigures));
    return section;
}

}  // namespace kve::companion
