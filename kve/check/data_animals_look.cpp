// The animals of the data against their pedigree.
#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <numeric>
#include <utility>
#include <vector>

#include "base/state.h"
#include "directives/directives.h"
#include "kve/check/first_ones.h"
#include "kve/check/pedigree_book.h"

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

void tell_missing(Look& look, const PedigreeJob& job, const FirstOnes& missing, int64_t n_animals) {
    if (missing.count() == 0) return;
    const double share = static_cast<double>(missing.count()) / static_cast<double>(n_animals);
    constexpr double kMost = 0.5, kMany = 0.05;
    const Severity severity = share > kMost   ? Severity::error
                              : share > kMany ? Severity::warning
                                              : Severity::note;
    look.findings.add(
        {"not-in-pedigree",
         severity,
         {DIRECTIVES.data_file[0].string(), missing.line(), 0},
         fmt::format("{} of {} animals of the data have no record in {}; KVE1 takes them as "
                     "founders: {}",
                     missing.count(), n_animals, job.file, missing.words()),
         share > kMost ? "Perhaps the model names another column, or the files are of two coding "
                         "systems"
                       : ""});
}

// ---- Sexes

// Codes of the sex column that animals in one part have.
struct CodesOfPart {
    std::array<int64_t, 128> n{};

    // What nearly all have; 0 when nothing is usual, or too few tell.
    int32_t usual() const {
        constexpr int64_t kFewest = 5;
        const auto most = std::ranges::max_element(n);
        const int64_t all = std::accumulate(n.begin(), n.end(), int64_t{0});
        return *most >= kFewest && *most * 5 >= all * 4 ? static_cast<int32_t>(most - n.begin())
                                                        : 0;
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
    if (n == 0 || n * 20 > std::ssize(levels.sex)) return;
    for (std::size_t k = 0; k < levels.id.size(); ++k)
        if (levels.sex[k] == FactorLevels::kTwoSexes)
            look.findings.warn("data-sex", {DIRECTIVES.data_file[0].string(), levels.line[k], 0},
                               fmt::format("{} has different values of {} in its records",
                                           levels.id[k], data.sex_name()));
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
        ++(part == Sex::male ? sires : dams).n[static_cast<std::size_t>(levels.sex[k])];
        parents.push_back({k, part});
    });
    const int32_t male = sires.usual(), female = dams.usual();
    if (male == female) return;  // not the sex of the animal itself
    for (const AnimalPart& in : parents) {
        const int32_t sex = levels.sex[in.animal];
        const auto [own, other] =
            in.part == Sex::male ? std::pair(male, female) : std::pair(female, male);
        if (own != 0 ? sex != own : sex == other)
            tell_sex(look, job, data, levels, in,
                     own != 0 ? fmt::format("the others have {}", own)
                              : fmt::format("{} have {}", in.part == Sex::male ? "dams" : "sires",
                                            other));
    }
}

}  // namespace

void look_at_data_animals(Look& look, const PedigreeJob& job, PedigreeBook& pedigree,
                          const DataLevels& data, const FactorLevels& levels) {
    FirstOnes missing;
    visit_animals(pedigree, levels, [&](std::size_t k, int32_t number) {
        if (number == 0 || number > pedigree.n_records) missing.take(levels.id[k], levels.line[k]);
    });
    if (pedigree.is_whole) tell_missing(look, job, missing, std::ssize(levels.id));
    tell_two_sexes(look, data, levels);
    look_at_sexes(look, job, pedigree, data, levels);
}

}  // namespace kve::companion
