// Elements of the sparse store by row and column, found without a walk along the row.
#pragma once

#include <algorithm>
#include <cstdint>
#include <utility>

#include "base/arrays.h"
#include "listing/stop.h"
#include "store/big_tables.h"
#include "store/walks.h"

namespace kve {

// By open addressing. A slot holds the row alone, its element the column.
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
            if (slot.row == row && state::IV(slot.element) == column) return slot.element;
        }
    }

    // The element is linked and has its column.
    void enter(int32_t row, int32_t element) {
        if (4 * (used_ + 1) > 3 * slots_.size()) rebuild(std::max(kFirstSlots, 2 * slots_.size()));
        while (!put({row, element})) {
            factor_ = draw_factor();
            rebuild(slots_.size());
        }
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
        return static_cast<int64_t>(place * factor_ >> 20) & mask_;
    }

    // False when the walk to an empty slot is too long.
    bool put(Slot slot) {
        int64_t at = place_of(slot.row, state::IV(slot.element));
        for (int step = 0; step < kLongestWalk; ++step, at = (at + 1) & mask_) {
            if (slots_(at).element != 0) continue;
            slots_(at) = slot;
            return true;
        }
        return false;
    }

    bool put_all(const Vec<Slot, 0>& slots) {
        for (const Slot& slot : slots)
            if (slot.element != 0 && !put(slot)) return false;
        return true;
    }

    void resize(int64_t n) {
        check_allocated(slots_.allocate(n), "insert_sparse", "ELEMENT INDEX", n);
        mask_ = n - 1;
    }

    void rebuild(int64_t n) {
        const Vec<Slot, 0> before = std::move(slots_);
        for (resize(n); !put_all(before); resize(n)) factor_ = draw_factor();
    }

    Vec<Slot, 0> slots_;
    uint64_t factor_ = 11400714819323198485U;
    int64_t mask_ = 0;
    int64_t used_ = 0;
};

}  // namespace kve
