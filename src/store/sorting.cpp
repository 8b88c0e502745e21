#include "store/sorting.h"

#include <algorithm>
#include <bit>
#include <cstdint>

#include "base/asserted.h"
#include "base/memory.h"
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

// An element on its way down the heap a(1..last): the place `at`, `depth` generations below the
// top, is free for it or for what goes up.
template <class Element>
struct Sinking {
    Element element;
    int64_t at, last;
    int depth;
};

// Descendants of a child that two lines of the cache hold and that are near enough to be wanted.
template <class Element>
KVE_FETCH void expect_descendants(const Vec<Element>& a, int64_t child, int64_t last) {
    constexpr int64_t kHeld = 64 / sizeof(Element);
    if (child * kHeld + 2 * kHeld - 1 > last) return;
    __builtin_prefetch(&a(child * kHeld));
    __builtin_prefetch(&a(child * kHeld + 2 * kHeld - 1));
}

constexpr int kStride = 2;  // generations that an element sinks at a time

// Of two children the right one goes up unless the left one is greater, and the element sinks past
// equal keys (kept, since the order of equal keys is part of the numbering). False when the element
// has found its place.
template <class Element>
bool sink_on(Vec<Element>& a, Sinking<Element>& s) {
    for (int generation = 0; generation < kStride; ++generation) {
        int64_t child = 2 * s.at;
        expect_descendants(a, child, s.last);
        if (child < s.last) child += a(child).key <= a(child + 1).key ? 1 : 0;
        if (child > s.last || a(child).key < s.element.key) {
            a(s.at) = s.element;
            return false;
        }
        a(s.at) = a(child);
        s.at = child;
    }
    s.depth += kStride;
    return true;
}

template <class Element>
void build_heap(Vec<Element>& a) {
    for (int64_t l = a.size() / 2; l >= 1; --l) {
        Sinking<Element> sinking{a(l), l, a.size(), 0};
        while (sink_on(a, sinking)) continue;
    }
}

// Whether the element may still come to a place at the end of the heap.
template <class Element>
bool is_above(const Sinking<Element>& s, int64_t place) {
    const int generations = static_cast<int>(std::bit_width(static_cast<uint64_t>(place))) - 1;
    return s.depth <= generations && place >> (generations - s.depth) == s.at;
}

// The classic heap sort, ascending: the top goes behind the heap, whose last element sinks from
// there. In a large heap each generation is a wait for the memory. So the next element does not
// wait until those before it have found their places: what is above them is settled. It waits only
// while one of them is on the way to the place that it comes from itself.
template <class Element>
void heap_sort(Vec<Element>& a) {
    build_heap(a);
    Sinking<Element> under_way[32];  // the oldest first; a heap has 31 generations
    int n_under_way = 0;
    int64_t last = a.size();
    while (last > 1 || n_under_way > 0) {
        int n_left = 0;
        bool waits = false;
        for (int k = 0; k < n_under_way; ++k) {
            if (!sink_on(a, under_way[k])) continue;
            waits = waits || is_above(under_way[k], last);
            under_way[n_left++] = under_way[k];
        }
        n_under_way = n_left;
        if (waits || last <= 1) continue;
        under_way[n_under_way++] = {a(last), 1, last - 1, 0};
        a(last) = a(1);
        --last;
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
