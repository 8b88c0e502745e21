// Every case starts with the tables as a run starts with them, also when a test program runs whole.
#include "reset_tables.h"

#include <gtest/gtest.h>

namespace {

struct ResetTables : testing::EmptyTestEventListener {
    void OnTestStart(const testing::TestInfo&) override { reset_tables(); }
};

[[maybe_unused]] const bool appended =
    (testing::UnitTest::GetInstance()->listeners().Append(new ResetTables), true);

}  // namespace
