// What stands in the files when a run stops.
#include "listing/units.h"

#include "listing/stop.h"
#include "model_builder.h"

using namespace kve;
using state::UNITS;

using Units = ModelTest;

TEST_F(Units, AStopBringsEveryOutputToItsFile) {
    TextOutput* const texts[] = {&UNITS.PEDDATA, &UNITS.INBREED};
    RecordOutput* const records[] = {&UNITS.RCDATA_I, &UNITS.RCDATA_R, &UNITS.CODE_TABLE,
                                     &UNITS.oldsol, &UNITS.RC_F_INFO};
    for (TextOutput* unit : texts) {
        ASSERT_EQ(unit->open("output"), 0);
        EXPECT_STOP((unit->print("%d", 7), stop_run("end")), "^end\n$");
        EXPECT_EQ(content_of("output"), "7\n");
    }
    for (RecordOutput* unit : records) {
        ASSERT_EQ(unit->open("output"), 0);
        EXPECT_STOP((write_record(*unit, int32_t{7}), stop_run("end")), "^end\n$");
        EXPECT_EQ(content_of("output").size(), 12U);
    }
}
