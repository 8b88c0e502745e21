#include <gtest/gtest.h>

#include "base/freeform.h"

using namespace kve;

TEST(FreeForm, SlashAndOmittedItemsKeepValuesAndRunningOutIsTheEnd) {
    int32_t a = 7, b = 7, c = 7;
    EXPECT_EQ(read_free(" 1 ,, +3", a, b, c), Read::ok);
    EXPECT_EQ(a, 1);
    EXPECT_EQ(b, 7);
    EXPECT_EQ(c, 3);
    EXPECT_EQ(read_free("4 /", a, b), Read::ok);
    EXPECT_EQ(a, 4);
    EXPECT_EQ(b, 7);
    EXPECT_EQ(read_free("4", a, b), Read::end);
}

TEST(FreeForm, RefusesWhatIsNoNumber) {
    int32_t i = 0;
    for (const char* text : {"x", "1.0", "2*1", "+-1", "3000000000", "1e2"})
        EXPECT_EQ(read_free(text, i), Read::bad) << text;
    double r = 0;
    for (const char* text : {"x", "1,5x", "--1"}) {
        double second = 0;
        EXPECT_EQ(read_free(text, r, second), Read::bad) << text;
    }
    EXPECT_EQ(read_free("+1.5D2", r), Read::ok);
    EXPECT_EQ(r, 150.0);
}
