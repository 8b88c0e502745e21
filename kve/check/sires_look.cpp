// Contemporary groups in which all animals have one sire: they tell nothing of differences between
// sires.
#include <fmt/format.h>

#include <algorithm>
#include <string>
#include <unordered_map>

#include "base/state.h"
#include "directives/directives.h"
#include "kve/check/data_pass.h"
#include "kve/check/look.h"
#include "kve/check/pedigree_book.h"
#include "model/model_records.h"

namespace kve::companion {

READS(KVEINT);
READS(MODEL);

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

Place place_of_groups(const Look& look, const FixedCells& cells) {
    for (const Model& m : MODEL)
        if (std::ranges::count(m.f_ef_inp, cells.effects()[0]) > 0)
            return place_in_model(look, m.lines.effects, std::to_string(cells.effects()[0]));
    return place_in_model(look, 1);
}

}  // namespace

void look_at_sires(Look& look, int32_t factor, PedigreeBook& pedigree) {
    constexpr int64_t kFewest = 10;
    for (const AnimalGroups& animals : look.data->animal_groups) {
        if (animals.factor != factor || animals.cells.empty()) continue;
        const FixedCells& cells = animals.cells[0];
        if (cells.is_too_many()) continue;
        int64_t n_groups = 0, n_of_one = 0;
        for (const auto& [level, group] : gather_groups(cells, pedigree)) {
            if (group.n_animals < 2) continue;
            ++n_groups;
            n_of_one += group.sire > 0 ? 1 : 0;
        }
        if (n_groups < kFewest || n_of_one == 0) continue;
        const std::string words = fmt::format(
            "{} of the {} levels of {} with two animals or more have progeny of one sire only",
            n_of_one, n_groups, integer_name(cells.effects()[0]).string());
        if (2 * n_of_one > n_groups)
            look.findings.warn("one-sire-groups", place_of_groups(look, cells), words);
        else
            look.findings.note("one-sire-groups", place_of_groups(look, cells), words);
    }
}

}  // namespace kve::companion
