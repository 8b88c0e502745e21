#include "store/sorting.h"

#include <algorithm>
#include <bit>
#include <cstdint>
#include <iterator>
#include <limits>
#include <numeric>
#include <utility>

#include "base/asserted.h"
#include "base/memory.h"
#include "base/state.h"
#include "listing/listing.h"
#include "listing/stop.h"
#include "store/big_tables.h"
#include "store/growth.h"

namespace kve {

WRITES(IFL);
READS(IN);
WRITES(IV);

namespace {

// A key and its companion in one number, where they fit: a step of the sort touches one place of
// the memory and not one in each array, and eight elements lie in a line of the cache.
using Packed = uint64_t;
uint64_t key_of(Packed element, int companion_bits) { return element >> companion_bits; }

struct Wide {
    uint64_t key;
    int32_t companion;
};
uint64_t key_of(const Wide& element, int) { return element.key; }

// Element i has the children 2i and 2i + 1; with a spare one in front they share a line.
template <class Element>
struct Heap {
    Vec<Element, 0>& a;
    int companion_bits;

    int64_t size() const { return a.size() - 1; }
    uint64_t key(int64_t i) const { return key_of(a(i), companion_bits); }
};

int bits_of(uint64_t number) { return static_cast<int>(std::bit_width(number)); }

int generation_of(int64_t place) { return bits_of(static_cast<uint64_t>(place)) - 1; }

// An element on its way down the heap 1..last: the place `at` is free for it or for what goes up.
// What changes on the way stands apart: copied in one piece with the rest, a processor would wait
// until all that is written before is in the cache.
template <class Element>
struct Sinking {
    Element element;
    int64_t last;
    int64_t at;
};

// The descendants of a child that a line of the cache holds, near enough to be wanted.
template <class Element>
KVE_FETCH void expect_descendants(const Heap<Element>& heap, int64_t child, int64_t last) {
    constexpr int64_t kHeld = 64 / sizeof(Element);
    if (child * kHeld <= last) __builtin_prefetch(&heap.a(child * kHeld));
}

// Of two children the right one goes up unless the left one is greater, and the element sinks past
// equal keys (kept, since the order of equal keys is part of the numbering). False when the element
// has found its place.
template <class Element>
bool sink_below(Heap<Element>& heap, Sinking<Element>& s, int64_t child) {
    const bool found = heap.key(child) < key_of(s.element, heap.companion_bits);
    heap.a(s.at) = found ? s.element : heap.a(child);
    if (!found) s.at = child;
    return !found;
}

// By a generation, where all places of it have two children.
template <class Element>
bool sink_on(Heap<Element>& heap, Sinking<Element>& s) {
    int64_t child = 2 * s.at;
    child += heap.key(child) <= heap.key(child + 1) ? 1 : 0;
    expect_descendants(heap, child, s.last);
    return sink_below(heap, s, child);
}

template <class Element>
void sink_to_the_end(Heap<Element>& heap, Sinking<Element>& s) {
    for (int64_t child = 2 * s.at; child <= s.last; child = 2 * s.at) {
        if (child < s.last) child += heap.key(child) <= heap.key(child + 1) ? 1 : 0;
        if (!sink_below(heap, s, child)) return;
    }
    heap.a(s.at) = s.element;
}

template <class Element>
void build_heap(Heap<Element>& heap) {
    for (int64_t l = heap.size() / 2; l >= 1; --l) {
        Sinking<Element> sinking = {heap.a(l), heap.size(), l};
        sink_to_the_end(heap, sinking);
    }
}

// Whether what is at the place may still come to the last one of the heap, of this generation.
bool is_above(int64_t at, int64_t last, int generation) {
    const int below = generation - generation_of(at);
    return below >= 0 && last >> below == at;
}

// The elements on their way, the oldest first: one a generation at most, of which a heap has 31.
template <class Element>
struct UnderWay {
    Sinking<Element> elements[32];
    int n = 0;
};

// All of them sink on, and those that find their places are gone. True when one may still come to
// the last place of the heap.
template <class Element>
bool sink_all(Heap<Element>& heap, UnderWay<Element>& under_way, int64_t last) {
    const int generation = generation_of(last), n = std::exchange(under_way.n, 0);
    bool waits = false;
    for (int k = 0; k < n; ++k) {
        Sinking<Element>& s = under_way.elements[k];
        if (generation_of(s.at) + 1 >= generation_of(s.last)) {
            sink_to_the_end(heap, s);
            continue;
        }
        if (!sink_on(heap, s)) continue;
        waits = waits || is_above(s.at, last, generation);
        under_way.elements[under_way.n++] = s;
    }
    return waits;
}

// The classic heap sort, ascending: the top goes behind the heap, whose last element sinks from
// there. In a large heap each generation is a wait for the memory. So the next element does not
// wait until those before it have found their places: what is above them is settled. It waits only
// while one of them is on the way to the place that it comes from itself.
template <class Element>
void heap_sort(Heap<Element> heap) {
    build_heap(heap);
    UnderWay<Element> under_way;
    int64_t last = heap.size();
    while (last > 1 || under_way.n > 0) {
        const bool waits = sink_all(heap, under_way, last);
        if (waits || last <= 1) continue;
        under_way.elements[under_way.n++] = {heap.a(last), last - 1, 1};
        heap.a(last) = heap.a(1);
        --last;
    }
}

struct Range {
    int64_t lowest = std::numeric_limits<int64_t>::max();
    int64_t highest = std::numeric_limits<int64_t>::min();

    void take(int64_t value) {
        lowest = std::min(lowest, value);
        highest = std::max(highest, value);
    }
    uint64_t size() const { return static_cast<uint64_t>(highest - lowest) + 1; }
};

// Leaves out of the keys what none of them uses, and puts them in front of the companions. Returns
// the bits of a companion; 0 when that does not fit, and then the keys are as they were.
int pack_keys(SortKeys& keys, const Vec<int32_t>& companions) {
    Range first, second, companion;
    for (int64_t k = 1; k < keys.size(); ++k) {
        first.take(static_cast<int64_t>(keys(k) >> 32));
        second.take(static_cast<int64_t>(keys(k) & 0xffffffff));
        companion.take(companions(k));
    }
    const int bits = bits_of(static_cast<uint64_t>(companion.highest));
    uint64_t distinct = 0;
    if (__builtin_mul_overflow(first.size(), second.size(), &distinct)) return 0;
    if (bits_of(distinct - 1) + bits > 64) return 0;
    const auto lowest_first = static_cast<uint64_t>(first.lowest);
    const auto lowest_second = static_cast<uint64_t>(second.lowest);
    for (int64_t k = 1; k < keys.size(); ++k) {
        const uint64_t key = ((keys(k) >> 32) - lowest_first) * second.size() +
                             ((keys(k) & 0xffffffff) - lowest_second);
        keys(k) = key << bits | static_cast<uint64_t>(companions(k));
    }
    return bits;
}

void sort_packed(SortKeys& keys, int companion_bits, Vec<int32_t>& companions) {
    heap_sort(Heap<Packed>{keys, companion_bits});
    const uint64_t mask = (uint64_t{1} << companion_bits) - 1;
    for (int64_t k = 1; k < keys.size(); ++k) companions(k) = static_cast<int32_t>(keys(k) & mask);
}

void sort_wide(const SortKeys& keys, Vec<int32_t>& companions) {
    Vec<Wide, 0> a;
    check_allocated(a.allocate(keys.size()), "heap_sort_pairs", "elements", keys.size());
    for (int64_t k = 1; k < keys.size(); ++k) a(k) = {keys(k), companions(k)};
    heap_sort(Heap<Wide>{a, 0});
    for (int64_t k = 1; k < keys.size(); ++k) companions(k) = a(k).companion;
}

// Kept: the arrays have grown by then, so no run comes here.
[[noreturn]] void stop_outside_work_arrays(int32_t k, int32_t iptr) {
    say("k,size(in),iptr : %12d%12lld%12d", k, static_cast<long long>(IN.size()), iptr);
    stop_run();
}

KVE_FETCH void expect_level(int32_t k, int32_t n) {
    constexpr int32_t kAhead = 16;
    if (k + kAhead <= n) __builtin_prefetch(&IFL(IV(k + kAhead)));
}

// The rows of the tree, into IV(1..), generation by generation. Returns their number, 0 for an
// empty tree. A walk that leaves the branches of bit 1 for later would need two entries more of IN.
int32_t list_tree_rows(int32_t root) {
    if (root == 0) return 0;
    int32_t met = 1;
    for (int32_t k = 1; k <= met; ++k) {
        // A growth of MAXNRM lengthens neither array as long as MDL is above it.
        while (std::max(met - 1, 1) + 2 >= IN.size()) grow_elements();
        if (met + 2 > IV.size()) stop_outside_work_arrays(k, met);
        if (k == 1) IV(1) = root;
        expect_level(k, met);
        const LevelRow& row = IFL(IV(k));
        if (row.child_1 != 0) IV(++met) = row.child_1;
        if (row.child_0 != 0) IV(++met) = row.child_0;
    }
    return met;
}

// By their upper halves, which are distinct: a digit after the other, the lowest first.
void sort_words(Vec<uint64_t>& words) {
    constexpr int kDigitBits = 8;
    constexpr int64_t kFew = 2000;
    if (words.size() < kFew) return std::sort(words.begin(), words.end());
    Vec<uint64_t> sorted;
    check_allocated(sorted.allocate(words.size()), "sort_level_list", "sorted keys", words.size());
    for (int shift = 32; shift < 64; shift += kDigitBits) {
        const auto digit = [=](uint64_t word) { return word >> shift & ((1U << kDigitBits) - 1); };
        int64_t place[(1 << kDigitBits) + 1] = {1};
        for (const uint64_t word : words) ++place[digit(word) + 1];
        std::partial_sum(std::begin(place), std::end(place), std::begin(place));
        for (const uint64_t word : words) sorted(place[digit(word)]++) = word;
        std::swap(words, sorted);
    }
}

// IV(1..n) in ascending order of the rows' keys. The keys of a tree are distinct, so every sort
// gives the same list.
void sort_rows_by_key(int32_t n) {
    Vec<uint64_t> words;
    check_allocated(words.allocate(n), "sort_level_list", "keys of the levels", n);
    for (int32_t k = 1; k <= n; ++k) {
        expect_level(k, n);
        words(k) = join_keys(IFL(IV(k)).key, 0) & ~uint64_t{0xffffffff};
        words(k) |= static_cast<uint32_t>(IV(k));
    }
    sort_words(words);
    for (int32_t k = 1; k <= n; ++k) IV(k) = static_cast<int32_t>(words(k));
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

void heap_sort_pairs(SortKeys& keys, Vec<int32_t>& companions) {
    if (keys.size() <= 2) return;
    const int companion_bits = pack_keys(keys, companions);
    if (companion_bits > 0)
        sort_packed(keys, companion_bits, companions);
    else
        sort_wide(keys, companions);
}

int32_t sort_level_list(int32_t root, int32_t& head, int32_t last_number) {
    const int32_t n = list_tree_rows(root);
    sort_rows_by_key(n);
    head = n > 0 ? IV(1) : 0;
    for (int32_t k = 1; k <= n; ++k) {
        expect_level(k, n);
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
