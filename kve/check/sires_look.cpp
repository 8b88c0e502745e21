// Contemporary groups in which all animals have one sire: they tell nothing of differences between
// sires.
#include <fmt/format.h>

#include <unordered_map>

#include "kve/check/data_figures.h"
#include "kve/check/data_words.h"
#include "kve/check/look.h"
#include "kve/check/pedigree_book.h"
#include "kve/check/thresholds.h"

namespace kve::companion {

namespace {

constexpr int32_t kUnknown = 0, kSeveral = -1;

struct Group {
    int32_t sire = kUnknown;
    int32_t n_animals = 0;
};

std::unordered_map<int32_t, Group> gather_groups(const FixedCells& cells, PedigreeBook& pedigree) {
    std::unordered_map<int32_t, Group> groups;
    for (int64_t cell = 0; cell < cells.count(); ++cell) {
        Group& group = groups[cells.level(cell, 0)];
        const int32_t animal = pedigree.number_of(cells.level(cell, 1));
        const int32_t sire =
            animal > 0 && animal <= pedigree.book.size() ? pedigree.book.parents(animal).sire : 0;
        // An unknown one may be another.
        if (sire < 1 || (group.n_animals > 0 && group.sire != sire))
            group.sire = kSeveral;
        else
            group.sire = sire;
        ++group.n_animals;
    }
    return groups;
}

struct GroupCounts {
    int64_t n = 0, n_of_one = 0;  // with two animals or more; of them those with one sire
};

GroupCounts count_groups(const FixedCells& cells, PedigreeBook& pedigree) {
    GroupCounts counts;
    for (const auto& [level, group] : gather_groups(cells, pedigree)) {
        if (group.n_animals < 2) continue;
        ++counts.n;
        counts.n_of_one += group.sire > 0 ? 1 : 0;
    }
    return counts;
}

}  // namespace

void look_at_sires(Look& look, int32_t factor, PedigreeBook& pedigree) {
    for (const AnimalGroups& animals : look.data->animal_groups) {
        if (animals.factor != factor || animals.cells.empty()) continue;
        const FixedCells& cells = animals.cells[0];
        if (cells.is_too_many()) continue;
        const auto [n_groups, n_of_one] = count_groups(cells, pedigree);
        if (n_groups < kFewestGroups || n_of_one == 0) continue;
        const ColumnRef group{false, cells.effects()[0]};
        look.findings.add({"one-sire-groups",
                           2 * n_of_one > n_groups ? Severity::warning : Severity::note,
                           place_of_use(look, group),
                           fmt::format("{} of the {} levels of {} with two animals or more have "
                                       "progeny of one sire only",
                                       n_of_one, n_groups, name_of(group)),
                           ""});
    }
}

}  // namespace kve::companion
