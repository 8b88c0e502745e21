// The rank of the fixed part against an exact elimination, in the integers modulo a prime.
#include "kve/check/fixed_part.h"

#include <gtest/gtest.h>

#include <map>
#include <random>

#include "data/raw_record.h"

namespace {

using namespace kve::companion;
using Rows = std::vector<std::vector<int64_t>>;
using kve::state::RECORD;

constexpr int64_t kPrime = 1'000'003;

int64_t power(int64_t base, int64_t exponent) {
    int64_t result = 1;
    for (; exponent > 0; exponent /= 2, base = base * base % kPrime)
        if (exponent % 2 == 1) result = result * base % kPrime;
    return result;
}

int64_t exact_rank(Rows rows) {
    std::size_t rank = 0;
    const std::size_t n_columns = rows[0].size();
    for (std::size_t column = 0; column < n_columns && rank < rows.size(); ++column) {
        std::size_t pivot = rank;
        while (pivot < rows.size() && rows[pivot][column] == 0) ++pivot;
        if (pivot == rows.size()) continue;
        std::swap(rows[rank], rows[pivot]);
        const int64_t inverse = power(rows[rank][column], kPrime - 2);
        for (std::size_t k = rank + 1; k < rows.size(); ++k) {
            const int64_t factor = rows[k][column] * inverse % kPrime;
            for (std::size_t l = column; l < n_columns; ++l)
                rows[k][l] = (rows[k][l] + (kPrime - factor) * rows[rank][l]) % kPrime;
        }
        ++rank;
    }
    return static_cast<int64_t>(rank);
}

// Few combinations of many levels fall apart into parts; the covariable is a sum of levels or not.
TEST(FixedPart, RankIsThatOfAnExactElimination) {
    constexpr int kLevels = 6;
    std::mt19937 random(15);
    int n_deficient = 0;
    for (int round = 0; round < 300; ++round) {
        ASSERT_EQ(RECORD.IINP.allocate(4) + RECORD.FINP.allocate(1), 0);
        FixedCells cells(1, {1, 2, 3}, {1});
        Rows rows;
        const bool depends = round % 2 == 0;
        std::map<std::pair<int, int>, int> columns;
        for (int n = 3 + static_cast<int>(random() % 30); n > 0; --n) {
            std::vector<int64_t> row(3 * kLevels + 1);
            for (int k = 0; k < 3; ++k) {
                RECORD.IINP(k + 1) = 1 + static_cast<int32_t>(random() % kLevels);
                row[static_cast<std::size_t>(k * kLevels + RECORD.IINP(k + 1) - 1)] = 1;
                columns[{k, RECORD.IINP(k + 1)}] = 1;
            }
            const int32_t value = depends ? 1000 + RECORD.IINP(1) - 3 * RECORD.IINP(3)
                                          : 1000 + RECORD.IINP(1) * RECORD.IINP(2);
            RECORD.FINP(1) = static_cast<float>(value);
            row.back() = value;
            rows.push_back(row);
            cells.take_record();
        }
        const std::optional<Rank> found = rank_of(cells, {0, 1, 2}, {0});
        ASSERT_TRUE(found);
        EXPECT_EQ(found->n_levels, std::ssize(columns) + 1);
        EXPECT_EQ(found->rank, exact_rank(rows)) << "round " << round;
        n_deficient += found->rank < found->n_levels - 2 ? 1 : 0;
    }
    EXPECT_GT(n_deficient, 20);
}

// Beside the largest effect: more levels would take memory that grows with their square.
TEST(FixedPart, IsLookedAtUpToALimit) {
    ASSERT_EQ(RECORD.IINP.allocate(4) + RECORD.FINP.allocate(1), 0);
    for (const int32_t n : {1500, 1501}) {
        FixedCells cells(1, {1, 2}, {});
        for (int32_t k = 1; k <= n; ++k) {
            RECORD.IINP(1) = RECORD.IINP(2) = k;
            cells.take_record();
        }
        const std::optional<Rank> rank = rank_of(cells, {0, 1}, {});
        EXPECT_EQ(rank.has_value(), n == 1500);
        if (rank) {
            EXPECT_EQ(rank->rank, n);
        }
    }
}

}  // namespace
