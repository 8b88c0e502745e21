// Genomic relationships against those of the pedigree.
#include <fmt/format.h>

#include <algorithm>
#include <optional>
#include <span>
#include <vector>

#include "base/input.h"
#include "base/records.h"
#include "kve/check/bad_items.h"
#include "kve/check/definite.h"
#include "kve/check/genomic_comparison.h"
#include "kve/check/matrix_look.h"
#include "kve/check/thresholds.h"
#include "kve/check/words.h"
#include "matrices/element_file.h"

namespace kve::companion {

namespace {

struct Genomic {
    Look& look;
    const VAR_STR_SPEC& spec;
    PedigreeBook& pedigree;
    std::string typed_file;
    std::vector<int32_t> typed{};       // identities, once each
    std::vector<int64_t> typed_line{};  // where they stand in their file
    LevelIndex typed_places{};          // from 0
    bool are_whole = true;              // the files, and all typed animals are in the pedigree

    bool is_typed(int32_t id) { return typed_places.find(id) != nullptr; }
};

// ---- The typed animals

struct TypedReading {
    Genomic& at;
    FactorLevels* levels;
    FirstOnes strangers{};
};

void take_typed(TypedReading& reading, int32_t id, int64_t line) {
    Genomic& at = reading.at;
    if (at.is_typed(id)) {
        at.look.findings.warn("typed-animal", {at.typed_file, line, 0},
                              fmt::format("{} stands in the list already", id));
        return;
    }
    const bool has_data = reading.levels != nullptr && reading.levels->places.find(id) != nullptr;
    if (at.pedigree.number_of(id) == 0) {
        if (!has_data) return reading.strangers.take(id, line);
        at.pedigree.add_animal(id);
    }
    if (at.typed_places.enter(id, static_cast<int32_t>(at.typed.size())) != 0)
        throw std::bad_alloc();
    at.typed.push_back(id);
    at.typed_line.push_back(line);
}

void read_typed_text(TypedReading& reading) {
    Genomic& at = reading.at;
    TextInput file;
    if (file.open_input(at.typed_file) != 0) return;
    BadItems bad;
    for (;;) {
        file.begin_record();
        const int64_t line = file.find_next_item();
        if (at.look.fast && line > kFastLines) break;
        int32_t id = 0;
        std::optional<int64_t> too_large;
        const FileAnswer answer = read_text_ids(file, std::span(&id, 1), too_large);
        if (answer == FileAnswer::end || file.error() != 0) break;
        if (answer == FileAnswer::failure) {
            bad.take(file);
            continue;
        }
        file.skip_line();
        take_typed(reading, id, line);
    }
    bad.tell(at.look, at.typed_file, "typed-animal", {"identity"},
             "KVE1 would stop at this record");
    at.are_whole = at.are_whole && bad.count() == 0;
}

void read_typed_framed(TypedReading& reading) {
    Genomic& at = reading.at;
    RecordInput file;
    if (file.open_input(at.typed_file) != 0) return;
    for (int64_t number = 1;; ++number) {
        int32_t id = 0;
        const auto record = file.read_record(std::as_writable_bytes(std::span(&id, 1)));
        if (record == RecordInput::Record::ok) {
            take_typed(reading, id, number);
            continue;
        }
        if (record == RecordInput::Record::end) return;
        at.look.findings.error("typed-animal", {at.typed_file, 0, 0},
                               fmt::format("record {} is cut, shorter than 4 bytes, or without its "
                                           "length on both sides; KVE1 would stop",
                                           number));
        at.are_whole = false;
        return;
    }
}

void read_typed(Genomic& at, FactorLevels* levels) {
    if (at.typed_places.allocate() != 0) throw std::bad_alloc();
    TypedReading reading{.at = at, .levels = levels};
    at.spec.format == kAscii ? read_typed_text(reading) : read_typed_framed(reading);
    const FirstOnes& strangers = reading.strangers;
    if (at.typed.empty() && strangers.count() == 0 && at.are_whole)
        at.look.findings.error("typed-animal", {at.typed_file, 0, 0},
                               "there is no identity in the file; KVE1 would stop");
    if (strangers.count() == 0 || !at.pedigree.is_whole) return;
    at.are_whole = false;
    at.look.findings.error(
        "typed-animal", {at.typed_file, strangers.line(), 0},
        fmt::format("{} not in the pedigree; KVE1 would stop: {}",
                    counted(strangers.count(), "typed animal is", "typed animals are"),
                    strangers.words()),
        "Give them records, or take them from the list");
}

// ---- The elements of G

// Animals of the elements that are not typed.
struct OtherAnimals {
    FirstOnes strangers{}, untyped{};  // once each
    int64_t n_met = 0;                 // strangers as often as they come, as KVE1 counts them
    std::vector<bool> is_met;          // by level

    void take(Genomic& at, const RelationMatrix& g, int32_t level, const LevelElement& e) {
        const auto place = static_cast<std::size_t>(level);
        const bool is_stranger = at.pedigree.number_of(g.id[place]) == 0;
        n_met += is_stranger ? 1 : 0;
        if (!is_met[place]) (is_stranger ? strangers : untyped).take(g.id[place], e.record);
        is_met[place] = true;
    }
};

void tell_others(Genomic& at, const RelationMatrix& g, const OtherAnimals& others) {
    const auto& [strangers, untyped, n_met, is_met] = others;
    if (strangers.count() > 0)
        at.look.findings.add(
            {"genomic-identity",
             n_met > kMostGenomicStrangers ? Severity::error : Severity::warning,
             g.place(strangers.line()),
             fmt::format("{} not in the pedigree; KVE1 {}: {}",
                         counted(strangers.count(), "animal of the elements is",
                                 "animals of the elements are"),
                         n_met > kMostGenomicStrangers ? "stops at the 21st element"
                                                       : "leaves their elements out",
                         strangers.words()),
             g.id[0] == 0 ? "A genomic matrix has no record of the determinant" : ""});
    if (untyped.count() > 0)
        at.look.findings.warn(
            "genomic-identity", g.place(untyped.line()),
            fmt::format("{} not in {}; KVE1 leaves their elements out without a word: {}",
                        counted(untyped.count(), "animal of the elements is",
                                "animals of the elements are"),
                        at.typed_file, untyped.words()));
}

// Those of animals that are not typed are left out by KVE1, and here.
void drop_others(Genomic& at, RelationMatrix& g) {
    OtherAnimals others{.is_met = std::vector<bool>(g.id.size())};
    std::erase_if(g.elements, [&](const LevelElement& e) {
        bool is_of_others = false;
        for (const int32_t level : {e.row, e.column}) {
            if (at.is_typed(g.id[static_cast<std::size_t>(level)])) continue;
            others.take(at, g, level, e);
            is_of_others = true;
        }
        return is_of_others;
    });
    if (at.are_whole) tell_others(at, g, others);
}

// The last one of repeated elements stands.
void drop_repeated(Genomic& at, RelationMatrix& g) {
    sort_elements(g);
    const std::vector<LevelElement>& all = g.elements;
    for (std::size_t k = 1; k < all.size(); ++k)
        if (all[k].is_place_of(all[k - 1]) && all[k].value != all[k - 1].value &&
            !at.look.findings.counts_only("matrix-twice", Severity::warning))
            at.look.findings.warn(
                "matrix-twice", g.place(all[k].record),
                fmt::format("the element of {} and {} is {:g} here and {:g} in line {}; KVE1 takes "
                            "the last one",
                            g.id[static_cast<std::size_t>(all[k].row)],
                            g.id[static_cast<std::size_t>(all[k].column)], all[k].value,
                            all[k - 1].value, all[k - 1].record));
    keep_last_of_each_place(g);
}

// False when typed animals have none.
bool have_diagonals(Genomic& at, RelationMatrix& g) {
    std::vector<bool> has(g.id.size());
    for (const LevelElement& e : g.elements)
        if (e.is_diagonal()) has[static_cast<std::size_t>(e.row)] = true;
    FirstOnes missing;
    for (std::size_t k = 0; k < at.typed.size(); ++k) {
        const int32_t level = g.find(at.typed[k]);
        if (level < 0 || !has[static_cast<std::size_t>(level)])
            missing.take(at.typed[k], at.typed_line[k]);
    }
    if (missing.count() == 0) return true;
    const bool stops = at.spec.weight <= 0 && !at.spec.g_adjust;
    at.look.findings.add(
        {"genomic-diagonal",
         stops ? Severity::error : Severity::warning,
         {at.typed_file, missing.line(), 0},
         fmt::format("{} of {} typed animals have no diagonal element in {}, which "
                     "then is 0: {}",
                     missing.count(), at.typed.size(), g.file, missing.words()),
         "Give their elements, or take them from the list of typed animals"});
    return false;
}

void look_at_weight(Genomic& at) {
    if (at.spec.weight >= 0 && at.spec.weight < 1) return;
    at.look.findings.warn(
        "genomic-weight", place_of_structure(at.look, at.spec.factor),
        fmt::format("the weight {:g} of A11 is not within 0 to 1{}", at.spec.weight,
                    at.spec.weight < 0 ? " and counts as none"
                                       : ": the genomic relationships count for nothing or less"));
}

// KVE1 takes the inbreeding of the animal that stands in the place of the level in the file.
void look_at_file_order(Genomic& at, bool has_inbred, FactorLevels* levels) {
    if (!has_inbred) return;
    PedigreeBook& pedigree = at.pedigree;
    std::string why;
    for (int32_t j = 2; j <= pedigree.n_records && why.empty(); ++j)
        if (pedigree.book.birth(j) < pedigree.book.birth(j - 1))
            why = fmt::format("the record in line {} is older than the one above it",
                              pedigree.book.line(j));
    if (why.empty() && !pedigree.added.empty())
        why = fmt::format("{} animals have no record, such as {}", pedigree.added.size(),
                          pedigree.added[0]);
    for (std::size_t k = 0; why.empty() && levels != nullptr && k < levels->id.size(); ++k)
        if (const int32_t number = pedigree.number_of(levels->id[k]);
            number == 0 || number > pedigree.n_records)
            why = fmt::format("{} of the data has no record", levels->id[k]);
    if (why.empty()) return;
    at.look.findings.warn(
        "genomic-order", {at.spec.file[0].string(), 0, 0},
        "KVE1 takes the inbreeding of other animals for that of the typed ones and their "
        "ancestors: " +
            why,
        "Sort the pedigree by the sort variable, parents first, with a record for every parent "
        "and every animal of the data");
}

}  // namespace

void look_at_genomic(Look& look, const VAR_STR_SPEC& spec, FactorLevels* levels,
                     PedigreeBook& pedigree) {
    Genomic at{
        .look = look, .spec = spec, .pedigree = pedigree, .typed_file = spec.file[1].string()};
    look_at_weight(at);
    read_typed(at, levels);
    RelationMatrix g = read_relation_matrix(look, spec.file[2].string(),
                                            static_cast<DataFormat>(spec.format), false);
    drop_others(at, g);
    drop_repeated(at, g);
    if (look.fast || !g.is_whole || !at.are_whole || !pedigree.is_whole || at.typed.empty()) return;
    const bool are_complete = have_diagonals(at, g);
    if (std::ssize(at.typed) > kMostDense)
        return look.findings.note(
            "matrix-size", g.place(0),
            fmt::format("{} typed animals are too many to compare G with A11; up to {} are",
                        at.typed.size(), kMostDense));
    if (!are_complete || look.findings.has("matrix-value")) return;
    pedigree.fit_tables();
    GenomicComparison comparison(look, spec, pedigree, at.typed, g);
    look_at_file_order(at, comparison.has_inbred(), levels);
    comparison.tell();
}

}  // namespace kve::companion
