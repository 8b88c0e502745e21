// Arrays that hold nothing have no rows; checks of the checked build.
#include "base/arrays.h"

#include "base/field_line.h"
#include "testing.h"

using namespace kve;

TEST(Arrays, NothingIsLeftAfterReleaseMoveAndAFailedAllocation) {
    Matrix<int> a;
    ASSERT_EQ(a.allocate(2, 3), 0);
    Matrix<int> b = std::move(a);
    EXPECT_EQ(b.rows() * 10 + b.columns(), 23);
    EXPECT_EQ(a.rows() + a.columns() + a.size(), 0);  // NOLINT(bugprone-use-after-move): the point
    EXPECT_EQ(b.allocate(std::numeric_limits<int64_t>::max(), 2), kNoMemory);
    EXPECT_EQ(b.rows() + b.columns() + b.size(), 0);
    Cube<int> c;
    ASSERT_EQ(c.allocate(2, 3, 4), 0);
    c.release();
    EXPECT_EQ(c.rows() + c.columns() + c.layers() + c.size(), 0);
    Triangle<int> t;
    ASSERT_EQ(t.allocate(4), 0);
    EXPECT_EQ(t.allocate(std::numeric_limits<int64_t>::max()), kNoMemory);
    EXPECT_EQ(t.order() + t.size(), 0);
}

#ifdef KVE_INDEX_CHECKS
TEST(Checks, BadPlacesAreNamed) {
    Matrix<int> a;
    ASSERT_EQ(a.allocate(2, 3), 0);
    a.release();
    EXPECT_DEATH(static_cast<void>(a(1, 1)), "arrays_test.*index 1 outside 1..0");
    FieldLine line;
    for (int k = 1; k <= 12; ++k) line.put(int32_t{k}, 10);
    EXPECT_DEATH(line.put(int32_t{1}, 1), "field_line.*does not hold: width <= room");
}
#endif
