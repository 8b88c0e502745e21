#include "data/data_summary.h"

#include <limits>

#include "data/intake.h"
#include "model/records.h"
#include "run/directives.h"
#include "run/listing.h"
#include "run/stop.h"

namespace kve {

READS(DIRECTIVES);
READS(INTAKE);
READS(KVEINT);
WRITES(MODEL);

namespace {

void say_warning() {
    blank(2);
    say("WARNING WARNING WARNING WARNING WARNING  WARNING");
    blank();
    count_lines(4);
}

// Lists the variables of one kind that went out of range; returns how often a used one did.
template <class Counts, class Marks>
int64_t list_out_of_range(const Counts& counts, const Marks& used, int32_t n,
                          Name (*name_of)(int64_t), const char* heading) {
    int64_t hits_of_used = 0;
    blank();
    say("%s", heading);
    say("---------  --------  --------  ---------------------");
    count_lines(3);
    for (int32_t k = 1; k <= n; ++k) {
        if (counts(k) == 0) continue;
        page_if(1);
        say("   %6d  %.*s %9d  %s", k, KVE_SV(name_of(k).padded()), counts(k),
            used(k) ? "                    X" : "");
        count_lines(1);
        if (used(k)) hits_of_used += counts(k);
    }
    blank(2);
    count_lines(2);
    return hits_of_used;
}

[[noreturn]] void stop_out_of_range() {
    constexpr double largest = std::numeric_limits<float>::max();
    page_if(10);
    blank(2);
    say("ONE OR MORE INPUT VARIABLES USED IN THIS ANALYSIS IS OUT OF RANGE");
    blank();
    say("LEGAL RANGE FOR INTEGERS : %12d - %12d", 0, std::numeric_limits<int32_t>::max());
    blank();
    say("LEGAL RANGE FOR REALS    : %15.7E - %15.7E", -largest, largest);
    blank();
    stop_run("COMPUTATIONS TERMINATES");
}

void judge_ranges() {
    int64_t integers = 0, reals = 0, used = 0;
    for (int32_t i = 1; i <= DIRECTIVES.NI; ++i) integers += INTAKE.NI_OOR(i);
    for (int32_t count : INTAKE.NR_OOR) reals += count;
    if (integers + reals == 0) return;
    page_if(12);
    say_warning();
    say("INPUT DATA OUT OF RANGE");
    blank();
    count_lines(2);
    if (integers > 0) {
        say("INTEGER INPUT:");
        count_lines(1);
        used += list_out_of_range(INTAKE.NI_OOR, INTAKE.LI_USED, DIRECTIVES.NI, integer_name,
                                  "Input no.    Name     Times    Used in this analyzes");
    }
    if (reals > 0) {
        say("REAL INPUT:");
        count_lines(1);
        used += list_out_of_range(INTAKE.NR_OOR, INTAKE.LR_USED, DIRECTIVES.NR, real_name,
                                  "Input no.    Name     Times    Used in this analysis");
    }
    if (used > 0) stop_out_of_range();
}

// Kept: a count belongs to trait j and is listed with the name of real variable j; only the first
// NR counts are listed.
void judge_binary_values() {
    bool any = false;
    for (int32_t count : INTAKE.N_BIN_ERR) any = any || count > 0;
    if (!any) return;
    page_if(10);
    say_warning();
    say("INPUT DATA FOR BINARY DATA OUT OF RANGE (0/1)");
    say("REAL INPUT:");
    say("Input no.    Name     Times");
    say("---------  --------  --------");
    count_lines(4);
    for (int32_t j = 1; j <= DIRECTIVES.NR; ++j) {
        if (INTAKE.N_BIN_ERR(j) == 0) continue;
        page_if(1);
        say("   %6d  %.*s %9d", j, KVE_SV(real_name(j).padded()), INTAKE.N_BIN_ERR(j));
        count_lines(1);
    }
    stop_run("COMPUTATIONS TERMINATES");
}

// Kept: entry k of the packed triangle goes to trait k, so with several traits n_obs holds counts
// of trait pairs.
void copy_observation_counts() {
    for (int32_t k = 1; k <= KVEINT.nt; ++k) MODEL(k).n_obs = INTAKE.NS.data()[k - 1];
}

}  // namespace

void judge_data() {
    judge_ranges();
    judge_binary_values();
    copy_observation_counts();
}

}  // namespace kve
