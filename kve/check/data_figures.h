// What the data show of the columns, classes and traits of the model.
#pragma once

#include <cstdint>
#include <limits>
#include <map>
#include <optional>
#include <unordered_map>
#include <vector>

#include "data/usability.h"
#include "kve/check/columns.h"
#include "kve/check/data_levels.h"
#include "kve/check/fixed_part.h"
#include "kve/check/repeats.h"
#include "kve/check/words.h"
#include "store/level_index.h"

namespace kve::companion {

// Records that use the level, and the traits that are usable in them.
struct LevelSlot : IndexSlot {
    int32_t n;
    uint32_t traits;
};

// A column of class levels that the model uses as an effect.
struct ClassColumn {
    int32_t column;
    TraitPattern traits = 0;  // that have it as an effect
    KeyIndex<LevelSlot> levels{};
    int64_t n_levels = 0;
    int64_t n_records = 0;
    int32_t waiting = 0;  // the identity of the record before, 0 none
    TraitPattern of_waiting = 0;

    // The record that stands in RECORD. Its level is entered when the next record has been read:
    // what that needs is fetched meanwhile. After the last record, enter_waiting.
    void take_record(TraitPattern usable);
    void enter_waiting();
};

struct TraitFigures {
    int64_t n_present = 0, n_usable = 0;
};

// Records that lack a column and have a value of a trait that needs it.
struct Lack {
    int64_t n = 0;
    int64_t first = 0, last = 0;  // lines
    int32_t lowest_code = 0;      // of a class, 0 and below
    int32_t highest_code = std::numeric_limits<int32_t>::min();
    std::vector<int64_t> n_of_trait;
};

struct ColumnPair {
    ColumnRef first, second;
};

// Which animals of a factor with a pedigree stand in which levels of a fixed effect. That with the
// most levels is taken for the contemporary groups; it is known after some records.
struct AnimalGroups {
    int32_t factor;
    std::vector<FixedCells> cells;  // of fixed effect and animal

    static constexpr int64_t kRecordsOfChoice = 1000;
};

struct DataFigures {
    bool is_complete = false;  // the data were read
    int64_t n_records = 0;
    RealColumns reals;
    std::vector<ClassColumn> classes;  // ascending by column
    std::vector<TraitFigures> traits;
    std::map<ColumnRef, Lack> lacks;  // by the place of the column in the record
    std::vector<FixedCells> fixed_parts;
    std::vector<AnimalGroups> animal_groups;
    std::optional<DataLevels> levels;                    // of factors with a file
    std::unordered_map<TraitPattern, int64_t> patterns;  // of usable traits
    RepeatedRecords repeats;
    std::vector<ColumnPair> copies;  // columns of the model that are the same in all records

    const ClassColumn* class_column(int32_t column) const;
    int64_t count_levels(int32_t column) const;
};

}  // namespace kve::companion
