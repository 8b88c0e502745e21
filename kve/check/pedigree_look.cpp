// What the animals of a pedigree are to each other: parents are linked, loops broken.
#include <fmt/format.h>

#include <algorithm>

#include "kve/check/parents.h"
#include "kve/check/thresholds.h"
#include "kve/pedigree/loops.h"

namespace kve::companion {

namespace {

constexpr std::size_t kBlock = 64;  // animals whose parents are looked up together
constexpr std::size_t kMostOddAges = 1'000'000;

// ---- Linking

void look_at_age(Parents& at, int32_t animal, bool is_sire, int32_t own, int32_t parents) {
    if (own <= 0 || parents <= 0 || own <= parents) return;
    const double years = years_between(parents, own, at.kind);
    (is_sire ? at.sires : at.dams).add(years);
    const bool is_odd = years < kYoungestParent || years > (is_sire ? kOldestSire : kOldestDam);
    if (is_odd && at.is_known(own) && at.is_known(parents) && at.odd_ages.size() < kMostOddAges)
        at.odd_ages.push_back({animal, is_sire, static_cast<float>(years)});
}

void link(Parents& at, int32_t animal, int32_t& parent, bool is_sire) {
    if (parent <= 0) {
        parent = 0;
        return;
    }
    int32_t number = at.pedigree.number_of(parent);
    if (number == 0) number = at.pedigree.add_animal(parent);
    parent = number;
    const int32_t own = at.sort(animal);
    if (!at.has_record(number)) {
        // KVE1 gives it the sort variable 0.
        if (at.is_not_older(own, 0)) ++at.n_without_order;
        return;
    }
    const int32_t parents = at.sort(number);
    ++at.n_links;
    if (at.is_not_older(own, parents)) ++at.n_not_older;
    if (own == parents) ++at.n_equal;
    if (at.kind != SortKind::numbers) look_at_age(at, animal, is_sire, own, parents);
}

// Fetches what is wanted of the parents of these animals from the memory.
void expect_parents(Parents& at, int32_t first, int32_t last) {
    const Herdbook& book = at.pedigree.book;
    for (int32_t j = first; j <= last; ++j) {
        at.pedigree.index.expect(book.parents(j).sire);
        at.pedigree.index.expect(book.parents(j).dam);
    }
    for (int32_t j = first; j <= last; ++j)
        for (const int32_t parent : {book.parents(j).sire, book.parents(j).dam}) {
            const int32_t number = parent > 0 ? at.pedigree.number_of(parent) : 0;
            if (number > 0 && number <= at.pedigree.n_records)
                __builtin_prefetch(&book.birth(number));
        }
}

void link_all(Parents& at) {
    Herdbook& book = at.pedigree.book;
    const int32_t n = at.pedigree.n_records, block = static_cast<int32_t>(kBlock);
    for (int32_t first = 1; first <= n; first += block) {
        const int32_t last = std::min(n, first + block - 1);
        expect_parents(at, first, last);
        for (int32_t j = first; j <= last; ++j) {
            link(at, j, book.parents(j).sire, true);
            link(at, j, book.parents(j).dam, false);
        }
    }
    at.pedigree.fit_tables();
}

// ---- Loops

std::string chain_of(const Parents& at, const Loop& loop) {
    std::string text;
    const std::size_t n = loop.animals.size();
    for (std::size_t k = 0; k < std::min(n, kLongestLoopTold); ++k)
        text += fmt::format("{} -> ", at.id(loop.animals[(loop.broken + k) % n]));
    if (n > kLongestLoopTold) text += fmt::format("... ({} animals) -> ", n);
    return text + fmt::format("{}", at.id(loop.animals[loop.broken]));
}

void break_and_tell_loops(Parents& at) {
    static_cast<void>(break_loops(at.pedigree.book, [&at](const Loop& loop) {
        at.look.findings.error(
            "pedigree-loop", at.place(loop.animals[loop.broken]),
            fmt::format("a loop, each the progeny of the next: {}", chain_of(at, loop)),
            "One of the parents is wrong; the link in this line is the likeliest");
    }));
}

}  // namespace

void look_at_parents(Look& look, const PedigreeJob& job, PedigreeBook& pedigree,
                     FactorLevels* levels) {
    Parents at{.look = look, .job = job, .pedigree = pedigree, .levels = levels};
    at.kind = find_sort_kind(pedigree.book.birth, pedigree.n_records);
    link_all(at);
    const bool is_other_variable = tell_whole_variable(at);
    // In every loop there is a parent that is not older than its progeny.
    if (at.n_not_older + at.n_equal > 0) break_and_tell_loops(at);
    if (!is_other_variable) tell_birth_order(at);
    look_at_ages(at);
    if (at.kind == SortKind::dates) look_at_dates(at);
    look_at_parts(look, job, pedigree);
}

}  // namespace kve::companion
