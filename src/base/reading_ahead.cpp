#include "base/reading_ahead.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>

namespace kve {
namespace {

constexpr std::size_t kBlockBytes = std::size_t{1} << 17;
constexpr std::size_t kAlignment = 8;

}  // namespace

int ReadingAhead::open(MakeRecord make, void* source, std::size_t record_bytes) {
    close();
    make_ = make;
    source_ = source;
    record_bytes_ = (std::max(record_bytes, kAlignment) + kAlignment - 1) / kAlignment * kAlignment;
    block_bytes_ = std::max(kBlockBytes / record_bytes_, std::size_t{1}) * record_bytes_;
    auto* memory = static_cast<std::byte*>(std::malloc(kBlocks * block_bytes_));
    if (memory == nullptr) return ENOMEM;
    for (Block& block : blocks_) {
        block.records = memory;
        memory += block_bytes_;
    }
    return 0;
}

void ReadingAhead::stop() {
    if (thread_.is_running()) {
        is_stopping_ = true;
        emptied_.post();
        thread_.join();
    }
    held_ = -1;
    at_ = end_ = nullptr;
    status_ = 0;
}

void ReadingAhead::close() {
    stop();
    std::free(blocks_[0].records);
    blocks_[0].records = nullptr;
}

void ReadingAhead::make_block(Block& block) const {
    // Copies, since `next` writes to the members all the time.
    const MakeRecord make = make_;
    void* const source = source_;
    const std::size_t record_bytes = record_bytes_;
    std::byte* at = block.records;
    const std::byte* end = at + block_bytes_;
    int32_t status = 0;
    while (at != end && (status = make(source, at)) == 0) at += record_bytes;
    block.end = at;
    block.status = status;
}

// A file that it holds needs no thread.
void ReadingAhead::make_first_block() {
    held_ = 0;
    make_block(blocks_[0]);
    if (blocks_[0].status != 0) return;
    is_stopping_ = false;
    filled_.set(0);
    emptied_.set(kBlocks - 1);
    static_cast<void>(thread_.start(make_blocks, this));
}

void* ReadingAhead::make_blocks(void* self) {
    auto& ahead = *static_cast<ReadingAhead*>(self);
    for (int k = 1;; k = (k + 1) % kBlocks) {
        ahead.emptied_.wait();
        if (ahead.is_stopping_) return nullptr;
        ahead.make_block(ahead.blocks_[k]);
        // After the post the block is the caller's.
        const bool goes_on = ahead.blocks_[k].status == 0;
        ahead.filled_.post();
        if (!goes_on) return nullptr;
    }
}

bool ReadingAhead::take_block() {
    if (status_ != 0) return false;
    if (held_ < 0) {
        make_first_block();
    } else if (thread_.is_running()) {
        emptied_.post();
        filled_.wait();
        held_ = (held_ + 1) % kBlocks;
    } else {
        make_block(blocks_[held_]);
    }
    const Block& block = blocks_[held_];
    at_ = block.records;
    end_ = block.end;
    status_ = block.status;
    if (status_ != 0) thread_.join();
    return at_ != end_;
}

}  // namespace kve
