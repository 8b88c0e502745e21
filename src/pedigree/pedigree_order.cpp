#include "pedigree/pedigree_order.h"

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <span>
#include <utility>
#include <vector>

#include "base/asserted.h"
#include "base/state.h"
#include "data/factors.h"
#include "directives/directives.h"
#include "listing/listing.h"
#include "listing/stop.h"
#include "listing/units.h"
#include "model/model_records.h"
#include "store/animal_table.h"
#include "store/big_tables.h"
#include "store/growth.h"
#include "store/level_code.h"
#include "store/level_index.h"
#include "store/sorting.h"

namespace kve {

READS(DIRECTIVES);
READS(RMAT);
WRITES(ANIMAL_INDEX);
WRITES(FACTORS);
WRITES(IDL);
WRITES(NMDL);
WRITES(UNITS);

namespace {

constexpr const char* kRoutine = "PEDIGREE";
constexpr int32_t kGroupRow = -999999999;      // sort variable of a phantom group
constexpr int32_t kBeforeAnimals = -99999999;  // second sort key of groups
constexpr std::size_t kBlock = 64;             // animals whose parents are looked up together

// The two parents of a row: its columns for the code and the row, and the number in PEDDATA.
struct ParentColumns {
    int32_t AnimalRow::*code;
    int32_t AnimalRow::*row;
    int32_t number;
};
constexpr ParentColumns kSire{&AnimalRow::sire, &AnimalRow::sire_row, 1};
constexpr ParentColumns kDam{&AnimalRow::dam, &AnimalRow::dam_row, 2};

struct Linking {
    int32_t factor;
    int32_t sentinel;
    bool strict;  // a parent of the same sort variable is too young
    LevelIndex& index;
    std::vector<int32_t> relatives;  // rows without a record, in the order of their insertion
};

// Whether level numbers follow the list: the methods with inbreeding need parents before progeny.
bool numbers_follow_list(int32_t method) { return method == 1 || method == 3; }

// The animals of the tree, as the reader has walked it, by the sort variable. That walk decides how
// animals with equal sort variables fall.
void sort_animals(Vec<int32_t>& rows) {
    const int64_t n = rows.size();
    SortKeys keys;
    check_allocated(keys.allocate(n + 1), kRoutine, "SORT KEYS", n);
    for (int64_t j = 1; j <= n; ++j) {
        expect_ahead(rows, j, n);
        keys(j) = join_keys(IDL(rows(j)).sort, 0);
    }
    heap_sort_pairs(keys, rows);
}

int32_t take_sentinel_row() {
    if (NMDL + 1 >= IDL.size()) grow_animals();
    IDL(++NMDL) = AnimalRow{};
    return NMDL;
}

void write_born_after(int32_t row, int32_t parent, ParentColumns which) {
    const AnimalRow& r = IDL(row);
    const AnimalRow& p = IDL(parent);
    UNITS.PEDDATA.print(" %10d%11d%11d%11d%11d%11d%11d", which.number, r.*which.code, r.key, r.sort,
                        parent, p.key, p.sort);
}

// A parent that the factor's tree lacks.
int32_t insert_relative(Linking& at, int32_t code) {
    const auto entered = enter_level(code, FACTORS.ITOPA(at.factor), 0, IDL, NMDL);
    check_allocated(at.index.enter(code, entered.row), kRoutine, "ANIMAL INDEX", NMDL);
    AnimalRow& relative = IDL(entered.row);
    if (code < 1)
        relative.sort = kGroupRow;
    else
        ++FACTORS.N_RIN(at.factor);
    relative.sire_row = relative.dam_row = at.sentinel;
    relative.n_desc = 1;
    IDL(at.sentinel).n_desc += 2;
    at.relatives.push_back(entered.row);
    return entered.row;
}

// `parent` is the row of the parent's code, 0 when it was not found ahead.
void link_parent(Linking& at, int32_t row, ParentColumns which, int32_t parent) {
    const int32_t code = IDL(row).*which.code;
    if (code == 0) {
        IDL(row).*which.row = at.sentinel;
        ++IDL(at.sentinel).n_desc;
        return;
    }
    if (parent == 0) parent = find_animal(at.index, code);
    if (parent == 0) {
        const int32_t relative = insert_relative(at, code);
        IDL(row).*which.row = relative;
        return;
    }
    IDL(row).*which.row = parent;
    ++IDL(parent).n_desc;
    // Kept: a relative met a second time is compared by the sort variable 0 of its inserted row.
    const int32_t own = IDL(row).sort, parents = IDL(parent).sort;
    if (own > parents || (own == parents && !at.strict)) return;
    ++FACTORS.NBAFT(at.factor);
    write_born_after(row, parent, which);
}

// Rows of the parents of a block of animals, as far as they have one.
struct ParentRows {
    int32_t sire[kBlock], dam[kBlock];
};

// Step by step for a block, so that what the next step needs comes from the memory meanwhile.
void find_parents(Linking& at, std::span<const int32_t> block, ParentRows& found) {
    for (const int32_t row : block) {
        const AnimalRow& animal = IDL(row);
        at.index.expect(animal.sire);
        at.index.expect(animal.dam);
    }
    const auto find = [&](int32_t code) {
        const int32_t row = code != 0 ? find_animal(at.index, code) : 0;
        if (row != 0) expect_row(IDL(row));
        return row;
    };
    for (std::size_t j = 0; j < block.size(); ++j) {
        const AnimalRow& animal = IDL(block[j]);
        found.sire[j] = find(animal.sire);
        found.dam[j] = find(animal.dam);
    }
}

// Links the sentinel, which is its own parent, and the animals to their parents.
void link_parents(Linking& at, const Vec<int32_t>& rows) {
    link_parent(at, at.sentinel, kSire, 0);
    link_parent(at, at.sentinel, kDam, 0);
    ParentRows found;
    const std::span<const int32_t> all(rows.begin(), rows.end());
    for (std::size_t first = 0; first < all.size(); first += kBlock) {
        const std::span<const int32_t> block =
            all.subspan(first, std::min(kBlock, all.size() - first));
        find_parents(at, block, found);
        for (std::size_t j = 0; j < block.size(); ++j) {
            link_parent(at, block[j], kSire, found.sire[j]);
            link_parent(at, block[j], kDam, found.dam[j]);
            if (first + j + kBlock < all.size()) expect_row(IDL(all[first + j + kBlock]));
        }
    }
}

void report_links(int32_t k) {
    if (FACTORS.N_RIN(k) > 0) {
        Block block;
        block.blank();
        block.line("%60s%8d", "No of relatives inserted                   ", FACTORS.N_RIN(k));
        block.print();
    }
    if (FACTORS.NBAFT(k) == 0) return;
    Block block;
    block.blank();
    block.line("%60s%8d", "No of parents born after offspring         ", FACTORS.NBAFT(k));
    block.line("%60s", "List of these animals on file PEDDATA      ");
    block.print();
}

// The sentinel becomes the group of the parents without a group of their own: every row that
// pointed to the unknown parent has the group as parent now. Returns the new sentinel.
int32_t make_extra_group(int32_t k, int32_t sentinel) {
    IDL(sentinel).key = 0;
    FACTORS.NPHNUL(k) += 2 * FACTORS.N_RIN(k);
    return take_sentinel_row();
}

void report_extra_group() {
    Block block;
    block.blank();
    block.line("%60s", "Extra phantom parent group created for     ");
    block.line("%60s", "animals with unspecified groups            ");
    block.print();
}

// Puts the extra group (0 for none) and the relatives, the one inserted last first, at the front of
// the list.
void list_inserted_rows(int32_t extra_group, const Linking& linked, Vec<int32_t>& rows) {
    const int64_t inserted = std::ssize(linked.relatives) + (extra_group != 0 ? 1 : 0);
    if (inserted == 0) return;
    const int64_t length = rows.size() + inserted;
    Vec<int32_t> list;
    check_allocated(list.allocate(length), kRoutine, "ANIMAL LIST", length);
    int32_t* next = list.begin();
    if (extra_group != 0) *next++ = extra_group;
    next = std::copy(linked.relatives.rbegin(), linked.relatives.rend(), next);
    std::copy(rows.begin(), rows.end(), next);
    rows = std::move(list);
}

// Levels by row: small beside IDL, so more of them stay in the cache.
using RowLevels = Vec<int32_t>;

void number_along_list(const Vec<int32_t>& rows, RowLevels& levels) {
    for (int32_t j = 1; j <= rows.size(); ++j) levels(rows(j)) = j;
}

// An animal is numbered after its parents; the unknown parent has level 0.
void assert_parents_come_first(const Vec<int32_t>& rows, const RowLevels& levels) {
    if constexpr (!kAsserted) return;
    for (int32_t row : rows) {
        KVE_ASSERT(levels(IDL(row).sire_row) < levels(row));
        KVE_ASSERT(levels(IDL(row).dam_row) < levels(row));
    }
}

uint64_t sort_keys_of(const AnimalRow& animal) {
    return join_keys(animal.sort, animal.key < 0 ? kBeforeAnimals : -animal.n_desc);
}

// By the sort variable and, where it is equal, groups first and then animals with many progeny. The
// extra group, first of the list, goes into the sort as the last position.
void number_by_sort_variable(int32_t extra_group, const Vec<int32_t>& rows, RowLevels& levels) {
    const int32_t n = static_cast<int32_t>(rows.size());
    Vec<int32_t> order;
    check_allocated(order.allocate(n), kRoutine, "ORDER", n);
    std::rotate_copy(rows.begin(), rows.begin() + (extra_group != 0 ? 1 : 0), rows.end(),
                     order.begin());
    SortKeys keys;
    check_allocated(keys.allocate(n + 1), kRoutine, "SORT KEYS", n);
    for (int32_t j = 1; j <= n; ++j) {
        expect_ahead(order, j, n);
        keys(j) = sort_keys_of(IDL(order(j)));
    }
    if (extra_group != 0) keys(n) = join_keys(0, kBeforeAnimals);
    heap_sort_pairs(keys, order);
    for (int32_t j = 1; j <= n; ++j) levels(order(j)) = j;
}

void refuse_young_parents(int32_t k) {
    if (FACTORS.NBAFT(k) == 0) return;
    Block block;
    block.blank();
    block.line("Method used to compute A-inverse is %12d", RMAT(k).method);
    block.blank();
    block.line("This method is for an inbreed population, and requires");
    block.line("that parents can be processed before progeny.");
    block.line("With the specified sort variable, this can not be performed.");
    block.blank();
    block.print();
    stop_run("Computations terminated");
}

// Kept: along the list, so under methods that number by the sort variable the numbers are no mirror
// image of those of the other tasks.
void number_from_the_top(const Vec<int32_t>& rows, RowLevels& levels) {
    int32_t level = static_cast<int32_t>(rows.size());
    for (int32_t row : rows) levels(row) = level--;
}

int32_t sign_level(int32_t level, bool is_group) { return is_group ? -level : level; }

// Fetches what is wanted of an animal further on in the list: its row and, once that is there, the
// levels of its parents.
KVE_FETCH void look_ahead(const Vec<int32_t>& rows, int64_t j, const RowLevels& levels) {
    constexpr int64_t kAhead = 8;
    expect_ahead(rows, j, rows.size());
    if (j + kAhead > rows.size()) return;
    const AnimalRow& later = IDL(rows(j + kAhead));
    __builtin_prefetch(&levels(later.sire_row));
    __builtin_prefetch(&levels(later.dam_row));
    __builtin_prefetch(&levels(rows(j + kAhead)));
}

// Chains the animals behind the sentinel, gives them their levels, and gathers what the inverse
// needs of them: all at once, since each walk along the list is a jump through IDL.
void settle_animals(int32_t sentinel, const Vec<int32_t>& rows, const RowLevels& levels,
                    bool groups, Vec<Parentage>& parentage) {
    IDL(sentinel).next = rows(1);
    for (int64_t j = 1; j <= rows.size(); ++j) {
        look_ahead(rows, j, levels);
        AnimalRow& animal = IDL(rows(j));
        animal.next = j < rows.size() ? rows(j + 1) : 0;
        animal.level = levels(rows(j));
        Parentage& p = parentage(j);
        p = {animal.level, levels(animal.sire_row), levels(animal.dam_row)};
        if (!groups) continue;
        p.animal = sign_level(p.animal, animal.key <= 0);
        p.sire = sign_level(p.sire, IDL(animal.sire_row).key < 0);
        p.dam = sign_level(p.dam, IDL(animal.dam_row).key < 0);
    }
}

// Levels, and what the inverse needs with them. What stays is allocated before what goes, so that
// no hole is left in the memory.
Vec<Parentage> number_animals(int32_t k, int32_t extra_group, const Vec<int32_t>& rows) {
    const int32_t method = RMAT(k).method;
    Vec<Parentage> parentage;
    check_allocated(parentage.allocate(rows.size()), kRoutine, "PARENTAGE", rows.size());
    RowLevels levels;  // 0 for the sentinel
    check_allocated(levels.allocate(NMDL), kRoutine, "LEVELS", NMDL);
    if (numbers_follow_list(method)) {
        number_along_list(rows, levels);
        refuse_young_parents(k);
        assert_parents_come_first(rows, levels);
    } else {
        number_by_sort_variable(extra_group, rows, levels);
    }
    if (DIRECTIVES.ITASK == kSolveByKve5 && DIRECTIVES.IMETHOD == 1)
        number_from_the_top(rows, levels);
    settle_animals(FACTORS.ITOPAS(k), rows, levels, method > 4, parentage);
    return parentage;
}

}  // namespace

Vec<Parentage> order_pedigree(int32_t k) {
    const int32_t method = RMAT(k).method;
    Vec<int32_t>& rows = FACTORS.ANIMAL_LIST(k);
    sort_animals(rows);
    FACTORS.NBAFT(k) = FACTORS.N_RIN(k) = 0;
    Linking linking{k, take_sentinel_row(), numbers_follow_list(method), ANIMAL_INDEX(k), {}};
    link_parents(linking, rows);
    ANIMAL_INDEX(k) = LevelIndex();
    report_links(k);

    int32_t extra_group = 0;
    FACTORS.ITOPAS(k) = linking.sentinel;
    if (method == 6 && (FACTORS.N_RIN(k) > 0 || FACTORS.NPHNUL(k) > 0)) {
        extra_group = linking.sentinel;
        FACTORS.ITOPAS(k) = make_extra_group(k, extra_group);
        report_extra_group();
    }
    list_inserted_rows(extra_group, linking, rows);
    FACTORS.NRALEV(k) = static_cast<int32_t>(rows.size());
    return number_animals(k, extra_group, rows);
}

}  // namespace kve
