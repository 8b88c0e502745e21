#include "data/level_code.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <map>
#include <random>

#include "stops.h"

using namespace kve;

WRITES(DIMENSIONS);
WRITES(IFL);
WRITES(NMFL);
WRITES(IDL);
WRITES(NMDL);

namespace {

void start_with_dimensions(int32_t length) {
    DIMENSIONS.MFL.now = DIMENSIONS.MDL.now = DIMENSIONS.MAXNRM.now = length;
    allocate_tables();
}

int32_t depth_of(int32_t row) {
    if (row == 0) return 0;
    return 1 + std::max(depth_of(IFL(row).child_0), depth_of(IFL(row).child_1));
}

}  // namespace

TEST(LevelCode, AgreesWithAMapWhileTheTableGrowsFromOneRow) {
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
        EXPECT_EQ(known, find_level(key, roots[tree], IFL) != 0);
        LevelPlace place = enter_level(key, roots[tree], increment, IFL, NMFL);
        ASSERT_EQ(place.not_found, !known);
        ASSERT_EQ(IFL(place.row).key, key);
        ASSERT_EQ(IFL(place.row).n_obs, counts[tree][key] += increment);
    }
    EXPECT_EQ(static_cast<std::size_t>(NMFL), counts[0].size() + counts[1].size());
    EXPECT_GT(DIMENSIONS.MFL.expansions, 20);
}

TEST(LevelCode, ServesTheAnimalTable) {
    start_with_dimensions(2);
    int32_t root = 0;
    for (int32_t key : {8, -8, 4, 0, 8}) enter_level(key, root, 1, IDL, NMDL);
    EXPECT_EQ(NMDL, 4);
    EXPECT_EQ(IDL(root).n_obs, 2);
    EXPECT_EQ(IDL(root).child_0, 2);
    EXPECT_EQ(find_level(7, root, IDL), 0);
}

TEST(LevelCode, SaysFullAndChangesNothing) {
    start_with_dimensions(2);
    int32_t root = 0;
    enter_level(1, root, 1, IFL, NMFL);
    enter_level(2, root, 1, IFL, NMFL);
    LevelPlace place = level_code(3, root, 1, IFL, true, NMFL);
    EXPECT_EQ(place.row, kTableFull);
    EXPECT_FALSE(place.not_found);
    EXPECT_EQ(NMFL, 2);
    // A key that is there needs no room, and without insertion a full table is no matter.
    EXPECT_EQ(level_code(2, root, 5, IFL, true, NMFL).row, 2);
    place = level_code(3, root, 1, IFL, false, NMFL);
    EXPECT_EQ(place.row, 0);
    EXPECT_TRUE(place.not_found);
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
    EXPECT_STOP(enter_level(std::numeric_limits<int32_t>::min(), root, 1, IFL, NMFL),
                "BITSTR ERROR -2147483648 +1 0+\nProgram terminates\n");
}
