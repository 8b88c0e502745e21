#include "reports/residual_groups.h"

#include "data/factors.h"
#include "listing/listing.h"
#include "listing/stop.h"
#include "model/model_records.h"
#include "reports/level_listing.h"
#include "store/big_tables.h"
#include "store/sorting.h"

namespace kve {

READS(KVEINT);
READS(IFL);
WRITES(RMAT);
WRITES(FACTORS);

namespace {

constexpr int32_t kFewestRecords = 10;  // of a group with a residual matrix of its own

}  // namespace

void count_residual_groups() {
    RMatrix& residual = residual_of(RMAT);
    residual.grp_nlev = residual.structure == Structure::GROUP
                            ? sort_level_list(FACTORS.ROOT_GRP, FACTORS.HEAD_GRP, 0)
                            : 1;
}

void report_residual_groups() {
    RMatrix& residual = residual_of(RMAT);
    if (residual.structure != Structure::GROUP) return;
    page_if(7);
    blank_lines();
    say_line("%60s%12d",
             "Number of groups for residual (co)varaiance matrices :", residual.grp_nlev);
    blank_lines();
    say_line("%60s", "     Residual (co)variance groups (MAX. first 100)");
    blank_lines();
    say_line("%60s", "         Code    N-obs");
    int32_t group = 0, n_small = 0;
    for (int32_t row = FACTORS.HEAD_GRP; row != 0; row = IFL(row).next) {
        const LevelRow& level = IFL(row);
        const bool is_small = level.n_obs < kFewestRecords;
        ++group;
        residual.grp_code(group) = level.key;
        residual.niegr(group) = level.n_obs;
        n_small += is_small;
        if (group <= kMostLevelsListed)
            say_row("%51d %8d%s", level.key, level.n_obs, is_small ? "  < 10 obs in group " : "");
    }
    if (n_small == 0) return;
    page_if(3);
    blank_lines(2);
    say_line("%60s", " To few (<10) observations in one or more residual variance group");
    terminate_run();
}

}  // namespace kve
