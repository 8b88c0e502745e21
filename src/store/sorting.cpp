#include "store/sorting.h"

#include <algorithm>
#include <cstdint>

#include "base/asserted.h"
#include "base/state.h"
#include "listing/listing.h"
#include "listing/stop.h"
#include "store/big_tables.h"
#include "store/growth.h"

namespace kve {

WRITES(IFL);
WRITES(IN);
WRITES(IV);

namespace {

// Elements are packed, so that a step of the sort touches one place of the memory and not one in
// each array.
struct OneKey {
    int32_t key;
    int32_t companion;
};

// Two keys that are compared one after the other, as one number of the same order.
struct TwoKeys {
    int64_t key;
    int32_t companion;
};

int64_t join_keys(int32_t first, int32_t second) {
    return int64_t{first} * (int64_t{1} << 32) + (int64_t{second} - INT32_MIN);
}
int32_t first_key(int64_t joined) { return static_cast<int32_t>(joined >> 32); }
int32_t second_key(int64_t joined) {
    return static_cast<int32_t>((joined & 0xffffffff) + INT32_MIN);
}

// Lets `taken` sink from place i into the heap a(i..ir), whose place i is free. Of two children the
// right one goes up unless the left one is greater, and `taken` sinks past equal keys (kept, since
// the order of equal keys is part of the numbering). That road down does not depend on `taken`: it
// is walked to its end, where most elements belong that come from the end of the heap, and back up
// to the place.
template <class Element>
void sink_element(Vec<Element>& a, int64_t i, int64_t ir, Element taken) {
    const int64_t top = i;
    int64_t child = 2 * i;
    while (child < ir) {
        if (child * 8 + 7 <= ir) {  // three generations below
            __builtin_prefetch(&a(child * 8));
            __builtin_prefetch(&a(child * 8 + 7));
        }
        child += a(child).key <= a(child + 1).key ? 1 : 0;
        a(i) = a(child);
        i = child;
        child = 2 * i;
    }
    if (child == ir) {
        a(i) = a(child);
        i = child;
    }
    while (i > top && a(i / 2).key < taken.key) {
        a(i) = a(i / 2);
        i /= 2;
    }
    a(i) = taken;
}

// The classic heap sort, ascending.
template <class Element>
void heap_sort(Vec<Element>& a) {
    const int64_t n = a.size();
    for (int64_t l = n / 2; l >= 1; --l) sink_element(a, l, n, a(l));
    for (int64_t ir = n; ir >= 2; --ir) {
        const Element taken = a(ir);
        a(ir) = a(1);
        sink_element(a, 1, ir - 1, taken);
    }
}

// Kept: the arrays have grown by then, so no run comes here.
[[noreturn]] void stop_outside_work_arrays(int32_t k, int32_t iptr) {
    say("k,size(in),iptr : %12d%12lld%12d", k, static_cast<long long>(IN.size()), iptr);
    stop_run();
}

// The rows of the tree, into IV(1..); IN holds the rows still to be visited. Returns their number,
// 0 for an empty tree.
int32_t list_tree_rows(int32_t root) {
    if (root == 0) return 0;
    int32_t listed = 0;
    int32_t pending = 0;
    IN(++pending) = root;
    while (pending > 0) {
        // A growth of MAXNRM lengthens neither array as long as MDL is above it.
        while (std::max(listed, pending) + 2 >= IN.size()) grow_elements();
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

// The list has the n rows of the tree, ascending, and an end.
void assert_list_is_whole(int32_t head, int32_t n) {
    if constexpr (!kAsserted) return;
    int32_t met = 0;
    for (int32_t row = head; row != 0 && met <= n; row = IFL(row).next) {
        const int32_t next = IFL(row).next;
        KVE_ASSERT(next == 0 || IFL(row).key < IFL(next).key);
        ++met;
    }
    KVE_ASSERT(met == n);
}

}  // namespace

void heap_sort_pairs(int32_t n, int32_t* keys, int32_t* companion) {
    Vec<OneKey> a;
    check_allocated(a.allocate(n), "heap_sort_pairs", "elements", n);
    for (int32_t k = 0; k < n; ++k) a(k + 1) = {keys[k], companion[k]};
    heap_sort(a);
    for (int32_t k = 0; k < n; ++k) {
        keys[k] = a(k + 1).key;
        companion[k] = a(k + 1).companion;
    }
}

void heap_sort_pairs(int32_t n, int32_t* keys, int32_t* second_keys, int32_t* companion) {
    Vec<TwoKeys> a;
    check_allocated(a.allocate(n), "heap_sort_pairs", "elements", n);
    for (int32_t k = 0; k < n; ++k) a(k + 1) = {join_keys(keys[k], second_keys[k]), companion[k]};
    heap_sort(a);
    for (int32_t k = 0; k < n; ++k) {
        keys[k] = first_key(a(k + 1).key);
        second_keys[k] = second_key(a(k + 1).key);
        companion[k] = a(k + 1).companion;
    }
}

int32_t sort_level_list(int32_t root, int32_t& head, int32_t last_number) {
    const int32_t n = list_tree_rows(root);
    sort_rows_by_key(n);
    head = n > 0 ? IV(1) : 0;
    for (int32_t k = 1; k <= n; ++k) {
        LevelRow& row = IFL(IV(k));
        row.next = k < n ? IV(k + 1) : 0;
        row.level = ++last_number;
    }
    assert_list_is_whole(head, n);
    return last_number;
}

int32_t sort_level_list(int32_t root, int32_t& head, int32_t last_number, Vec<int32_t>& rows) {
    const int32_t last = sort_level_list(root, head, last_number);
    const int32_t n = last - last_number;
    check_allocated(rows.allocate(n), "sort_level_list", "rows of the levels", n);
    std::copy_n(IV.begin(), n, rows.begin());
    return last;
}

}  // namespace kve
