#include "store/sparse_store.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "listing/stop.h"
#include "store/growth.h"

namespace kve {

WRITES(IF);
WRITES(IN);
WRITES(IV);
WRITES(AI);
WRITES(N_SPARSE);
READS(DIMENSIONS);

namespace {

// While a row grows, its diagonal element stands first, since it gets most of the additions, and
// the others follow unsorted. A walk passes at most kWalked of them, as a rule those of the
// parents; the ones behind, of mates, are found by their place. So neither the row of a parent with
// 100,000 mates nor that of a large phantom group is ever walked. Elements never move and are never
// unlinked.
constexpr int kWalked = 6;
constexpr std::size_t kShortRow = 16;

// Elements by row and column: open addressing. A slot holds the row alone, its element the column.
class ElementIndex {
 public:
    KVE_FETCH void expect(int32_t row, int32_t column) const {
        if (slots_.size() > 0) __builtin_prefetch(&slots_(place_of(row, column)));
    }

    // 0 when there is none.
    int32_t find(int32_t row, int32_t column) const {
        if (used_ == 0) return 0;
        for (int64_t at = place_of(row, column);; at = (at + 1) & mask_) {
            const Slot slot = slots_(at);
            if (slot.element == 0) return 0;
            if (slot.row == row && IV(slot.element) == column) return slot.element;
        }
    }

    // The element is linked and has its column.
    void enter(int32_t row, int32_t element) {
        if (4 * (used_ + 1) > 3 * slots_.size()) grow();
        put({row, element});
        ++used_;
    }

    void clear() {
        slots_.release();
        used_ = 0;
    }

 private:
    struct Slot {
        int32_t row, element;
    };
    static constexpr int64_t kFirstSlots = 1024;

    int64_t place_of(int32_t row, int32_t column) const {
        const uint64_t place = static_cast<uint64_t>(row) << 32 | static_cast<uint32_t>(column);
        return static_cast<int64_t>(place * 11400714819323198485U >> 20) & mask_;
    }

    void put(Slot slot) {
        int64_t at = place_of(slot.row, IV(slot.element));
        while (slots_(at).element != 0) at = (at + 1) & mask_;
        slots_(at) = slot;
    }

    void grow() {
        Vec<Slot, 0> before = std::move(slots_);
        const int64_t n = std::max(kFirstSlots, 2 * before.size());
        check_allocated(slots_.allocate(n), "insert_sparse", "ELEMENT INDEX", n);
        mask_ = n - 1;
        for (const Slot& slot : before)
            if (slot.element != 0) put(slot);
    }

    Vec<Slot, 0> slots_;
    int64_t mask_ = 0;
    int64_t used_ = 0;
};

constinit ElementIndex far_elements;

std::vector<SparseElement> row_copy;

// Most rows have the animal's parents and a few mates.
void sort_by_column(std::vector<SparseElement>& elements) {
    if (elements.size() > kShortRow) {
        std::ranges::sort(elements, {}, &SparseElement::column);
        return;
    }
    for (std::size_t k = 1; k < elements.size(); ++k) {
        const SparseElement element = elements[k];
        std::size_t at = k;
        for (; at > 0 && elements[at - 1].column > element.column; --at)
            elements[at] = elements[at - 1];
        elements[at] = element;
    }
}

int32_t new_element(int32_t column, double value) {
    if (N_SPARSE >= DIMENSIONS.MAXNRM.now) grow_elements();
    const int32_t element = ++N_SPARSE;
    AI(element) = value;
    IV(element) = column;
    return element;
}

void link_behind(int32_t before, int32_t row, int32_t element) {
    int32_t& link = before == 0 ? IF(row) : IN(before);
    IN(element) = link;
    link = element;
}

struct Found {
    int32_t element;  // 0: the row lacks the column, as far as it was walked
    int32_t before;   // the last element passed, 0 for the front of the row
    bool is_far;      // the row goes on behind the walk, or may do so
};

// Looks for a column other than the diagonal.
Found walk_row(int32_t row, int32_t column) {
    int32_t before = 0;
    int32_t at = IF(row);
    if (at != 0 && IV(at) == row) {
        before = at;
        at = IN(at);
    }
    for (int walked = 0; walked < kWalked; ++walked) {
        if (at == 0) return {0, before, false};
        if (IV(at) == column) return {at, before, false};
        before = at;
        at = IN(at);
    }
    return {0, before, true};
}

void add_to_diagonal(int32_t row, double value) {
    const int32_t head = IF(row);
    if (head != 0 && IV(head) == row) {
        AI(head) += value;
        return;
    }
    link_behind(0, row, new_element(row, value));
}

void add_beside_diagonal(int32_t row, int32_t column, double value) {
    Found found = walk_row(row, column);
    if (found.is_far) found.element = far_elements.find(row, column);
    if (found.element != 0) {
        AI(found.element) += value;
        return;
    }
    const int32_t element = new_element(column, value);
    link_behind(found.before, row, element);
    if (found.is_far) far_elements.enter(row, element);
}

}  // namespace

void clear_sparse() {
    IF.fill(0);
    N_SPARSE = 0;
    far_elements.clear();
}

void insert_sparse(int32_t i, int32_t j, double value) {
    const int32_t row = std::max(i, j);
    const int32_t column = std::min(i, j);
    if (column < 1) return;
    if (row > IF.size()) lengthen_row_heads(row);
    if (row == column)
        add_to_diagonal(row, value);
    else
        add_beside_diagonal(row, column, value);
}

void expect_sparse_place(int32_t i, int32_t j) {
    if (std::min(i, j) > 0) far_elements.expect(std::max(i, j), std::min(i, j));
}

std::span<const SparseElement> sparse_row(int32_t row) {
    row_copy.clear();
    if (row > IF.size()) return row_copy;
    const int32_t head = IF(row);
    const bool has_diagonal = head != 0 && IV(head) == row;
    for (int32_t e = has_diagonal ? IN(head) : head; e != 0; e = IN(e))
        row_copy.push_back({IV(e), AI(e)});
    sort_by_column(row_copy);
    if (has_diagonal) row_copy.push_back({row, AI(head)});
    return row_copy;
}

int32_t count_sparse_rows(int32_t n) {
    const auto rows = std::min<int64_t>(n, IF.size());
    return static_cast<int32_t>(rows - std::count(IF.begin(), IF.begin() + rows, 0));
}

}  // namespace kve
