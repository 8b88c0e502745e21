#include "model/censoring.h"

#include "base/state.h"
#include "directives/directives.h"
#include "listing/listing.h"
#include "model/model_records.h"

namespace kve {

READS(DIRECTIVES);
READS(KVEINT);
WRITES(MODEL);

namespace {

bool trait_is_free(const CENS_NODE& node) {
    if (node.trait < 1 || node.trait > KVEINT.nt) {
        Block block;
        block.line("ERROR - CENS specification for trait no.:          %12d", node.trait);
        block.line("        Number of traits in this analysis:         %12d", KVEINT.nt);
        block.print();
        return false;
    }
    if (MODEL(node.trait).l_cens) {
        say_row("ERROR - Repeated CENS specification for trait no.: %12d", node.trait);
        return false;
    }
    return true;
}

// Integer column 0 is the constant 1.
bool columns_exist(const CENS_NODE& node) {
    const bool code_is_bad = node.censoring_code < 0 || node.censoring_code > DIRECTIVES.NI;
    const bool limit_is_bad =
        node.has_upper_limit && (node.upper_limit < 1 || node.upper_limit > DIRECTIVES.NR);
    if (!code_is_bad && !limit_is_bad) return true;
    say_row("ERROR - CENS column out of range for trait no.: %12d %12d", node.trait,
            code_is_bad ? node.censoring_code : node.upper_limit);
    return false;
}

}  // namespace

int mark_censored_traits() {
    int faults = 0;
    for (const CENS_NODE& node : DIRECTIVES.cens) {
        if (!trait_is_free(node) || !columns_exist(node)) {
            ++faults;
            continue;
        }
        Model& m = MODEL(node.trait);
        m.l_cens = true;
        m.cens_inp = node.censoring_code;
        m.int_max_inp = node.has_upper_limit ? node.upper_limit : 0;
    }
    return faults;
}

}  // namespace kve
