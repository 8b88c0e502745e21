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

namespace kve::companion {

class Output {
 public:
    // Standard output for an empty name.
    explicit Output(const std::string& file);
    Output(const Output&) = delete;
    Output& operator=(const Output&) = delete;
    ~Output();

    void put(char c) {
        if (held_ == buffer_.size()) write_out();
        buffer_[held_++] = c;
    }
    void put(std::string_view text) {
        if (text.size() > buffer_.size() - held_) return put_in_pieces(text);
        std::memcpy(buffer_.data() + held_, text.data(), text.size());
        held_ += text.size();
    }
    void put(std::integral auto value) {
        constexpr std::size_t kDigits = 24;
        if (buffer_.size() - held_ < kDigits) write_out();
        char* at = buffer_.data() + held_;
        held_ =
            static_cast<std::size_t>(std::to_chars(at, at + kDigits, value).ptr - buffer_.data());
    }

    // Brings all of it out. Without this call the rest is lost: a command that failed ends early.
    void finish();

 private:
    void put_in_pieces(std::string_view text);
    void write_out();

    std::string name_;
    int descriptor_;
    std::vector<char> buffer_;
    std::size_t held_ = 0;
};

// Reals in the shortest text that gives them back. Matrices and data hold the same few values over
// and over, so that the texts of the last ones are kept.
template <std::floating_point Real>
class RealTexts {
 public:
    std::string_view operator()(Real value) {
        using Bits = std::conditional_t<sizeof(Real) == 8, uint64_t, uint32_t>;
        const Bits bits = std::bit_cast<Bits>(value);
        constexpr uint64_t kMixer = 0x9E3779B97F4A7C15;  // the golden ratio, as a fraction of 2**64
        Kept& kept = kept_[static_cast<std::size_t>(uint64_t{bits} * kMixer >> (64 - kLog))];
        if (kept.size == 0 || std::bit_cast<Bits>(kept.value) != bits) {
            kept.value = value;
            kept.size = static_cast<unsigned char>(
                std::to_chars(kept.text, kept.text + sizeof kept.text, value).ptr - kept.text);
        }
        return {kept.text, kept.size};
    }

 private:
    static constexpr int kLog = 12;
    struct Kept {
        Real value;
        unsigned char size;
        char text[27];
    };
    std::vector<Kept> kept_ = std::vector<Kept>(std::size_t{1} << kLog);
};

}  // namespace kve::companion
