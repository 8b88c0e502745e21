#include "data/usability.h"

#include "base/state.h"
#include "data/intake.h"
#include "data/raw_record.h"
#include "directives/directives.h"
#include "listing/stop.h"

namespace kve {

READS(DIRECTIVES);
READS(MODEL);
READS(KVEINT);
WRITES(RECORD);
WRITES(INTAKE);

namespace {

int32_t checked_absorbed_effects(const Model& m, UsabilityRules rules) {
    return rules.all_absorbed_effects || m.n_absorb < 1 ? m.n_absorb : 1;
}

void allocate_plan(UsabilityPlan& plan, UsabilityRules rules, const char* routine) {
    int64_t identities = 0, values = 0;
    for (const Model& m : MODEL) {
        identities += checked_absorbed_effects(m, rules) + m.n_ef;
        values += m.n_reg + (has_weight(m) ? 1 : 0);
    }
    check_allocated(plan.traits.allocate(KVEINT.nt), routine, "TRAIT NEEDS", KVEINT.nt);
    check_allocated(plan.identities.allocate(identities), routine, "IDENTITIES", identities);
    check_allocated(plan.values.allocate(values), routine, "VALUES", values);
}

bool is_legal_code(int32_t code) { return code >= -1 && code <= 2; }

bool is_complete(const UsabilityPlan& plan, const TraitNeeds& needs) {
    for (int32_t k = needs.identities_begin; k < needs.identities_end; ++k)
        if (RECORD.IINP(plan.identities(k)) < 1) return false;
    for (int32_t k = needs.values_begin; k < needs.values_end; ++k)
        if (RECORD.L_FINP_MIS(plan.values(k)) == 0) return false;
    return needs.censoring_code == kNotChecked || is_legal_code(RECORD.IINP(needs.censoring_code));
}

}  // namespace

UsabilityPlan plan_usability(UsabilityRules rules, const char* routine) {
    UsabilityPlan plan;
    allocate_plan(plan, rules, routine);
    int32_t identities = 0, values = 0;
    for (int32_t i = 1; i <= KVEINT.nt; ++i) {
        const Model& m = MODEL(i);
        TraitNeeds& needs = plan.traits(i);
        needs.dependent = real_place(m.trait_inp_no);
        bool checked = rules.censoring_codes && m.l_cens;
        needs.censoring_code = checked ? integer_place(m.cens_inp) : kNotChecked;

        needs.identities_begin = identities + 1;
        for (int32_t j = 1; j <= checked_absorbed_effects(m, rules); ++j)
            plan.identities(++identities) = integer_place(m.a_ef_inp(j));
        for (int32_t j = 1; j <= m.n_ef; ++j)
            plan.identities(++identities) = integer_place(m.ef_inp(j));
        needs.identities_end = identities + 1;

        needs.values_begin = values + 1;
        for (int32_t j = 1; j <= m.n_reg; ++j) plan.values(++values) = real_place(m.reg_inp(j));
        if (has_weight(m)) plan.values(++values) = real_place(m.wgt_inp_no);
        needs.values_end = values + 1;
    }
    return plan;
}

TraitPattern present_traits(const UsabilityPlan& plan) {
    // Local pointers: a byte store may otherwise change the arrays' own fields.
    const float* values = RECORD.FINP.data();
    int8_t* is_present = RECORD.L_FINP_MIS.data();
    const int64_t n = RECORD.FINP.size();
    const float missing = DIRECTIVES.RMISS;
    for (int64_t j = 0; j < n; ++j) is_present[j] = values[j] > missing ? 1 : 0;
    TraitPattern present = 0;
    for (const TraitNeeds& needs : plan.traits)
        present = present << 1 | static_cast<TraitPattern>(RECORD.L_FINP_MIS(needs.dependent));
    return present;
}

TraitPattern usable_traits(const UsabilityPlan& plan, TraitPattern present) {
    TraitPattern usable = present;
    for (int32_t i = 1; i <= KVEINT.nt; ++i) {
        const TraitNeeds& needs = plan.traits(i);
        if (needs.censoring_code != kNotChecked && RECORD.IINP(needs.censoring_code) == 2)
            INTAKE.L_INTERVAL = true;
        TraitPattern bit = trait_bit(KVEINT.nt, i);
        if ((present & bit) != 0 && !is_complete(plan, needs)) usable &= ~bit;
    }
    return usable;
}

TraitPattern traits_of_matrix(int32_t matrix) {
    TraitPattern traits = 0;
    for (int32_t i = 1; i <= KVEINT.nt; ++i)
        for (int32_t owner : MODEL(i).r_ef_matno)
            if (owner == matrix) traits |= trait_bit(KVEINT.nt, i);
    return traits;
}

}  // namespace kve
