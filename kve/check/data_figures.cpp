#include "kve/check/data_figures.h"

#include <algorithm>
#include <new>

#include "base/state.h"
#include "data/raw_record.h"

namespace kve::companion {

READS(RECORD);

void ClassColumn::enter_waiting() {
    if (waiting == 0) return;
    ++n_records;
    LevelSlot* slot = levels.find(waiting);
    if (slot == nullptr) {
        if (levels.enter(waiting, 0) != 0) throw std::bad_alloc();
        slot = levels.find(waiting);
        ++n_levels;
    }
    ++slot->n;
    slot->traits |= of_waiting;
    waiting = 0;
}

void ClassColumn::take_record(TraitPattern usable) {
    enter_waiting();
    const int32_t identity = RECORD.IINP(column);
    if ((traits & usable) == 0 || identity < 1) return;
    waiting = identity;
    of_waiting = usable;
    levels.expect(identity);
}

const ClassColumn* DataFigures::class_column(int32_t column) const {
    const auto found = std::ranges::find(classes, column, &ClassColumn::column);
    return found == classes.end() ? nullptr : &*found;
}

int64_t DataFigures::count_levels(int32_t column) const {
    const ClassColumn* found = class_column(column);
    return found == nullptr ? 0 : found->n_levels;
}

}  // namespace kve::companion
