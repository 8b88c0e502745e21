// The road of one run. Each line is a stage; the remark says what it leaves behind.
#include "run/driver.h"

#include "run/banner.h"
#include "run/listing.h"
#include "run/open_files.h"
#include "run/pedigree_columns.h"
#include "run/place.h"
#include "run/stop.h"
#include "run/unavailable.h"

namespace kve {

void run() {
    start_listing();  // page head
    print_banner();   // name and version
    // read_dimensions
    find_place();  // ST_DIR
    // read_directives
    // check_pedigree_columns
    // open_files
    // parse_model
    // check_structures
    // mark_censored_traits
    // settle_trait_classes
    // allocate_tables
    // KVEFP1
    // count_residual_groups
    // KVE_PRIORS, listing, scaling
    // judge_data
    // sort_level_lists
    // count_one_level_factors
    // number_equations
    // KVEWDF
    // record_group_counts
    // KVEPFL
    // delete_empty_work_files
    // dump_model_records
    end_run();  // last line
}

}  // namespace kve
