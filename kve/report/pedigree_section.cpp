#include <fmt/format.h>

#include <cmath>

#include "kve/report/sections.h"
#include "kve/report/words.h"

namespace kve::companion {

namespace {

constexpr std::size_t kNamed = 5;  // parents with most offspring

std::vector<std::string> labels_of(const PedigreeFigures& p) {
    std::vector<std::string> labels;
    for (const Cohort& c : p.cohorts) labels.push_back(c.label);
    return labels;
}

template <class Value>
std::vector<double> by_cohort(const PedigreeFigures& p, Value value) {
    std::vector<double> values;
    for (const Cohort& c : p.cohorts) values.push_back(c.row.animals > 0 ? value(c) : NAN);
    return values;
}

// Lines have no point for the animals whose birth is unknown: those are no class ahead of the
// first.
template <class Value>
std::vector<double> along_births(const PedigreeFigures& p, Value value) {
    return by_cohort(p, [&](const Cohort& c) { return c.is_unknown ? NAN : value(c); });
}

double percent(int64_t part, const ClassRow& row) {
    return 100.0 * static_cast<double>(part) / static_cast<double>(row.animals);
}
int64_t with_one_parent(const ClassRow& row) {
    return row.animals - row.with_both_parents - row.founders;
}

Figure animals_figure(const PedigreeFigures& p) {
    Figure figure{.title = "Animals by " + p.birth};
    figure.picture = Chart{
        .kind = Chart::stacked,
        .x = {p.birth},
        .y = {"animals"},
        .series = {{"with records",
                    by_cohort(
                        p, [](const Cohort& c) { return static_cast<double>(c.n_with_records); }),
                    {Tone::main}},
                   {"without",
                    by_cohort(p,
                              [](const Cohort& c) {
                                  return static_cast<double>(c.row.animals - c.n_with_records);
                              }),
                    {Tone::quiet}}},
        .labels = labels_of(p)};
    figure.table.columns = {{p.birth}, {"Animals"}, {"With records"}};
    for (const Cohort& c : p.cohorts)
        figure.table.rows.push_back({c.label, c.row.animals, c.n_with_records});
    return figure;
}

Figure parents_figure(const PedigreeFigures& p) {
    Figure figure{.title = "Parents known by " + p.birth,
                  .words = "A phantom parent group counts as an unknown parent."};
    const auto series = [&](const char* name, Tone tone, auto part) {
        return Series{name,
                      by_cohort(p, [&](const Cohort& c) { return percent(part(c.row), c.row); }),
                      {tone}};
    };
    figure.picture =
        Chart{.kind = Chart::stacked,
              .x = {p.birth},
              .y = {"animals, %", 0.0, 100.0},
              .series = {series("both", Tone::main,
                                [](const ClassRow& r) { return r.with_both_parents; }),
                         series("one", Tone::second, with_one_parent),
                         series("none", Tone::quiet, [](const ClassRow& r) { return r.founders; })},
              .labels = labels_of(p)};
    figure.table.columns = {{p.birth}, {"Animals"}, {"Both, %", 1}, {"One, %", 1}, {"None, %", 1}};
    for (const Cohort& c : p.cohorts)
        figure.table.rows.push_back(
            {c.label, c.row.animals, percent(c.row.with_both_parents, c.row),
             percent(with_one_parent(c.row), c.row), percent(c.row.founders, c.row)});
    return figure;
}

Figure completeness_figure(const PedigreeFigures& p) {
    Figure figure{
        .title = "Completeness of the pedigree by " + p.birth,
        .words = fmt::format("Index over {} generations of ancestors: the harmonic mean of "
                             "the shares known on the sides of sire and dam (MacCluer et "
                             "al. 1983).",
                             kCompleteness)};
    figure.picture = Chart{
        .kind = Chart::lines,
        .x = {p.birth},
        .y = {"mean index, %", 0.0, 100.0},
        .series = {{"index of completeness",
                    along_births(p, [](const Cohort& c) { return 100.0 * c.row.completeness; }),
                    {Tone::main}}},
        .labels = labels_of(p)};
    figure.table.columns = {{p.birth}, {"Animals"}, {"Index, %", 1}};
    for (const Cohort& c : p.cohorts)
        figure.table.rows.push_back({c.label, c.row.animals, 100.0 * c.row.completeness});
    return figure;
}

Figure inbreeding_figure(const PedigreeFigures& p) {
    const ClassRow& all = p.all.row;
    Figure figure{
        .title = "Mean inbreeding by " + p.birth,
        .words = fmt::format("Mean of all animals {:.2f} %, largest coefficient {:.2f} %, "
                             "{} inbred.",
                             100.0 * all.inbreeding, 100.0 * all.largest_inbreeding,
                             grouped(all.inbred, "animal is", "animals are"))};
    figure.picture =
        Chart{.kind = Chart::lines,
              .x = {p.birth},
              .y = {"mean inbreeding, %", 0.0},
              .series = {{"mean inbreeding",
                          along_births(p, [](const Cohort& c) { return 100.0 * c.row.inbreeding; }),
                          {Tone::main}}},
              .labels = labels_of(p)};
    figure.table.columns = {
        {p.birth}, {"Animals"}, {"Mean, %", 3}, {"Largest, %", 2}, {"Inbred animals, %", 1}};
    for (const Cohort& c : p.cohorts)
        figure.table.rows.push_back({c.label, c.row.animals, 100.0 * c.row.inbreeding,
                                     100.0 * c.row.largest_inbreeding,
                                     percent(c.row.inbred, c.row)});
    return figure;
}

Figure generations_figure(const PedigreeFigures& p) {
    Figure figure{.title = "Generations known by " + p.birth,
                  .words =
                      "Equivalent complete generations: the share of known ancestors, summed "
                      "over all generations back."};
    figure.picture =
        Chart{.kind = Chart::lines,
              .x = {p.birth},
              .y = {"mean generations", 0.0},
              .series = {{"equivalent complete generations",
                          along_births(p, [](const Cohort& c) { return c.row.equivalent; }),
                          {Tone::main}}},
              .labels = labels_of(p)};
    figure.table.columns = {{p.birth}, {"Animals"}, {"Mean generations", 2}};
    for (const Cohort& c : p.cohorts)
        figure.table.rows.push_back({c.label, c.row.animals, c.row.equivalent});
    return figure;
}

Figure equivalents_figure(const PedigreeFigures& p) {
    Figure figure{.title = "Generations known"};
    std::vector<double> counts(p.equivalents.counts.begin(), p.equivalents.counts.end());
    figure.words =
        fmt::format("Mean {:.2f} equivalent complete generations; the longest line back has {}.",
                    p.all.row.equivalent, p.longest);
    figure.picture = Chart{.kind = Chart::histogram,
                           .x = {"equivalent complete generations"},
                           .y = {"animals"},
                           .series = {{"animals", std::move(counts), {Tone::main}}},
                           .first = p.equivalents.first,
                           .width = p.equivalents.width};
    figure.table.columns = {{"Generations from"}, {"to below"}, {"Animals"}};
    for (std::size_t b = 0; b < p.equivalents.counts.size(); ++b)
        figure.table.rows.push_back(
            {p.equivalents.start(b), p.equivalents.start(b + 1), p.equivalents.counts[b]});
    return figure;
}

std::string words_on(const RunFigures& figures, const PedigreeFigures& p, const ParentFigures& f,
                     const char* parent) {
    if (f.n == 0) return {};
    std::vector<std::string> most;
    for (const LevelCount& leader : f.leaders)
        if (most.size() < kNamed)
            most.push_back(fmt::format("{} ({})", figures.name_of(p.name, leader.identity),
                                       grouped(leader.n_records)));
    return fmt::format("{} with {:.1f} offspring in the mean; most have: {}.", grouped(f.n, parent),
                       static_cast<double>(f.n_offspring) / static_cast<double>(f.n),
                       fmt::join(most, ", "));
}

// By sire or dam: parents by the number of their offspring in the pedigree.
Figure families_figure(const RunFigures& figures, const PedigreeFigures& p, const ParentFigures& f,
                       const char* parents, const char* parent) {
    Figure figure{.title = fmt::format("Offspring per {}", parent),
                  .words = words_on(figures, p, f, parent)};
    Chart chart{.kind = Chart::bars,
                .x = {"offspring"},
                .y = {parents},
                .series = {{parents, {}, {Tone::main}}}};
    figure.table.columns = {{"Offspring"}, {parents}};
    for (std::size_t place = 1; place < f.sizes.counts.size(); ++place) {
        chart.labels.push_back(Doublings::label(place));
        chart.series[0].values.push_back(static_cast<double>(f.sizes.counts[place]));
        figure.table.rows.push_back({chart.labels.back(), f.sizes.counts[place]});
    }
    if (f.n > 0) figure.picture = std::move(chart);
    return figure;
}

}  // namespace

Section pedigree_section(const RunFigures& figures) {
    Section section{.id = "pedigree", .title = "Pedigree"};
    for (const PedigreeFigures& p : figures.pedigrees) {
        section.words.push_back(fmt::format(
            "Random factor {}, {}: {}, {} of them with records and {} without any known "
            "parent{}.",
            p.factor, p.name, grouped(p.all.row.animals, "animal"), grouped(p.all.n_with_records),
            grouped(p.all.row.founders),
            p.n_groups > 0 ? "; " + counted(p.n_groups, "phantom parent group") : ""));
        if (p.n_left_out > 0)
            section.words.push_back(
                fmt::format("{} left out of the generations: from an animal to its own descendant.",
                            counted(p.n_left_out, "link is", "links are")));
        const bool has_inbreeding = p.without_inbreeding.empty();
        if (!has_inbreeding) section.notes.push_back({Note::plain, p.without_inbreeding, p.name});
        section.tables.push_back(measures_table(p));
        std::vector<Figure> all = {animals_figure(p), parents_figure(p), completeness_figure(p),
                                   generations_figure(p)};
        if (has_inbreeding) all.push_back(inbreeding_figure(p));
        all.push_back(equivalents_figure(p));
        all.push_back(families_figure(figures, p, p.sires, "sires", "sire"));
        all.push_back(families_figure(figures, p, p.dams, "dams", "dam"));
        for (Figure& figure : population_figures(figures, p)) all.push_back(std::move(figure));
        for (Figure& figure : all) {
            if (figures.pedigrees.size() > 1) figure.title += " of " + p.name;
            section.figures.push_back(std::move(figure));
        }
    }
    return section;
}

}  // namespace kve::companion
