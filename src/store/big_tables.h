// The large work tables, their dimensions and their rows. `growth` allocates and lengthens them.
#pragma once

#include <cstdint>

#include "base/arrays.h"
#include "base/state.h"

namespace kve {

// Row of the level table: a node of a digital search tree and of a sorted list.
struct LevelRow {
    int32_t next;     // 1  next row in key order, 0 at the end
    int32_t key;      // 2  identity as it stands in the data
    int32_t n_obs;    // 3  usable records with this level
    int32_t level;    // 4  recoded level number, 0 until the list is sorted
    int32_t child_0;  // 5  child row when the next key bit is 0
    int32_t child_1;  // 6  child row when the next key bit is 1
    int32_t mark;     // 7  spare
};
static_assert(sizeof(LevelRow) == 7 * sizeof(int32_t));

// Row of the animal table, a node of the same kind of tree.
struct AnimalRow {
    int32_t mark;      //  1  reduced pedigree of PGMIX
    int32_t key;       //  2  identity of the animal
    int32_t n_obs;     //  3  records in the data
    int32_t level;     //  4  level number in the model
    int32_t sort;      //  5  sort variable
    int32_t sire;      //  6  sire code as read
    int32_t dam;       //  7  dam or maternal grandsire code as read
    int32_t next;      //  8  next row in processing order
    int32_t sire_row;  //  9
    int32_t dam_row;   // 10
    int32_t child_0;   // 11
    int32_t child_1;   // 12
    int32_t n_desc;    // 13  progeny links to this row
};
static_assert(sizeof(AnimalRow) == 13 * sizeof(int32_t));

// The row will be wanted soon. It can lie in two lines of the cache.
KVE_FETCH void expect_row(const AnimalRow& row) {
    __builtin_prefetch(&row);
    __builtin_prefetch(&row.n_desc);
}

// One dimension: `now` sizes the tables; the rest is bookkeeping.
struct Dimension {
    int32_t now;
    int32_t first = 0;
    int32_t expansions = 0;
    int32_t used = 0;
};

// MFL sizes IFL. MDL sizes IDL, AD, LD and, to begin with, IF. MAXNRM sizes AI; IN and IV have
// max(MAXNRM, MDL) entries. MAXZHZ and IFSPWSP are handed on in MODINF. MGSGR has no use.
struct Dimensions {
    Dimension MFL{100000};
    Dimension MDL{300000};
    Dimension MAXNRM{300000};
    Dimension MAXZHZ{2000000};
    Dimension IFSPWSP{4000000};
    Dimension MGSGR{200};
};

namespace state {

inline constinit Dimensions DIMENSIONS;

// The level table: trees of all factors, rows 1..NMFL in use.
inline constinit Vec<LevelRow> IFL;
inline constinit int32_t NMFL = 0;

// The animal table, rows 1..NMDL in use.
inline constinit Vec<AnimalRow> IDL;
inline constinit int32_t NMDL = 0;
// Diagonals of A and of L, A = L L', of one pedigree: by the place in the animals' list.
inline constinit Vec<double> AD;
inline constinit Vec<double> LD;

// The sparse store: one symmetric matrix at a time, lower triangle, row by row. Row r starts at
// element IF(r), 0 when empty, and is unsorted (`sparse_row` sorts); N_SPARSE elements are in use.
// IF is 0 beyond entry N_HEADS, so that `clear_sparse` touches no more than what was used of it.
// Between two matrices IV is free, and `sort_level_list` lists rows in it: what it leaves there is
// good for nothing.
inline constinit Vec<int32_t> IF;
inline constinit Vec<int32_t> IN;  // next element of the row, 0 at its end
inline constinit Vec<int32_t> IV;  // column
inline constinit Vec<double> AI;   // value
inline constinit int32_t N_SPARSE = 0;
inline constinit int32_t N_HEADS = 0;

}  // namespace state

// For walks along a list of IDL rows, elements 1..n, that lie all over the table: fetches the row
// from the memory that is wanted some steps after the j-th.
KVE_FETCH void expect_ahead(const Vec<int32_t>& rows, int64_t j, int64_t n) {
    constexpr int64_t kAhead = 16;
    if (j + kAhead <= n) expect_row(state::IDL(rows(j + kAhead)));
}

}  // namespace kve
