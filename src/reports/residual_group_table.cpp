#include "reports/residual_group_table.h"

#include <cstdint>

#include "base/state.h"
#include "directives/directives.h"
#include "listing/listing.h"
#include "listing/stop.h"
#include "model/model_records.h"
#include "reports/level_listing.h"

namespace kve {

READS(RMAT);

namespace {

constexpr int32_t kFewestRecords = 10;  // of a group with a residual matrix of its own

}  // namespace

void report_residual_groups() {
    const RMatrix& residual = residual_of(RMAT);
    if (residual.structure != Structure::GROUP) return;
    page_if(7);
    blank_lines();
    say_line("%60s%12d",
             "Number of groups for residual (co)varaiance matrices :", residual.grp_nlev);
    blank_lines();
    say_line("%60s", "     Residual (co)variance groups (MAX. first 100)");
    blank_lines();
    say_line("%60s", "         Code    N-obs");
    int32_t n_small = 0;
    for (int32_t group = 1; group <= residual.grp_nlev; ++group) {
        const bool is_small = residual.niegr(group) < kFewestRecords;
        n_small += is_small;
        if (group <= kMostLevelsListed)
            say_row("%51d %8d%s", residual.grp_code(group), residual.niegr(group),
                    is_small ? "  < 10 obs in group " : "");
    }
    if (n_small == 0) return;
    Block fault;
    fault.blank(2);
    fault.line("%60s", " To few (<10) observations in one or more residual variance group");
    fault.print();
    terminate_run();
}

}  // namespace kve
