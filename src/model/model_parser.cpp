#include "model/model_parser.h"

#include "base/state.h"
#include "directives/directives.h"
#include "listing/listing.h"
#include "listing/stop.h"
#include "listing/units.h"
#include "model/model_lines.h"
#include "model/random_lines.h"
#include "model/regression_lines.h"
#include "model/trait_lines.h"
#include "model/zero_covariances.h"

namespace kve {

READS(DIRECTIVES);
WRITES(UNITS);

namespace {

void warn_unused_lines() {
    if (DIRECTIVES.last_line_used == 0) return;
    log_warning(
        "WARNING - the directive file was read up to line %lld; the lines behind it are not used",
        static_cast<long long>(DIRECTIVES.last_line_used));
}

}  // namespace

void parse_model() {
    if (const int status = open_log(); status != 0) stop_not_opened("KVE_LOG", status);
    warn_unused_lines();
    ModelLines lines(UNITS.model_text);
    read_trait_counts(lines);
    read_absorption_lines(lines);
    read_model_lines(lines);
    check_weights();
    read_random_lines(lines);
    // A KVE1.reduce that an earlier run left behind counts for nothing.
    if (!DIRECTIVES.reduce_file.blank()) {
        ModelLines reduce_lines(UNITS.reduced_ranks);
        read_reduced_rank(reduce_lines);
    }
    read_regression_lines(lines);
    number_real_columns();
    read_zero_covariances(lines);
    UNITS.model_text.close();
    UNITS.reduced_ranks.close();
}

}  // namespace kve
