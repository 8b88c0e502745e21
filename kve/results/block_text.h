// Lines of a long table: several threads make blocks of them, which come out in their order.
#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "kve/shared/number_text.h"
#include "kve/shared/output.h"

namespace kve::companion {

// The text of a block.
class BlockText {
 public:
    void clear() { held_ = 0; }
    void put(char c) {
        *room(1) = c;
        ++held_;
    }
    void put(std::string_view text) {
        if (text.empty()) return;
        std::memcpy(room(text.size()), text.data(), text.size());
        held_ += text.size();
    }
    void put(std::integral auto value) { take(put_number(room(kNumberBytes), value)); }

    // Where so many bytes may be put; `take` tells the end of those that were.
    char* room(std::size_t bytes) {
        if (size_ - held_ < bytes) grow(bytes);
        return text_.get() + held_;
    }
    void take(const char* end) { held_ = static_cast<std::size_t>(end - text_.get()); }

    void replace_last(char c) { text_.get()[held_ - 1] = c; }

    std::string_view view() const { return {text_.get(), held_}; }

 private:
    struct Free {
        void operator()(char* text) const { std::free(text); }
    };

    void grow(std::size_t bytes);

    std::unique_ptr<char, Free> text_;
    std::size_t held_ = 0, size_ = 0;
};

// Puts the text of a block, counted from 0; false when the table ends with it.
using BlockMaker = std::function<bool(int64_t block, BlockText& text)>;

struct BlockPlan {
    int64_t n_blocks;
    std::string source;  // the file that is read, and its bytes
    uintmax_t source_bytes;
    bool is_in_order = false;  // a block can be made when those before are
};

// Each thread has a maker of its own. What a maker throws ends the table ahead of its block and is
// thrown here, the first in the order of blocks.
void put_blocks(Output& out, const BlockPlan& plan, const std::function<BlockMaker()>& new_maker);

}  // namespace kve::companion
