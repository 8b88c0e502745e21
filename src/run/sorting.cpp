#include "run/sorting.h"

#include <algorithm>

#include "run/big_tables.h"
#include "run/growth.h"
#include "run/listing.h"
#include "run/stop.h"

namespace kve {

WRITES(IFL);
WRITES(IN);
WRITES(IV);

namespace {

// One key, or two that are compared one after the other, with a companion; elements 1..n.
struct OneKey {
    struct Element {
        int32_t key, companion;
        bool operator<=(const Element& other) const { return key <= other.key; }
    };
    int32_t* keys;
    int32_t* companions;

    Element operator()(int32_t i) const { return {keys[i - 1], companions[i - 1]}; }
    void put(int32_t i, const Element& e) const {
        keys[i - 1] = e.key;
        companions[i - 1] = e.companion;
    }
};

struct TwoKeys {
    struct Element {
        int32_t first, second, companion;
        bool operator<=(const Element& other) const {
            return first != other.first ? first < other.first : second <= other.second;
        }
    };
    int32_t* keys;
    int32_t* second_keys;
    int32_t* companions;

    Element operator()(int32_t i) const {
        return {keys[i - 1], second_keys[i - 1], companions[i - 1]};
    }
    void put(int32_t i, const Element& e) const {
        keys[i - 1] = e.first;
        second_keys[i - 1] = e.second;
        companions[i - 1] = e.companion;
    }
};

template <class Elements>
void heap_sort(int32_t n, const Elements& a) {
    if (n < 2) return;
    int32_t l = n / 2 + 1;
    int32_t ir = n;
    for (;;) {
        typename Elements::Element taken;
        if (l > 1) {
            taken = a(--l);
        } else {
            taken = a(ir);
            a.put(ir, a(1));
            if (--ir == 1) {
                a.put(1, taken);
                return;
            }
        }
        int32_t i = l;
        // 64 bits: 2i passes 32 bits in a heap of more than 2**30 elements.
        for (int64_t j = 2 * int64_t{i}; j <= ir; j = 2 * int64_t{i}) {
            int32_t child = static_cast<int32_t>(j);
            // Kept: of two equal children the right one goes up, and a taken element goes down
            // past equal ones.
            if (child < ir && a(child) <= a(child + 1)) ++child;
            if (!(taken <= a(child))) break;
            a.put(i, a(child));
            i = child;
        }
        a.put(i, taken);
    }
}

[[noreturn]] void stop_outside_work_arrays(int32_t k, int32_t iptr) {
    say("k,size(in),iptr : %12d%12lld%12d", k, static_cast<long long>(IN.size()), iptr);
    stop_run();
}

// The rows of the tree, into IV(1..); IN holds the rows still to be visited. Returns their number.
int32_t list_tree_rows(int32_t root) {
    int32_t listed = 0;
    int32_t pending = 0;
    IN(++pending) = root;
    while (pending > 0) {
        // A growth of MAXNRM lengthens neither array as long as MDL is above it.
        while (std::max(listed, pending) + 2 >= IN.size()) ALLOC_MAXNRM(1);
        if (listed + 1 > IV.size() || pending + 2 > IN.size())
            stop_outside_work_arrays(listed, pending);
        int32_t row = IN(pending--);
        IV(++listed) = row;
        if (IFL(row).child_1 != 0) IN(++pending) = IFL(row).child_1;
        if (IFL(row).child_0 != 0) IN(++pending) = IFL(row).child_0;
    }
    return listed;
}

// IV(1..n) in ascending order of the rows' keys. The keys of a tree are distinct, so every sort
// gives the same list; of packed words the standard one takes a third of the heap sort's time at
// five million levels, since a heap as large as that jumps through memory.
void sort_rows_by_key(int32_t n) {
    Vec<int64_t> packed;
    check_allocated(packed.allocate(n), "sort_level_list", "keys of the levels", n);
    for (int32_t k = 1; k <= n; ++k)
        packed(k) = int64_t{IFL(IV(k)).key} * (int64_t{1} << 32) + IV(k);
    std::sort(packed.begin(), packed.end());
    for (int32_t k = 1; k <= n; ++k) IV(k) = static_cast<int32_t>(packed(k) & 0xffffffff);
}

}  // namespace

void heap_sort_pairs(int32_t n, int32_t* keys, int32_t* companion) {
    heap_sort(n, OneKey{keys, companion});
}

void heap_sort_pairs(int32_t n, int32_t* keys, int32_t* second_keys, int32_t* companion) {
    heap_sort(n, TwoKeys{keys, second_keys, companion});
}

int32_t sort_level_list(int32_t root, int32_t& head, int32_t last_number) {
    head = 0;
    if (root == 0) return last_number;
    int32_t n = list_tree_rows(root);
    sort_rows_by_key(n);
    head = IV(1);
    for (int32_t k = 1; k <= n; ++k) {
        LevelRow& row = IFL(IV(k));
        row.next = k < n ? IV(k + 1) : 0;
        row.level = ++last_number;
    }
    return last_number;
}

}  // namespace kve
