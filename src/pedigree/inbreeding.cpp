#include "pedigree/inbreeding.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

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
// of what is known of them stays in the cache.
using Bits = Vec<uint64_t, 0>;

constexpr int32_t word_of(int32_t number) { return number >> 6; }
constexpr uint64_t bit_of(int32_t number) { return uint64_t{1} << (number & 63); }

// Calls visit(number) for each bit of a word, the lowest first.
template <class Visit>
void visit_bits(int32_t word, uint64_t bits, Visit visit) {
    for (; bits != 0; bits &= bits - 1) visit(word * 64 + std::countr_zero(bits));
}

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

// All that a visit needs, in one line of the cache.
struct Node {
    ParentPair parents;  // nodes, 0 unknown
    double share;        // with the sire of the family: T(sire, node) D(node), then A(sire, node)
};

// An animal of the sire's line with its parents.
struct Member {
    int32_t node;
    ParentPair parents;
};

struct Pedigree {
    Vec<ParentPair>& parents;  // by place; nodes, 0 unknown
    NodeNumbers numbers{};
    Vec<Node, 0> nodes{};       // 0 is the unknown parent, with nothing to share
    Vec<double, 0> diagonal{};  // of A, by node
    // Places with both parents known, sire by sire; and where those of a sire, and of one more,
    // begin.
    Vec<int32_t> progeny{};
    Vec<int32_t> first_progeny{};

    // Nodes for which `share` holds, or will hold; the unknown parent always. All of these words
    // stay in the cache.
    Bits family{};
    Bits groups{};  // words of `family` that have mates
    std::vector<Member> line{};
    std::vector<int32_t> pending{};
    // The mates and their ancestors from 0, and behind them any nodes, to look ahead to.
    Vec<int32_t, 0> mates{};
};

constexpr int32_t kAhead = 24;  // visits by which memory is fetched ahead

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

NoRoom allocate_nodes(Pedigree& ped) {
    const int64_t n = int64_t{ped.numbers.n_nodes} + 1;
    const int64_t words = word_of(ped.numbers.n_nodes) + 1, groups = words / 64 + 1;
    const bool all = ped.nodes.allocate(n) == 0 && ped.diagonal.allocate(n) == 0 &&
                     ped.mates.allocate(n + kAhead) == 0 && ped.family.allocate(words) == 0 &&
                     ped.groups.allocate(groups) == 0;
    return all ? NoRoom{} : NoRoom{"NODES", n};
}

// The parents become nodes.
NoRoom make_nodes(Pedigree& ped) {
    if (const NoRoom none = number_nodes(ped.parents, ped.numbers); none.array != nullptr)
        return none;
    if (const NoRoom none = allocate_nodes(ped); none.array != nullptr) return none;
    int32_t last = 0;
    for (int32_t j = 1; j <= ped.parents.size(); ++j) {
        ParentPair& p = ped.parents(j);
        p = {ped.numbers.node_of(p.sire), ped.numbers.node_of(p.dam)};
        if (ped.numbers.node_of(j) == 0) continue;
        ped.nodes(++last).parents = p;
        ped.diagonal(last) = 1.0;
    }
    return {};
}

// Progeny by sire: a counting sort.
NoRoom gather_families(Pedigree& ped) {
    const int64_t n = ped.parents.size(), n_nodes = ped.nodes.size();
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

double mean_of_parents(const Pedigree& ped, ParentPair p) {
    return 0.5 * (ped.nodes(p.sire).share + ped.nodes(p.dam).share);
}

bool is_in_family(const Pedigree& ped, int32_t node) {
    return (ped.family(word_of(node)) & bit_of(node)) != 0;
}

// The sire and his ancestors, each after its parents. Nothing is known of how deep a pedigree goes,
// so there is a stack and no recursion. Kept: this order, since it is that in which the shares of
// an ancestor are added up.
void list_sire_line(Pedigree& ped, int32_t sire) {
    ped.line.clear();
    const auto push = [&](int32_t node) {
        if (is_in_family(ped, node)) return;
        __builtin_prefetch(&ped.nodes(node));
        ped.pending.push_back(node);
    };
    push(sire);
    while (!ped.pending.empty()) {
        const int32_t at = ped.pending.back();
        const std::size_t height = ped.pending.size();
        const ParentPair parents = ped.nodes(at).parents;
        push(parents.sire);
        push(parents.dam);
        if (ped.pending.size() > height) continue;
        ped.pending.pop_back();
        if (is_in_family(ped, at)) continue;
        ped.family(word_of(at)) |= bit_of(at);
        ped.line.push_back({at, parents});
        ped.nodes(at).share = 0.0;
    }
}

// Up the sire's line: a share of 1 passes on by halves, and an ancestor's weight is its share times
// its sampling variance. Down again: each adds the mean of its parents.
void relate_sire_line(Pedigree& ped, int32_t sire) {
    list_sire_line(ped, sire);
    ped.nodes(sire).share = 1.0;
    for (auto at = ped.line.rbegin(); at != ped.line.rend(); ++at) {
        const auto [node, parents] = *at;
        const double half = 0.5 * ped.nodes(node).share;
        if (parents.sire != 0) ped.nodes(parents.sire).share += half;
        if (parents.dam != 0) ped.nodes(parents.dam).share += half;
        ped.nodes(node).share *= sampling_variance(ped, parents);
    }
    for (const auto& [node, parents] : ped.line)
        ped.nodes(node).share += mean_of_parents(ped, parents);
}

// Takes a node into the family, as the n-th of the mates from 0, unless it is there. Returns how
// many there are then. Without a branch, since nobody can foretell which.
[[gnu::always_inline]] inline int32_t await(Pedigree& ped, int32_t n, int32_t node) {
    const int32_t word = word_of(node);
    uint64_t& family = ped.family(word);
    const uint64_t fresh = bit_of(node) & ~family;
    family |= fresh;
    ped.groups(word_of(word)) |= fresh != 0 ? bit_of(word) : 0;
    ped.mates(n) = node;
    return n + (fresh != 0 ? 1 : 0);
}

// The mates of a family and their ancestors, as they are met. Returns how many.
int32_t list_mates_lines(Pedigree& ped, int32_t first, int32_t behind) {
    int32_t n = 0;
    for (int32_t j = first; j < behind; ++j) n = await(ped, n, ped.parents(ped.progeny(j)).dam);
    for (int32_t k = 0; k < n; ++k) {
        __builtin_prefetch(&ped.nodes(ped.mates(k + kAhead)));
        const ParentPair parents = ped.nodes(ped.mates(k)).parents;
        n = await(ped, n, parents.sire);
        n = await(ped, n, parents.dam);
    }
    return n;
}

void leave_sire_line(Pedigree& ped) {
    for (const Member& member : ped.line) ped.family(word_of(member.node)) &= ~bit_of(member.node);
}

// By their numbers, so that parents come first. Their bits are used up, and with them the family.
void order_mates(Pedigree& ped, int32_t n_mates) {
    leave_sire_line(ped);
    ped.family(0) &= ~bit_of(0);
    int32_t n = 0;
    for (int32_t group = 0; n < n_mates; ++group)
        visit_bits(group, std::exchange(ped.groups(group), 0), [&](int32_t word) {
            visit_bits(word, std::exchange(ped.family(word), 0),
                       [&](int32_t node) { ped.mates(n++) = node; });
        });
    ped.family(0) |= bit_of(0);
}

// The relationships of the sire with his mates, down from their oldest ancestors.
void relate_mates(Pedigree& ped, int32_t first, int32_t behind) {
    const int32_t n_mates = list_mates_lines(ped, first, behind);
    order_mates(ped, n_mates);
    for (int32_t k = 0; k < n_mates; ++k) {
        __builtin_prefetch(&ped.nodes(ped.mates(k + kAhead)));
        Node& node = ped.nodes(ped.mates(k));
        node.share = mean_of_parents(ped, node.parents);
    }
}

// Fetches what is wanted of an animal further on in the family from the memory.
KVE_FETCH void look_ahead(const Pedigree& ped, int32_t j, const Vec<double>& ad) {
    if (j + kAhead > ped.progeny.size() || ped.progeny(j + kAhead) == 0) return;
    __builtin_prefetch(&ped.parents(ped.progeny(j + kAhead)));
    __builtin_prefetch(&ad(ped.progeny(j + kAhead)));
}

// The progeny of one sire: 1 + A(sire, dam) / 2.
void find_family(Pedigree& ped, int32_t sire, Vec<double>& ad) {
    const int32_t first = ped.first_progeny(sire), behind = ped.first_progeny(sire + 1);
    if (first == behind) return;
    relate_sire_line(ped, sire);
    relate_mates(ped, first, behind);
    for (int32_t j = first; j < behind; ++j) {
        look_ahead(ped, j, ad);
        const int32_t animal = ped.progeny(j), node = ped.numbers.node_of(animal);
        ad(animal) = 1.0 + 0.5 * ped.nodes(ped.parents(animal).dam).share;
        if (node != 0) ped.diagonal(node) = ad(animal);
    }
}

}  // namespace

NoRoom find_diagonals(Vec<ParentPair>& parents, Vec<double>& ad, Vec<double>& ld) {
    const int64_t n = parents.size();
    Pedigree ped{.parents = parents};
    if (const NoRoom none = make_nodes(ped); none.array != nullptr) return none;
    if (const NoRoom none = gather_families(ped); none.array != nullptr) return none;
    for (int64_t j = 1; j <= n; ++j) ad(j) = 1.0;
    ped.family(0) |= bit_of(0);
    // The families of older sires hold the parents of all ancestors of a sire.
    for (int32_t sire = 1; sire <= ped.numbers.n_nodes; ++sire) find_family(ped, sire, ad);
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
