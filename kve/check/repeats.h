// Records of the data that stand there again, in a row: a part of a file that was joined to it
// twice.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace kve::companion {

// Of each record 64 bits are kept that its values give, for so many records; of more only those
// with a rare pattern in these bits, wherever they stand: of a part that comes twice, the same
// ones.
class RepeatedRecords {
 public:
    static constexpr std::size_t kMost = std::size_t{1} << 18;
    struct Run {
        int64_t first = 0, last = 0;  // lines
        int64_t back = 0;             // to the lines that they repeat
        int64_t n = 0;                // records known to be the same
    };

    // The record that stands in RECORD.
    void take_record(int64_t line) {
        const uint64_t mark = mark_of_record();
        if ((mark & left_out_) == 0) enter(mark, line);
    }
    void finish() { end_run(); }

    const std::vector<Run>& runs() const { return runs_; }  // the first ones
    bool is_sampled() const { return left_out_ != 0; }

 private:
    struct Slot {
        uint64_t mark = 0;  // 0: empty
        int64_t line = 0;
    };
    static uint64_t mark_of_record();
    void enter(uint64_t mark, int64_t line);
    Slot& slot_of(uint64_t mark);
    void make_room();
    void end_run();

    std::vector<Slot> slots_ = std::vector<Slot>(1024);  // twice what they hold, a power of 2
    std::size_t n_ = 0;
    uint64_t left_out_ = 0;  // bits that are 0 in all that are kept
    Run run_;
    std::vector<Run> runs_;
};

}  // namespace kve::companion
