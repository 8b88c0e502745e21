// A pedigree file in memory, read with KVE1's rules for a record: what it has is told while it is
// read, what the animals are to each other afterwards.
#pragma once

#include <algorithm>
#include <cstdint>
#include <string>
#include <unordered_set>
#include <vector>

#include "directives/directives.h"
#include "kve/check/data_levels.h"
#include "kve/check/look.h"
#include "kve/pedigree/herdbook.h"
#include "store/level_index.h"

namespace kve::companion {

// How a $VAR_STR line has the file read.
struct PedigreeJob {
    std::string file;
    DataFormat format;
    int32_t method;

    bool has_groups() const { return method > 4; }
    bool needs_order() const { return method == 1 || method == 3; }  // parents ahead of progeny
    bool has_grandsires() const { return method == 3 || method == 4; }
    // What a parent is that is not older.
    Severity severity_of_order() const {
        return needs_order() ? Severity::error : Severity::warning;
    }
    const char* dam_called() const { return has_grandsires() ? "maternal grandsire" : "dam"; }
    bool operator==(const PedigreeJob&) const = default;
};

// Animals by number: 1..n_records those with a record that KVE1 keeps, in the order of the file,
// after them parents without one.
struct PedigreeBook {
    Herdbook book;     // `birth` is the sort variable as it stands, 0 without a record
    Vec<int32_t> id;   // by number
    LevelIndex index;  // numbers by identity
    int32_t n_records = 0;
    bool is_whole = false;                 // nothing was left out, so that an absence can be told
    int64_t n_unknown = 0;                 // parents that are 0
    int64_t n_groups = 0;                  // that are codes of phantom groups
    int32_t unknown_line = 0;              // of the first parent that is 0
    std::unordered_set<int32_t> groups{};  // the codes
    std::vector<int32_t> dropped{};        // identities whose record KVE1 drops, ascending

    int32_t number_of(int32_t identity) {
        const LevelIndex::Slot* slot = index.find(identity);
        return slot == nullptr ? 0 : slot->value();
    }
    bool was_dropped(int32_t identity) const {
        return std::ranges::binary_search(dropped, identity);
    }
    int32_t parent_of(int32_t animal, bool is_sire) const {
        const ParentPair& p = book.parents(animal);
        return is_sire ? p.sire : p.dam;
    }
    int32_t size() const { return n_records + static_cast<int32_t>(added.size()); }
    // An animal without a record: its number. The tables have it after the next fit_tables.
    int32_t add_animal(int32_t identity);
    // All tables as long as there are animals.
    void fit_tables();

    std::vector<int32_t> added;  // identities without a record
};

// Of parents that are numbers: all known ones, by the record of the progeny.
template <class Visit>
void visit_links(const PedigreeBook& pedigree, Visit visit) {
    for (int32_t animal = 1; animal <= pedigree.n_records; ++animal)
        for (const bool is_sire : {true, false})
            if (const int32_t parent = pedigree.parent_of(animal, is_sire); parent != 0)
                visit(animal, parent, is_sire);
}

// Reads the file. Parents are identities until they are linked.
PedigreeBook read_pedigree_book(Look& look, const PedigreeJob& job);

// Looks at all that the animals are to each other, and turns parents into numbers. Loops are
// broken. `levels` of a factor with this pedigree, null when they are not known.
void look_at_parents(Look& look, const PedigreeJob& job, PedigreeBook& pedigree,
                     FactorLevels* levels);
// Animals that are sire and dam, parents without a record, phantom groups. Parents are numbers.
void look_at_parts(Look& look, const PedigreeJob& job, PedigreeBook& pedigree);
// Animals of the data that have no record, and sexes that contradict their parts.
void look_at_data_animals(Look& look, const PedigreeJob& job, PedigreeBook& pedigree,
                          const DataLevels& data, FactorLevels& levels);
// Contemporary groups of the data without variation of sires.
void look_at_sires(Look& look, int32_t factor, PedigreeBook& pedigree);

}  // namespace kve::companion
