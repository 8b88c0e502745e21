// Numbers are put out in the texts of std::to_chars, whichever way they are found.
#include "kve/shared/number_text.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>
#include <string>

namespace {

using namespace kve::companion;

template <class Number>
std::string standard(Number value) {
    char text[64];
    return {text, std::to_chars(text, text + sizeof text, value).ptr};
}

template <class Number>
std::string put(Number value) {
    char text[kNumberBytes];
    return {text, put_number(text, value)};
}

TEST(NumberText, IntegersOfAllSizes) {
    for (int32_t n = -2000; n <= 2000; ++n) ASSERT_EQ(put(n), standard(n));
    for (int32_t n = 2000; n <= 2'000'000; n += 7) ASSERT_EQ(put(n), standard(n));
    for (int64_t n = 1; n < INT64_MAX / 10; n *= 10)
        for (const int64_t more : {-1, 0, 1, 7}) EXPECT_EQ(put(n + more), standard(n + more));
    for (const int64_t n : {INT64_MIN, int64_t{INT32_MIN}, int64_t{INT32_MAX}, INT64_MAX})
        EXPECT_EQ(put(n), standard(n));
    EXPECT_EQ(put(UINT64_MAX), standard(UINT64_MAX));
    EXPECT_EQ(put(INT32_MIN), standard(INT32_MIN));
}

// A float that is a short decimal has a way of its own; the edges of it are those of six digits,
// three decimals, and of what is shorter with an exponent.
TEST(NumberText, FloatsNearTheEdgesOfShortDecimals) {
    RealTexts<float> texts;
    char text[kNumberBytes];
    int64_t n_short = 0;
    const auto check = [&](float value) {
        ASSERT_EQ(std::string(text, texts.put(text, value)), standard(value));
        n_short += put_decimal(text, value) != nullptr ? 1 : 0;
    };
    for (const double step : {1.0, 10.0, 100.0, 1000.0, 10000.0, 1e6})
        for (int n = 0; n <= 200'000; ++n)
            for (const double sign : {1.0, -1.0}) check(static_cast<float>(sign * n / step));
    EXPECT_GT(n_short, 1'000'000);
    for (const float edge :
         {0.001F, 0.01F, 1.0F, 999.999F, 1000.0F, 9999.99F, 1e5F, 999999.0F, 4294967.0F}) {
        float below = edge, above = edge;
        for (int n = 0; n < 1000; ++n) {
            check(below = std::nextafter(below, 0.0F));
            check(above = std::nextafter(above, 1e9F));
        }
    }
}

TEST(NumberText, RealsOfAnyBits) {
    RealTexts<float> floats;
    RealTexts<double> doubles;
    char text[kNumberBytes];
    std::mt19937_64 random(5);
    for (int n = 0; n < 300'000; ++n) {
        const uint64_t bits = random();
        const auto f = std::bit_cast<float>(static_cast<uint32_t>(bits));
        ASSERT_EQ(std::string(text, floats.put(text, f)), standard(f));
        const auto d = std::bit_cast<double>(bits);
        ASSERT_EQ(std::string(text, doubles.put(text, d)), standard(d));
    }
    for (const float special :
         {0.0F, -0.0F, std::numeric_limits<float>::infinity(),
          -std::numeric_limits<float>::infinity(), std::numeric_limits<float>::denorm_min()})
        EXPECT_EQ(std::string(text, floats.put(text, special)), standard(special));
}

// Of numbers that fall on one place the text of the last one is kept, and given back for it alone.
TEST(NumberText, KeptTextsAreThoseOfTheirNumbers) {
    RealTexts<double> texts;
    char text[kNumberBytes];
    for (int round = 0; round < 3; ++round)
        for (int n = 0; n < 20'000; ++n) {
            const double value = n / 3.0;
            ASSERT_EQ(std::string(text, texts.put(text, value)), standard(value));
        }
}

}  // namespace
