// Numbers as text: the bytes of std::to_chars, sooner for the numbers that data are full of.
#pragma once

#include <array>
#include <bit>
#include <cfloat>
#include <charconv>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>
#include <utility>
#include <vector>

namespace kve::companion {

// What the text of any number needs. The procedures below write into this much room at `at`, of
// which they may leave anything behind the text, and tell where the text ends.
inline constexpr std::size_t kNumberBytes = 24;

// A text that is copied whole, which is one instruction, and counts up to its size.
struct ShortText {
    char text[7];
    unsigned char size;

    char* put(char* at) const {
        std::memcpy(at, this, sizeof *this);
        return at + size;
    }
};

inline constexpr unsigned kThousand = 1000;

// The texts of 0 to 999 in three forms.
struct ThousandTexts {
    std::array<ShortText, kThousand> plain{};     // 7: "7"
    std::array<ShortText, kThousand> padded{};    // 7: "007"
    std::array<ShortText, kThousand> decimals{};  // 120 thousandths behind their point: ".12"

    constexpr ThousandTexts() {
        const auto add = [](ShortText& t, unsigned digit) {
            t.text[t.size++] = static_cast<char>('0' + digit);
        };
        for (unsigned n = 0; n < kThousand; ++n) {
            for (const unsigned unit : {100U, 10U, 1U}) {
                add(padded[n], n / unit % 10);
                if (n >= unit || unit == 1) add(plain[n], n / unit % 10);
            }
            if (n > 0) decimals[n].text[decimals[n].size++] = '.';
            for (unsigned rest = n; rest > 0; rest = rest % 100 * 10) add(decimals[n], rest / 100);
        }
    }
};
inline constexpr ThousandTexts kTexts;

// NOLINTNEXTLINE(misc-no-recursion): 64 bits have seven groups of three digits.
inline char* put_digits(char* at, uint64_t n) {
    if (n < kThousand) return kTexts.plain[n].put(at);
    return kTexts.padded[n % kThousand].put(put_digits(at, n / kThousand));
}

char* put_number(char* at, std::integral auto value) {
    constexpr int64_t kLarge = 1'000'000'000'000;
    if (value >= 0 && std::cmp_less(value, kLarge))
        return put_digits(at, static_cast<uint64_t>(value));
    return std::to_chars(at, at + kNumberBytes, value).ptr;
}

// Null for a float that is no decimal number of six digits at most, four of them behind the point,
// or three from 100 on. No two such numbers are one float, so that there is no shorter text for it,
// and their quotients are never so near to the middle of two floats that their own rounding would
// matter.
inline char* put_decimal(char* at, float value) {
    constexpr float kLeast = 0.001F, kBelow = 1e5F;  // others may be shorter with an exponent
    constexpr unsigned kTen = 10;
    const double size = static_cast<double>(value < 0.0F ? -value : value);
    if (!(size >= kLeast && size < kBelow)) return nullptr;
    const unsigned unit = size < 100.0 ? kTen * kThousand : kThousand;
    // NOLINTNEXTLINE(bugprone-incorrect-roundings): what rounds to another number is refused.
    const auto units = static_cast<unsigned>(size * unit + 0.5);
    if (static_cast<double>(static_cast<float>(static_cast<double>(units) / unit)) != size)
        return nullptr;
    if (value < 0.0F) *at++ = '-';
    const unsigned fourth = unit > kThousand ? units % kTen : 0;
    const unsigned thousandths = unit > kThousand ? units / kTen : units;
    char* end = put_digits(at, thousandths / kThousand);
    if (fourth > 0) {
        *end = '.';
        end = kTexts.padded[thousandths % kThousand].put(end + 1);
        *end = static_cast<char>('0' + fourth);
        return end + 1;
    }
    const ShortText& decimals = kTexts.decimals[thousandths % kThousand];
    end = decimals.put(end);
    return end - at - (decimals.size > 0 ? 1 : 0) <= FLT_DIG ? end : nullptr;
}

// Matrices and data hold the same few values over and over, so that the texts of the last ones are
// kept.
template <std::floating_point Real>
class KeptTexts {
 public:
    using Maker = char* (*)(char* at, Real value);

    explicit KeptTexts(Maker make_text) : make_text_(make_text) {}

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
            kept.size = static_cast<unsigned char>(make_text_(kept.text, value) - kept.text);
        }
        return kept;
    }

    Maker make_text_;
    std::vector<Kept> kept_ = std::vector<Kept>(std::size_t{1} << kLog);
};

// Reals in the shortest text that gives them back.
template <std::floating_point Real>
class RealTexts {
 public:
    char* put(char* at, Real value) {
        if constexpr (std::same_as<Real, float>)
            if (char* end = put_decimal(at, value); end != nullptr) return end;
        return kept_.put(at, value);
    }

 private:
    KeptTexts<Real> kept_{
        [](char* at, Real value) { return std::to_chars(at, at + kNumberBytes, value).ptr; }};
};

}  // namespace kve::companion
