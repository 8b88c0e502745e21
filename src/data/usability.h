// Which traits of a data record are usable: the one classifier for both passes.
//
// A trait is usable when its dependent variable is present and everything that its submodel needs
// is known: identities of its class effects above 0, covariables and weight present. The passes
// differ in two rules only, told when the plan is made.
#pragma once

#include <cstdint>

#include "base/arrays.h"
#include "model/model_records.h"

namespace kve {

// One bit per trait, 1 usable; trait 1 is the highest of nt bits.
using TraitPattern = uint32_t;
constexpr TraitPattern trait_bit(int32_t nt, int32_t trait) {
    return TraitPattern{1} << (nt - trait);
}

struct UsabilityRules {
    bool censoring_codes;       // a code outside -1..2 drops the trait
    bool all_absorbed_effects;  // or only the trait's first one
};
inline constexpr UsabilityRules kFirstPassRules{true, true};
inline constexpr UsabilityRules kSecondPassRules{false, false};

// What one trait asks of a record: places in RECORD, lists as ranges begin..end-1 of the plan's.
struct TraitNeeds {
    int32_t dependent;
    int32_t censoring_code;  // kNotChecked, or a place in IINP
    int32_t identities_begin, identities_end;
    int32_t values_begin, values_end;
};
inline constexpr int32_t kNotChecked = -1;

struct UsabilityPlan {
    Vec<TraitNeeds> traits;   // nt
    Vec<int32_t> identities;  // places in IINP that must hold 1 or more
    Vec<int32_t> values;      // places in FINP that must be present
};

// From MODEL. A failed allocation stops the run under the given routine's name.
UsabilityPlan plan_usability(UsabilityRules rules, const char* routine);

// Sets L_FINP_MIS of RECORD; the traits whose dependent variable is present.
TraitPattern present_traits(const UsabilityPlan& plan);

// The traits of `present` that the record can serve. A checked censoring code of 2 sets L_INTERVAL
// of INTAKE, also for a trait that is absent or dropped.
TraitPattern usable_traits(const UsabilityPlan& plan, TraitPattern present);

// Traits that have an effect in random matrix `matrix`, merged effects included.
TraitPattern traits_of_matrix(int32_t matrix);

// Has the trait a weight column (also one that the data lack)?
inline bool has_weight(const Model& m) { return m.wgt_inp_no != 0; }

}  // namespace kve
