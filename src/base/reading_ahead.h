// Records of one size, made from a file by a second thread while the run works on those before.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>

#include "base/helper_thread.h"

namespace kve {

// A procedure of the caller makes one record after the other in a ring of blocks; `next` hands them
// out in their order. The thread begins when the first block is full and the file goes on. Where
// none is to be had, `next` makes a block of records whenever the one before is used up: the caller
// sees the same records and the same status.
//
// Until `next` has returned null or `stop` has been called, what the procedure reads from belongs
// to the thread.
class alignas(kCacheLine) ReadingAhead {
 public:
    // Makes the next record at `to`. 0, or a status that ends the reading: nothing is there then.
    using MakeRecord = int32_t (*)(void* source, void* to);

    ReadingAhead() = default;
    ReadingAhead(const ReadingAhead&) = delete;
    ReadingAhead& operator=(const ReadingAhead&) = delete;
    ~ReadingAhead() { close(); }

    // Nothing is read before the first `next`. 0 or the system's error number.
    [[nodiscard]] int open(MakeRecord make, void* source, std::size_t record_bytes);
    // Ends the thread and drops what it has read ahead. The next record is then made from where the
    // caller leaves the source, its beginning as a rule.
    void stop();
    void close();

    // The next record, aligned for numbers of 8 bytes and valid until the next call. Null after the
    // last one: `status` has what ended the reading.
    void* next() {
        if (at_ == end_ && !take_block()) return nullptr;
        void* record = at_;
        at_ += record_bytes_;
        return record;
    }
    int32_t status() const { return status_; }

    // The record that so many calls more of `next` will return, for a first look; null when it is
    // not at hand.
    const void* later(std::ptrdiff_t records) const {
        const auto bytes = records * static_cast<std::ptrdiff_t>(record_bytes_);
        return bytes < end_ - at_ ? at_ + bytes : nullptr;
    }

 private:
    struct Block {
        std::byte* records;
        std::byte* end;
        int32_t status;  // after its last record: 0 when the next block goes on
    };
    static constexpr int kBlocks = 4;

    static void* make_blocks(void* self);
    void make_block(Block& block) const;
    void make_first_block();
    bool take_block();

    MakeRecord make_ = nullptr;
    void* source_ = nullptr;
    std::size_t record_bytes_ = 0;
    std::size_t block_bytes_ = 0;
    Block blocks_[kBlocks]{};
    int held_ = -1;            // the block whose records are handed out; -1 ahead of the first
    std::byte* at_ = nullptr;  // the next record of it
    std::byte* end_ = nullptr;
    int32_t status_ = 0;

    Semaphore filled_, emptied_;  // blocks
    std::atomic<bool> is_stopping_ = false;
    HelperThread thread_;
};

}  // namespace kve
