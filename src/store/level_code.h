// Search and insertion in the digital search trees that hold the levels of a factor (rows of IFL)
// and the animals of a pedigree (rows of IDL). All trees of a table share its rows; each factor has
// a root.
#pragma once

#include <cstdint>
#include <limits>
#include <string>

#include "base/arrays.h"
#include "store/big_tables.h"
#include "store/growth.h"

namespace kve {

struct LevelPlace {
    int32_t row;     // 0 absent, kTableFull no row left
    bool not_found;  // the key was not in the tree before; false with kTableFull
};

inline constexpr int32_t kTableFull = -9;

// A key whose absolute value has no 31-bit string; `place`, where it was read, is a second line.
inline constexpr int32_t kKeyWithoutBits = std::numeric_limits<int32_t>::min();
[[noreturn]] void stop_bitstr_error(int32_t key, const std::string& place = {});
[[noreturn]] void stop_bitstr_in_file(std::string_view file, int64_t record);

// Ahead of a lookup of a key that stands in record `record` of a file.
inline void refuse_key_without_bits(int32_t key, std::string_view file, int64_t record) {
    if (key == kKeyWithoutBits) [[unlikely]]
        stop_bitstr_in_file(file, record);
}

// The road of a key through a tree: its absolute value, least significant bit first. So a key and
// its negative share a road and are told apart by comparison; after the 31st bit every bit is 0.
// Stops on the one key without a bit string.
inline uint32_t road_bits(int32_t key) {
    if (key == kKeyWithoutBits) [[unlikely]]
        stop_bitstr_error(key);
    return static_cast<uint32_t>(key < 0 ? -key : key);
}

// Looks `key` up in the tree at `root`, adds `increment` to the n_obs of its row, and with `insert`
// enters it in a new row after the `used` ones when it is absent. When the table is full nothing
// changes.
template <class Row>
[[nodiscard]] inline LevelPlace level_code(int32_t key, int32_t& root, int32_t increment,
                                           Vec<Row>& table, bool insert, int32_t& used) {
    uint32_t bits = road_bits(key);
    int32_t* link = &root;
    while (*link != 0) {
        Row& row = table(*link);
        if (row.key == key) {
            row.n_obs += increment;
            return {*link, false};
        }
        link = (bits & 1U) != 0 ? &row.child_1 : &row.child_0;
        bits >>= 1;
    }
    if (!insert) return {0, true};
    if (used >= table.size()) return {kTableFull, false};
    Row& row = table(++used);
    row = Row{};
    row.key = key;
    row.n_obs = increment;
    *link = used;
    return {used, true};
}

// The row of `key`, or 0.
template <class Row>
[[nodiscard]] inline int32_t find_level(int32_t key, int32_t root, const Vec<Row>& table) {
    uint32_t bits = road_bits(key);
    int32_t row = root;
    while (row != 0 && table(row).key != key) {
        row = (bits & 1U) != 0 ? table(row).child_1 : table(row).child_0;
        bits >>= 1;
    }
    return row;
}

inline void grow_table_of(const Vec<LevelRow>&) { grow_levels(); }
inline void grow_table_of(const Vec<AnimalRow>&) { grow_animals(); }

// level_code with insertion into IFL (`used` is NMFL) or IDL (NMDL); a full table grows. References
// to rows do not survive the call.
template <class Row>
inline LevelPlace enter_level(int32_t key, int32_t& root, int32_t increment, Vec<Row>& table,
                              int32_t& used) {
    LevelPlace place = level_code(key, root, increment, table, true, used);
    if (place.row != kTableFull) [[likely]]
        return place;
    grow_table_of(table);
    return level_code(key, root, increment, table, true, used);
}

}  // namespace kve
