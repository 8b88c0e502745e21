#include "pedigree/inbreeding.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
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

// An animal with progeny. Only these are visited, so more of them stay in the cache.
struct Node {
    double share;  // with the sire of the family: first T(sire, node) D(node), then A(sire, node)
    double diagonal;  // of A
    int32_t sire, dam;
    int32_t family;  // the sire for whom `share` holds
};

struct Pedigree {
    Vec<ParentPair>& parents;  // by place; nodes
    Vec<Node, 0> nodes{};      // 0 is the unknown parent, with nothing to share
    Vec<int32_t> node_of{};    // by place; 0 without progeny
    Vec<int32_t>
        first_progeny{};     // by sire, and one more: its progeny stand from here in `progeny`
    Vec<int32_t> progeny{};  // places, both parents known, sire by sire
    std::vector<int32_t> line{}, pending{};
};

bool both_known(ParentPair p) { return p.sire > 0 && p.dam > 0; }

// Places follow the list, whatever numbers the levels have.
int32_t place_of(int32_t level, int32_t n, bool from_the_top) {
    return level != 0 && from_the_top ? n + 1 - level : level;
}

int32_t number_nodes(const Vec<ParentPair>& parents, Vec<int32_t>& node_of) {
    for (const ParentPair& p : parents)
        for (int32_t place : {p.sire, p.dam})
            if (place != 0) node_of(place) = 1;
    int32_t last = 0;
    for (int32_t& node : node_of)
        if (node != 0) node = ++last;
    return last;
}

// The parents become nodes.
NoRoom make_nodes(Pedigree& ped) {
    const int32_t n = static_cast<int32_t>(ped.parents.size());
    if (ped.node_of.allocate(n) != 0) return {"NODES", n};
    const int64_t n_nodes = number_nodes(ped.parents, ped.node_of);
    if (ped.nodes.allocate(n_nodes + 1) != 0) return {"NODES", n_nodes + 1};
    const auto node = [&](int32_t place) { return place == 0 ? 0 : ped.node_of(place); };
    for (int32_t j = 1; j <= n; ++j) {
        ParentPair& p = ped.parents(j);
        p = {node(p.sire), node(p.dam)};
        if (ped.node_of(j) != 0) ped.nodes(ped.node_of(j)) = {0.0, 1.0, p.sire, p.dam, 0};
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
    const double parents = ped.nodes(p.sire).diagonal + ped.nodes(p.dam).diagonal;
    return std::max(1.0 - parents * 0.25, 0.0);
}

double mean_of_parents(const Pedigree& ped, const Node& node) {
    return 0.5 * (ped.nodes(node.sire).share + ped.nodes(node.dam).share);
}

// Visits an animal and its ancestors, each after its parents, but for those who are in the family
// already; they are in it then. Nothing is known of how deep a pedigree goes, so there is a stack
// and no recursion.
template <class Visit>
void visit_line(Pedigree& ped, int32_t animal, int32_t family, Visit visit) {
    const auto push = [&](int32_t node) {
        if (node != 0 && ped.nodes(node).family != family) ped.pending.push_back(node);
    };
    push(animal);
    while (!ped.pending.empty()) {
        const int32_t at = ped.pending.back();
        const std::size_t height = ped.pending.size();
        push(ped.nodes(at).sire);
        push(ped.nodes(at).dam);
        if (ped.pending.size() > height) continue;
        ped.pending.pop_back();
        if (ped.nodes(at).family == family) continue;
        visit(at);
        ped.nodes(at).family = family;
    }
}

// Up the sire's line: a share of 1 passes on by halves, and an ancestor's weight is its share times
// its sampling variance. Down again: each adds the mean of its parents.
void relate_sire_line(Pedigree& ped, int32_t sire) {
    ped.line.clear();
    visit_line(ped, sire, sire, [&](int32_t at) {
        ped.nodes(at).share = 0.0;
        ped.line.push_back(at);
    });
    ped.nodes(sire).share = 1.0;
    for (auto at = ped.line.rbegin(); at != ped.line.rend(); ++at) {
        Node& node = ped.nodes(*at);
        for (int32_t parent : {node.sire, node.dam})
            if (parent != 0) ped.nodes(parent).share += 0.5 * node.share;
        node.share *= sampling_variance(ped, {node.sire, node.dam});
    }
    for (int32_t at : ped.line) ped.nodes(at).share += mean_of_parents(ped, ped.nodes(at));
}

// Fetches a mate further on in the family, and its parents, from the memory.
KVE_FETCH void look_ahead(const Pedigree& ped, int32_t j) {
    constexpr int32_t kAhead = 6;
    const auto mate = [&](int32_t k) { return ped.parents(ped.progeny(k)).dam; };
    if (j + 2 * kAhead > ped.progeny.size() || ped.progeny(j + 2 * kAhead) == 0) return;
    __builtin_prefetch(&ped.nodes(mate(j + 2 * kAhead)));
    const Node& soon = ped.nodes(mate(j + kAhead));
    __builtin_prefetch(&ped.nodes(soon.sire));
    __builtin_prefetch(&ped.nodes(soon.dam));
}

// The progeny of one sire: 1 + A(sire, dam) / 2.
void find_family(Pedigree& ped, int32_t sire, Vec<double>& ad) {
    const int32_t first = ped.first_progeny(sire), behind = ped.first_progeny(sire + 1);
    if (first == behind) return;
    relate_sire_line(ped, sire);
    for (int32_t j = first; j < behind; ++j) {
        look_ahead(ped, j);
        const int32_t animal = ped.progeny(j), dam = ped.parents(animal).dam;
        visit_line(ped, dam, sire,
                   [&](int32_t at) { ped.nodes(at).share = mean_of_parents(ped, ped.nodes(at)); });
        ad(animal) = 1.0 + 0.5 * ped.nodes(dam).share;
        if (ped.node_of(animal) != 0) ped.nodes(ped.node_of(animal)).diagonal = ad(animal);
    }
}

}  // namespace

NoRoom find_diagonals(Vec<ParentPair>& parents, Vec<double>& ad, Vec<double>& ld) {
    const int64_t n = parents.size();
    Pedigree ped{.parents = parents};
    if (const NoRoom none = make_nodes(ped); none.array != nullptr) return none;
    if (const NoRoom none = gather_families(ped); none.array != nullptr) return none;
    for (int64_t j = 1; j <= n; ++j) ad(j) = 1.0;
    // The families of older sires hold the parents of all ancestors of a sire.
    for (int32_t sire = 1; sire < ped.nodes.size(); ++sire) find_family(ped, sire, ad);
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
