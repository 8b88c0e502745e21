#include "store/level_tree.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <numeric>

#include "listing/stop.h"

namespace kve {

// The road of a key leads down from the top, one bit a node, the lowest bit first, and a key takes
// the first free node of its road. A step takes kStepBits bits of all keys of a subtree. Were it
// two, the keys 6, 3, 4, 5, 1, 2, 7, in this order of arrival, would fall so:
//
//     crown                    6                  node 1
//                    bit 0 = 0   bit 0 = 1
//                      4             3            nodes 2 and 3, the last ones of their roads
//              bit 1 = 0   1     0       1
//     buckets       -     {2}  {5, 1}   {7}       arrivals whose road is taken to its last node
//     by bits      00     10     01     11        bit 1, bit 0
//
// Each bucket is a subtree of its own, in the order of arrival, whose top becomes the child of the
// last node above it; the next step takes its next bits. A bucket of few keys needs no crown.
//
// The walk through a subtree is as long as it has arrivals, so each bucket knows where its own
// begins.
namespace {

constexpr const char* kRoutine = "LEVEL TREE";
constexpr int kStepBits = 8;  // bits that a step takes at once
constexpr int kKeyBits = 31;  // after them every bit is 0, and the keys differ before
constexpr int32_t kFew = 64;  // arrivals that are entered one by one
constexpr int32_t kNone = -1;

struct Arrival {
    uint32_t key;
    int32_t number;  // from 0, in the order of arrival
};

struct Children {
    int32_t bit_0, bit_1;  // numbers of arrival; the first arrival is nobody's child, so 0 is none
};

// Arrivals begin..end-1 in their order, which share the bits below `bit`. They belong below arrival
// `parent`, kNone at the root, on the branch of the bit before, and from `place` on in the walk.
struct Subtree {
    int32_t begin, end, parent, place;
    int bit;
};

struct Forest {
    Vec<Arrival, 0> arrivals, sorted;
    Vec<Children, 0> children;
    Vec<int32_t, 0> walk;  // numbers of arrival
};

void link_child(Forest& f, int32_t parent, bool branch, int32_t number) {
    if (parent == kNone) return;
    (branch ? f.children(parent).bit_1 : f.children(parent).bit_0) = number;
}

bool bit_of(uint32_t key, int bit) { return (key >> bit & 1U) != 0; }

void walk_tree(Forest& f, int32_t top, int32_t place) {
    int32_t pending[kFew];  // both children of the rows of a path
    int n_pending = 0;
    pending[n_pending++] = top;
    while (n_pending > 0) {
        const int32_t at = pending[--n_pending];
        f.walk(place++) = at;
        for (int32_t child : {f.children(at).bit_0, f.children(at).bit_1})
            if (child != 0) pending[n_pending++] = child;
    }
}

// The first arrival becomes the top, and the others descend from it.
void enter_few_arrivals(Forest& f, const Subtree& tree) {
    const Arrival top = f.arrivals(tree.begin);
    link_child(f, tree.parent, tree.bit > 0 && bit_of(top.key, tree.bit - 1), top.number);
    for (int32_t k = tree.begin + 1; k < tree.end; ++k) {
        const Arrival arrival = f.arrivals(k);
        int32_t at = top.number;
        for (int bit = tree.bit;; ++bit) {
            Children& children = f.children(at);
            int32_t& child = bit_of(arrival.key, bit) ? children.bit_1 : children.bit_0;
            if (child == 0) {
                child = arrival.number;
                break;
            }
            at = child;
        }
    }
    walk_tree(f, top.number, tree.place);
}

constexpr uint32_t kBuckets = 1U << kStepBits;

// The uppermost nodes of a subtree: node 1 is its top, nodes 2n and 2n + 1 are the children of node
// n. An arrival takes the first free node of its road.
struct Crown {
    int32_t number[kBuckets];

    Crown() { std::fill(std::begin(number), std::end(number), kNone); }
};

// The node at the end of each road, which is taken when all nodes before it are. A road has the
// bits of a key, the lowest first.
constexpr auto kLastNodes = [] {
    std::array<uint32_t, kBuckets> nodes{};
    for (uint32_t bits = 0; bits < kBuckets; ++bits) {
        nodes[bits] = 1;
        for (int k = 0; k < kStepBits - 1; ++k) nodes[bits] = 2 * nodes[bits] + (bits >> k & 1U);
    }
    return nodes;
}();

// Buckets are numbered on from the nodes: below the last node of their road.
uint32_t node_of_bucket(uint32_t bits) { return 2 * kLastNodes[bits] + (bits >> (kStepBits - 1)); }

// A step under way: the arrivals of a subtree that find no place in its crown go into buckets by
// the bits of the step.
struct Step {
    const Subtree& tree;
    Crown crown{};
    int32_t size[kBuckets] = {};  // of the buckets
    int32_t kept = tree.begin;    // behind the arrivals that are in them

    uint32_t bits_of(const Arrival& arrival) const {
        return arrival.key >> tree.bit & (kBuckets - 1);
    }
    int32_t last_on_road(uint32_t bits) const { return crown.number[kLastNodes[bits]]; }
};

// Where the walk comes to the nodes of a crown and to the buckets below.
struct CrownPlaces {
    int32_t place[2 * kBuckets];

    explicit CrownPlaces(const Step& step) {
        int32_t arrivals[2 * kBuckets];  // at a node and below it
        for (uint32_t bits = 0; bits < kBuckets; ++bits)
            arrivals[node_of_bucket(bits)] = step.size[bits];
        for (std::size_t node = kBuckets - 1; node > 0; --node)
            arrivals[node] = (step.crown.number[node] != kNone ? 1 : 0) + arrivals[2 * node] +
                             arrivals[2 * node + 1];
        place[1] = step.tree.place;
        for (std::size_t node = 1; node < kBuckets; ++node) {
            place[2 * node + 1] = place[node] + 1;
            place[2 * node] = place[node] + 1 + arrivals[2 * node + 1];
        }
    }
};

void link_in_crown(Forest& f, Step& step, const Arrival& arrival) {
    const uint32_t bits = step.bits_of(arrival);
    uint32_t node = 1;
    int depth = 0;
    int32_t parent = step.tree.parent;
    for (; step.crown.number[node] != kNone; ++depth) {
        parent = step.crown.number[node];
        node = 2 * node + (bits >> depth & 1U);
    }
    step.crown.number[node] = arrival.number;
    const int bit = step.tree.bit + depth;
    link_child(f, parent, bit > 0 && bit_of(arrival.key, bit - 1), arrival.number);
}

// Links the arrivals that find a place in the crown, and counts the others.
void fill_crown(Forest& f, Step& step) {
    for (int32_t k = step.tree.begin; k < step.tree.end; ++k) {
        const Arrival arrival = f.arrivals(k);
        const uint32_t bits = step.bits_of(arrival);
        if (step.last_on_road(bits) == kNone) {
            link_in_crown(f, step, arrival);
            continue;
        }
        ++step.size[bits];
        f.arrivals(step.kept++) = arrival;
    }
}

// The arrivals of a bucket follow each other, in the order in which they came.
void fill_buckets(Forest& f, const Step& step) {
    int32_t place[kBuckets];
    std::exclusive_scan(std::begin(step.size), std::end(step.size), place, step.tree.begin);
    for (int32_t k = step.tree.begin; k < step.kept; ++k) {
        const Arrival arrival = f.arrivals(k);
        f.sorted(place[step.bits_of(arrival)]++) = arrival;
    }
    std::copy(f.sorted.begin() + step.tree.begin, f.sorted.begin() + step.kept,
              f.arrivals.begin() + step.tree.begin);
}

// Takes a step. The subtrees that the buckets are go to `below`.
template <class Push>
void take_step(Forest& f, const Subtree& tree, const Push& below) {
    Step step{.tree = tree};
    fill_crown(f, step);
    const CrownPlaces in_walk(step);
    for (uint32_t node = 1; node < kBuckets; ++node)
        if (step.crown.number[node] != kNone) f.walk(in_walk.place[node]) = step.crown.number[node];
    fill_buckets(f, step);
    int32_t begin = tree.begin;
    for (uint32_t bits = 0; bits < kBuckets; ++bits) {
        const int32_t end = begin + step.size[bits];
        if (end > begin)
            below(Subtree{begin, end, step.last_on_road(bits), in_walk.place[node_of_bucket(bits)],
                          tree.bit + kStepBits});
        begin = end;
    }
}

void link_arrivals(Forest& f) {
    // Each step leaves at most a bucket for each value of its bits, one of them taken at once.
    Subtree pending[(kKeyBits / kStepBits + 1) << kStepBits];
    int n_pending = 0;
    const auto push = [&](const Subtree& tree) { pending[n_pending++] = tree; };
    push({0, static_cast<int32_t>(f.arrivals.size()), kNone, 0, 0});
    while (n_pending > 0) {
        const Subtree tree = pending[--n_pending];
        if (tree.end - tree.begin <= kFew)
            enter_few_arrivals(f, tree);
        else
            take_step(f, tree, push);
    }
}

template <class Row>
void link_rows(Vec<Row>& table, Vec<int32_t>& rows, int32_t& root) {
    const int32_t n = static_cast<int32_t>(rows.size());
    root = 0;
    if (n == 0) return;
    Forest f;
    check_allocated(f.arrivals.allocate(n), kRoutine, "ARRIVALS", n);
    check_allocated(f.sorted.allocate(n), kRoutine, "ARRIVALS", n);
    check_allocated(f.children.allocate(n), kRoutine, "CHILDREN", n);
    check_allocated(f.walk.allocate(n), kRoutine, "WALK", n);
    for (int32_t k = 0; k < n; ++k)
        f.arrivals(k) = {static_cast<uint32_t>(table(rows(k + 1)).key), k};
    link_arrivals(f);
    const auto row_of = [&](int32_t number) { return number != 0 ? rows(number + 1) : 0; };
    for (int32_t k = 0; k < n; ++k) {
        table(rows(k + 1)).child_0 = row_of(f.children(k).bit_0);
        table(rows(k + 1)).child_1 = row_of(f.children(k).bit_1);
    }
    root = rows(1);
    for (int32_t& number : f.walk) number = rows(number + 1);
    std::copy(f.walk.begin(), f.walk.end(), rows.begin());
}

}  // namespace

void build_tree(Vec<LevelRow>& table, Vec<int32_t>& rows, int32_t& root) {
    link_rows(table, rows, root);
}
void build_tree(Vec<AnimalRow>& table, Vec<int32_t>& rows, int32_t& root) {
    link_rows(table, rows, root);
}

}  // namespace kve
