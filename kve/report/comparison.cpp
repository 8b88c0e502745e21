#include "kve/report/comparison.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "kve/report/changes.h"
#include "kve/report/sections.h"
#include "kve/shared/noun.h"

namespace kve::companion {

namespace {

constexpr std::size_t kMostWords = 12;  // sentences on one subject
constexpr std::size_t kMostRows = 200;

struct Comparison {
    const RunFigures &before, &after;
    std::vector<Difference> model, records, pedigree;
    std::vector<LevelChange> levels;
    std::vector<ElementChange> covariances;
    std::vector<Message> gone, added;
};

std::string sentence(const Difference& d) {
    if (d.before.empty()) return fmt::format("New: {}: {}.", d.subject, d.after);
    if (d.after.empty()) return fmt::format("No longer there: {} ({}).", d.subject, d.before);
    return fmt::format("Changed: {}, {} → {}.", d.subject, d.before, d.after);
}

std::string sentence(const LevelChange& c) {
    const auto some = [](const std::string& what, int64_t n,
                         const std::vector<std::string>& named) {
        if (n == 0) return std::string();
        return fmt::format(" {} ({}{}).", what, fmt::join(named, ", "),
                           n > static_cast<int64_t>(named.size()) ? ", ..." : "");
    };
    if (c.n_gone + c.n_new == 0)
        return fmt::format("Observations of {}: {} → {}, in the same {}.", c.label,
                           c.observations_before, c.observations_after,
                           counted(c.n_after, "level"));
    return fmt::format("Levels of {}: {} → {}, observations {} → {}.{}{}", c.label, c.n_before,
                       c.n_after, c.observations_before, c.observations_after,
                       some(counted(c.n_gone, "is gone", "are gone"), c.n_gone, c.gone),
                       some(counted(c.n_new, "is new", "are new"), c.n_new, c.added));
}

std::string sentence(const ElementChange& c) {
    return fmt::format("Changed: {} of {}, {:.7g} → {:.7g}.",
                       c.row == c.column ? "variance " + c.row
                                         : fmt::format("covariance {} and {}", c.row, c.column),
                       c.matrix, c.before, c.after);
}

template <class Item>
void add_words(Section& section, const char* what, const std::vector<Item>& items) {
    for (std::size_t i = 0; i < std::min(items.size(), kMostWords); ++i)
        section.notes.push_back({Note::plain, sentence(items[i]), what});
    if (items.size() > kMostWords)
        section.notes.push_back(
            {Note::plain, fmt::format("And {} more, below.", items.size() - kMostWords), what});
}

std::vector<ElementChange> changed(const std::vector<ElementChange>& all) {
    std::vector<ElementChange> some;
    std::ranges::copy_if(all, std::back_inserter(some), &ElementChange::is_change);
    return some;
}

std::vector<LevelChange> changed(const std::vector<LevelChange>& all) {
    std::vector<LevelChange> some;
    std::ranges::copy_if(all, std::back_inserter(some), &LevelChange::is_change);
    return some;
}

void add_what_is_missing(Section& section, const RunFigures& run, const char* which) {
    for (const MessageFile* file : {&run.listing, &run.log})
        if (!file->is_there)
            section.notes.push_back(
                {Note::plain,
                 fmt::format("{} of {} was not found, so that its warnings are not compared.",
                             file == &run.listing ? "The listing" : "KVE_LOG", which)});
    for (const Gap& gap : run.gaps)
        section.notes.push_back(
            {Note::error, fmt::format("Not compared, of {}: {}. {}", which, gap.what, gap.reason)});
}

// Nothing has changed of what the page compares.
void add_words_on_rest(Section& section, const Comparison& c) {
    const std::vector<std::string> fields = other_fields(c.before.run, c.after.run);
    const char* const kSame =
        "model, records, levels, (co)variances, pedigree and warnings are the same in both runs";
    if (fields.empty())
        section.notes.push_back({Note::good, fmt::format("Nothing: {}.", kSame)});
    else
        section.notes.push_back(
            {Note::plain, fmt::format("Little: {}, but not these fields of MODINF: {}.", kSame,
                                      fmt::join(fields, ", "))});
}

Section words_section(const Comparison& c) {
    Section section{.id = "changes", .title = "What changed"};
    for (const Message& m : c.added)
        section.notes.push_back(
            {m.is_error ? Note::error : Note::warning, "New: " + m.text, m.source});
    for (const Message& m : c.gone)
        section.notes.push_back({Note::good, "No longer there: " + m.text, m.source});
    add_words(section, "model", c.model);
    add_words(section, "records", c.records);
    add_words(section, "levels", changed(c.levels));
    add_words(section, "(co)variances", changed(c.covariances));
    add_words(section, "pedigree", c.pedigree);
    if (section.notes.empty()) add_words_on_rest(section, c);
    add_what_is_missing(section, c.before, "the first run");
    add_what_is_missing(section, c.after, "the second run");
    return section;
}

Section statement_section(const char* id, const char* title, const std::vector<Statement>& before,
                          const std::vector<Statement>& after) {
    Section section{.id = id, .title = title};
    Table table{.columns = {{"Subject"}, {"First run"}, {"Second run"}, {""}}};
    const auto add = [&](const std::string& subject, const std::string& a, const std::string& b) {
        if (table.rows.size() < kMostRows)
            table.rows.push_back({subject, a, b, std::string(a == b ? "" : "changed")});
    };
    for (const Statement& s : before) {
        const auto twin = std::ranges::find(after, s.subject, &Statement::subject);
        add(s.subject, s.value, twin == after.end() ? "" : twin->value);
    }
    for (const Statement& s : after)
        if (std::ranges::find(before, s.subject, &Statement::subject) == before.end())
            add(s.subject, "", s.value);
    if (!table.rows.empty()) section.tables.push_back(std::move(table));
    return section;
}

// One distribution in both runs, in the same bins.
Figure both_figure(const RunFigures& after, const ValueColumn& a, const ValueColumn& b) {
    Figure figure{.title = "Distribution of " + b.column.name,
                  .words = fmt::format("Mean {:.6g} → {:.6g}, standard deviation {:.6g} → {:.6g}.",
                                       a.moments.mean, b.moments.mean, a.moments.deviation(),
                                       b.moments.deviation())};
    const auto counts = [](const Bins& bins) {
        return std::vector<double>(bins.counts.begin(), bins.counts.end());
    };
    figure.picture = Chart{.kind = Chart::histogram,
                           .x = {axis_of_values(after.run, b)},
                           .y = {"records"},
                           .series = {{"records, second run", counts(b.bins), {Tone::main}},
                                      {"records, first run", counts(a.bins), {Tone::mark}}},
                           .first = b.bins.first,
                           .width = b.bins.width};
    figure.table.columns = {{"From"}, {"to below"}, {"First run"}, {"Second run"}};
    for (std::size_t i = 0; i < b.bins.counts.size(); ++i)
        figure.table.rows.push_back(
            {b.bins.start(i), b.bins.start(i + 1), a.bins.counts[i], b.bins.counts[i]});
    return figure;
}

Section record_section(const Comparison& c) {
    Section section = statement_section("records", "Records", record_statements(c.before),
                                        record_statements(c.after));
    if (!c.before.records || !c.after.records) return section;
    for (auto member : {&RecordFigures::traits, &RecordFigures::others})
        for (const ValueColumn& b : (*c.after.records).*member)
            for (const ValueColumn& a : (*c.before.records).*member)
                if (a.column.name == b.column.name && a.moments.n + b.moments.n > 0)
                    section.figures.push_back(both_figure(c.after, a, b));
    return section;
}

Section levels_section(const Comparison& c) {
    Section section{.id = "levels", .title = "Levels"};
    Table table{.columns = {{"Effect"},
                            {"Levels, first run"},
                            {"second run"},
                            {"Gone"},
                            {"New"},
                            {"Observations, first run"},
                            {"second run"}}};
    for (const LevelChange& l : c.levels)
        table.rows.push_back({l.label, l.n_before, l.n_after, l.n_gone, l.n_new,
                              l.observations_before, l.observations_after});
    section.tables.push_back(std::move(table));
    return section;
}

Section covariances_section(const Comparison& c) {
    Section section{.id = "covariances", .title = "(Co)variances"};
    Table table{
        .columns = {{"Matrix"}, {"Row"}, {"Column"}, {"First run"}, {"Second run"}, {"Ratio", 4}}};
    for (const ElementChange& e : c.covariances)
        if (table.rows.size() < kMostRows)
            table.rows.push_back(
                {e.matrix, e.row, e.column, e.before, e.after,
                 e.is_change() && e.before != 0.0 ? Cell(e.after / e.before) : Cell()});
    if (c.covariances.size() > kMostRows)
        section.words.push_back(
            fmt::format("The first {} of {} elements.", kMostRows, c.covariances.size()));
    section.tables.push_back(std::move(table));
    return section;
}

// Mean inbreeding of both runs, where their births have the same classes.
void add_inbreeding(Section& section, const PedigreeFigures& a, const PedigreeFigures& b) {
    Figure figure{.title = "Mean inbreeding by " + b.birth};
    Chart chart{.kind = Chart::lines,
                .x = {b.birth},
                .y = {"mean inbreeding, %", 0.0},
                .series = {{"first run", {}, {Tone::mark}}, {"second run", {}, {Tone::main}}}};
    figure.table.columns = {{b.birth}, {"First run, %", 3}, {"Second run, %", 3}};
    const auto mean_of = [](const PedigreeFigures& p, const std::string& label) {
        const auto found = std::ranges::find(p.cohorts, label, &Cohort::label);
        return found == p.cohorts.end() || found->row.animals == 0 ? NAN
                                                                   : 100.0 * found->row.inbreeding;
    };
    for (const Cohort& cohort : b.cohorts) {
        chart.labels.push_back(cohort.label);
        chart.series[0].values.push_back(mean_of(a, cohort.label));
        chart.series[1].values.push_back(mean_of(b, cohort.label));
        figure.table.rows.push_back(
            {cohort.label, chart.series[0].values.back(), chart.series[1].values.back()});
    }
    figure.picture = std::move(chart);
    section.figures.push_back(std::move(figure));
}

Section pedigrees_section(const Comparison& c) {
    Section section = statement_section("pedigree", "Pedigree", pedigree_statements(c.before),
                                        pedigree_statements(c.after));
    for (const PedigreeFigures& b : c.after.pedigrees)
        for (const PedigreeFigures& a : c.before.pedigrees)
            if (a.factor == b.factor && a.birth == b.birth && a.without_inbreeding.empty() &&
                b.without_inbreeding.empty())
                add_inbreeding(section, a, b);
    const std::pair<const char*, const RunFigures&> runs[] = {{"first run", c.before},
                                                              {"second run", c.after}};
    for (const auto& [run, figures] : runs)
        for (const PedigreeFigures& p : figures.pedigrees)
            if (!p.without_inbreeding.empty())
                section.notes.push_back({Note::plain, p.without_inbreeding, run});
    return section;
}

}  // namespace

Page comparison_page(const RunFigures& before, const RunFigures& after) {
    const auto date = [](const RunFigures& f) { return f.run.run().RUN_DATE.string(); };
    Comparison c{before,
                 after,
                 compare(model_statements(before), model_statements(after)),
                 compare(record_statements(before), record_statements(after)),
                 compare(pedigree_statements(before), pedigree_statements(after)),
                 compare_levels(before, after),
                 compare_covariances(before.run, after.run),
                 messages_without(before, after),
                 messages_without(after, before)};
    Page page{
        .title = "Two runs of KVE1 compared",
        .subtitle = fmt::format("First {} of {}, second {} of {}", before.run.path().string(),
                                date(before), after.run.path().string(), date(after)),
        .sections = {
            words_section(c),
            statement_section("model", "Model", model_statements(before), model_statements(after)),
            record_section(c), levels_section(c), covariances_section(c), pedigrees_section(c)}};
    return page;
}

}  // namespace kve::companion
