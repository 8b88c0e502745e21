#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "kve/report/sections.h"
#include "kve/report/words.h"

namespace kve::companion {

namespace {

constexpr std::size_t kMostClasses = 200;  // that a line is drawn of
constexpr std::size_t kDrawn = 20;         // ancestors
constexpr const char* kPathNames[kPaths] = {"sire of sons", "sire of daughters", "dam of sons",
                                            "dam of daughters"};

std::string class_of(const PedigreeFigures& p) {
    return p.by_generation ? "generation" : "year of birth";
}

double age(const ClassRow& row, std::size_t path) {
    return row.ages[path].count > 0 ? row.ages[path].mean() : NAN;
}
double family(const Families& f) { return f.parents > 0 ? f.mean() : NAN; }
double percent(double share) { return 100.0 * share; }

template <class Value>
Series along_classes(const PedigreeFigures& p, const char* name, Value value) {
    Series series{name, {}};
    for (const ClassRow& row : p.population.classes) series.values.push_back(value(row));
    return series;
}

Chart lines_of(const PedigreeFigures& p, const char* unit) {
    Chart chart{.kind = Chart::lines, .x = {class_of(p)}, .y = {unit}};
    for (const ClassRow& row : p.population.classes)
        chart.labels.push_back(std::to_string(row.label));
    return chart;
}

bool has_values(const Chart& chart) {
    return std::ranges::any_of(chart.series, [](const Series& s) {
        return std::ranges::any_of(s.values, [](double v) { return std::isfinite(v); });
    });
}

Figure rates_figure(const PedigreeFigures& p) {
    const Population& all = p.population;
    Figure figure{.title = "Rate of inbreeding by " + class_of(p)};
    const std::string before =
        p.by_generation ? "generation"
        : std::isnan(all.interval)
            ? "year"
            : fmt::format("generation interval of {:.1f} years", all.interval);
    figure.words = fmt::format(
        "Rise of the mean inbreeding F since one {} before, divided by 1 − F there.", before);
    Chart chart = lines_of(p, "% in a generation");
    chart.series = {along_classes(p, "rate of inbreeding", [&](const ClassRow& row) {
        return percent(rate_of_class(all, row));
    })};
    chart.series[0].tones = {Tone::main};
    figure.table.columns = {{class_of(p)},         {"Animals"},
                            {"Mean F, %", 3},      {"Rate, % in a generation", 3},
                            {"Effective size", 1}, {"Individual rate, %", 3},
                            {"Effective size", 1}};
    for (const ClassRow& row : all.classes) {
        const double rate = rate_of_class(all, row), own = increase_of(row);
        figure.table.rows.push_back({std::to_string(row.label), row.animals,
                                     percent(row.inbreeding), percent(rate), effective_size(rate),
                                     percent(own), effective_size(own)});
    }
    if (has_values(chart)) figure.picture = std::move(chart);
    return figure;
}

Figure intervals_figure(const PedigreeFigures& p) {
    Figure figure{.title = "Generation interval by " + class_of(p),
                  .words =
                      "Age of the parents at the birth of those progeny that have progeny "
                      "themselves, by path."};
    Chart chart = lines_of(p, "age of the parent, years");
    figure.table.columns = {{class_of(p)}};
    for (std::size_t path = 0; path < kPaths; ++path) {
        chart.series.push_back(along_classes(
            p, kPathNames[path], [path](const ClassRow& row) { return age(row, path); }));
        figure.table.columns.push_back({fmt::format("{}, years", kPathNames[path]), 2});
    }
    figure.table.columns.push_back({"mean of the paths, years", 2});
    for (const ClassRow& row : p.population.classes) {
        figure.table.rows.push_back({std::to_string(row.label)});
        for (std::size_t path = 0; path < kPaths; ++path)
            figure.table.rows.back().push_back(age(row, path));
        figure.table.rows.back().push_back(generation_interval(row));
    }
    if (has_values(chart)) figure.picture = std::move(chart);
    return figure;
}

Figure sizes_figure(const PedigreeFigures& p) {
    Figure figure{.title = "Family sizes by " + class_of(p),
                  .words = fmt::format("Progeny that a sire or dam with progeny in a {} has there.",
                                       p.by_generation ? "generation" : "year")};
    Chart chart = lines_of(p, "progeny");
    chart.series = {along_classes(p, "per sire", [](const ClassRow& r) { return family(r.sires); }),
                    along_classes(p, "per dam", [](const ClassRow& r) { return family(r.dams); })};
    figure.table.columns = {{class_of(p)},           {"Sires"}, {"Progeny per sire", 2},
                            {"Largest sire family"}, {"Dams"},  {"Progeny per dam", 2},
                            {"Largest dam family"}};
    for (const ClassRow& row : p.population.classes)
        figure.table.rows.push_back({std::to_string(row.label), row.sires.parents,
                                     family(row.sires), row.sires.largest, row.dams.parents,
                                     family(row.dams), row.dams.largest});
    if (has_values(chart)) figure.picture = std::move(chart);
    return figure;
}

const char* name_of(Sex sex) {
    return sex == Sex::male ? "male" : sex == Sex::female ? "female" : "";
}

std::string reference_of(const PedigreeFigures& p) {
    const Population& all = p.population;
    const std::string classes =
        all.reference_first == all.reference_last
            ? std::to_string(all.reference_last)
            : fmt::format("{} to {}", all.reference_first, all.reference_last);
    return fmt::format("{} {} {}", grouped(all.contributions.reference, "animal"),
                       p.by_generation ? "of generation" : "born", classes);
}

Figure ancestors_figure(const RunFigures& figures, const PedigreeFigures& p) {
    Figure figure{.title = "Contributions of ancestors",
                  .words = fmt::format(
                      "Where the genes of the {} come from: of each ancestor what those chosen "
                      "before do not explain (Boichard et al. 1997). {} {:.1f} %.",
                      reference_of(p),
                      counted(static_cast<int64_t>(p.ancestors.size()), "ancestor explains",
                              "ancestors explain"),
                      percent(p.population.contributions.explained))};
    Chart chart{.kind = Chart::bars,
                .x = {"ancestor"},
                .y = {"marginal contribution, %"},
                .series = {{"marginal contribution, %", {}, {Tone::main}}}};
    figure.table.columns = {{"Rank"},
                            {"Ancestor"},
                            {"Sort variable"},
                            {"Sex"},
                            {"Contribution, %", 2},
                            {"Marginal, %", 2},
                            {"Sum of marginal, %", 2}};
    double sum = 0.0;
    int64_t rank = 0;
    for (const AncestorFigures& a : p.ancestors) {
        const std::string name = figures.name_of(p.name, a.identity);
        sum += a.marginal;
        figure.table.rows.push_back(
            {++rank, name, a.sort == kNoBirth ? std::string() : std::to_string(a.sort),
             name_of(a.sex), percent(a.share), percent(a.marginal), percent(sum)});
        if (chart.labels.size() == kDrawn) continue;
        chart.labels.push_back(name);
        chart.series[0].values.push_back(percent(a.marginal));
    }
    figure.picture = std::move(chart);
    return figure;
}

}  // namespace

std::vector<Measure> measures_of(const PedigreeFigures& p) {
    const Population& all = p.population;
    const Contributions& c = all.contributions;
    std::vector<Measure> measures;
    if (!p.by_generation) {
        for (std::size_t path = 0; path < kPaths; ++path)
            measures.push_back({fmt::format("generation interval, {}", kPathNames[path]),
                                age(all.all, path), "years"});
        measures.push_back({"generation interval, mean of the paths", all.interval, "years"});
        measures.push_back({"rate of inbreeding by regression on birth",
                            percent(all.regressed_rate), "% in a generation"});
        measures.push_back({"effective size by regression on birth",
                            effective_size(all.regressed_rate), "animals"});
    }
    const double own = increase_of(all.all);
    measures.push_back({"individual rate of inbreeding", percent(own), "% in a generation"});
    measures.push_back({"effective size by individual rates", effective_size(own), "animals"});
    if (c.reference == 0) return measures;
    measures.push_back({"effective founders", c.effective_founders, "animals"});
    measures.push_back({"effective ancestors, at least", c.effective_ancestors_low, "animals"});
    measures.push_back({"effective ancestors, at most", c.effective_ancestors_high, "animals"});
    measures.push_back({"founder genomes", c.founder_genomes, "genomes"});
    return measures;
}

Table measures_table(const PedigreeFigures& p) {
    Table table{.columns = {{"Measure"}, {"Value", 2}, {"Unit"}},
                .caption = fmt::format("The population of {}", p.name)};
    if (p.population.contributions.reference > 0)
        table.caption += fmt::format("; founders and ancestors of the {}", reference_of(p));
    for (Measure& m : measures_of(p))
        table.rows.push_back({std::move(m.name), std::move(m.value), std::move(m.unit)});
    return table;
}

std::vector<Figure> population_figures(const RunFigures& figures, const PedigreeFigures& p) {
    std::vector<Figure> all;
    if (p.population.classes.size() <= kMostClasses) {
        if (p.without_inbreeding.empty()) all.push_back(rates_figure(p));
        if (!p.by_generation) all.push_back(intervals_figure(p));
        all.push_back(sizes_figure(p));
    }
    if (!p.ancestors.empty()) all.push_back(ancestors_figure(figures, p));
    return all;
}

}  // namespace kve::companion
