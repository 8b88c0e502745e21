// The elements of a matrix file of the user's, with the identities that they belong to.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "directives/directives.h"
#include "kve/check/look.h"
#include "store/level_index.h"

namespace kve::companion {

// Between the levels row and column, row >= column, from 0.
struct LevelElement {
    int32_t row, column;
    double value;
    int32_t record;  // the line, in a binary file the record

    bool is_diagonal() const { return row == column; }
    bool is_place_of(const LevelElement& other) const {
        return row == other.row && column == other.column;
    }
};

struct RelationMatrix {
    std::string file;
    std::vector<int32_t> id;  // of the levels, as they are met
    LevelIndex levels;
    std::vector<LevelElement> elements;
    std::optional<double> log_determinant;
    bool is_whole = false;  // all records have been read

    int32_t n() const { return static_cast<int32_t>(id.size()); }
    int32_t level_of(int32_t identity);  // added when it is new
    int32_t find(int32_t identity) {     // -1 when it is not there
        const LevelIndex::Slot* slot = levels.find(identity);
        return slot == nullptr ? -1 : slot->value();
    }
    Place place(int64_t record) const { return {file, record, 0}; }
};

// Reads the file of a $VAR_STR line; tells records that cannot be read and values that are no
// numbers. `takes_determinant`: a first record with two zeros is one.
RelationMatrix read_relation_matrix(Look& look, const std::string& file, DataFormat format,
                                    bool takes_determinant);

// Elements in the order of rows and columns; of those that are equal the order of the file stays.
void sort_elements(RelationMatrix& matrix);
// Of elements in that order the last one of each place.
void keep_last_of_each_place(RelationMatrix& matrix);

}  // namespace kve::companion
