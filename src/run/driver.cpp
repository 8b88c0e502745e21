// The road of one run. Each line is a stage, or the stages of understanding.cpp; the remark says
// what it leaves behind.
#include "run/driver.h"

#include "base/state.h"
#include "covariances/priors.h"
#include "covariances/starting_values.h"
#include "data/equation_numbers.h"
#include "data/first_pass.h"
#include "data/level_counts.h"
#include "data/recoding.h"
#include "data/record_positions.h"
#include "data/residual_groups.h"
#include "directives/dimensions.h"
#include "directives/directive_reader.h"
#include "directives/directives.h"
#include "directives/file_identities.h"
#include "directives/open_files.h"
#include "directives/pedigree_columns.h"
#include "directives/place.h"
#include "handover/code_table.h"
#include "handover/empty_work_files.h"
#include "handover/model_information.h"
#include "handover/old_solutions.h"
#include "handover/pedfile.h"
#include "listing/listing.h"
#include "listing/stop.h"
#include "matrices/pedigree_inverses.h"
#include "matrices/user_matrices.h"
#include "pedigree/foreign_information.h"
#include "pedigree/pedigree_reader.h"
#include "reports/banner.h"
#include "reports/data_summary.h"
#include "reports/dump.h"
#include "reports/model_statistics.h"
#include "run/understanding.h"
#include "store/work_tables.h"

namespace kve {

READS(DIRECTIVES);

void run() {
    watch_listing();    // nothing is told to nobody
    start_listing();    // page head
    print_banner();     // name and version
    read_dimensions();  // DIMENSIONS
    find_place();       // ST_DIR
    claim_place();      // no other run in this folder
    read_directives();  // DIRECTIVES, section files
    check_pedigree_columns();
    open_files();               // UNITS, emptied outputs
    understand_model();         // MODEL, RMAT, KVE_LOG
    allocate_tables();          // IFL, IDL, the sparse store
    KVEFP1();                   // levels in IFL, counts in INTAKE, n_obs
    count_residual_groups();    // grp_nlev, grp_code, niegr
    place_effects_in_record();  // positions in the recoded record
    KVE_PRIORS();               // cov_mat, h_cov_mat, RSD
    list_starting_values();
    scale_starting_values();  // cov_mat, h_cov_mat
    summarise_data();
    read_pedigrees();           // IDL
    sort_level_lists();         // NRALEV, level numbers in IFL
    check_user_matrices();      // NRALEV, level numbers in IFL; MISS_ID
    count_foreign_records();    // NFINFO, NFPHG, rows of IFL
    process_pedigrees();        // order, links and levels in IDL; AINV, AINV_RAM, PGMIX, INBREED
    recode_user_matrices();     // COR, DOM, IBD, GINV
    count_one_level_factors();  // NRALEV
    number_equations();         // NLEV, NBEGREG, NBEGF, NBEGRA, NBEGRAT
    KVEWDF();                   // RCDATA_I, RCDATA_R
    report_model_statistics();
    tell_warnings_in_log();
    translate_old_solutions();  // oldsol, OLDSOL_H2
    blank();
    write_code_table();         // CODE_TABLE
    write_pedfiles();           // PEDFILE
    convert_foreign_records();  // RC_F_INFO
    delete_empty_work_files();  // PEDDATA and INBREED only where they hold something
    if (DIRECTIVES.ITEST > 0) dump_model_records();
    note_used_dimensions();  // DIMENSIONS
    check_inputs();          // none has changed
    close_outputs();
    KVEPFL();   // MODINF, when all else is whole
    end_run();  // last line
}

}  // namespace kve
