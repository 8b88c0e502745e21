#include "kve/pedigree/population.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <limits>

#include "kve/shared/failure.h"
#include "kve/shared/output.h"
#include "kve/shared/table_text.h"
#include "kve/tables/values.h"

namespace kve::companion {

namespace {

constexpr double kUnknown = std::numeric_limits<double>::quiet_NaN();

Vec<int32_t> years_of_birth(const Pedigree& pedigree, BirthUnit unit) {
    Vec<int32_t> years;
    make_table(years, pedigree.size());
    for (int32_t j = 1; j <= pedigree.size(); ++j)
        years(j) =
            pedigree.birth(j) == kNoBirth ? kNoClass : year_of_birth(pedigree.birth(j), unit);
    return years;
}

// Classes that make up a generation.
int32_t classes_of_interval(double interval) {
    return std::isnan(interval) ? 1 : std::max(1, static_cast<int32_t>(std::lround(interval)));
}

// A class so many before this one; births that are numbers of any kind reach from end to end of
// the integers.
int32_t label_before(int32_t label, int64_t classes) {
    return static_cast<int32_t>(std::max<int64_t>(label - classes, kNoClass + 1));
}

void find_reference(Population& found, const std::string& asked) {
    if (asked.empty()) {
        found.reference_last = found.classes.empty() ? 0 : found.classes.back().label;
        found.reference_first =
            label_before(found.reference_last, classes_of_interval(found.interval) - int64_t{1});
        return;
    }
    const std::size_t colon = std::min(asked.find(':'), asked.size());
    const std::optional<int64_t> first = parse_integer(asked.substr(0, colon)),
                                 last = colon == asked.size()
                                            ? first
                                            : parse_integer(asked.substr(colon + 1));
    constexpr int64_t kMost = 1'000'000'000;
    if (!first || !last || *first > *last || *first < -kMost || *last > kMost)
        throw Failure(kUsage, fmt::format("--reference {}: FROM:TO, two classes", asked));
    found.reference_first = static_cast<int32_t>(*first);
    found.reference_last = static_cast<int32_t>(*last);
}

double find_regressed_rate(const Population& found, const Pedigree& pedigree,
                           const AnimalFigures& figures, Vec<int32_t>& label_of, double per_year) {
    if (std::isnan(found.interval) || found.classes.empty()) return kUnknown;
    constexpr int64_t kIntervals = 3;
    const int32_t first =
        label_before(found.classes.back().label, kIntervals * classes_of_interval(found.interval));
    for (int32_t& label : label_of)
        if (label < first) label = kNoClass;
    return 1.0 -
           std::exp(found.interval * regress_inbreeding(pedigree, figures, label_of, per_year));
}

}  // namespace

Population describe_population(const Pedigree& pedigree, BirthUnit unit,
                               const PopulationOptions& options) {
    const double per_year = units_per_year(unit);
    Population found{};
    const Vec<int32_t> generation = find_generations(pedigree);
    for (const int32_t g : generation) found.depth = std::max(found.depth, g);
    Vec<int32_t> years = years_of_birth(pedigree, unit);
    const Vec<int32_t>& label_of = options.by_generation ? generation : years;
    found.without_class = std::count(label_of.begin(), label_of.end(), kNoClass);
    found.figures =
        find_figures(pedigree, options.completeness_generations, options.with_inbreeding);
    const AnimalFigures& figures = found.figures;
    found.classes = sum_up_classes(pedigree, figures, label_of, per_year);
    found.all = add_up(found.classes);
    found.interval = options.by_generation ? 1.0 : generation_interval(found.all);
    find_reference(found, options.reference);
    Vec<bool> reference;
    make_table(reference, pedigree.size());
    for (int32_t j = 1; j <= pedigree.size(); ++j)
        reference(j) = label_of(j) >= found.reference_first && label_of(j) <= found.reference_last;
    found.contributions =
        find_contributions(pedigree, reference, figures.sampling, options.most_ancestors);
    found.regressed_rate = options.by_generation
                               ? kUnknown
                               : find_regressed_rate(found, pedigree, figures, years, per_year);
    return found;
}

double rate_of_class(const Population& population, const ClassRow& row) {
    const int32_t before = label_before(row.label, classes_of_interval(population.interval));
    const auto other = std::ranges::lower_bound(population.classes, before, {}, &ClassRow::label);
    if (other == population.classes.end() || other->label != before || other->inbreeding >= 1.0)
        return kUnknown;
    return (row.inbreeding - other->inbreeding) / (1.0 - other->inbreeding);
}

double effective_size(double rate) { return rate > 0.0 ? 1.0 / (2.0 * rate) : kUnknown; }

double increase_of(const ClassRow& row) { return row.with_increase > 0 ? row.increase : kUnknown; }

namespace {

// Nothing for what is unknown.
std::string number_text(double value) {
    return std::isfinite(value) ? fmt::format("{:.6g}", value) : std::string();
}

double mean_age(const ClassRow& row, Path path) {
    return row.ages[path].count > 0 ? row.ages[path].mean() : kUnknown;
}

double mean_family(const Families& families) {
    return families.parents > 0 ? families.mean() : kUnknown;
}

void put_class(Output& out, const Population& population, const ClassRow& row) {
    out.put(fmt::format("{},{},{},{},{},{}", row.label, row.animals, row.males, row.females,
                        row.founders, row.with_both_parents));
    const double rate = rate_of_class(population, row);
    for (const double value :
         {row.completeness, row.equivalent, row.inbreeding, row.largest_inbreeding,
          static_cast<double>(row.inbred), rate, effective_size(rate), increase_of(row),
          effective_size(increase_of(row)), mean_age(row, kSireSon), mean_age(row, kSireDaughter),
          mean_age(row, kDamSon), mean_age(row, kDamDaughter), generation_interval(row)})
        out.put(fmt::format(",{}", number_text(value)));
    for (const Families* families : {&row.sires, &row.dams})
        out.put(fmt::format(",{},{},{}", families->parents, number_text(mean_family(*families)),
                            families->largest));
    out.put('\n');
}

}  // namespace

void write_classes(const std::string& file, const Population& population, bool by_generation) {
    Output out(file);
    out.put(by_generation ? "generation" : "birth_year");
    out.put(
        ",animals,males,females,founders,both_parents_known,completeness,equivalent_generations,"
        "inbreeding,largest_inbreeding,inbred,rate,effective_size,individual_rate,"
        "individual_effective_size,interval_sire_son,interval_sire_daughter,interval_dam_son,"
        "interval_dam_daughter,interval,sires,progeny_per_sire,largest_sire_family,dams,"
        "progeny_per_dam,largest_dam_family\n");
    for (const ClassRow& row : population.classes) put_class(out, population, row);
    out.finish();
}

std::vector<std::pair<std::string, double>> list_measures(const Population& population) {
    const ClassRow& all = population.all;
    const Contributions& c = population.contributions;
    const auto count = [](auto n) { return static_cast<double>(n); };
    return {{"animals", count(all.animals + population.without_class)},
            {"animals_without_class", count(population.without_class)},
            {"founders", count(all.founders)},
            {"depth", count(population.depth)},
            {"completeness", all.completeness},
            {"equivalent_generations", all.equivalent},
            {"inbreeding", all.inbreeding},
            {"largest_inbreeding", all.largest_inbreeding},
            {"interval_sire_son", mean_age(all, kSireSon)},
            {"interval_sire_daughter", mean_age(all, kSireDaughter)},
            {"interval_dam_son", mean_age(all, kDamSon)},
            {"interval_dam_daughter", mean_age(all, kDamDaughter)},
            {"interval", generation_interval(all)},
            {"regressed_rate", population.regressed_rate},
            {"regressed_effective_size", effective_size(population.regressed_rate)},
            {"individual_rate", increase_of(all)},
            {"individual_effective_size", effective_size(increase_of(all))},
            {"reference_from", count(population.reference_first)},
            {"reference_to", count(population.reference_last)},
            {"reference_animals", count(c.reference)},
            {"reference_founders", count(c.founders)},
            {"effective_founders", c.reference > 0 ? c.effective_founders : kUnknown},
            {"effective_ancestors_least", c.reference > 0 ? c.effective_ancestors_low : kUnknown},
            {"effective_ancestors_most", c.reference > 0 ? c.effective_ancestors_high : kUnknown},
            {"explained_by_ancestors", c.reference > 0 ? c.explained : kUnknown},
            {"founder_genomes", c.reference > 0 ? c.founder_genomes : kUnknown}};
}

void write_measures(const std::string& file, const Population& population) {
    Output out(file);
    out.put("measure,value\n");
    for (const auto& [name, value] : list_measures(population))
        out.put(fmt::format("{},{}\n", name, number_text(value)));
    out.finish();
}

void write_ancestors(const std::string& file, const Population& population, const Placed& placed,
                     BirthUnit unit, const IdentityTable& names) {
    Output out(file);
    out.put("rank,identity,birth,sex,contribution,marginal_contribution,sum_of_marginal\n");
    double sum = 0.0;
    int rank = 0;
    for (const Ancestor& a : population.contributions.ancestors) {
        sum += a.marginal;
        const int32_t birth = placed.pedigree.birth(a.place);
        const Sex sex = placed.pedigree.sex(a.place);
        out.put(fmt::format("{},{},{},{},{},{},{}\n", ++rank,
                            table_field(names.text(placed.number(a.place)), ','),
                            birth == kNoBirth ? std::string() : birth_text(birth, unit),
                            sex == Sex::male     ? "male"
                            : sex == Sex::female ? "female"
                                                 : "",
                            number_text(a.share), number_text(a.marginal), number_text(sum)));
    }
    out.finish();
}

}  // namespace kve::companion
