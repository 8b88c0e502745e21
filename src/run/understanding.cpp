#include "run/understanding.h"

#include "listing/listing.h"
#include "listing/stop.h"
#include "model/censoring.h"
#include "model/covariance_structure.h"
#include "model/glmm.h"
#include "model/method.h"
#include "model/model_parser.h"
#include "model/restrictions.h"
#include "model/structure_checks.h"
#include "model/trait_classes.h"
#include "reports/log_tables.h"
#include "reports/model_report.h"

namespace kve {

void understand_model() {
    parse_model();                  // MODEL, KVE_LOG
    derive_covariance_structure();  // RMAT
    write_log_tables();             // KVE_LOG
    check_structures();
    int faults = set_generalized_models();  // functions, offset columns
    faults += mark_censored_traits();       // columns of censoring codes
    settle_trait_classes();                 // final trait_type
    settle_method();                        // IMETHOD
    tell_warnings_in_log();
    report_model();
    if (faults > 0) terminate_run();
    apply_restrictions();  // flags of restriction in RMAT
}

}  // namespace kve
