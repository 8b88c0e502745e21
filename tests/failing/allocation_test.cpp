#include <gtest/gtest.h>

#include <string>

#include "data/factors.h"
#include "model/records.h"
#include "run/big_tables.h"
#include "run/growth.h"
#include "stops.h"

using namespace kve;

extern int allocations_left;

WRITES(DIMENSIONS);
WRITES(KVEINT);
WRITES(RMAT);

namespace {

std::string words(const std::string& array, int64_t elements, const std::string& routine) {
    return "ERROR\n\nTrying to allocate                    : " + array +
           "\nWith elements                         : +" + std::to_string(elements) +
           "\nRetur status from allocate            : +1\nCalled in "
           "subroutine\\(function/program\\)"
           ": " +
           routine + "\n\nProgram terminates\n";
}

}  // namespace

TEST(FailedAllocation, NamesTheTableOfTheFirstAllocation) {
    allocations_left = 0;
    EXPECT_STOP(ALLOC_MFL(0), words("IFL", 700000, "ALLOC_MFL"));
    EXPECT_STOP(ALLOC_MDL(0), words("IDL", 3900000, "ALLOC_MDL"));
    EXPECT_STOP(ALLOC_MAXNRM(0), words("AI", 300000, "ALLOC_MAXNRM"));
    allocations_left = 1;
    EXPECT_STOP(ALLOC_MDL(0), words("IF", 300000, "ALLOC_MDL"));
}

TEST(FailedAllocation, NamesTheTableThatCouldNotGrow) {
    allocations_left = 100;
    DIMENSIONS.MDL.now = DIMENSIONS.MAXNRM.now = 100;
    allocate_tables();
    allocations_left = 2;
    EXPECT_STOP(ALLOC_MDL(1), words("AD", 110, "ALLOC_MDL"));
    EXPECT_STOP(ALLOC_MAXNRM(1), words("IV", 110, "ALLOC_MAXNRM"));
}

TEST(FailedAllocation, OfTheFactorsNamesTheProgram) {
    allocations_left = 100;
    KVEINT.nt = 2;
    KVEINT.NRAMAT = 3;
    ASSERT_EQ(RMAT.allocate(4), 0);
    allocations_left = 2;
    EXPECT_STOP(allocate_factors(), words("ITOPR", 3, "KVE1"));
}
