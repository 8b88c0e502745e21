// The data that a command puts out, to standard output or to a file.
#pragma once

#include <bit>
#include <charconv>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "base/writing_behind.h"

namespace kve::companion {

// What the text of any number needs.
inline constexpr std::size_t kNumberBytes = 24;

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
        take(std::to_chars(at, at + kNumberBytes, value).ptr);
    }

    // Where so many bytes may be put; `take` tells the end of those that were.
    char* room(std::size_t bytes) {
        if (kBufferBytes - held_ < bytes) hand_over();
        return buffer_ + held_;
    }
    void take(const char* end) { held_ = static_cast<std::size_t>(end - buffer_); }

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

// Reals of at most six digits, the last of them in the first four decimals at most, in the shortest
// text that gives them back. The values of a column are as a rule of one precision.
class ShortDecimals {
 public:
    // At `at`; where the text ends, or null for any other real.
    char* put(char* at, float value);

 private:
    std::size_t decimals_ = 0;  // the most that a value has needed
    int n_others_ = 0;          // in a row
};

// Reals in the shortest text that gives them back. Matrices and data hold the same few values over
// and over, so that the texts of the last ones are kept.
template <std::floating_point Real>
class RealTexts {
 public:
    // At `at` with room for kNumberBytes; where the text ends.
    char* put(char* at, Real value) {
        const Kept& kept = text_of(value);
        std::memcpy(at, kept.text, kNumberBytes);  // all of it: that is two instructions
        return at + kept.size;
    }

 private:
    static constexpr int kLog = 12;
    struct Kept {
        Real value;
        unsigned char size;
        char text[kNumberBytes];
    };

    const Kept& text_of(Real value) {
        using Bits = std::conditional_t<sizeof(Real) == 8, uint64_t, uint32_t>;
        const Bits bits = std::bit_cast<Bits>(value);
        constexpr uint64_t kMixer = 0x9E3779B97F4A7C15;  // the golden ratio, as a fraction of 2**64
        Kept& kept = kept_[static_cast<std::size_t>(uint64_t{bits} * kMixer >> (64 - kLog))];
        if (kept.size == 0 || std::bit_cast<Bits>(kept.value) != bits) {
            kept.value = value;
            kept.size = static_cast<unsigned char>(
                std::to_chars(kept.text, kept.text + sizeof kept.text, value).ptr - kept.text);
        }
        return kept;
    }

    std::vector<Kept> kept_ = std::vector<Kept>(std::size_t{1} << kLog);
};

}  // namespace kve::companion
