// Sorting, the sparse store, growth and small services of the large tables.
#include <sys/resource.h>

#include <ctime>
#include <numeric>

#include "listing/int_to_text.h"
#include "store/level_code.h"
#include "store/level_index.h"
#include "store/sorting.h"
#include "store/sparse_store.h"
#include "store/work_tables.h"
#include "testing.h"

using namespace kve;

using state::DIMENSIONS, state::IFL, state::NMFL, state::IDL, state::AD, state::LD, state::IF,
    state::IN, state::IV, state::AI, state::N_SPARSE;

namespace {

void start_with_dimensions(int32_t MFL, int32_t MDL, int32_t MAXNRM) {
    DIMENSIONS.MFL.now = MFL;
    DIMENSIONS.MDL.now = MDL;
    DIMENSIONS.MAXNRM.now = MAXNRM;
    allocate_tables();
}

// The lower triangle as the store's rows give it; ascending columns are checked on the way.
std::map<std::pair<int32_t, int32_t>, double> stored_elements() {
    std::map<std::pair<int32_t, int32_t>, double> all;
    for (int32_t row = 1; row <= IF.size(); ++row) {
        int32_t last = 0;
        for (const SparseElement& e : sparse_row(row)) {
            EXPECT_GT(e.column, last) << "row " << row;
            last = e.column;
            all[{row, last}] = e.value;
        }
    }
    EXPECT_EQ(all.size(), static_cast<std::size_t>(N_SPARSE));
    return all;
}

// The heap sort of textbooks, one element after the other: key, second key, companion.
using Element = std::array<int32_t, 3>;
void sort_plainly(std::vector<Element>& a) {
    const auto is_less = [&](std::size_t i, std::size_t j) {
        return std::pair(a[i][0], a[i][1]) < std::pair(a[j][0], a[j][1]);
    };
    const auto sink = [&](std::size_t i, std::size_t n) {
        for (std::size_t child; (child = 2 * i + 1) < n; i = child) {
            if (child + 1 < n && !is_less(child + 1, child)) ++child;
            if (is_less(child, i)) return;
            std::swap(a[i], a[child]);
        }
    };
    for (std::size_t i = a.size() / 2; i-- > 0;) sink(i, a.size());
    for (std::size_t n = a.size(); n-- > 1; sink(0, n)) std::swap(a[0], a[n]);
}

}  // namespace

// Keys whose places all lie together under the factor that every index begins with.
TEST(Index, IsNotSlowedDownByKeysMadeForIt) {
    constexpr int32_t n = 100000;
    const std::clock_t begin = std::clock();
    LevelIndex index;
    ASSERT_EQ(index.allocate(), 0);
    uint32_t inverse = 2654435769U;  // of the factor, by Newton's steps
    for (int step = 0; step < 5; ++step) inverse *= 2 - 2654435769U * inverse;
    const auto key = [&](int32_t k) {
        return static_cast<int32_t>(static_cast<uint32_t>(k) * inverse);
    };
    for (int32_t k = 0; k < n; ++k) ASSERT_TRUE(!index.find(key(k)) && index.enter(key(k), k) == 0);
    for (int32_t k = 0; k < n; ++k) ASSERT_EQ(index.find(key(k))->value(), k);
    EXPECT_LT(std::clock() - begin, 4 * CLOCKS_PER_SEC);
}

// Keys of any width: with companions they take one word or two.
TEST(HeapSort, LeavesEqualKeysWhereThePlainOneDoes) {
    std::mt19937 random(7);
    for (int32_t n : {0, 1, 2, 3, 4, 31, 32, 33, 500, 20000})
        for (uint32_t second_keys : {1, 3})
            for (int32_t spread : {1, 3000, 100000}) {
                std::vector<Element> plain;
                SortKeys keys;
                Vec<int32_t> companions;
                ASSERT_EQ(keys.allocate(n + 1) + companions.allocate(n), 0);
                for (int32_t k = 1; k <= n; ++k) {
                    const auto first =
                        static_cast<int32_t>(random() % (static_cast<uint32_t>(n) / 8 + 2));
                    const auto second = -static_cast<int32_t>(random() % second_keys);
                    plain.push_back({(first - 5) * spread, second * spread, k});
                    keys(k) = join_keys(plain.back()[0], plain.back()[1]);
                    companions(k) = k;
                }
                sort_plainly(plain);
                heap_sort_pairs(keys, companions);
                for (int32_t k = 1; k <= n; ++k)
                    ASSERT_EQ(companions(k), plain[static_cast<std::size_t>(k) - 1][2])
                        << n << " " << spread;
            }
}

TEST(LevelList, IsChainedAndNumberedInOrderOfTheKeys) {
    start_with_dimensions(1, 1, 1);
    std::mt19937 random(5);
    int32_t root = 0, head = 99, number = 4;
    EXPECT_EQ(sort_level_list(root, head, number), number);
    EXPECT_EQ(head, 0);
    std::set<int32_t> keys;
    while (keys.size() < 3000)
        enter_level(*keys.insert(static_cast<int32_t>(random())).first, root, 1, IFL, NMFL);
    Vec<int32_t> rows;
    EXPECT_EQ(sort_level_list(root, head, number, rows), 3004);
    for (int32_t key : keys) {
        ASSERT_EQ(IFL(head).key, key);
        EXPECT_EQ(IFL(head).level, ++number);
        EXPECT_EQ(rows(number - 4), head);
        head = IFL(head).next;
    }
    EXPECT_EQ(head, 0);
    EXPECT_EQ(DIMENSIONS.MDL.expansions, 0);  // the walk takes the store's dimension
}

TEST(SparseStore, AgreesWithADenseMatrixWhileTheTablesGrow) {
    start_with_dimensions(1, 1, 1);
    std::mt19937 random(17);
    std::map<std::pair<int32_t, int32_t>, double> dense;
    clear_sparse();
    for (int n = 0; n < 30000; ++n) {
        // Every other addition falls into one of two long rows.
        int32_t i = n % 2 == 0 ? 599 + n % 4 / 2 : static_cast<int32_t>(random() % 601);
        int32_t j = static_cast<int32_t>(random() % 601);
        double value = static_cast<double>(random()) / 7.0;
        insert_sparse(i, j, value);
        if (i > 0 && j > 0) dense[std::minmax(j, i, std::greater<>())] += value;
    }
    EXPECT_EQ(stored_elements(), dense);
    EXPECT_GT(DIMENSIONS.MAXNRM.expansions, 50);
    EXPECT_EQ(AI.size(), DIMENSIONS.MAXNRM.now);
    EXPECT_GE(IF.size(), 600);

    clear_sparse();
    insert_sparse(3, 7, 1.5);
    insert_sparse(7, 3, 2.0);
    insert_sparse(0, 7, 9.0);
    EXPECT_EQ(stored_elements().size(), 1U);
    EXPECT_EQ(AI(IF(7)), 3.5);
}

TEST(SparseStore, ClearingTouchesNoMoreThanWasUsed) {
    rusage before, after;
    start_with_dimensions(1, 20'000'000, 1);
    getrusage(RUSAGE_SELF, &before);
    clear_sparse();
    getrusage(RUSAGE_SELF, &after);
    EXPECT_LT(after.ru_maxrss - before.ru_maxrss, 20'000);  // kB; IF has 80,000
}

TEST(SparseStore, LongRowsAreNotWalkedFromTheirHead) {
    constexpr int32_t n = 200000;
    start_with_dimensions(1, n + 4, 4 * n);
    clear_sparse();
    std::vector<int32_t> shuffled(n);
    std::iota(shuffled.begin(), shuffled.end(), 1);
    std::ranges::shuffle(shuffled, std::mt19937(23));
    // A walk from the head each time would take minutes.
    for (int32_t k = 1; k <= n; ++k) {
        insert_sparse(n + 1, k, 1.0);
        insert_sparse(n + 2, n + 1 - k, 1.0);
        insert_sparse(shuffled[static_cast<std::size_t>(k - 1)], n + 3, 1.0);
    }
    for (int32_t k = 1; k <= n; ++k)
        insert_sparse(n + 3, shuffled[static_cast<std::size_t>(n - k)], 1.0);
    auto all = stored_elements();
    EXPECT_EQ(all.size(), 3U * n);
    EXPECT_EQ((all[{n + 3, 77}]), 2.0);
}

TEST(Growth, KeepsContentAndZeroesTheTail) {
    start_with_dimensions(19, 25, 5);
    EXPECT_EQ(IN.size(), 25);
    std::vector<double> expected(27);
    std::iota(expected.begin(), expected.begin() + 25, 1.0);
    IFL(19).mark = 7;
    for (int32_t k = 1; k <= 25; ++k)
        IDL(k).mark = IDL(k).n_desc = IF(k) = IN(k) = IV(k) = k, AD(k) = LD(k) = k;
    std::iota(AI.begin(), AI.end(), 1.0);
    grow_levels();
    grow_animals();
    grow_elements();
    EXPECT_EQ(DIMENSIONS.MFL.now, 20);    // 20.9
    EXPECT_EQ(DIMENSIONS.MDL.now, 27);    // 27.5
    EXPECT_EQ(DIMENSIONS.MAXNRM.now, 6);  // one more at least
    EXPECT_EQ(DIMENSIONS.MDL.first, 25);
    EXPECT_EQ(DIMENSIONS.MDL.expansions, 1);
    EXPECT_EQ(IFL(19).mark, 7);
    EXPECT_EQ(IFL(20).mark, 0);
    for (const Vec<int32_t>* array : {&IF, &IN, &IV})
        EXPECT_TRUE(std::ranges::equal(*array, expected));
    for (const Vec<double>* array : {&AD, &LD}) EXPECT_TRUE(std::ranges::equal(*array, expected));
    for (auto field : {&AnimalRow::mark, &AnimalRow::n_desc})
        EXPECT_TRUE(std::ranges::equal(IDL, expected, {}, field));
    EXPECT_TRUE(std::ranges::equal(AI, std::array{1, 2, 3, 4, 5, 0}));
    // In more than 32 bits the last product is 22000001.6.
    for (auto [old, next] : {std::pair{10, 11}, {100000, 110000}, {20000001, 22000000}}) {
        DIMENSIONS.MFL.now = old;
        grow_levels();
        EXPECT_EQ(DIMENSIONS.MFL.now, next);
    }
    EXPECT_EQ(IFL(19).mark, 7);
    DIMENSIONS.MFL.now = 2000000000;
    EXPECT_STOP(grow_levels(), "allocate +: IFL\nWith elements +: +15400000000\n");
}

TEST(IntToText, WritesLeftAdjustedAndStopsWhenItDoesNotFit) {
    char text[21] = {};
    EXPECT_EQ(int_to_text(std::numeric_limits<int64_t>::min(), text, 20), 20);
    EXPECT_EQ(int_to_text(-12, text, 4), 3);
    EXPECT_EQ(std::string_view(text, 4), "-12 ");
    EXPECT_STOP(int_to_text(-12, text, 2),
                "ERROR - Converting integer value to text\n        Value to convert: +-12\n"
                "        Length of character variable to hold the result is: +2\n\n"
                "Program terminates\n");
}
