#include "reports/out_of_range.h"

#include <cstdint>
#include <limits>

#include "base/state.h"
#include "base/text.h"
#include "data/intake.h"
#include "directives/directives.h"
#include "listing/listing.h"
#include "listing/stop.h"

namespace kve {

READS(DIRECTIVES);
READS(INTAKE);

namespace {

// Lists the variables of one kind that went out of range; returns how often a used one did.
template <class Counts, class Marks>
int64_t list_out_of_range(const Counts& counts, const Marks& used, int32_t n,
                          Name (*name_of)(int64_t), const char* heading) {
    int64_t hits_of_used = 0;
    blank_lines();
    say_line("%s", heading);
    say_line("---------  --------  --------  ---------------------");
    for (int32_t k = 1; k <= n; ++k) {
        if (counts(k) == 0) continue;
        say_row("   %6d  %.*s %9d%s", k, KVE_SV(name_of(k).padded()), counts(k),
                used(k) ? "                      X" : "");
        if (used(k)) hits_of_used += counts(k);
    }
    blank_lines(2);
    return hits_of_used;
}

[[noreturn]] void stop_out_of_range() {
    constexpr double largest = std::numeric_limits<float>::max();
    page_if(9);
    blank_lines(2);
    say_line("ONE OR MORE INPUT VARIABLES USED IN THIS ANALYSIS IS OUT OF RANGE");
    blank_lines();
    say_line("LEGAL RANGE FOR INTEGERS : %d - %d", 0, std::numeric_limits<int32_t>::max());
    blank_lines();
    say_line("LEGAL RANGE FOR REALS    : %.7E - %.7E", -largest, largest);
    blank_lines();
    stop_run("COMPUTATIONS TERMINATES");
}

}  // namespace

void judge_ranges() {
    int64_t integers = 0, reals = 0, used = 0;
    for (int32_t i = 1; i <= DIRECTIVES.NI; ++i) integers += INTAKE.NI_OOR(i);
    for (int32_t count : INTAKE.NR_OOR) reals += count;
    if (integers + reals == 0) return;
    page_if(12);
    blank_lines(2);
    say_line("WARNING WARNING WARNING WARNING WARNING  WARNING");
    blank_lines();
    say_line("INPUT DATA OUT OF RANGE");
    blank_lines();
    if (integers > 0) {
        say_line("INTEGER INPUT:");
        used += list_out_of_range(INTAKE.NI_OOR, INTAKE.LI_USED, DIRECTIVES.NI, integer_name,
                                  "Input no.    Name     Times    Used in this analyzes");
    }
    if (reals > 0) {
        page_if(6);
        say_line("REAL INPUT:");
        used += list_out_of_range(INTAKE.NR_OOR, INTAKE.LR_USED, DIRECTIVES.NR, real_name,
                                  "Input no.    Name     Times    Used in this analysis");
    }
    if (used > 0) stop_out_of_range();
}

// Kept: a count belongs to trait j and is listed with the name of real variable j. With more traits
// than real variables a count may stop the run without a row.
void judge_binary_values() {
    bool any = false;
    for (int32_t count : INTAKE.N_BIN_ERR) any = any || count > 0;
    if (!any) return;
    page_if(6);
    say_line("WARNING WARNING WARNING WARNING WARNING  WARNING");
    say_line("INPUT DATA FOR BINARY DATA OUT OF RANGE (0/1)");
    say_line("REAL INPUT:");
    say_line("Input no.    Name     Times");
    say_line("---------  --------  --------");
    for (int32_t j = 1; j <= DIRECTIVES.NR; ++j)
        if (INTAKE.N_BIN_ERR(j) > 0)
            say_row("   %6d  %.*s %9d", j, KVE_SV(real_name(j).padded()), INTAKE.N_BIN_ERR(j));
    stop_run("COMPUTATIONS TERMINATES");
}

}  // namespace kve
