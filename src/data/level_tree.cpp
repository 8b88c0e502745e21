#include "data/level_tree.h"

#include "run/stop.h"

namespace kve {

namespace {

constexpr const char* kRoutine = "LEVEL TREE";

struct Arrival {
    uint32_t key;
    int32_t number;  // from 0, in the order of arrival
};

struct Children {
    int32_t bit_0, bit_1;  // numbers of arrival; the first arrival is nobody's child, so 0 is none
};

// Arrivals begin..end-1, which share the bits below `bit`; the first one is the top.
struct Subtree {
    int32_t begin, end;
    int bit;
};

struct Forest {
    Vec<Arrival, 0> arrivals, ones;
    Vec<Children, 0> children;
    Vec<int32_t, 0> walk;  // numbers of arrival
    int32_t walked = 0;
};

// The arrivals behind the top, those with a bit of 0 in front of those with 1, each kind in its
// order. Returns where those with 1 begin.
int32_t part_by_bit(Forest& f, const Subtree& tree) {
    Arrival* zero = f.arrivals.data() + tree.begin + 1;
    Arrival* one = f.ones.data();
    for (const Arrival* at = zero; at != f.arrivals.data() + tree.end; ++at) {
        const Arrival arrival = *at;
        const uint32_t bit = arrival.key >> tree.bit & 1U;
        *zero = *one = arrival;
        zero += bit ^ 1U;
        one += bit;
    }
    const auto ones_begin = static_cast<int32_t>(zero - f.arrivals.data());
    for (const Arrival* at = f.ones.data(); at != one; ++at) *zero++ = *at;
    return ones_begin;
}

void visit(Forest& f, int32_t number) { f.walk(f.walked++) = number; }

// A top and one below it.
void visit_pair(Forest& f, const Subtree& tree) {
    const Arrival top = f.arrivals(tree.begin), other = f.arrivals(tree.begin + 1);
    Children& children = f.children(top.number);
    ((other.key >> tree.bit & 1U) != 0 ? children.bit_1 : children.bit_0) = other.number;
    visit(f, top.number);
    visit(f, other.number);
}

void link_arrivals(Forest& f) {
    // A subtree leaves at most two behind, one of them taken at once, on at most 31 bits.
    Subtree pending[33];
    int n_pending = 0;
    pending[n_pending++] = {0, static_cast<int32_t>(f.arrivals.size()), 0};
    while (n_pending > 0) {
        const Subtree tree = pending[--n_pending];
        if (tree.end - tree.begin == 2) {
            visit_pair(f, tree);
            continue;
        }
        const int32_t top = f.arrivals(tree.begin).number;
        visit(f, top);
        if (tree.end - tree.begin == 1) continue;
        const int32_t zeros = tree.begin + 1, ones = part_by_bit(f, tree);
        if (zeros < ones) {
            f.children(top).bit_0 = f.arrivals(zeros).number;
            pending[n_pending++] = {zeros, ones, tree.bit + 1};
        }
        if (ones < tree.end) {
            f.children(top).bit_1 = f.arrivals(ones).number;
            pending[n_pending++] = {ones, tree.end, tree.bit + 1};
        }
    }
}

template <class Row>
void build(Vec<Row>& table, Vec<int32_t>& rows, int32_t& root) {
    const int32_t n = static_cast<int32_t>(rows.size());
    root = 0;
    if (n == 0) return;
    Forest f;
    check_allocated(f.arrivals.allocate(n), kRoutine, "ARRIVALS", n);
    check_allocated(f.ones.allocate(n), kRoutine, "ARRIVALS", n);
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
    for (int32_t k = 0; k < n; ++k) rows(k + 1) = f.walk(k);
}

}  // namespace

void build_tree(Vec<LevelRow>& table, Vec<int32_t>& rows, int32_t& root) {
    build(table, rows, root);
}
void build_tree(Vec<AnimalRow>& table, Vec<int32_t>& rows, int32_t& root) {
    build(table, rows, root);
}

}  // namespace kve
