#include "kve/pedigree/class_statistics.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

namespace kve::companion {

namespace {

Inbreeding unknown_inbreeding(int64_t n) {
    Inbreeding unknown;
    for (Vec<double>* table : {&unknown.coefficient, &unknown.sampling}) {
        make_table(*table, n);
        std::ranges::fill(*table, std::numeric_limits<double>::quiet_NaN());
    }
    return unknown;
}

}  // namespace

AnimalFigures find_figures(const Pedigree& pedigree, int completeness_generations,
                           bool with_inbreeding) {
    AnimalFigures figures;
    figures.equivalent = find_equivalent_generations(pedigree);
    figures.completeness = find_completeness(pedigree, completeness_generations);
    Inbreeding inbreeding =
        with_inbreeding ? find_inbreeding(pedigree) : unknown_inbreeding(pedigree.size());
    figures.inbreeding = std::move(inbreeding.coefficient);
    figures.sampling = std::move(inbreeding.sampling);
    return figures;
}

namespace {

// Places class after class.
struct Classes {
    std::vector<ClassRow> rows;
    Vec<int32_t> places;
};

Classes sort_into_classes(const Vec<int32_t>& label_of) {
    Classes classes;
    std::vector<std::pair<int32_t, int32_t>> pairs;
    for (int32_t j = 1; j <= label_of.size(); ++j)
        if (label_of(j) != kNoClass) pairs.emplace_back(label_of(j), j);
    if (!std::is_sorted(pairs.begin(), pairs.end())) std::sort(pairs.begin(), pairs.end());
    make_table(classes.places, static_cast<int64_t>(pairs.size()));
    int64_t at = 0;
    for (const auto& [label, place] : pairs) {
        if (classes.rows.empty() || classes.rows.back().label != label)
            classes.rows.push_back({.label = label});
        ++classes.rows.back().animals;
        classes.places(++at) = place;
    }
    return classes;
}

void count_animal(const Pedigree& pedigree, const AnimalFigures& figures, int32_t j,
                  ClassRow& row) {
    const auto [sire, dam] = pedigree.parents(j);
    row.males += pedigree.sex(j) == Sex::male ? 1 : 0;
    row.females += pedigree.sex(j) == Sex::female ? 1 : 0;
    row.with_both_parents += sire != 0 && dam != 0 ? 1 : 0;
    row.founders += sire == 0 && dam == 0 ? 1 : 0;
    const double f = figures.inbreeding(j), t = figures.equivalent(j);
    constexpr double kRounding = 1e-12;
    row.inbred += f > kRounding ? 1 : 0;
    row.completeness += figures.completeness(j);
    row.equivalent += t;
    row.inbreeding += f;
    row.largest_inbreeding = std::max(row.largest_inbreeding, f);
    if (t <= 1.0) return;
    ++row.with_increase;
    row.increase += 1.0 - std::pow(1.0 - std::min(f, 1.0), 1.0 / (t - 1.0));
}

void count_ages(const Pedigree& pedigree, int32_t j, double per_year, ClassRow& row) {
    const Sex sex = pedigree.sex(j);
    if (sex == Sex::unknown || pedigree.birth(j) == kNoBirth) return;
    const auto count = [&](int32_t parent, Path path) {
        if (parent == 0 || pedigree.birth(parent) == kNoBirth) return;
        ++row.ages[path].count;
        row.ages[path].sum +=
            (double{1} * pedigree.birth(j) - double{1} * pedigree.birth(parent)) / per_year;
    };
    count(pedigree.parents(j).sire, sex == Sex::male ? kSireSon : kSireDaughter);
    count(pedigree.parents(j).dam, sex == Sex::male ? kDamSon : kDamDaughter);
}

// Progeny in the class that is being counted.
struct FamilyCount {
    int32_t row, progeny;
};

void count_in_family(Vec<FamilyCount>& counts, int32_t parent, int32_t row, Families& families) {
    if (parent == 0) return;
    FamilyCount& count = counts(parent);
    if (count.row != row) {
        count = {row, 0};
        ++families.parents;
    }
    ++families.progeny;
    families.largest = std::max<int64_t>(families.largest, ++count.progeny);
}

Vec<bool> find_parents(const Pedigree& pedigree) {
    Vec<bool> is_parent;
    make_table(is_parent, pedigree.size());
    for (const ParentPair& p : pedigree.parents)
        for (const int32_t parent : {p.sire, p.dam})
            if (parent != 0) is_parent(parent) = true;
    return is_parent;
}

void take_means(ClassRow& row) {
    const double n = static_cast<double>(row.animals);
    for (double* sum : {&row.completeness, &row.equivalent, &row.inbreeding}) *sum /= n;
    if (row.with_increase > 0) row.increase /= static_cast<double>(row.with_increase);
}

}  // namespace

std::vector<ClassRow> sum_up_classes(const Pedigree& pedigree, const AnimalFigures& figures,
                                     const Vec<int32_t>& label_of, double per_year) {
    Classes classes = sort_into_classes(label_of);
    const Vec<bool> is_parent = find_parents(pedigree);
    Vec<FamilyCount> sires, dams;
    make_table(sires, pedigree.size());
    make_table(dams, pedigree.size());
    int64_t at = 0;
    int32_t number = 0;
    for (ClassRow& row : classes.rows) {
        ++number;
        for (const int64_t behind = at + row.animals; at < behind;) {
            const int32_t j = classes.places(++at);
            count_animal(pedigree, figures, j, row);
            if (is_parent(j)) count_ages(pedigree, j, per_year, row);
            count_in_family(sires, pedigree.parents(j).sire, number, row.sires);
            count_in_family(dams, pedigree.parents(j).dam, number, row.dams);
        }
        take_means(row);
    }
    return std::move(classes.rows);
}

ClassRow add_up(const std::vector<ClassRow>& rows) {
    ClassRow all{.label = kNoClass};
    for (const ClassRow& row : rows) {
        const double n = static_cast<double>(row.animals);
        all.animals += row.animals;
        all.males += row.males;
        all.females += row.females;
        all.with_both_parents += row.with_both_parents;
        all.founders += row.founders;
        all.inbred += row.inbred;
        all.completeness += n * row.completeness;
        all.equivalent += n * row.equivalent;
        all.inbreeding += n * row.inbreeding;
        all.largest_inbreeding = std::max(all.largest_inbreeding, row.largest_inbreeding);
        all.with_increase += row.with_increase;
        all.increase += static_cast<double>(row.with_increase) * row.increase;
        for (std::size_t path = 0; path < kPaths; ++path) {
            all.ages[path].count += row.ages[path].count;
            all.ages[path].sum += row.ages[path].sum;
        }
        for (auto [sum, part] : {std::pair{&all.sires, &row.sires}, {&all.dams, &row.dams}}) {
            sum->parents += part->parents;
            sum->progeny += part->progeny;
            sum->largest = std::max(sum->largest, part->largest);
        }
    }
    if (all.animals > 0) take_means(all);
    return all;
}

double generation_interval(const ClassRow& row) {
    double sum = 0.0;
    int known = 0;
    for (const PathAges& ages : row.ages)
        if (ages.count > 0) {
            sum += ages.mean();
            ++known;
        }
    return sum / known;
}

double regress_inbreeding(const Pedigree& pedigree, const AnimalFigures& figures,
                          const Vec<int32_t>& label_of, double per_year) {
    double n = 0.0, mean_x = 0.0, mean_y = 0.0, xx = 0.0, xy = 0.0;
    for (int32_t j = 1; j <= pedigree.size(); ++j) {
        if (label_of(j) == kNoClass || pedigree.birth(j) == kNoBirth ||
            figures.inbreeding(j) >= 1.0)
            continue;
        const double x = pedigree.birth(j) / per_year, y = std::log(1.0 - figures.inbreeding(j));
        n += 1.0;
        const double from_mean = x - mean_x;
        mean_x += from_mean / n;
        mean_y += (y - mean_y) / n;
        xx += from_mean * (x - mean_x);
        xy += from_mean * (y - mean_y);
    }
    return xy / xx;
}

}  // namespace kve::companion
