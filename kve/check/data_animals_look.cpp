// The animals of the data against their pedigree.
#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <numeric>
#include <string>
#include <utility>
#include <vector>

#include "base/state.h"
#include "directives/directives.h"
#include "kve/check/pedigree_book.h"
#include "kve/check/thresholds.h"
#include "kve/check/words.h"
#include "pedigree/pedigree_record.h"

namespace kve::companion {

READS(DIRECTIVES);

namespace {

constexpr std::size_t kBlock = 64;

// By place in the levels, with what the index needs fetched ahead.
template <class Visit>
void visit_animals(PedigreeBook& pedigree, const FactorLevels& levels, Visit visit) {
    for (std::size_t first = 0; first < levels.id.size(); first += kBlock) {
        const std::size_t end = std::min(levels.id.size(), first + kBlock);
        for (std::size_t k = first; k < end; ++k) pedigree.index.expect(levels.id[k]);
        for (std::size_t k = first; k < end; ++k) visit(k, pedigree.number_of(levels.id[k]));
    }
}

// ---- Animals without a record

struct IdentityColumn {
    int32_t column;
    int64_t n = 0, n_strangers = 0;  // not in the pedigree at all, not as parents either
    int64_t n_without_record = 0;

    void take(bool is_missing, int32_t number) {
        ++n;
        n_strangers += is_missing && number == 0 ? 1 : 0;
        n_without_record += is_missing ? 1 : 0;
    }
    // Of another kind than the animals of the pedigree.
    bool is_of_others() const { return 2 * n_strangers > n; }
    std::string name() const { return integer_called(column); }
};

struct Missing {
    Look& look;
    const PedigreeJob& job;
    PedigreeBook& pedigree;
    FactorLevels& levels;
    std::vector<IdentityColumn> columns{};
    std::vector<std::size_t> animals{};  // without a record, by place in the levels
    int64_t n_inserted = 0;              // of the parents without a record

    bool is_stranger(std::size_t animal) const {
        return pedigree.number_of(levels.id[animal]) == 0;
    }
    Place place(int64_t line) const { return {DIRECTIVES.data_file[0].string(), line, 0}; }
};

// Records that are dropped are told where they stand.
void gather_missing(Missing& at) {
    for (const int32_t column : at.levels.columns) at.columns.push_back({.column = column});
    visit_animals(at.pedigree, at.levels, [&at](std::size_t k, int32_t number) {
        const bool is_missing = (number == 0 || number > at.pedigree.n_records) &&
                                !at.pedigree.was_dropped(at.levels.id[k]);
        if (is_missing) at.animals.push_back(k);
        if (number > at.pedigree.n_records) ++at.n_inserted;
        for (std::size_t c = 0; c < at.columns.size(); ++c)
            if (at.levels.is_met_in(k, c)) at.columns[c].take(is_missing, number);
    });
}

const char* what_becomes_of_missing(const Missing& at) {
    if (!at.job.has_groups()) return "KVE1 takes them as founders";
    const bool has_extra_group =
        at.pedigree.n_unknown > 0 || std::ssize(at.pedigree.added) > at.n_inserted;
    return has_extra_group ? "KVE1 gives them parents of the extra phantom group"
                           : "KVE1 takes them as founders without a group, with half the variance";
}

// The part of these identities that is in the pedigree, and not in the data, with so much added.
double share_found(const Missing& at, const std::vector<int32_t>& ids, int64_t added) {
    std::size_t n_found = 0, n_known = 0, n_lost = 0;
    for (const int32_t id : ids) {
        const int64_t other = id + added;
        const int32_t number = other < 1 || other > kLargestInPedigree
                                   ? 0
                                   : at.pedigree.number_of(static_cast<int32_t>(other));
        if (number == 0 || number > at.pedigree.n_records) {
            if (++n_lost * 10 > ids.size()) return 0;
            continue;
        }
        ++n_found;
        n_known += at.levels.places.find(static_cast<int32_t>(other)) != nullptr ? 1 : 0;
    }
    if (2 * n_known > n_found) return 0;
    return static_cast<double>(n_found) / static_cast<double>(ids.size());
}

// A number of one or two digits and three zeros or more, the longest first; less and more.
std::vector<int64_t> round_offsets() {
    std::vector<int64_t> all;
    for (int64_t step = 1'000'000'000; step >= 1000; step /= 10)
        for (int64_t added = step; added < 100 * step && added <= kLargestInPedigree;
             added += step) {
            all.push_back(-added);
            all.push_back(added);
        }
    return all;
}

// A round difference between the identities of data and pedigree, such as a code in front; empty
// when there is none.
std::string offset_words(const Missing& at, const std::vector<std::size_t>& animals) {
    std::vector<int32_t> ids;
    for (std::size_t k = 0; k < animals.size(); k += animals.size() / kMostForOffset + 1)
        if (at.is_stranger(animals[k])) ids.push_back(at.levels.id[animals[k]]);
    if (ids.size() < kFewestForOffset) return "";
    for (const int64_t added : round_offsets()) {
        const double share = share_found(at, ids, added);
        if (share == 0) continue;
        return fmt::format(
            "{} of them are found with {} {}: data and pedigree have two coding systems",
            share == 1 ? "All" : fmt::format("{:.0f}%", 100 * share), std::abs(added),
            added < 0 ? "less" : "more");
    }
    return "";
}

void tell_columns_of_others(const Missing& at) {
    // The wrong effects are random then.
    if (at.look.findings.has("effect-count")) return;
    for (std::size_t c = 0; c < at.columns.size(); ++c) {
        const IdentityColumn& column = at.columns[c];
        if (!column.is_of_others()) continue;
        FirstOnes first;
        std::vector<std::size_t> strangers;
        for (const std::size_t k : at.animals)
            if (at.levels.is_met_in(k, c) && at.is_stranger(k)) {
                strangers.push_back(k);
                first.take(at.levels.id[k], at.levels.line[k]);
            }
        const std::string offset = offset_words(at, strangers);
        at.look.findings.error(
            "not-in-pedigree", at.place(first.line()),
            fmt::format("{} of the {} identities of {} are not in {}; {}: {}", column.n_strangers,
                        column.n, column.name(), at.job.file, what_becomes_of_missing(at),
                        first.words()),
            !offset.empty() ? offset
                            : "Perhaps the model names another column, or the files are of two "
                              "coding systems");
    }
}

// " (CALF 3, DAM 5)" where there are several.
std::string counts_by_column(const Missing& at) {
    std::string words;
    if (at.columns.size() < 2) return words;
    for (const IdentityColumn& column : at.columns)
        if (!column.is_of_others() && column.n_without_record > 0)
            add_item(words, fmt::format("{} {}", column.name(), column.n_without_record));
    return words.empty() ? words : fmt::format(" ({})", words);
}

void tell_missing(const Missing& at) {
    const auto is_told = [&at](std::size_t animal) {
        for (std::size_t c = 0; c < at.columns.size(); ++c)
            if (!at.columns[c].is_of_others() && at.levels.is_met_in(animal, c)) return false;
        return true;
    };
    FirstOnes missing;
    std::vector<std::size_t> animals;
    for (const std::size_t k : at.animals) {
        if (is_told(k)) continue;
        animals.push_back(k);
        missing.take(at.levels.id[k], at.levels.line[k]);
    }
    if (animals.empty()) return;
    const bool are_many = static_cast<double>(animals.size()) >
                          kManyWithoutRecord * static_cast<double>(at.levels.id.size());
    at.look.findings.add({"not-in-pedigree", are_many ? Severity::warning : Severity::note,
                          at.place(missing.line()),
                          fmt::format("{} of {} animals of the data{} have no record in {}; {}: {}",
                                      missing.count(), at.levels.id.size(), counts_by_column(at),
                                      at.job.file, what_becomes_of_missing(at), missing.words()),
                          offset_words(at, animals)});
}

// ---- Sexes

// Codes of the sex column that animals in one part have.
struct CodesOfPart {
    std::array<int64_t, 128> n{};

    void take(int8_t code) { ++n[static_cast<uint8_t>(code)]; }

    // What nearly all have; 0 when nothing is usual, or too few tell.
    int usual() const {
        const auto most = std::ranges::max_element(n);
        const int64_t all = std::accumulate(n.begin(), n.end(), int64_t{0});
        const bool is_usual = *most >= kFewestOfSex &&
                              static_cast<double>(*most) >= kUsualSex * static_cast<double>(all);
        return is_usual ? static_cast<int>(most - n.begin()) : 0;
    }
};

struct AnimalPart {
    std::size_t animal;  // place in the levels
    Sex part;
};

void tell_sex(Look& look, const PedigreeJob& job, const DataLevels& data,
              const FactorLevels& levels, AnimalPart in, const std::string& usual) {
    look.findings.warn("data-sex", {DIRECTIVES.data_file[0].string(), levels.line[in.animal], 0},
                       fmt::format("{} is a {} in {} and has {} {} here; {}", levels.id[in.animal],
                                   in.part == Sex::male ? "sire" : "dam", job.file, data.sex_name(),
                                   levels.sex[in.animal], usual));
}

void tell_two_sexes(Look& look, const DataLevels& data, const FactorLevels& levels) {
    const auto n = std::ranges::count(levels.sex, FactorLevels::kTwoSexes);
    // Of animals in several roles, such as dams with the records of their progeny, it tells
    // nothing.
    if (n == 0 || static_cast<double>(n) > kMostTwoSexes * static_cast<double>(levels.sex.size()))
        return;
    for (std::size_t k = 0; k < levels.id.size(); ++k)
        if (levels.sex[k] == FactorLevels::kTwoSexes)
            look.findings.warn("data-sex", {DIRECTIVES.data_file[0].string(), levels.line[k], 0},
                               fmt::format("{} has different values of {} in its records",
                                           levels.id[k], data.sex_name()));
}

// How the code of a parent contradicts what is usual; empty when it does not. 0: nothing is usual.
std::string contradiction(int sex, int usual, int usual_of_others, const char* others) {
    if (usual != 0) return sex != usual ? fmt::format("the others have {}", usual) : "";
    return sex == usual_of_others ? fmt::format("{} have {}", others, usual_of_others) : "";
}

// Which code is male and which female is known from the other parents that have data.
void look_at_sexes(Look& look, const PedigreeJob& job, PedigreeBook& pedigree,
                   const DataLevels& data, const FactorLevels& levels) {
    if (levels.sex.empty() || job.has_grandsires()) return;
    CodesOfPart sires, dams;
    std::vector<AnimalPart> parents;
    visit_animals(pedigree, levels, [&](std::size_t k, int32_t number) {
        const Sex part = number == 0 ? Sex::unknown : pedigree.book.sex(number);
        if (part == Sex::unknown || levels.sex[k] <= 0) return;
        (part == Sex::male ? sires : dams).take(levels.sex[k]);
        parents.push_back({k, part});
    });
    const int male = sires.usual(), female = dams.usual();
    if (male == female) return;  // not the sex of the animal itself
    for (const AnimalPart& in : parents) {
        const auto code = static_cast<uint8_t>(levels.sex[in.animal]);
        const std::string usual = in.part == Sex::male ? contradiction(code, male, female, "dams")
                                                       : contradiction(code, female, male, "sires");
        if (!usual.empty()) tell_sex(look, job, data, levels, in, usual);
    }
}

}  // namespace

void look_at_data_animals(Look& look, const PedigreeJob& job, PedigreeBook& pedigree,
                          const DataLevels& data, FactorLevels& levels) {
    if (pedigree.is_whole) {
        Missing missing{.look = look, .job = job, .pedigree = pedigree, .levels = levels};
        gather_missing(missing);
        tell_columns_of_others(missing);
        tell_missing(missing);
    }
    tell_two_sexes(look, data, levels);
    look_at_sexes(look, job, pedigree, data, levels);
}

}  // namespace kve::companion
