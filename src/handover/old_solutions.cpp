#include "handover/old_solutions.h"

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <span>
#include <string_view>

#include "base/arrays.h"
#include "base/input.h"
#include "base/records.h"
#include "base/state.h"
#include "base/text.h"
#include "data/factors.h"
#include "data/input_record.h"
#include "directives/directives.h"
#include "handover/old_solution_head.h"
#include "listing/listing.h"
#include "listing/stop.h"
#include "listing/units.h"
#include "model/model_records.h"
#include "store/big_tables.h"
#include "store/level_code.h"

namespace kve {

READS(DIRECTIVES);
READS(FACTORS);
READS(KVEINT);
READS(MODEL);
WRITES(IDL);
WRITES(IFL);
WRITES(NMDL);
WRITES(NMFL);
WRITES(OLDSOL_H2);
WRITES(UNITS);

namespace {

using Number = TextInput::Number;

constexpr const char* kRoutine = "oldsol";
constexpr int32_t kFewestIntegers = 7;
// Of an entry. One that cannot be read makes a record of as many all the same.
constexpr int64_t kMostNumbers = 1000;
constexpr std::size_t kLongestText = 100;  // of a header that cannot be read

// Positions in ivar. What an entry holds at the other ones is handed on.
enum Position { kKind = 1, kTrait = 2, kEffect = 4, kIdentity = 5, kLevel = 7 };

enum Kind : int32_t { kFixedEffect = 2, kRandomEffect = 3, kAnimal = 4, kSkipped = 5 };

struct OldSolutions {
    int32_t head[4] = {};  // H1, H2, integers and reals of an entry
    Vec<int32_t> ivar;
    Vec<double> e;
    int64_t n_read = 0, n_not_used = 0;
};

[[noreturn]] void stop_no_header() {
    stop_if_failed(UNITS.old_solutions);
    std::string_view line;
    if (UNITS.old_solutions.rewind() == 0)
        while (UNITS.old_solutions.read_line(line, kLongestText) == TextInput::Line::ok)
            if (!trimmed(line).empty()) break;
    stop_unreadable("$OLDSOL " + UNITS.old_solutions.path(), "the header of four integers",
                    trimmed(line));
}

void read_header(OldSolutions& old) {
    if (read_record_of(UNITS.old_solutions, std::span(old.head), std::span<int32_t>()) !=
        Number::ok)
        stop_no_header();
    OLDSOL_H2 = old.head[1];
    if (old.head[2] >= kFewestIntegers && old.head[3] >= 0) return;
    say("ERROR - $OLDSOL %s: the header must tell at least %d integers and 0 reals an entry, it "
        "tells: %12d%12d",
        UNITS.old_solutions.path().c_str(), kFewestIntegers, old.head[2], old.head[3]);
    stop_run();
}

[[noreturn]] void stop_long_entries(const OldSolutions& old) {
    say("ERROR - $OLDSOL %s: the header tells %d integers and %d reals an entry,",
        UNITS.old_solutions.path().c_str(), old.head[2], old.head[3]);
    say("        together at most %lld are possible: does the file begin with its header?",
        static_cast<long long>(kMostNumbers));
    stop_run();
}

void allocate_entry(OldSolutions& old) {
    const int64_t niv = old.head[2], nrv = old.head[3];
    if (niv + nrv > kMostNumbers) stop_long_entries(old);
    check_allocated(old.ivar.allocate(niv), kRoutine, "ivar", niv);
    check_allocated(old.e.allocate(nrv), kRoutine, "e", nrv);
}

// Of the length of all records; what the entries do not need is 0.
void write_header(const OldSolutions& old) {
    write_record(UNITS.oldsol, std::span(old.head),
                 std::span(old.ivar.begin() + std::size(old.head), old.ivar.end()), old.e);
}

// False at the end of the file, also inside an entry. An entry that cannot be read has what came
// before the unreadable item, and the rest from the entry before.
bool read_entry(OldSolutions& old) {
    TextInput& file = UNITS.old_solutions;
    const Number status = read_record_of(file, std::span(old.ivar.begin(), old.ivar.end()),
                                         std::span(old.e.begin(), old.e.end()));
    if (status == Number::bad) stop_if_failed(file);
    return status != Number::end;
}

[[noreturn]] void stop_table_full(const char* message, int64_t capacity, int32_t row) {
    say("%s%12lld%12d", message, static_cast<long long>(capacity), row);
    stop_run();
}

// The level of an identity in this run, 0 when it has none. Kept: the root is a copy, so that the
// row of a new identity hangs on the tree, unless the tree is empty.
template <class Row>
int32_t find_or_add_level(Vec<Row>& table, int32_t root, int32_t& used, int32_t key,
                          const char* full_message) {
    const LevelPlace place = level_code(key, root, 0, table, true, used);
    if (place.row == kTableFull || (place.not_found && place.row >= table.size()))
        stop_table_full(full_message, table.size(), place.row);
    return table(place.row).level;
}

int32_t find_or_add_data_level(int32_t root, int32_t key) {
    return find_or_add_level(IFL, root, NMFL, key, "Oldsol Max no of effects reached ");
}

// The level of the entry's identity, 0 when this run has no such trait, effect, matrix or level.
int32_t find_entry_level(const Vec<int32_t>& ivar) {
    const int32_t trait = ivar(kTrait), effect = ivar(kEffect), key = ivar(kIdentity);
    switch (ivar(kKind)) {
        case kFixedEffect:
            if (trait < 1 || trait > KVEINT.nt) return 0;
            if (effect < 1 || effect > MODEL(trait).n_fixed) return 0;
            return find_or_add_data_level(FACTORS.ROOT_EF(trait, effect), key);
        case kRandomEffect:
            if (effect < 1 || effect > KVEINT.NRAMAT) return 0;
            return find_or_add_data_level(FACTORS.ITOPR(effect), key);
        default:
            // Kept: always the last factor, whichever has the pedigree.
            if (KVEINT.NRAMAT == 0 || FACTORS.ITOPA(KVEINT.NRAMAT) == 0) return 0;
            return find_or_add_level(IDL, FACTORS.ITOPA(KVEINT.NRAMAT), NMDL, key,
                                     "OLDSOL Max no of animals reached ");
    }
}

bool has_level(int32_t kind) {
    return kind == kFixedEffect || kind == kRandomEffect || kind == kAnimal;
}

void translate_entry(OldSolutions& old) {
    const int32_t kind = old.ivar(kKind);
    if (kind == kSkipped) return;
    if (has_level(kind)) {
        const int32_t level = find_entry_level(old.ivar);
        if (level == 0) {
            ++old.n_not_used;
            return;
        }
        old.ivar(kLevel) = level;
    }
    write_record(UNITS.oldsol, old.ivar, old.e);
}

void report_counts(const OldSolutions& old) {
    page_above(75);
    blank_lines();
    say_line("No of old solutions read ........................%12lld",
             static_cast<long long>(old.n_read));
    say_line("No of old solutions not used ....................%12lld",
             static_cast<long long>(old.n_not_used));
    blank_lines();
}

}  // namespace

void translate_old_solutions() {
    if (DIRECTIVES.oldsol.name.blank() || !solves_with_priors(DIRECTIVES.ITASK)) return;
    OldSolutions old;
    read_header(old);
    allocate_entry(old);
    write_header(old);
    for (; read_entry(old); ++old.n_read) translate_entry(old);
    UNITS.old_solutions.close();
    check_written(UNITS.oldsol.close(), "oldsol");
    report_counts(old);
}

}  // namespace kve
