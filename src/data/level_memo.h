// Remembers, tree by tree, what keys met lately led to, so that a repeated key needs no descent.
// Data sorted by a factor and factors of few levels then cost one load a record.
#pragma once

#include <cstdint>

#include "base/arrays.h"

namespace kve {

class LevelMemo {
 public:
    struct Slot {
        int32_t key;
        int32_t value;  // a row or a level
    };

    // Empty memories for trees 1..n.
    [[nodiscard]] int allocate(int64_t n) {
        int status = slots_.allocate(n * kSlots);
        // An empty slot holds a key that belongs elsewhere: 0 lives in slot 0, 1 does not.
        for (int64_t k = 0; k < slots_.size(); k += kSlots) slots_(k).key = 1;
        return status;
    }

    // The one place where the key can be remembered. It holds another key's value while
    // slot.key differs, and the caller then sets both.
    Slot& slot(int64_t tree, int32_t key) { return slots_((tree - 1) * kSlots + place_of(key)); }

    bool is_empty() const { return slots_.size() == 0; }

 private:
    static constexpr int kSlotBits = 10;
    static constexpr int64_t kSlots = int64_t{1} << kSlotBits;

    static constexpr uint32_t place_of(int32_t key) {
        return (static_cast<uint32_t>(key) * 2654435769U) >> (32 - kSlotBits);
    }
    static_assert(kSlotBits < 32);

    Vec<Slot, 0> slots_;  // kSlots a tree
};

}  // namespace kve
