// The data that a command puts out, to standard output or to a file.
#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

#include "base/writing_behind.h"
#include "kve/shared/number_text.h"

namespace kve::companion {

// A large output is written by a second thread.
class Output {
 public:
    // Standard output for an empty name.
    explicit Output(const std::string& file);
    Output(const Output&) = delete;
    Output& operator=(const Output&) = delete;
    ~Output();

    void put(char c) {
        if (held_ == kBufferBytes) hand_over();
        buffer_[held_++] = c;
    }
    void put(std::string_view text) {
        if (text.size() > kBufferBytes - held_) return put_in_pieces(text);
        std::memcpy(buffer_ + held_, text.data(), text.size());
        held_ += text.size();
    }
    void put(std::integral auto value) {
        char* at = room(kNumberBytes);
        take(put_number(at, value));
    }

    // Where so many bytes may be put; `take` tells the end of those that were.
    char* room(std::size_t bytes) {
        if (kBufferBytes - held_ < bytes) hand_over();
        return buffer_ + held_;
    }
    void take(const char* end) { held_ = static_cast<std::size_t>(end - buffer_); }

    // What has been put so far, and after it this text, which is written at once. Threads may take
    // turns in it.
    void put_through(std::string_view text);

    // Brings all of it out. Without this call the rest is lost: a command that failed ends early.
    void finish();

 private:
    static constexpr std::size_t kBufferBytes = WritingBehind::kBufferBytes;

    void put_in_pieces(std::string_view text);
    void hand_over();
    void refuse(int error) const;

    std::string name_;
    int descriptor_;
    char* buffer_;
    std::size_t held_ = 0;
    WritingBehind behind_;
};

}  // namespace kve::companion
