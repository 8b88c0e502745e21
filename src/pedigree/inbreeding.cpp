#include "pedigree/inbreeding.h"

#include <algorithm>
#include <atomic>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <vector>

#include "base/helper_thread.h"
#include "base/memory.h"
#include "base/state.h"
#include "listing/stop.h"
#include "store/big_tables.h"

namespace kve {

WRITES(AD);
WRITES(LD);

namespace {

constexpr const char* kRoutine = "INBREEDING";

// Places follow the list, whatever numbers the levels have.
int32_t place_of(int32_t level, int32_t n, bool from_the_top) {
    return level != 0 && from_the_top ? n + 1 - level : level;
}

// Animals with progeny are nodes, numbered in the order of the list. Only they are visited, so more
// of what is known of them stays in the cache. One bit each tells who belongs to a family: all of
// those stay there.
using Bits = Vec<uint64_t, 0>;

constexpr int32_t word_of(int32_t number) { return number >> 6; }
constexpr uint64_t bit_of(int32_t number) { return uint64_t{1} << (number & 63); }
int32_t highest(int32_t word, uint64_t bits) { return word * 64 + 63 - std::countl_zero(bits); }

// The numbers of the nodes by place: how many places up to there have progeny.
struct NodeNumbers {
    Bits has_progeny;
    Vec<int32_t, 0> before;  // nodes of the words before
    int32_t n_nodes = 0;

    // 0 for a place without progeny.
    int32_t node_of(int32_t place) const {
        const uint64_t bits = has_progeny(word_of(place));
        if ((bits & bit_of(place)) == 0) return 0;
        return before(word_of(place)) + 1 + std::popcount(bits & (bit_of(place) - 1));
    }
};

// An animal of a family with its parents.
struct Member {
    int32_t node;
    ParentPair parents;
};

struct Pedigree {
    Vec<ParentPair>& parents;  // by place; nodes, 0 unknown
    NodeNumbers numbers{};
    Vec<ParentPair, 0> parents_of{};  // by node; 0 is the unknown parent, with nothing to share
    Vec<double, 0> diagonal{};        // of A, by node
    // Places with both parents known, sire by sire; and where those of a sire, and of one more,
    // begin.
    Vec<int32_t> progeny{};
    Vec<int32_t> first_progeny{};
};

// The family under way: a sire, his mates and their ancestors.
struct Family {
    Vec<double, 0> share{};  // by node, first T(sire, node) D(node), then A(sire, node)
    Bits members{};          // nodes for which `share` holds, or will hold
    Bits waiting{};          // those of them who are still to be visited
    Bits groups{};           // words of `waiting` that have any
    int32_t n_waiting = 0;
    std::vector<Member> line{}, mates{};
    std::vector<int32_t> pending{};
};

bool both_known(ParentPair p) { return p.sire > 0 && p.dam > 0; }

NoRoom number_nodes(const Vec<ParentPair>& parents, NodeNumbers& numbers) {
    const int32_t words = word_of(static_cast<int32_t>(parents.size())) + 1;
    if (numbers.has_progeny.allocate(words) != 0) return {"NODES", words};
    if (numbers.before.allocate(words) != 0) return {"NODES", words};
    for (const ParentPair& p : parents)
        for (int32_t place : {p.sire, p.dam}) numbers.has_progeny(word_of(place)) |= bit_of(place);
    numbers.has_progeny(0) &= ~bit_of(0);  // the unknown parent
    for (int32_t word = 0; word < words; ++word) {
        numbers.before(word) = numbers.n_nodes;
        numbers.n_nodes += std::popcount(numbers.has_progeny(word));
    }
    return {};
}

NoRoom allocate_family(Family& family, int32_t n_nodes) {
    const int64_t n = int64_t{n_nodes} + 1;
    const int64_t words = word_of(n_nodes) + 1, groups = words / 64 + 1;
    const bool all = family.share.allocate(n) == 0 && family.members.allocate(words) == 0 &&
                     family.waiting.allocate(words) == 0 && family.groups.allocate(groups) == 0;
    if (all) family.members(0) |= bit_of(0);  // the unknown parent need not be visited
    return all ? NoRoom{} : NoRoom{"FAMILY", n};
}

// The parents become nodes.
NoRoom make_nodes(Pedigree& ped) {
    if (const NoRoom none = number_nodes(ped.parents, ped.numbers); none.array != nullptr)
        return none;
    const int64_t n_nodes = int64_t{ped.numbers.n_nodes} + 1;
    if (ped.parents_of.allocate(n_nodes) != 0) return {"NODES", n_nodes};
    if (ped.diagonal.allocate(n_nodes) != 0) return {"NODES", n_nodes};
    int32_t last = 0;
    for (int32_t j = 1; j <= ped.parents.size(); ++j) {
        ParentPair& p = ped.parents(j);
        p = {ped.numbers.node_of(p.sire), ped.numbers.node_of(p.dam)};
        if (ped.numbers.node_of(j) == 0) continue;
        ped.parents_of(++last) = p;
        ped.diagonal(last) = 1.0;
    }
    return {};
}

// Progeny by sire: a counting sort.
NoRoom gather_families(Pedigree& ped) {
    const int64_t n = ped.parents.size(), n_nodes = ped.parents_of.size();
    if (ped.first_progeny.allocate(n_nodes) != 0) return {"PROGENY", n_nodes};
    if (ped.progeny.allocate(n) != 0) return {"PROGENY", n};
    for (const ParentPair& p : ped.parents)
        if (both_known(p)) ++ped.first_progeny(p.sire);
    int32_t behind = 1;
    for (int32_t& first : ped.first_progeny) first = behind += first;
    for (int32_t j = static_cast<int32_t>(n); j >= 1; --j)
        if (both_known(ped.parents(j))) ped.progeny(--ped.first_progeny(ped.parents(j).sire)) = j;
    return {};
}

// Mendelian sampling variance, the square of LD. Rounding could bring it below 0 in lines inbred
// for hundreds of generations.
double sampling_variance(const Pedigree& ped, ParentPair p) {
    const double parents = ped.diagonal(p.sire) + ped.diagonal(p.dam);
    return std::max(1.0 - parents * 0.25, 0.0);
}

double mean_of_parents(const Family& f, ParentPair p) {
    return 0.5 * (f.share(p.sire) + f.share(p.dam));
}

bool is_in_family(const Family& f, int32_t node) {
    return (f.members(word_of(node)) & bit_of(node)) != 0;
}

// The sire and his ancestors, each after its parents. Nothing is known of how deep a pedigree goes,
// so there is a stack and no recursion. Kept: this order, since it is that in which the shares of
// an ancestor are added up.
void list_sire_line(const Pedigree& ped, Family& f, int32_t sire) {
    f.line.clear();
    const auto push = [&](int32_t node) {
        if (is_in_family(f, node)) return;
        __builtin_prefetch(&ped.parents_of(node));
        f.pending.push_back(node);
    };
    push(sire);
    while (!f.pending.empty()) {
        const int32_t at = f.pending.back();
        const std::size_t height = f.pending.size();
        const ParentPair parents = ped.parents_of(at);
        push(parents.sire);
        push(parents.dam);
        if (f.pending.size() > height) continue;
        f.pending.pop_back();
        if (is_in_family(f, at)) continue;
        f.members(word_of(at)) |= bit_of(at);
        f.line.push_back({at, parents});
        f.share(at) = 0.0;
    }
}

// Up the sire's line: a share of 1 passes on by halves, and an ancestor's weight is its share times
// its sampling variance. Down again: each adds the mean of its parents.
void relate_sire_line(const Pedigree& ped, Family& f, int32_t sire) {
    list_sire_line(ped, f, sire);
    f.share(sire) = 1.0;
    for (auto at = f.line.rbegin(); at != f.line.rend(); ++at) {
        const auto [node, parents] = *at;
        const double half = 0.5 * f.share(node);
        if (parents.sire != 0) f.share(parents.sire) += half;
        if (parents.dam != 0) f.share(parents.dam) += half;
        f.share(node) *= sampling_variance(ped, parents);
    }
    for (const auto& [node, parents] : f.line) f.share(node) += mean_of_parents(f, parents);
}

// Takes a node into the family, to be visited, unless it is there. Without a branch, since nobody
// can foretell which.
void await(const Pedigree& ped, Family& f, int32_t node) {
    const int32_t word = word_of(node);
    const uint64_t fresh = bit_of(node) & ~f.members(word);
    f.members(word) |= fresh;
    f.waiting(word) |= fresh;
    f.groups(word_of(word)) |= fresh != 0 ? bit_of(word) : 0;
    f.n_waiting += fresh != 0 ? 1 : 0;
    __builtin_prefetch(&ped.parents_of(node));
}

// The ancestors of those who wait, and they themselves, the youngest first: parents have lower
// numbers.
void list_mates_lines(const Pedigree& ped, Family& f, int32_t youngest) {
    f.mates.clear();
    for (int32_t group = word_of(word_of(youngest)); f.n_waiting > 0; --group)
        while (f.groups(group) != 0) {
            const int32_t word = highest(group, f.groups(group));
            while (f.waiting(word) != 0) {
                const int32_t node = highest(word, f.waiting(word));
                f.waiting(word) ^= bit_of(node);
                --f.n_waiting;
                const ParentPair parents = ped.parents_of(node);
                f.mates.push_back({node, parents});
                await(ped, f, parents.sire);
                await(ped, f, parents.dam);
            }
            f.groups(group) ^= bit_of(word);
        }
}

// The relationships of the sire with his mates, down from their oldest ancestors.
void relate_mates(const Pedigree& ped, Family& f, int32_t first, int32_t behind) {
    int32_t youngest = 0;
    for (int32_t j = first; j < behind; ++j) {
        const int32_t dam = ped.parents(ped.progeny(j)).dam;
        await(ped, f, dam);
        youngest = std::max(youngest, dam);
    }
    list_mates_lines(ped, f, youngest);
    constexpr std::ptrdiff_t kAhead = 12;
    for (std::ptrdiff_t k = std::ssize(f.mates) - 1; k >= 0; --k) {
        if (k >= kAhead) {
            const ParentPair later = f.mates[static_cast<std::size_t>(k - kAhead)].parents;
            __builtin_prefetch(&f.share(later.sire));
            __builtin_prefetch(&f.share(later.dam));
        }
        const auto& [node, parents] = f.mates[static_cast<std::size_t>(k)];
        f.share(node) = mean_of_parents(f, parents);
    }
}

void leave_family(Family& f) {
    for (const std::vector<Member>* members : {&f.line, &f.mates})
        for (const Member& member : *members) f.members(word_of(member.node)) = 0;
    f.members(0) |= bit_of(0);
}

// Fetches what is wanted of an animal further on in the family from the memory.
KVE_FETCH void look_ahead(const Pedigree& ped, int32_t j, const Vec<double>& ad) {
    constexpr int32_t kAhead = 16;
    if (j + kAhead > ped.progeny.size() || ped.progeny(j + kAhead) == 0) return;
    __builtin_prefetch(&ped.parents(ped.progeny(j + kAhead)));
    __builtin_prefetch(&ad(ped.progeny(j + kAhead)));
}

// The progeny of one sire: 1 + A(sire, dam) / 2.
void find_family(Pedigree& ped, Family& f, int32_t sire, Vec<double>& ad) {
    const int32_t first = ped.first_progeny(sire), behind = ped.first_progeny(sire + 1);
    if (first == behind) return;
    relate_sire_line(ped, f, sire);
    relate_mates(ped, f, first, behind);
    for (int32_t j = first; j < behind; ++j) {
        look_ahead(ped, j, ad);
        const int32_t animal = ped.progeny(j), node = ped.numbers.node_of(animal);
        ad(animal) = 1.0 + 0.5 * f.share(ped.parents(animal).dam);
        if (node != 0) ped.diagonal(node) = ad(animal);
    }
    leave_family(f);
}

// Sires of one round: none has a parent among them, so that each family needs diagonals of earlier
// rounds alone, and two threads can share them. The results do not depend on who takes which.
struct Round {
    Pedigree& ped;
    Vec<double>& ad;
    int32_t behind;
    std::atomic<int32_t> next;
};
struct Worker {
    Round* round;
    Family family{};
};

void* take_families(void* argument) {
    constexpr int32_t kAtOnce = 32;
    auto& [round, family] = *static_cast<Worker*>(argument);
    for (int32_t first; (first = round->next.fetch_add(kAtOnce)) < round->behind;)
        for (int32_t sire = first; sire < std::min(first + kAtOnce, round->behind); ++sire)
            find_family(round->ped, family, sire, round->ad);
    return nullptr;
}

// Where the round that begins with a sire ends.
int32_t end_of_round(const Pedigree& ped, int32_t first) {
    int32_t behind = first + 1;
    while (behind <= ped.numbers.n_nodes && ped.parents_of(behind).sire < first &&
           ped.parents_of(behind).dam < first)
        ++behind;
    return behind;
}

// Older sires first: their families hold the parents of all ancestors of a sire. Without memory or
// a second core one thread takes them all.
NoRoom find_families(Pedigree& ped, Vec<double>& ad) {
    constexpr int32_t kWorthAThread = 2000;
    const int32_t n_nodes = ped.numbers.n_nodes;
    Worker own{}, other{};
    if (const NoRoom none = allocate_family(own.family, n_nodes); none.array != nullptr)
        return none;
    const bool has_other =
        n_nodes >= kWorthAThread && allocate_family(other.family, n_nodes).array == nullptr;
    HelperThread helper;
    for (int32_t first = 1; first <= n_nodes;) {
        const int32_t behind = end_of_round(ped, first);
        Round round{ped, ad, behind, first};
        own.round = other.round = &round;
        if (has_other && behind - first >= kWorthAThread)
            static_cast<void>(helper.start(take_families, &other));
        take_families(&own);
        helper.join();
        first = behind;
    }
    return {};
}

}  // namespace

NoRoom find_diagonals(Vec<ParentPair>& parents, Vec<double>& ad, Vec<double>& ld) {
    const int64_t n = parents.size();
    Pedigree ped{.parents = parents};
    if (const NoRoom none = make_nodes(ped); none.array != nullptr) return none;
    if (const NoRoom none = gather_families(ped); none.array != nullptr) return none;
    for (int64_t j = 1; j <= n; ++j) ad(j) = 1.0;
    if (const NoRoom none = find_families(ped, ad); none.array != nullptr) return none;
    for (int64_t j = 1; j <= n; ++j) ld(j) = std::sqrt(sampling_variance(ped, parents(j)));
    return {};
}

double find_inbreeding(const Vec<Parentage>& parentage) {
    const int32_t n = static_cast<int32_t>(parentage.size());
    const bool from_the_top = parentage(1).animal != 1;
    Vec<ParentPair> parents;
    check_allocated(parents.allocate(n), kRoutine, "PARENTS", n);
    for (int32_t j = 1; j <= n; ++j)
        parents(j) = {place_of(parentage(j).sire, n, from_the_top),
                      place_of(parentage(j).dam, n, from_the_top)};
    const NoRoom none = find_diagonals(parents, AD, LD);
    if (none.array != nullptr) alloc_error(kRoutine, none.array, none.elements, kNoMemory);
    double sum = 0.0;
    for (int32_t j = 1; j <= n; ++j) sum += std::log(LD(j));
    return 2.0 * sum;
}

}  // namespace kve
