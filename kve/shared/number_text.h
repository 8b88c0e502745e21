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

inline char* put_padded(char* at, uint64_t n) {
    std::memcpy(at, &kTexts.padded[n], sizeof(ShortText));
    return at + 3;
}

// NOLINTNEXTLINE(misc-no-recursion): 64 bits have seven groups of three digits.
inline char* put_digits(char* at, uint64_t n) {
    if (n < kThousand) return kTexts.plain[n].put(at);
    const uint64_t thousands = n / kThousand;
    at = thousands < kThousand ? kTexts.plain[thousands].put(at) : put_digits(at, thousands);
    return put_padded(at, n % kThousand);
}

// Below 0, or from a million on.
char* put_far_number(char* at, std::integral auto value) {
    constexpr int64_t kMany = 1'000'000'000, kLarge = 1'000'000'000'000;
    if (value >= 0 && std::cmp_less(value, kMany)) {
        const auto n = static_cast<unsigned>(value), thousands = n / kThousand;
        at = kTexts.plain[thousands / kThousand].put(at);
        return put_padded(put_padded(at, thousands % kThousand), n % kThousand);
    }
    if (value >= 0 && std::cmp_less(value, kLarge))
        return put_digits(at, static_cast<uint64_t>(value));
    return std::to_chars(at, at + kNumberBytes, value).ptr;
}

// Sooner for the small ones, of which most columns are full.
[[gnu::always_inline]] inline char* put_number(char* at, std::integral auto value) {
    if (value >= 0 && std::cmp_less(value, kThousand))
        return kTexts.plain[static_cast<unsigned>(value)].put(at);
    if (value < 0 || !std::cmp_less(value, kThousand * kThousand)) return put_far_number(at, value);
    const auto n = static_cast<unsigned>(value);
    return put_padded(kTexts.plain[n / kThousand].put(at), n % kThousand);
}

// For put_decimal: a number below 100 with four digits behind the point; null for any other.
inline char* put_fourth_decimal(char* at, float size) {
    constexpr unsigned kTen = 10;
    // NOLINTNEXTLINE(bugprone-incorrect-roundings): what rounds to another number is refused.
    const auto units = static_cast<unsigned>(static_cast<double>(size) * 1e4 + 0.5);
    if (!(size < 100.0F) || static_cast<float>(units * 1e-4) != size) return nullptr;
    const unsigned thousandths = units / kTen;
    char* end = put_digits(at, thousandths / kThousand);
    *end = '.';
    end = put_padded(end + 1, thousandths % kThousand);
    *end = static_cast<char>('0' + units % kTen);
    return end + 1;
}

// Null for a float that is no decimal number of six digits at most, four of them behind the point,
// or three from 100 on. No two such numbers are one float, so that there is no shorter text for it,
// and they are never so near to the middle of two floats that the rounding of a product with 0.001
// would matter.
inline char* put_decimal(char* at, float value) {
    constexpr auto kSign = uint32_t{1} << 31;
    constexpr auto kLeast = std::bit_cast<uint32_t>(0.001F);  // others may be shorter
    constexpr auto kBelow = std::bit_cast<uint32_t>(1e5F);    // with an exponent
    const auto bits = std::bit_cast<uint32_t>(value);
    if ((bits & ~kSign) - kLeast >= kBelow - kLeast) return nullptr;
    const auto size = std::bit_cast<float>(bits & ~kSign);
    // NOLINTNEXTLINE(bugprone-incorrect-roundings): what rounds to another number is refused.
    const auto rounded = static_cast<int32_t>(static_cast<double>(size) * 1e3 + 0.5);
    *at = '-';
    at += bits >> 31;
    if (static_cast<float>(rounded * 1e-3) != size) return put_fourth_decimal(at, size);
    const auto thousandths = static_cast<unsigned>(rounded);
    const ShortText& decimals = kTexts.decimals[thousandths % kThousand];
    if (thousandths < kThousand * kThousand)
        return decimals.put(kTexts.plain[thousandths / kThousand].put(at));
    char* end = decimals.put(put_digits(at, thousandths / kThousand));
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
