#include "kve/check/repeats.h"

#include <cstring>
#include <utility>

#include "base/state.h"
#include "data/raw_record.h"
#include "kve/check/thresholds.h"

namespace kve::companion {

READS(RECORD);

namespace {

constexpr uint64_t kMixer = 0x9E3779B97F4A7C15;  // the golden ratio, as a fraction of 2**64

template <class Value>
uint64_t mixed(uint64_t mark, const Value* values, int64_t n) {
    static_assert(sizeof(Value) == 4);
    for (int64_t k = 0; k < n; k += 2) {
        uint64_t word = 0;
        std::memcpy(&word, values + k, k + 1 < n ? 8 : 4);
        mark = (mark ^ word) * kMixer;
        mark ^= mark >> 32;
    }
    return mark;
}

}  // namespace

uint64_t RepeatedRecords::mark_of_record() {
    uint64_t mark = mixed(kMixer, RECORD.IINP.data(), RECORD.IINP.size());
    mark = mixed(mark, RECORD.FINP.data(), RECORD.FINP.size()) * kMixer;
    mark ^= mark >> 29;
    return mark != 0 ? mark : kMixer;
}

RepeatedRecords::Slot& RepeatedRecords::slot_of(uint64_t mark) {
    const std::size_t end = slots_.size() - 1;
    std::size_t at = (mark >> 32) & end;
    while (slots_[at].mark != 0 && slots_[at].mark != mark) at = (at + 1) & end;
    return slots_[at];
}

// More room, or half of the records.
void RepeatedRecords::make_room() {
    std::vector<Slot> before(n_ < kMost ? 2 * slots_.size() : slots_.size());
    if (n_ >= kMost) left_out_ = 2 * left_out_ + 1;
    std::swap(before, slots_);
    n_ = 0;
    for (const Slot& slot : before) {
        if (slot.mark == 0 || (slot.mark & left_out_) != 0) continue;
        slot_of(slot.mark) = slot;
        ++n_;
    }
}

void RepeatedRecords::enter(uint64_t mark, int64_t line) {
    Slot& met = slot_of(mark);
    if (met.mark == 0) {
        met = {mark, line};
        end_run();
        if (2 * ++n_ >= slots_.size()) make_room();
        return;
    }
    const int64_t back = line - met.line;
    if (run_.n == 0 || back != run_.back) {
        end_run();
        run_ = {.first = line, .back = back};
    }
    run_.last = line;
    ++run_.n;
}

// One record, or two, may well be like another one.
void RepeatedRecords::end_run() {
    if (run_.n >= kFewestRepeated && runs_.size() < kMostRepeatedRuns) runs_.push_back(run_);
    run_ = {};
}

}  // namespace kve::companion
