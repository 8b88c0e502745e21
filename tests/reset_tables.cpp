// Every case starts with the tables as a run starts with them, also when a test program runs whole.
// The list of the tables is made from the headers that declare them.
#include <gtest/gtest.h>

#include <memory>

#include "all_tables.h"

namespace {

template <class... Tables>
void reset(Tables&... tables) {
    ((std::destroy_at(&tables), std::construct_at(&tables)), ...);
}

struct ResetTables : testing::EmptyTestEventListener {
    void OnTestStart(const testing::TestInfo&) override { reset(ALL_TABLES); }
};

[[maybe_unused]] const bool appended =
    (testing::UnitTest::GetInstance()->listeners().Append(new ResetTables), true);

}  // namespace
