#include "pedigree/a_inverse.h"

#include <cmath>
#include <cstdlib>

#include "base/memory.h"
#include "base/state.h"
#include "listing/listing.h"
#include "listing/stop.h"
#include "store/big_tables.h"
#include "store/sparse_store.h"

namespace kve {

READS(IDL);
READS(LD);

namespace {

// t(1) to t(13): the additions of an animal, by the parents that are known, and ln of its Mendelian
// sampling variance.
struct Coefficients {
    double dd, ds, da, ss, sa, aa;     // both known
    double sire_ss, sire_sa, sire_aa;  // the sire alone
    double dam_dd, dam_da, dam_aa;     // the dam, or maternal grandsire, alone
    double none_aa;
    double var_both, var_sire, var_dam;
};
constexpr Coefficients kParents{
    .dd = 1.0 / 2,
    .ds = 1.0 / 2,
    .da = -1.0,
    .ss = 1.0 / 2,
    .sa = -1.0,
    .aa = 2.0,
    .sire_ss = 1.0 / 3,
    .sire_sa = -2.0 / 3,
    .sire_aa = 4.0 / 3,
    .dam_dd = 1.0 / 3,
    .dam_da = -2.0 / 3,
    .dam_aa = 4.0 / 3,
    .none_aa = 1.0,
    .var_both = 0.5,
    .var_sire = 0.75,
    .var_dam = 0.75,
};
// Kept: no method asks for these; that of sire and maternal grandsire takes the ones above.
constexpr Coefficients kGrandsire{
    .dd = 1.0 / 11,
    .ds = 2.0 / 11,
    .da = -4.0 / 11,
    .ss = 4.0 / 11,
    .sa = -8.0 / 11,
    .aa = 16.0 / 11,
    .sire_ss = 1.0 / 3,
    .sire_sa = -2.0 / 3,
    .sire_aa = 4.0 / 3,
    .dam_dd = 1.0 / 15,
    .dam_da = -4.0 / 15,
    .dam_aa = 16.0 / 15,
    .none_aa = 1.0,
    .var_both = 0.6875,
    .var_sire = 0.75,
    .var_dam = 0.9375,
};

constexpr int64_t kAhead = 16;  // animals by which memory is fetched ahead

KVE_FETCH void look_ahead(const Vec<Parentage>& parentage, int64_t j) {
    if (j + 2 * kAhead > parentage.size()) return;
    const Parentage& far = parentage(j + 2 * kAhead);
    expect_sparse_head(std::abs(far.sire));
    expect_sparse_head(std::abs(far.dam));
    const Parentage& near = parentage(j + kAhead);
    expect_sparse_element(std::abs(near.sire));
    expect_sparse_element(std::abs(near.dam));
    expect_sparse_place(std::abs(near.sire), std::abs(near.dam));
}

// Returns the Mendelian sampling variance.
double add_animal(const Parentage& p, const Coefficients& t) {
    const int32_t a = p.animal, s = p.sire, d = p.dam;
    if (s > 0 && d > 0) {
        insert_sparse(d, d, t.dd);
        insert_sparse(d, s, t.ds);
        insert_sparse(d, a, t.da);
        insert_sparse(s, s, t.ss);
        insert_sparse(s, a, t.sa);
        insert_sparse(a, a, t.aa);
        return t.var_both;
    }
    if (s > 0) {
        insert_sparse(s, s, t.sire_ss);
        insert_sparse(s, a, t.sire_sa);
        insert_sparse(a, a, t.sire_aa);
        return t.var_sire;
    }
    if (d > 0) {
        insert_sparse(d, d, t.dam_dd);
        insert_sparse(d, a, t.dam_da);
        insert_sparse(a, a, t.dam_aa);
        return t.var_dam;
    }
    insert_sparse(a, a, t.none_aa);
    return 1.0;
}

// A phantom group counts as a parent, and its animals have more sampling variance the more of their
// parents are groups. A group row has no parents and adds only the variance ratio of random groups,
// 0 for fixed ones, so that its element is in the file. Returns the sampling variance.
double add_animal_or_group(const Parentage& p, double ran_factor) {
    const int32_t a = std::abs(p.animal), s = std::abs(p.sire), d = std::abs(p.dam);
    if (p.animal < 0) {
        insert_sparse(a, a, ran_factor);
        return 1.0;
    }
    const int groups = (p.sire < 0 ? 1 : 0) + (p.dam < 0 ? 1 : 0);
    constexpr double kVariances[] = {0.5, 0.75, 1.0};
    constexpr double kFactors[] = {2.0, 4.0 / 3, 1.0};
    const double f = kFactors[groups];
    insert_sparse(d, d, f / 4);
    insert_sparse(d, s, f / 4);
    insert_sparse(d, a, -f / 2);
    insert_sparse(s, s, f / 4);
    insert_sparse(s, a, -f / 2);
    insert_sparse(a, a, f);
    // The place (s,d) is met from both sides when it lies on the diagonal.
    if (s == d) insert_sparse(s, d, f / 4);
    return kVariances[groups];
}

// Kept: no caller has another rule; the codes are those of the interface.
[[noreturn]] void stop_unknown_rule(ParentRule code) {
    say("KVEA24-ERROR ICODE=%12d", static_cast<int32_t>(code));
    stop_run();
}

}  // namespace

double KVEA24(const Vec<Parentage>& parentage, ParentRule code, double ran_factor) {
    const bool groups = code == ParentRule::phantom_groups;
    if (!groups && code != ParentRule::parents && code != ParentRule::maternal_grandsire)
        stop_unknown_rule(code);
    const Coefficients& t = code == ParentRule::parents ? kParents : kGrandsire;
    double log_det = 0.0;
    for (int64_t j = 1; j <= parentage.size(); ++j) {
        look_ahead(parentage, j);
        const Parentage& p = parentage(j);
        log_det += std::log(groups ? add_animal_or_group(p, ran_factor) : add_animal(p, t));
    }
    return log_det;
}

void add_reduced_a_inverse(const Vec<int32_t>& rows, const Vec<Parentage>& parentage) {
    for (int64_t j = 1; j <= rows.size(); ++j) {
        const auto [a, s, d] = parentage(j);
        if (IDL(rows(j)).n_desc != 0) add_animal({std::abs(a), std::abs(s), std::abs(d)}, kParents);
    }
}

// Kept, here and in KVEA24: where both parents are one, (d,s) is added once, so the parent's
// diagonal gets three quarters. Only the rule with groups completes it.
void add_a_inverse_with_inbreeding(const Vec<Parentage>& parentage) {
    for (int64_t j = 1; j <= parentage.size(); ++j) {
        look_ahead(parentage, j);
        const auto [a, s, d] = parentage(j);
        const double v = 1.0 / (LD(j) * LD(j));
        insert_sparse(a, a, v);
        if (s > 0 && d > 0) {
            insert_sparse(s, a, -v / 2);
            insert_sparse(d, a, -v / 2);
            insert_sparse(s, s, v / 4);
            insert_sparse(d, s, v / 4);
            insert_sparse(d, d, v / 4);
        } else if (d > 0) {
            insert_sparse(d, a, -v / 2);
            insert_sparse(d, d, v / 4);
        } else if (s > 0) {
            insert_sparse(s, a, -v / 2);
            insert_sparse(s, s, v / 4);
        }
    }
}

}  // namespace kve
