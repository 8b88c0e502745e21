#include "model/structure_link.h"

#include <cstdint>

#include "base/state.h"
#include "base/text.h"
#include "directives/directives.h"
#include "listing/listing.h"
#include "listing/stop.h"
#include "model/model_records.h"

namespace kve {

READS(DIRECTIVES);
READS(KVEINT);
WRITES(RMAT);

namespace {

[[noreturn]] void refuse_factor(int32_t factor) {
    log_say("ERROR: In the driver file association between a variance structure");
    log_say("       and random factor no. %12d is specified,", factor);
    log_say("       but there is only %12d random factors in the model(s)", KVEINT.NRAMAT + 1);
    log_say("       (including the residual)");
    terminate_run();
}

[[noreturn]] void refuse_group_of_task(int32_t residual) {
    log_say("ERROR: Variance structure GROUP is specified for the residual random factor");
    log_say("       This variance strcture is only valid for KVEGS (itask  = 2)");
    log_say("       The residual is random factor %12d", residual);
    terminate_run();
}

[[noreturn]] void refuse_residual_structure(const VAR_STR_SPEC& spec) {
    log_say("ERROR: Variance structure %.*s is specified for the residual",
            KVE_SV(spec.type.view()));
    log_say("       The only variance structure that can be used for the residual is GROUP");
    log_say("       The GROUP variance structure is only valid for KVEGS (itask  = 2)");
    log_say("       The residual is random factor %12d", spec.factor);
    terminate_run();
}

[[noreturn]] void refuse_group_of_factor(int32_t factor) {
    log_say("ERROR: Variance structure GROUP is specified for random factor%12d", factor);
    log_say("       The GROUP variance structure can only be used on the residual");
    log_say("       The residual is random factor %12d", KVEINT.NRAMAT + 1);
    terminate_run();
}

void link_residual(const VAR_STR_SPEC& spec) {
    if (spec.structure != Structure::GROUP) refuse_residual_structure(spec);
    if (DIRECTIVES.ITASK != kSampling) refuse_group_of_task(spec.factor);
    RMatrix& residual = RMAT(spec.factor);
    residual.structure = spec.structure;
    residual.grp_inp = spec.integer_input;
    residual.grp_name = integer_name(spec.integer_input);
}

void link_pedigree(const VAR_STR_SPEC& spec, RMatrix& r) {
    r.method = spec.method;
    r.l_ram = spec.ram;
    r.phg_random = spec.r;
    r.ran_factor = spec.r_value;
    if (spec.structure != Structure::PGMIX) return;
    r.rel_file2 = spec.file[1];
    r.rel_file3 = spec.file[2];
    r.pgmix_weight = spec.weight;
    r.pgmix_g_adjust = spec.g_adjust;
}

void link_associated_factor(const VAR_STR_SPEC& spec, RMatrix& r) {
    if (spec.integer_input < 1 || spec.integer_input > KVEINT.NRAMAT)
        refuse_factor(spec.integer_input);
    r.ass_rf = spec.integer_input;
}

void link_random_factor(const VAR_STR_SPEC& spec) {
    RMatrix& r = RMAT(spec.factor);
    switch (spec.structure) {
        case Structure::unknown:
        case Structure::I:
            return;
        case Structure::GROUP:
            refuse_group_of_factor(spec.factor);
        case Structure::PED:
        case Structure::PGMIX:
            link_pedigree(spec, r);
            break;
        case Structure::ABS_QTL:
        case Structure::DOM:
            link_associated_factor(spec, r);
            break;
        case Structure::COR:
        case Structure::GREL:
            break;
    }
    r.structure = spec.structure;
    r.rel_format = spec.format;
    r.rel_file = spec.file[0];
}

// Dominance and IBD matrices are rows of animals: the animals of the associated factor.
void check_associated_factor(int32_t factor) {
    int32_t associated = RMAT(factor).ass_rf;
    if (associated == 0 || has_pedigree(RMAT(associated).structure)) return;
    // Narrow numbers: the listing shows the first 98 characters of a line of the log.
    log_say(
        "ERROR - Associated factor must be PED or PGMIX; random factor: %d associated factor: %d",
        factor, associated);
    terminate_run();
}

}  // namespace

void link_variance_structures() {
    const int32_t residual = KVEINT.NRAMAT + 1;
    for (const VAR_STR_SPEC& spec : DIRECTIVES.var_str) {
        if (spec.factor < 1 || spec.factor > residual) refuse_factor(spec.factor);
        if (spec.factor == residual)
            link_residual(spec);
        else
            link_random_factor(spec);
    }
    for (const VAR_STR_SPEC& spec : DIRECTIVES.var_str) check_associated_factor(spec.factor);
}

}  // namespace kve
