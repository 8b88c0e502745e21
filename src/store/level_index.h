// What the keys of one tree led to when they were met before, a row or a level, found without a
// descent: a descent touches one row of the table a bit, all over the memory.
#pragma once

#include <cstdint>

#include "base/arrays.h"
#include "store/walks.h"

namespace kve {

struct IndexSlot {
    int32_t key;
    int32_t value_behind;  // the value and 1; 0 in an empty slot, as memory comes

    bool is_empty() const { return value_behind == 0; }
    int32_t value() const { return value_behind - 1; }
};
struct CountingSlot : IndexSlot {
    int32_t n_met;  // for the user to count in, 0 at first
};

template <class SlotType>
class KeyIndex {
 public:
    using Slot = SlotType;

    // Empty, with room for so many keys before it must grow; room that is not used costs nothing.
    // Needed before the first use.
    [[nodiscard]] int allocate(int64_t keys = 0) {
        int bits = kFirstBits;
        while (bits < 31 && kFullest * (int64_t{1} << bits) < kOf * keys) ++bits;
        return rebuild(bits);
    }

    // The slot of the key, valid until the next enter(), or null.
    Slot* find(int32_t key) {
        for (uint32_t at = place_of(key);; at = (at + 1) & mask_) {
            Slot& slot = slots_(at);
            if (slot.is_empty()) return nullptr;
            if (slot.key == key) return &slot;
        }
    }

    // The key will be looked for soon: a large index then costs no wait for the memory.
    KVE_FETCH void expect(int32_t key) const { __builtin_prefetch(&slots_(place_of(key))); }

    // Remembers 0 or more for a key that is absent. A status other than 0: no memory to grow.
    [[nodiscard]] int enter(int32_t key, int32_t value) {
        int status = 0;
        if (kOf * (used_ + 1) > kFullest * slots_.size()) status = rebuild(32 - shift_ + 1);
        Slot slot{};
        slot.key = key;
        slot.value_behind = value + 1;
        while (status == 0 && !put(slot)) {
            take_other_factor();
            status = rebuild(32 - shift_);
        }
        return status;
    }

    // All slots, empty ones among them.
    const Vec<Slot, 0>& slots() const { return slots_; }

 private:
    static constexpr int kFirstBits = 6;
    static constexpr int64_t kFullest = 3, kOf = 4;  // three of four slots are in use at most

    // The high bits of the product depend on all bits of the key.
    uint32_t place_of(int32_t key) const { return static_cast<uint32_t>(key) * factor_ >> shift_; }

    void take_other_factor() { factor_ = static_cast<uint32_t>(draw_factor()); }

    // False when the walk to an empty slot is too long.
    bool put(const Slot& slot) {
        uint32_t at = place_of(slot.key);
        for (int step = 0; step < kLongestWalk; ++step, at = (at + 1) & mask_) {
            if (!slots_(at).is_empty()) continue;
            slots_(at) = slot;
            ++used_;
            return true;
        }
        return false;
    }

    bool put_all(const Vec<Slot, 0>& slots) {
        for (const Slot& slot : slots)
            if (!slot.is_empty() && !put(slot)) return false;
        return true;
    }

    int resize(int bits) {
        if (bits > 31) return kNoMemory;
        int status = slots_.allocate(int64_t{1} << bits);
        if (status != 0) return status;
        shift_ = 32 - bits;
        mask_ = (uint32_t{1} << bits) - 1;
        used_ = 0;
        return 0;
    }

    int rebuild(int bits) {
        Vec<Slot, 0> before;
        std::swap(before, slots_);
        int status = resize(bits);
        while (status == 0 && !put_all(before)) {
            take_other_factor();
            status = resize(bits);
        }
        return status;
    }

    Vec<Slot, 0> slots_;
    uint32_t factor_ = 2654435769U;
    int shift_ = 32 - kFirstBits;
    uint32_t mask_ = 0;
    int64_t used_ = 0;
};

using LevelIndex = KeyIndex<IndexSlot>;
using CountingIndex = KeyIndex<CountingSlot>;

}  // namespace kve
