#include "model/zero_covariances.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "base/freeform.h"
#include "base/state.h"
#include "directives/directives.h"
#include "listing/listing.h"
#include "listing/stop.h"
#include "model/model_lines.h"
#include "model/model_records.h"

namespace kve {

READS(DIRECTIVES);
WRITES(KVEINT);

namespace {

[[noreturn]] void refuse_count() {
    log_say("ERROR - reading line with no. of residual");
    log_say("        covariances assumed Zero");
    terminate_run();
}

[[noreturn]] void refuse_pair(int32_t number) {
    log_say("ERROR - reading line%12d", number);
    log_say("        with residual covariances assumed Zero");
    terminate_run();
}

void read_count(ModelLines& lines) {
    KVEINT.N_ZERO_RCOV = 0;
    if (lines.read_record(KVEINT.N_ZERO_RCOV) != Read::ok) refuse_count();
    log_integers({&KVEINT.N_ZERO_RCOV, 1});
    int64_t nt = KVEINT.nt;
    if (KVEINT.N_ZERO_RCOV < 0 || KVEINT.N_ZERO_RCOV > nt * (nt - 1) / 2)
        log_warning("ERROR-NO OF ZERO RESIDUAL COVARIANCES OUT OF BOUNDS");
}

// Pair after pair, as many as there are: the number of pairs may be any.
std::vector<int32_t> read_pairs(ModelLines& lines) {
    std::vector<int32_t> numbers;
    for (int32_t k = 1; k <= KVEINT.N_ZERO_RCOV; ++k) {
        int32_t pair[2] = {};
        if (lines.read_record(pair) != Read::ok) refuse_pair(k);
        log_integers(pair);
        numbers.insert(numbers.end(), pair, pair + 2);
    }
    return numbers;
}

void store_pairs(const std::vector<int32_t>& numbers) {
    int64_t nt = KVEINT.nt;
    int64_t columns = std::max(nt * (nt + 1) / 2, static_cast<int64_t>(numbers.size() / 2));
    check_allocated(KVEINT.NORCOV.allocate(2, columns), "KVEINT", "NORCOV", 2 * columns);
    std::copy(numbers.begin(), numbers.end(), KVEINT.NORCOV.data());
}

bool pairs_are_legal(const std::vector<int32_t>& numbers) {
    return std::all_of(numbers.begin(), numbers.end(),
                       [](int32_t trait) { return trait >= 1 && trait <= KVEINT.nt; });
}

[[noreturn]] void refuse_binary_residuals() {
    log_say(
        "Not able yet to handle situation where binary traits (on liability scale)have "
        "correlated residuals");
    terminate_run();
}

// For the task on the liability scale: the residuals of binary traits must be declared independent.
void check_binary_residuals() {
    KVEINT.L_INDEP_BIN_RESIDUALS = false;
    if (DIRECTIVES.ITASK != kLiability) return;
    bool all_declared = true;
    for (int32_t i = KVEINT.nt - KVEINT.NBinTraits + 1; i <= KVEINT.nt; ++i) {
        for (int32_t j = i + 1; j <= KVEINT.nt; ++j) {
            if (KVEINT.LogicalZeroEltR0(i, j)) continue;
            log_say(
                "Residuals NOT assumed independent on liability scale of binary traits, ie of "
                "trait%12d",
                i);
            log_say("and of trait%12d", j);
            all_declared = false;
        }
    }
    if (!all_declared) refuse_binary_residuals();
    KVEINT.L_INDEP_BIN_RESIDUALS = true;
}

}  // namespace

void read_zero_covariances(ModelLines& lines) {
    log_blank();
    log_say("  Number of residual covariances assumed Zero");
    read_count(lines);
    std::vector<int32_t> numbers = read_pairs(lines);
    store_pairs(numbers);
    bool legal = pairs_are_legal(numbers);
    if (!legal) log_say("ERROR-ILLEGAL TRAIT NO IN ZERO COVARIANCES");
    for (std::size_t k = 0; legal && k < numbers.size(); k += 2) {
        KVEINT.LogicalZeroEltR0(numbers[k], numbers[k + 1]) = true;
        KVEINT.LogicalZeroEltR0(numbers[k + 1], numbers[k]) = true;
    }
    check_binary_residuals();
    if (!legal) terminate_run();
}

}  // namespace kve
