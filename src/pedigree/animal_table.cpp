#include "pedigree/animal_table.h"

#include <utility>

#include "run/growth.h"
#include "run/stop.h"

namespace kve {

WRITES(IDL);
WRITES(NMDL);

namespace {

constexpr const char* kRoutine = "PEDIGREE";

struct Arrival {
    uint32_t id;
    int32_t row;
};

// Rows begin..end-1 in order of arrival, which share the bits below `bit`; the first one becomes
// the child that `link` holds.
struct Subtree {
    int32_t begin, end;
    int32_t* link;
    int bit;
};

// The rows behind the first one, those with a bit of 0 in front of those with 1, each kind in its
// order. Returns where those with 1 begin.
int32_t part_by_bit(Arrival* arrivals, Arrival* ones, const Subtree& tree) {
    Arrival* zero = arrivals + tree.begin + 1;
    Arrival* one = ones;
    for (const Arrival* at = zero; at != arrivals + tree.end; ++at) {
        const Arrival arrival = *at;
        const uint32_t bit = arrival.id >> tree.bit & 1U;
        *zero = *one = arrival;
        zero += bit ^ 1U;
        one += bit;
    }
    const int32_t ones_begin = static_cast<int32_t>(zero - arrivals);
    for (const Arrival* at = ones; at != one; ++at) *zero++ = *at;
    return ones_begin;
}

}  // namespace

int32_t append_animal(LevelIndex& index, int32_t id) {
    if (NMDL >= IDL.size()) ALLOC_MDL(1);
    const int32_t row = ++NMDL;
    IDL(row) = AnimalRow{};
    IDL(row).key = id;
    check_allocated(index.enter(id, row), kRoutine, "ANIMAL INDEX", NMDL);
    return row;
}

void build_animal_tree(int32_t first, int32_t last, int32_t& root, Vec<int32_t>& walk) {
    root = 0;
    const int32_t n = last - first + 1;
    if (n < 1) return;
    Vec<Arrival, 0> arrivals, ones;
    check_allocated(arrivals.allocate(n), kRoutine, "ANIMAL TREE", n);
    check_allocated(ones.allocate(n), kRoutine, "ANIMAL TREE", n);
    check_allocated(walk.allocate(n), kRoutine, "ANIMAL LIST", n);
    for (int32_t k = 0; k < n; ++k)
        arrivals(k) = {static_cast<uint32_t>(IDL(first + k).key), first + k};

    // A subtree leaves at most two behind, one of them taken at once, on at most 31 bits.
    Subtree pending[33];
    int n_pending = 0;
    int32_t walked = 0;
    const auto push = [&](int32_t begin, int32_t end, int32_t* link, int bit) {
        if (begin == end) return;
        expect_row(IDL(arrivals(begin).row));
        pending[n_pending++] = {begin, end, link, bit};
    };
    push(0, n, &root, 0);
    while (n_pending > 0) {
        const Subtree tree = pending[--n_pending];
        const Arrival top = arrivals(tree.begin);
        *tree.link = walk(++walked) = top.row;
        if (tree.end - tree.begin == 1) continue;
        const int32_t ones_begin = part_by_bit(arrivals.data(), ones.data(), tree);
        push(tree.begin + 1, ones_begin, &IDL(top.row).child_0, tree.bit + 1);
        push(ones_begin, tree.end, &IDL(top.row).child_1, tree.bit + 1);
    }
}

}  // namespace kve
