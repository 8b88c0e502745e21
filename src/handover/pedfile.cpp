#include "handover/pedfile.h"

#include <algorithm>
#include <cstdint>
#include <string>

#include "base/arrays.h"
#include "base/memory.h"
#include "base/records.h"
#include "base/state.h"
#include "data/factors.h"
#include "directives/directives.h"
#include "listing/listing.h"
#include "listing/stop.h"
#include "listing/units.h"
#include "model/model_records.h"
#include "store/big_tables.h"
#include "store/sorting.h"

namespace kve {

READS(FACTORS);
READS(IDL);
READS(KVEINT);
READS(RMAT);

namespace {

constexpr const char* kRoutine = "KVEPFL";
constexpr int32_t kLastFactor = 999;
constexpr int32_t kLongestRecord = 100000;  // pairs
constexpr int64_t kAhead = 16;              // animals by which memory is fetched ahead

[[noreturn]] void stop_factor_number(int32_t k) {
    blank();
    say("ERROR in KVEPFL");
    say("called with i_raf= %12d", k);
    say("Legal values for i_raf is between 1 and 999");
    blank();
    stop_run("Computations terminated");
}

// The rows by level, where each level from `lowest` on is there once. False when one is missing or
// met twice.
bool place_by_level(Vec<int32_t>& order, int32_t lowest) {
    const int32_t n = static_cast<int32_t>(order.size());
    for (int32_t row = 1; row <= n; ++row) {
        const int64_t at = int64_t{IDL(row).level} - lowest + 1;
        if (at < 1 || at > n || order(at) != 0) return false;
        order(at) = row;
    }
    return true;
}

// Kept: rows 1..n of the table, whoever owns them. With inserted relatives and no extra group the
// sentinel's row is among them and the last relative's is not; after an earlier factor, levels can
// repeat, and the heap sort decides their order.
void order_by_level(Vec<int32_t>& order) {
    const int32_t n = static_cast<int32_t>(order.size());
    int32_t lowest = IDL(1).level;
    for (int32_t row = 2; row <= n; ++row) lowest = std::min(lowest, IDL(row).level);
    if (place_by_level(order, lowest)) return;
    SortKeys levels;
    check_allocated(levels.allocate(n + 1), kRoutine, "LEVELS", n);
    for (int32_t row = 1; row <= n; ++row) {
        levels(row) = join_keys(IDL(row).level, 0);
        order(row) = row;
    }
    heap_sort_pairs(levels, order);
}

// The level of a parent; negative for a code below 0, a phantom group. Rows without links (a
// sentinel behind an extra group, identities met by later stages) have the parent 0.
int32_t sign_level(int32_t parent_row, int32_t code) {
    const int32_t level = parent_row != 0 ? IDL(parent_row).level : 0;
    return code < 0 ? -level : level;
}

KVE_FETCH void expect_parents(const Vec<int32_t>& order, int64_t j) {
    if (j + 2 * kAhead <= order.size()) expect_row(IDL(order(j + 2 * kAhead)));
    if (j + kAhead > order.size()) return;
    const AnimalRow& later = IDL(order(j + kAhead));
    if (later.sire_row != 0) __builtin_prefetch(&IDL(later.sire_row).level);
    if (later.dam_row != 0) __builtin_prefetch(&IDL(later.dam_row).level);
}

struct ParentLevels {
    int32_t sire, dam;

    bool operator==(const ParentLevels&) const = default;
};

ParentLevels parents_of(int32_t row) {
    const AnimalRow& animal = IDL(row);
    return {sign_level(animal.sire_row, animal.sire), sign_level(animal.dam_row, animal.dam)};
}

// Levels of the factor for which the file has parents that are not theirs.
int64_t count_wrong_pairs(int32_t k, const Vec<int32_t>& order) {
    const Vec<int32_t>& rows = FACTORS.ANIMAL_LIST(k);
    if (*std::max_element(rows.begin(), rows.end()) <= order.size()) return 0;
    return std::count_if(rows.begin(), rows.end(), [&](int32_t row) {
        return parents_of(row) != parents_of(order(IDL(row).level));
    });
}

// An earlier pedigree factor has the first rows of the table, a later one comes before the rows
// that the first one's order has inserted.
bool is_only_pedigree() {
    int32_t n = 0;
    for (int32_t k = 1; k <= KVEINT.NRAMAT; ++k) n += has_pedigree(RMAT(k).structure) ? 1 : 0;
    return n == 1;
}

void warn_of_wrong_pairs(int32_t k, const std::string& name, int64_t n_wrong) {
    if (n_wrong == 0) return;
    Block block;
    block.line("WARNING - %s has wrong parents for %lld levels of random factor %d:", name.c_str(),
               static_cast<long long>(n_wrong), k);
    if (is_only_pedigree())
        block.line(
            "          give every parent a record, sort variables above 0; task 12: method 2");
    else
        block.line("          put one pedigree factor in a run");
    block.print();
}

// Kept: the last record is written whole, with pairs of the one before it behind its own.
void write_pairs(const Vec<int32_t>& order, RecordOutput& file) {
    const int64_t most = std::min<int64_t>(order.size(), kLongestRecord);
    Vec<int32_t> PEDMAT;
    check_allocated(PEDMAT.allocate(2 * most), kRoutine, "PEDMAT", 2 * most);
    int64_t held = 0;
    for (int64_t j = 1; j <= order.size(); ++j) {
        expect_parents(order, j);
        const ParentLevels parents = parents_of(order(j));
        ++held;
        PEDMAT(2 * held - 1) = parents.sire;
        PEDMAT(2 * held) = parents.dam;
        if (held < kLongestRecord) continue;
        write_record(file, PEDMAT);
        held = 0;
    }
    if (held > 0) write_record(file, PEDMAT);
}

void write_pedfile(int32_t k) {
    if (k > kLastFactor) stop_factor_number(k);
    const std::string name = factor_file_name("PEDFILE", k);
    RecordOutput file;
    check_written(file.open(name), name);
    const int64_t n = FACTORS.NRALEV(k);
    Vec<int32_t> order;
    check_allocated(order.allocate(n), kRoutine, "ORDER", n);
    order_by_level(order);
    write_pairs(order, file);
    check_written(file.close(), name);
    warn_of_wrong_pairs(k, name, count_wrong_pairs(k, order));
}

}  // namespace

void write_pedfiles() {
    for (int32_t k = 1; k <= KVEINT.NRAMAT; ++k)
        if (RMAT(k).structure == Structure::PED) write_pedfile(k);
}

}  // namespace kve
