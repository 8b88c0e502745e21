#include <limits>

#include "data/factors.h"
#include "doors.h"
#include "listing/listing.h"
#include "listing/stop.h"
#include "model/model_records.h"
#include "store/big_tables.h"
#include "store/growth.h"
#include "store/work_tables.h"
#include "testing.h"

using namespace kve;

using state::DIMENSIONS, state::KVEINT, state::RMAT;

// After `allowed` allocations.
static void expect_failure(int allowed, void (*call)(), const std::string& array, int elements,
                           const std::string& routine) {
    refuse_calls(Call::allocation, allowed + 1, allowed + 1);
    EXPECT_STOP(call(), "ERROR\n\nTrying to allocate                    : " + array +
                            "\nWith elements                         : +" +
                            std::to_string(elements) +
                            "\nRetur status from allocate            : +1\nCalled in "
                            "subroutine\\(function/program\\): " +
                            routine + "\n\nProgram terminates\n");
}

TEST(FailedAllocation, NamesTheTable) {
    expect_failure(
        0, [] { allocate_levels(); }, "IFL", 700000, "ALLOC_MFL");
    expect_failure(
        0, [] { allocate_animals(); }, "IDL", 3900000, "ALLOC_MDL");
    expect_failure(
        0, [] { allocate_elements(); }, "AI", 300000, "ALLOC_MAXNRM");
    expect_failure(
        1, [] { allocate_animals(); }, "IF", 300000, "ALLOC_MDL");
    grant_all_calls();
    DIMENSIONS.MDL.now = DIMENSIONS.MAXNRM.now = 100;
    allocate_tables();
    expect_failure(
        2, [] { grow_animals(); }, "AD", 110, "ALLOC_MDL");
    expect_failure(
        2, [] { grow_elements(); }, "IV", 110, "ALLOC_MAXNRM");
    grant_all_calls();
    KVEINT.nt = 2;
    KVEINT.NRAMAT = 3;
    ASSERT_EQ(RMAT.allocate(4), 0);
    expect_failure(2, allocate_factors, "ITOPR", 3, "KVE1");
}

// Pages that one array has left to another are copied when the system does not move them.
TEST(FailedGrowth, KeepsTheElements) {
    constexpr int64_t kMegabyte = (1 << 20) / sizeof(int32_t);
    Vec<int32_t> left, array;
    ASSERT_EQ(left.allocate(20 * kMegabyte), 0);
    left.fill(-1);
    left.release();
    ASSERT_EQ(array.allocate(20 * kMegabyte), 0);
    for (int32_t k = 1; k <= array.size(); ++k) array(k) = k;
    refuse_calls(Call::growth, 1, std::numeric_limits<int>::max());
    ASSERT_EQ(array.lengthen(30 * kMegabyte), 0);
    grant_all_calls();
    for (int32_t k = 1; k <= array.size(); ++k) ASSERT_EQ(array(k), k <= 20 * kMegabyte ? k : 0);
}

TEST(FailedAllocation, StandsOnOnePage) {
    count_lines(kLinesOnPage - 6);
    const std::string head = "1.*Multivariate Mixed Model Package.*\nERROR\n\nTrying to ";
    EXPECT_STOP(alloc_error("KVE1", "ITOPR", 3, 1), head + "allocate");
    count_lines(1);
    EXPECT_STOP(dealloc_error("KVE1", "ITOPR", 1), head + "deallocate");
}
