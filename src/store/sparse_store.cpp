#include "store/sparse_store.h"

#include <algorithm>
#include <cstddef>
#include <vector>

#include "base/asserted.h"
#include "base/state.h"
#include "store/growth.h"

namespace kve {

WRITES(IF);
WRITES(IN);
WRITES(IV);
WRITES(AI);
WRITES(N_SPARSE);
WRITES(N_HEADS);
WRITES(FAR_ELEMENTS);
WRITES(ROW_COPY);
READS(DIMENSIONS);

namespace {

// While a row grows, its diagonal element stands first, since it gets most of the additions, and
// the others follow unsorted. A walk passes at most kWalked of them, as a rule those of the
// parents; the ones behind, of mates, are found through FAR_ELEMENTS. So neither the row of a
// parent with 100,000 mates nor that of a large phantom group is ever walked. Elements never move
// and are never unlinked.
constexpr int kWalked = 6;
constexpr std::size_t kShortRow = 16;

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

int32_t append_element(int32_t column, double value) {
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
    link_behind(0, row, append_element(row, value));
}

void add_beside_diagonal(int32_t row, int32_t column, double value) {
    Found found = walk_row(row, column);
    if (found.is_far) found.element = FAR_ELEMENTS.find(row, column);
    if (found.element != 0) {
        AI(found.element) += value;
        return;
    }
    const int32_t element = append_element(column, value);
    link_behind(found.before, row, element);
    if (found.is_far) FAR_ELEMENTS.enter(row, element);
}

// A row has each column once, and none to the right of the diagonal.
void assert_row_is_lower(int32_t row) {
    if constexpr (!kAsserted) return;
    int32_t last = 0;
    for (const SparseElement& element : ROW_COPY) {
        KVE_ASSERT(last < element.column && element.column <= row);
        last = element.column;
    }
}

}  // namespace

void clear_sparse() {
    std::fill_n(IF.begin(), N_HEADS, 0);
    N_HEADS = 0;
    N_SPARSE = 0;
    FAR_ELEMENTS.clear();
}

void claim_elements(int64_t n) {
    clear_sparse();
    while (n > DIMENSIONS.MAXNRM.now) grow_elements();
    N_SPARSE = static_cast<int32_t>(n);
}

void insert_sparse(int32_t i, int32_t j, double value) {
    const int32_t row = std::max(i, j);
    const int32_t column = std::min(i, j);
    if (column < 1) return;
    if (row > IF.size()) lengthen_row_heads(row);
    N_HEADS = std::max(N_HEADS, row);
    if (row == column)
        add_to_diagonal(row, value);
    else
        add_beside_diagonal(row, column, value);
}

void expect_sparse_place(int32_t i, int32_t j) {
    if (std::min(i, j) > 0) FAR_ELEMENTS.expect(std::max(i, j), std::min(i, j));
}

std::span<const SparseElement> sparse_row(int32_t row) {
    ROW_COPY.clear();
    if (row > IF.size()) return ROW_COPY;
    const int32_t head = IF(row);
    const bool has_diagonal = head != 0 && IV(head) == row;
    for (int32_t e = has_diagonal ? IN(head) : head; e != 0; e = IN(e))
        ROW_COPY.push_back({IV(e), AI(e)});
    sort_by_column(ROW_COPY);
    if (has_diagonal) ROW_COPY.push_back({row, AI(head)});
    assert_row_is_lower(row);
    return ROW_COPY;
}

int32_t count_sparse_rows(int32_t n) {
    const auto rows = std::min<int64_t>(n, IF.size());
    return static_cast<int32_t>(rows - std::count(IF.begin(), IF.begin() + rows, 0));
}

}  // namespace kve
