#include "pedigree/pedigree_order.h"

#include <vector>

#include "data/factors.h"
#include "data/level_code.h"
#include "model/records.h"
#include "pedigree/animal_table.h"
#include "run/directives.h"
#include "run/growth.h"
#include "run/listing.h"
#include "run/sorting.h"
#include "run/stop.h"
#include "run/units.h"

namespace kve {

READS(DIRECTIVES);
READS(RMAT);
WRITES(ANIMAL_INDEX);
WRITES(FACTORS);
WRITES(IDL);
WRITES(IF);
WRITES(IN);
WRITES(IV);
WRITES(NMDL);
WRITES(UNITS);

namespace {

constexpr const char* kRoutine = "PEDIGREE";
constexpr int32_t kGroupRow = -999999999;      // sort variable of a phantom group
constexpr int32_t kBeforeAnimals = -99999999;  // second sort key of groups
constexpr int kAhead = 16;                     // animals by which memory is fetched ahead

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

// The rows of the factor's tree into IN and their sort variables into IV, the branch of bit 1
// before that of bit 0. Returns their number. The order decides how animals with equal sort
// variables fall.
int32_t list_tree(int32_t root) {
    int32_t pending[64];  // both children of the at most 33 rows of a path
    int n_pending = 0;
    int32_t n = 0;
    const auto push = [&](int32_t row) {
        if (row == 0) return;
        expect_animal(row);
        pending[n_pending++] = row;
    };
    push(root);
    while (n_pending > 0) {
        const int32_t row = pending[--n_pending];
        ++n;
        IN(n) = row;
        IV(n) = IDL(row).sort;
        push(IDL(row).child_0);
        push(IDL(row).child_1);
    }
    return n;
}

int32_t take_sentinel_row() {
    if (NMDL + 1 >= IDL.size()) ALLOC_MDL(1);
    IDL(++NMDL) = AnimalRow{};
    return NMDL;
}

void write_born_after(int32_t row, int32_t parent, ParentColumns which) {
    const AnimalRow& r = IDL(row);
    const AnimalRow& p = IDL(parent);
    UNITS.unit_10.print(" %10d%11d%11d%11d%11d%11d%11d", which.number, r.*which.code, r.key, r.sort,
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

void link_parent(Linking& at, int32_t row, ParentColumns which) {
    const int32_t code = IDL(row).*which.code;
    if (code == 0) {
        IDL(row).*which.row = at.sentinel;
        ++IDL(at.sentinel).n_desc;
        return;
    }
    const int32_t parent = find_animal(at.index, code);
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

// Fetches from the memory what the links of the animals further on in IN(1..n) will need.
void look_ahead(Linking& at, int32_t j, int32_t n) {
    if (j + 3 * kAhead <= n) expect_animal(IN(j + 3 * kAhead));
    if (j + 2 * kAhead <= n) {
        at.index.expect(IDL(IN(j + 2 * kAhead)).sire);
        at.index.expect(IDL(IN(j + 2 * kAhead)).dam);
    }
    if (j + kAhead > n) return;
    const AnimalRow& later = IDL(IN(j + kAhead));
    if (int32_t sire = find_animal(at.index, later.sire); sire != 0) expect_animal(sire);
    if (int32_t dam = find_animal(at.index, later.dam); dam != 0) expect_animal(dam);
}

// Links the sentinel, which is its own parent, and the rows IN(1..n) to their parents.
void link_parents(Linking& at, int32_t n) {
    link_parent(at, at.sentinel, kSire);
    link_parent(at, at.sentinel, kDam);
    for (int32_t j = 1; j <= n; ++j) {
        look_ahead(at, j, n);
        link_parent(at, IN(j), kSire);
        link_parent(at, IN(j), kDam);
    }
}

void report_links(int32_t k) {
    if (FACTORS.N_RIN(k) > 0) {
        page_if(2);
        blank_lines();
        say_line("%60s%8d", "No of relatives inserted                   ", FACTORS.N_RIN(k));
    }
    if (FACTORS.NBAFT(k) == 0) return;
    page_if(3);
    blank_lines();
    say_line("%60s%8d", "No of parents born after offspring         ", FACTORS.NBAFT(k));
    say_line("%60s", "List of these animals on file PEDDATA      ");
}

// The sentinel becomes the group of the parents without a group of their own: every row that
// pointed to the unknown parent has the group as parent now. Returns the new sentinel.
int32_t make_extra_group(int32_t k, int32_t sentinel) {
    IDL(sentinel).key = 0;
    FACTORS.NPHNUL(k) += 2 * FACTORS.N_RIN(k);
    page_if(3);
    blank_lines();
    say_line("%60s", "Extra phantom parent group created for     ");
    say_line("%60s", "animals with unspecified groups            ");
    return take_sentinel_row();
}

// The list: the extra group (0 for none), relatives, the one inserted last first, and IN(1..n).
void list_animals(int32_t extra_group, const Linking& linked, int32_t n, Vec<int32_t>& rows) {
    const int64_t length = int64_t{n} + std::ssize(linked.relatives) + (extra_group != 0 ? 1 : 0);
    check_allocated(rows.allocate(length), kRoutine, "ANIMAL LIST", length);
    int32_t last = 0;
    if (extra_group != 0) rows(++last) = extra_group;
    for (auto row = linked.relatives.rbegin(); row != linked.relatives.rend(); ++row)
        rows(++last) = *row;
    for (int32_t j = 1; j <= n; ++j) rows(++last) = IN(j);
}

void chain_animals(int32_t sentinel, const Vec<int32_t>& rows) {
    IDL(sentinel).next = rows(1);
    for (int64_t j = 1; j <= rows.size(); ++j) {
        if (j + kAhead <= rows.size()) expect_animal(rows(j + kAhead));
        IDL(rows(j)).next = j < rows.size() ? rows(j + 1) : 0;
    }
}

void number_along_list(const Vec<int32_t>& rows) {
    for (int32_t j = 1; j <= rows.size(); ++j) IDL(rows(j)).level = j;
}

void note_sort_keys(int32_t position, int32_t row, int32_t sort, int32_t second) {
    IN(position) = row;
    IF(position) = sort;
    IV(position) = second;
}

// By the sort variable and, where it is equal, groups first and then animals with many progeny. The
// extra group, first of the list, goes into the sort as the last position.
void number_by_sort_variable(int32_t extra_group, const Vec<int32_t>& rows) {
    const int32_t n = static_cast<int32_t>(rows.size());
    int32_t position = 0;
    for (int32_t j = extra_group != 0 ? 2 : 1; j <= n; ++j) {
        if (j + kAhead <= n) expect_animal(rows(j + kAhead));
        const AnimalRow& animal = IDL(rows(j));
        note_sort_keys(++position, rows(j), animal.sort,
                       animal.key < 0 ? kBeforeAnimals : -animal.n_desc);
    }
    if (extra_group != 0) note_sort_keys(++position, extra_group, 0, kBeforeAnimals);
    heap_sort_pairs(n, IF.data(), IV.data(), IN.data());
    for (int32_t j = 1; j <= n; ++j) {
        if (j + kAhead <= n) expect_animal(IN(j + kAhead));
        IDL(IN(j)).level = j;
    }
}

void refuse_young_parents(int32_t k) {
    if (FACTORS.NBAFT(k) == 0) return;
    page_if(7);
    blank_lines();
    say_line("Method used to compute A-inverse is %12d", RMAT(k).method);
    blank_lines();
    say_line("This method is for an inbreed population, and requires");
    say_line("that parents can be processed before progeny.");
    say_line("With the specified sort variable, this can not be performed.");
    blank_lines();
    stop_run("Computations terminated");
}

// Kept: along the list, so under methods that number by the sort variable the numbers are no mirror
// image of those of the other tasks.
void number_from_the_top(const Vec<int32_t>& rows) {
    int32_t level = static_cast<int32_t>(rows.size());
    for (int32_t row : rows) IDL(row).level = level--;
}

int32_t mark_if(bool is_group, GroupMark mark) { return is_group ? mark : 0; }

// Gathers what the inverse needs of each animal, so that it need not jump through IDL again.
void gather_parentage(AnimalList& list) {
    const int64_t n = list.rows.size();
    check_allocated(list.parentage.allocate(n), kRoutine, "PARENTAGE", n);
    for (int64_t j = 1; j <= n; ++j) {
        if (j + 2 * kAhead <= n) expect_animal(list.rows(j + 2 * kAhead));
        if (j + kAhead <= n) {
            const AnimalRow& later = IDL(list.rows(j + kAhead));
            expect_animal(later.sire_row);
            expect_animal(later.dam_row);
        }
        const AnimalRow& animal = IDL(list.rows(j));
        const AnimalRow& sire = IDL(animal.sire_row);
        const AnimalRow& dam = IDL(animal.dam_row);
        list.parentage(j) = {animal.level, sire.level, dam.level,
                             mark_if(animal.key <= 0, kIsGroup) |
                                 mark_if(sire.key < 0, kSireIsGroup) |
                                 mark_if(dam.key < 0, kDamIsGroup)};
    }
}

}  // namespace

AnimalList order_pedigree(int32_t k) {
    const int32_t method = RMAT(k).method;
    const int32_t n = list_tree(FACTORS.ITOPA(k));
    heap_sort_pairs(n, IV.data(), IN.data());
    FACTORS.NBAFT(k) = FACTORS.N_RIN(k) = 0;
    Linking linking{k, take_sentinel_row(), numbers_follow_list(method), ANIMAL_INDEX(k), {}};
    link_parents(linking, n);
    ANIMAL_INDEX(k) = LevelIndex();
    report_links(k);

    int32_t extra_group = 0;
    FACTORS.ITOPAS(k) = linking.sentinel;
    if (method == 6 && (FACTORS.N_RIN(k) > 0 || FACTORS.NPHNUL(k) > 0)) {
        extra_group = linking.sentinel;
        FACTORS.ITOPAS(k) = make_extra_group(k, extra_group);
    }
    AnimalList list;
    list_animals(extra_group, linking, n, list.rows);
    chain_animals(FACTORS.ITOPAS(k), list.rows);
    FACTORS.NRALEV(k) = static_cast<int32_t>(list.rows.size());
    if (numbers_follow_list(method)) {
        number_along_list(list.rows);
        refuse_young_parents(k);
    } else {
        number_by_sort_variable(extra_group, list.rows);
    }
    if (DIRECTIVES.ITASK == kSolveByKve5 && DIRECTIVES.IMETHOD == 1) number_from_the_top(list.rows);
    gather_parentage(list);
    return list;
}

}  // namespace kve
