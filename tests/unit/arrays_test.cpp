// Arrays that hold nothing have no rows; growth; checks of the checked build.
#include "base/arrays.h"

#include <sys/resource.h>

#include <algorithm>

#include "base/field_line.h"
#include "testing.h"

using namespace kve;

namespace {

// Of this process, in kB. The thread sanitizer's own records of each place that is touched would
// count, too: 0 there.
long peak_memory() {
#ifdef __SANITIZE_THREAD__
    return 0;
#else
    rusage used;
    getrusage(RUSAGE_SELF, &used);
    return used.ru_maxrss;
#endif
}

}  // namespace

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

// From small arrays to those that the system moves; it never has the elements twice.
TEST(Arrays, KeepTheirElementsWhenTheyGrow) {
    constexpr int64_t kMegabyte = (1 << 20) / sizeof(int32_t);
    Vec<int32_t> a;
    int64_t held = 0;
    for (int64_t n : {int64_t{7}, kMegabyte, 5 * kMegabyte - 1, 6 * kMegabyte, 80 * kMegabyte,
                      88 * kMegabyte + 1}) {
        const long before = peak_memory();
        ASSERT_EQ(a.lengthen(n), 0);
        EXPECT_LT(peak_memory() - before, 8000) << n;
        for (int64_t k = 1; k <= n; ++k) {
            ASSERT_EQ(a(k), k <= held ? k : 0) << n;
            a(k) = static_cast<int32_t>(k);
        }
        held = n;
        ASSERT_EQ(a.lengthen(std::numeric_limits<int64_t>::max() / 8), kNoMemory);
        ASSERT_EQ(a.lengthen(n / 2), 0);
        ASSERT_EQ(a.size(), n);
    }
}

// What goes leaves its pages to what comes: clear, and no more of them than were touched.
TEST(Arrays, ComeClearFromPagesThatOthersHaveLeft) {
    constexpr int64_t kMegabyte = (1 << 20) / sizeof(int32_t);
    Vec<int32_t> a, b, c;
    ASSERT_EQ(a.allocate(64 * kMegabyte) + b.allocate(40 * kMegabyte), 0);
    for (int64_t k = 1; k <= a.size(); ++k) a(k) = -1;
    for (int64_t k = 1; k <= b.size() / 2; ++k) b(k) = -1;
    const long before = peak_memory();
    a.release();
    b.release();
    ASSERT_EQ(c.allocate(100 * kMegabyte), 0);
    EXPECT_EQ(std::count(c.begin(), c.end(), 0), c.size());
    for (int64_t k = 1; k <= 80 * kMegabyte; ++k) c(k) = static_cast<int32_t>(k);
    EXPECT_LT(peak_memory() - before, 8000);
    ASSERT_EQ(c.lengthen(120 * kMegabyte), 0);
    EXPECT_LT(peak_memory() - before, 8000) << "it has its elements twice";
    for (int64_t k = 1; k <= c.size(); ++k) ASSERT_EQ(c(k), k <= 80 * kMegabyte ? k : 0);
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
