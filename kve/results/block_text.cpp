#include "kve/results/block_text.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <condition_variable>
#include <exception>
#include <mutex>
#include <new>
#include <thread>

#include "base/helper_thread.h"
#include "kve/files/record_file.h"

namespace kve::companion {

void BlockText::grow(std::size_t bytes) {
    constexpr std::size_t kLeast = std::size_t{1} << 16;
    const std::size_t size = std::max({kLeast, 2 * size_, held_ + bytes});
    auto* text = static_cast<char*>(std::realloc(text_.get(), size));
    if (text == nullptr) throw std::bad_alloc();
    static_cast<void>(text_.release());
    text_.reset(text);
    size_ = size;
}

namespace {

constexpr std::size_t kMostHelpers = 4;

class BlockWriter {
 public:
    BlockWriter(Output& out, const BlockPlan& plan, const std::function<BlockMaker()>& new_maker)
        : out_(out),
          plan_(plan),
          new_maker_(new_maker),
          progress_(plan.source, plan.source_bytes) {}

    // The caller's thread makes blocks too; one is being written while the others make theirs.
    void put_all() {
        {
            std::array<HelperThread, kMostHelpers> helpers;
            const int64_t cores = std::thread::hardware_concurrency();
            const int64_t n = plan_.is_in_order ? 0
                                                : std::min({plan_.n_blocks - 1, std::ssize(helpers),
                                                            std::max(cores - 1, int64_t{1})});
            for (int64_t k = 0; k < n; ++k)
                if (!helpers[static_cast<std::size_t>(k)].start(help, this)) break;
            make_blocks();
        }
        if (fault_) std::rethrow_exception(fault_);
    }

 private:
    static void* help(void* self) {
        static_cast<BlockWriter*>(self)->make_blocks();
        return nullptr;
    }

    void make_blocks() {
        BlockMaker make;
        BlockText text;
        for (;;) {
            const int64_t block = next_++;
            if (block >= plan_.n_blocks) return;
            bool goes_on = true;
            std::exception_ptr fault;
            try {
                if (!make) make = new_maker_();
                text.clear();
                goes_on = make(block, text);
            } catch (...) {
                fault = std::current_exception();
            }
            if (!bring_out(block, text.view(), fault, goes_on)) return;
        }
    }

    // In the order of blocks; false when no more are wanted.
    bool bring_out(int64_t block, std::string_view text, std::exception_ptr fault, bool goes_on) {
        std::unique_lock lock(mutex_);
        turn_has_come_.wait(lock, [&] { return turn_ == block || is_over_; });
        if (is_over_) return false;
        try {
            if (!fault && !text.empty()) out_.put_through(text);
        } catch (...) {
            fault = std::current_exception();
        }
        fault_ = fault;
        is_over_ = fault != nullptr || !goes_on;
        ++turn_;
        progress_.move_to(plan_.source_bytes / static_cast<uintmax_t>(plan_.n_blocks) *
                          static_cast<uintmax_t>(turn_));
        turn_has_come_.notify_all();
        return !is_over_;
    }

    Output& out_;
    const BlockPlan& plan_;
    const std::function<BlockMaker()>& new_maker_;
    std::atomic<int64_t> next_ = 0;  // block to be made
    std::mutex mutex_;               // of all below
    std::condition_variable turn_has_come_;
    int64_t turn_ = 0;  // block to be written
    bool is_over_ = false;
    std::exception_ptr fault_;
    Progress progress_;
};

}  // namespace

void put_blocks(Output& out, const BlockPlan& plan, const std::function<BlockMaker()>& new_maker) {
    BlockWriter(out, plan, new_maker).put_all();
}

}  // namespace kve::companion
