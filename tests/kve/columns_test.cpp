// What is told of columns of numbers: faults of many records are found, and ordinary distributions,
// skewed ones among them, are no faults.
#include "kve/check/columns.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <random>

namespace {

using namespace kve::companion;

using Draw = std::function<double(std::mt19937&)>;

RealColumn column_of(const std::vector<double>& values) {
    RealColumn column;
    int64_t line = 0;
    for (const double value : values) column.add(value, ++line);
    return column;
}

std::vector<double> drawn(const Draw& draw, int64_t n, uint32_t seed) {
    std::mt19937 random(seed);
    std::vector<double> values;
    for (int64_t k = 0; k < n; ++k) values.push_back(static_cast<float>(draw(random)));
    return values;
}

template <class Distribution>
Draw from(Distribution distribution, double share_of_zeros = 0) {
    return [=](std::mt19937& random) mutable {
        std::bernoulli_distribution is_zero(share_of_zeros);
        return is_zero(random) ? 0.0 : static_cast<double>(distribution(random));
    };
}

TEST(Columns, OrdinaryDistributionsHaveNothingApart) {
    const std::pair<const char*, Draw> cases[] = {
        {"normal", from(std::normal_distribution<>(230, 27))},
        {"around 0", from(std::normal_distribution<>(0, 1))},
        {"uniform", from(std::uniform_real_distribution<>(1, 2))},
        {"log-normal", from(std::lognormal_distribution<>(4, 1))},
        {"long-tailed", from(std::lognormal_distribution<>(0, 2))},
        {"exponential", from(std::exponential_distribution<>(0.01))},
        {"counts", from(std::poisson_distribution<>(3))},
        {"rare counts", from(std::poisson_distribution<>(0.2))},
        {"half of them 0", from(std::lognormal_distribution<>(0, 1), 0.5)},
        {"most of them 0", from(std::normal_distribution<>(60, 10), 0.8)},
        {"some of them 0", from(std::lognormal_distribution<>(3, 0.7), 0.2)},
        {"years", from(std::uniform_int_distribution<>(2010, 2016))},
    };
    for (const auto& [title, draw] : cases)
        for (uint32_t seed = 1; seed <= 40; ++seed)
            for (const bool is_sorted : {false, true}) {
                std::vector<double> values = drawn(draw, 50 * seed, seed);
                if (is_sorted) std::ranges::sort(values);
                const RealColumn column = column_of(values);
                const auto steps = column.steps.steps();
                EXPECT_FALSE(find_apart(steps, true)) << title << seed;
                EXPECT_FALSE(find_apart(steps, false)) << title << seed;
                EXPECT_FALSE(find_block(column)) << title << seed << is_sorted;
            }
}

TEST(Columns, ManyFarValuesDoNotHideEachOther) {
    for (const double factor : {10.0, 1000.0, 0.001})
        for (const int64_t n : {1, 10, 60, 700}) {
            std::vector<double> values =
                drawn(from(std::normal_distribution<>(230, 27)), 2000, static_cast<uint32_t>(n));
            for (int64_t k = 0; k < n; ++k) values[static_cast<std::size_t>(2 * k + 200)] *= factor;
            const auto apart = find_apart(column_of(values).steps.steps(), factor > 1);
            ASSERT_TRUE(apart) << factor << " " << n;
            EXPECT_EQ(apart->n, n) << factor;
            EXPECT_EQ(apart->first, 201);
            EXPECT_EQ(apart->last, 199 + 2 * n);
            EXPECT_EQ(factor > 1 ? apart->low > apart->high_of_others
                                 : apart->high < apart->low_of_others,
                      true);
        }
}

TEST(Columns, BlocksOfAnotherUnitAreFound) {
    for (const auto& [n, n_odd] : {std::pair{2000, 60}, {2000, 600}, {300'000, 20'000}}) {
        std::vector<double> values = drawn(from(std::normal_distribution<>(230, 27)), n, 1);
        for (int k = n / 2; k < n / 2 + n_odd; ++k) values[static_cast<std::size_t>(k)] *= 2.2;
        const RealColumn column = column_of(values);
        const std::optional<OddBlock> block = find_block(column);
        ASSERT_TRUE(block) << n << " " << n_odd;
        const auto& sample = column.sample.values();
        const auto line_of = [&sample](std::size_t k) {
            return static_cast<double>(sample[k].line);
        };
        EXPECT_NEAR(line_of(block->begin), n / 2 + 1, n / 1000 + 1);
        EXPECT_NEAR(line_of(block->end - 1), n / 2 + n_odd, n / 1000 + 1);
    }
}

}  // namespace
