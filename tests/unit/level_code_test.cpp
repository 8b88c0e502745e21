#include "store/level_code.h"

#include "store/level_tree.h"
#include "store/work_tables.h"
#include "testing.h"

using namespace kve;

using state::DIMENSIONS, state::IFL, state::NMFL, state::IDL, state::NMDL;

namespace {

void start_with_dimensions(int32_t length) {
    DIMENSIONS.MFL.now = DIMENSIONS.MDL.now = DIMENSIONS.MAXNRM.now = length;
    allocate_tables();
}

int32_t depth_of(int32_t row) {
    if (row == 0) return 0;
    return 1 + std::max(depth_of(IFL(row).child_0), depth_of(IFL(row).child_1));
}

template <class Row>
void agrees_with_a_map(Vec<Row>& table, int32_t& used, const Dimension& dimension) {
    start_with_dimensions(1);
    std::mt19937 random(11);
    int32_t roots[2] = {0, 0};
    std::map<int32_t, int32_t> counts[2];
    for (int n = 0; n < 40000; ++n) {
        // Small keys of both signs collide often; shifted ones share long roads.
        int32_t key = static_cast<int32_t>(random() % 4001) - 2000;
        if (n % 3 == 0) key *= 1 << 20;
        std::size_t tree = random() % 2;
        bool known = counts[tree].count(key) != 0;
        int32_t increment = static_cast<int32_t>(random() % 3);
        EXPECT_EQ(known, find_level(key, roots[tree], table) != 0);
        LevelPlace place = enter_level(key, roots[tree], increment, table, used);
        ASSERT_EQ(place.not_found, !known);
        ASSERT_EQ(table(place.row).key, key);
        ASSERT_EQ(table(place.row).n_obs, counts[tree][key] += increment);
    }
    EXPECT_EQ(used, std::ssize(counts[0]) + std::ssize(counts[1]));
    EXPECT_GT(dimension.expansions, 20);
}

}  // namespace

TEST(LevelCode, AgreesWithAMapWhileTheTableGrowsFromOneRow) {
    agrees_with_a_map(IFL, NMFL, DIMENSIONS.MFL);
    agrees_with_a_map(IDL, NMDL, DIMENSIONS.MDL);
}

TEST(LevelTree, BuiltAtOnceIsTheTreeOfOneByOne) {
    std::mt19937 random(13);
    for (int32_t n : {1, 2, 64, 65, 700, 40000}) {
        start_with_dimensions(2 * n);
        NMFL = 0;
        int32_t root = 0, root_at_once = 0;
        // A third of the keys are even multiples of 2**16, which share a long road.
        while (NMFL < n)
            enter_level(static_cast<int32_t>(random() % 3 == 0 ? (1 + random() % 16000) << 16
                                                               : 1 + random() % 0x7ffffffe),
                        root, 0, IFL, NMFL);
        Vec<int32_t> rows;
        ASSERT_EQ(rows.allocate(n), 0);
        for (int32_t k = 1; k <= n; ++k) {
            rows(k) = n + k;
            IFL(n + k).key = IFL(k).key;
        }
        build_tree(IFL, rows, root_at_once);
        std::vector<int32_t> pending{root}, walk;
        while (!pending.empty()) {
            const int32_t row = pending.back();
            pending.pop_back();
            if (row == 0) continue;
            walk.push_back(n + row);
            pending.insert(pending.end(), {IFL(row).child_0, IFL(row).child_1});
        }
        EXPECT_EQ(std::vector<int32_t>(rows.begin(), rows.end()), walk) << n;
        const auto copied = [n](int32_t row) { return row != 0 ? n + row : 0; };
        for (int32_t k = 1; k <= n; ++k) {
            ASSERT_EQ(IFL(n + k).child_0, copied(IFL(k).child_0)) << n;
            ASSERT_EQ(IFL(n + k).child_1, copied(IFL(k).child_1)) << n;
        }
    }
}

TEST(LevelCode, LongestRoadAndTheKeyWithoutBits) {
    start_with_dimensions(100);
    int32_t root = 0;
    // Each key shares one bit more with the last one, and its negative meets it behind bit 31.
    for (int shift = 0; shift <= 30; ++shift)
        enter_level(std::numeric_limits<int32_t>::max() >> (30 - shift), root, 1, IFL, NMFL);
    enter_level(-std::numeric_limits<int32_t>::max(), root, 1, IFL, NMFL);
    EXPECT_EQ(NMFL, 32);
    EXPECT_EQ(depth_of(root), 32);
    EXPECT_EQ(IFL(root).child_1, 2);
    EXPECT_STOP(enter_level(std::numeric_limits<int32_t>::min(), root, 1, IFL, NMFL),
                "BITSTR ERROR -2147483648 +1 0+\nProgram terminates\n");
}
