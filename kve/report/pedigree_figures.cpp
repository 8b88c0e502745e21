#include "kve/report/pedigree_figures.h"

#include <fmt/format.h>

#include <algorithm>
#include <limits>

#include "kve/files/record_file.h"
#include "kve/report/run_pedigree.h"

namespace kve::companion {

namespace {

constexpr int kMostCohorts = 60;
constexpr std::size_t kLeaders = 10;

// Ranges of the sort variable, years of dates. Classes count from 1; that of animals without a
// birth is 0.
class Births {
 public:
    explicit Births(const RunPedigree& animals) : are_dates_(animals.are_dates) {
        for (const int32_t sort : animals.sort) {
            if (sort == kNoBirth) continue;
            first_ = std::min(first_, value(sort));
            last_ = std::max(last_, value(sort));
        }
        if (first_ > last_ || last_ - first_ < kMostCohorts) return;
        const auto range = static_cast<double>(last_ - first_ + 1);
        width_ = static_cast<int64_t>(round_width(range / kMostCohorts));
        const int64_t beyond = first_ % width_;
        first_ -= beyond >= 0 ? beyond : beyond + width_;
    }

    int32_t n() const {
        return first_ > last_ ? 0 : static_cast<int32_t>((last_ - first_) / width_ + 1);
    }
    int32_t class_of(int32_t sort) const {
        return sort == kNoBirth ? 0 : static_cast<int32_t>((value(sort) - first_) / width_ + 1);
    }
    std::string label(int32_t number) const {
        if (number == 0) return "unknown";
        const int64_t from = first_ + (number - 1) * width_;
        return width_ == 1 ? fmt::format("{}", from)
                           : fmt::format("{}–{}", from, from + width_ - 1);
    }

 private:
    int64_t value(int32_t sort) const { return are_dates_ ? sort / 10000 : sort; }

    bool are_dates_;
    int64_t first_ = std::numeric_limits<int64_t>::max();
    int64_t last_ = std::numeric_limits<int64_t>::min(), width_ = 1;
};

void fill_cohorts(const RunPedigree& animals, const AnimalFigures& known,
                  PedigreeFigures& figures) {
    const Births births(animals);
    const int32_t n = animals.pedigree.size();
    figures.birth = animals.are_dates || animals.are_years ? "year of birth" : "sort variable";
    for (int32_t c = 0; c <= births.n(); ++c) figures.cohorts.push_back({.label = births.label(c)});
    Vec<int32_t> class_of;
    make_table(class_of, n);
    for (int32_t j = 1; j <= n; ++j) {
        class_of(j) = births.class_of(animals.sort(j));
        if (animals.n_records(j) == 0) continue;
        ++figures.cohorts[static_cast<std::size_t>(class_of(j))].n_with_records;
        ++figures.all.n_with_records;
    }
    const std::vector<ClassRow> rows =
        sum_up_classes(animals.pedigree, known, class_of, animals.are_dates ? kDaysPerYear : 1.0);
    for (const ClassRow& row : rows) figures.cohorts[static_cast<std::size_t>(row.label)].row = row;
    figures.all.row = add_up(rows);
    figures.cohorts.front().is_unknown = true;
    if (figures.cohorts.front().row.animals == 0) figures.cohorts.erase(figures.cohorts.begin());
}

void fill_generations(const AnimalFigures& known, PedigreeFigures& figures) {
    Moments moments;
    for (const float g : known.equivalent) moments.add(static_cast<double>(g));
    constexpr double kStep = 0.5, kMany = 20.0;
    Bins& bins = figures.equivalents;
    bins.width = moments.largest > kMany ? round_width(moments.largest / (2 * kMany)) : kStep;
    bins.counts.assign(
        moments.n > 0 ? static_cast<std::size_t>(moments.largest / bins.width) + 1 : 0, 0);
    for (const float g : known.equivalent) bins.add(static_cast<double>(g));
}

// Empty when the inbreeding may be found. That takes about 20 nanoseconds a visit, and so some
// seconds at most; large pedigrees, which take long to read, may have more.
std::string why_without_inbreeding(const Pedigree& pedigree) {
    constexpr double kMostVisits = 3e8, kMostOfAnAnimal = 50.0, kVisitsInAMinute = 3e9;
    const double visits = estimate_visits(pedigree), minutes = visits / kVisitsInAMinute;
    if (visits <= std::max(kMostVisits, kMostOfAnAnimal * pedigree.size())) return {};
    return fmt::format(
        "Inbreeding and what comes of it (rates, effective sizes, founder genomes) is left out: "
        "each sire and his mates have so many ancestors here that it would take {}. "
        "With --inbreeding kve report finds it all the same.",
        minutes < 1.5 ? "about a minute" : fmt::format("about {:.0f} minutes", minutes));
}

// Sort variables that are no time tell neither intervals nor rates: generations do.
Population survey_population(const RunPedigree& animals, PedigreeFigures& figures) {
    PopulationOptions options;
    options.with_inbreeding = figures.without_inbreeding.empty();
    figures.by_generation = !animals.are_dates && !animals.are_years;
    options.by_generation = figures.by_generation;
    options.completeness_generations = kCompleteness;
    Population population = describe_population(
        animals.pedigree, animals.are_dates ? BirthUnit::days : BirthUnit::years, options);
    for (const Ancestor& a : population.contributions.ancestors)
        figures.ancestors.push_back({animals.identity(a.place), animals.sort(a.place),
                                     animals.pedigree.sex(a.place), a.share, a.marginal});
    return population;
}

template <class Parent>
ParentFigures count_offspring(const RunPedigree& animals, Parent parent_of) {
    Vec<int32_t, 0> offspring;
    make_table(offspring, animals.pedigree.size() + 1);
    for (const ParentPair& pair : animals.pedigree.parents) ++offspring(parent_of(pair));
    ParentFigures figures;
    std::vector<LevelCount>& leaders = figures.leaders;
    const auto keep_best = [&] {
        std::ranges::stable_sort(leaders, std::ranges::greater{}, &LevelCount::n_records);
        if (leaders.size() > kLeaders) leaders.resize(kLeaders);
    };
    for (int32_t j = 1; j <= animals.pedigree.size(); ++j) {
        if (offspring(j) == 0) continue;
        ++figures.n;
        figures.n_offspring += offspring(j);
        figures.sizes.add(offspring(j));
        leaders.push_back({animals.identity(j), offspring(j)});
        constexpr std::size_t kMany = 1000;
        if (leaders.size() > kMany) keep_best();
    }
    keep_best();
    return figures;
}

}  // namespace

PedigreeFigures survey_pedigree(const RunFolder& run, int32_t factor, bool all_inbreeding) {
    const RunPedigree animals = read_pedigree(run, factor);
    const Reckoning reckoning("the pedigree of " + run.factor_name(factor));
    PedigreeFigures figures;
    if (!all_inbreeding) figures.without_inbreeding = why_without_inbreeding(animals.pedigree);
    figures.population = survey_population(animals, figures);
    const AnimalFigures known = std::move(figures.population.figures);
    figures.longest = figures.population.depth;
    figures.factor = factor;
    figures.name = run.factor_name(factor);
    figures.n_groups = animals.n_groups;
    figures.n_left_out = animals.n_left_out;
    fill_cohorts(animals, known, figures);
    fill_generations(known, figures);
    figures.sires = count_offspring(animals, [](const ParentPair& pair) { return pair.sire; });
    figures.dams = count_offspring(animals, [](const ParentPair& pair) { return pair.dam; });
    return figures;
}

}  // namespace kve::companion
