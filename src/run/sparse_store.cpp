#include "run/sparse_store.h"

#include <algorithm>
#include <map>
#include <utility>

#include "run/big_tables.h"
#include "run/growth.h"

namespace kve {

WRITES(IF);
WRITES(IN);
WRITES(IV);
WRITES(AI);
WRITES(N_SPARSE);
READS(DIMENSIONS);

namespace {

// Elements of long rows from which a walk may begin instead of the row's head, by row and column. A
// walk sets one after each kLongWalk elements that it passed, so that no stretch between two of
// them is walked at length twice, in whatever order the columns of the row come. Elements never
// move and are never unlinked, so a milestone stays good until the store is emptied.
constexpr int kLongWalk = 32;
using Place = std::pair<int32_t, int32_t>;
std::map<Place, int32_t> milestones;

// Neighbours of a place in its row.
struct Gap {
    int32_t before;  // last element with a lower column, 0 none
    int32_t at;      // first element whose column is not lower, 0 none
};

// Walks on from `gap` for at most `steps` elements. False when it has not arrived.
bool walk(Gap& gap, int32_t column, int steps) {
    for (; gap.at != 0 && IV(gap.at) < column; --steps) {
        if (steps == 0) return false;
        gap.before = gap.at;
        gap.at = IN(gap.at);
    }
    return true;
}

Gap find_gap(int32_t row, int32_t column) {
    Gap gap{0, IF(row)};
    if (walk(gap, column, kLongWalk)) return gap;
    auto above = milestones.lower_bound(Place{row, column});
    if (above != milestones.begin()) {
        auto [place, element] = *std::prev(above);
        if (place.first == row && place.second > IV(gap.before)) gap = {element, IN(element)};
    }
    while (!walk(gap, column, kLongWalk))
        milestones.emplace(Place{row, IV(gap.before)}, gap.before);
    return gap;
}

}  // namespace

void clear_sparse() {
    IF.fill(0);
    N_SPARSE = 0;
    milestones.clear();
}

void insert_sparse(int32_t i, int32_t j, double value) {
    int32_t row = std::max(i, j);
    int32_t column = std::min(i, j);
    if (column < 1) return;
    if (row > IF.size()) lengthen_row_heads(row);
    Gap gap = find_gap(row, column);
    if (gap.at != 0 && IV(gap.at) == column) {
        AI(gap.at) += value;
        return;
    }
    if (N_SPARSE >= DIMENSIONS.MAXNRM.now) ALLOC_MAXNRM(1);
    int32_t element = ++N_SPARSE;
    AI(element) = value;
    IV(element) = column;
    IN(element) = gap.at;
    (gap.before == 0 ? IF(row) : IN(gap.before)) = element;
}

}  // namespace kve
