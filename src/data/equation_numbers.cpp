#include "data/equation_numbers.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <vector>

#include "base/asserted.h"
#include "base/state.h"
#include "data/factors.h"
#include "data/level_lists.h"
#include "listing/listing.h"
#include "listing/stop.h"
#include "model/model_records.h"
#include "store/big_tables.h"

namespace kve {

READS(KVEINT);
READS(RMAT);
WRITES(MODEL);
WRITES(FACTORS);

namespace {

// Equations counted so far. Each step checks what it adds, so the sums stay far inside 64 bits.
struct Totals {
    int64_t random = 0;
    int64_t fixed = 0;  // class effects alone
    int64_t regressions = 0;
};

int32_t place(int64_t equations) {
    if (equations > std::numeric_limits<int32_t>::max()) {
        say("ERROR - Too many equations, the equation numbers pass 2147483647");
        stop_run();
    }
    return static_cast<int32_t>(equations);
}

// Relative to the first random equation.
void place_random_factors(Totals& totals) {
    for (int32_t k = 1; k <= KVEINT.NRAMAT; ++k) {
        const RMatrix& r = RMAT(k);
        FACTORS.NBEGRA(k) = place(totals.random);
        FACTORS.NBEGRAT(1, k) = FACTORS.NBEGRA(k);
        for (int32_t e = 2; e <= r.n_traits; ++e)
            FACTORS.NBEGRAT(e, k) = place(totals.random - 1 + r.trait_blk_start(e));
        totals.random += int64_t{FACTORS.NRALEV(k)} * r.rank;
    }
    FACTORS.NBEGRA(KVEINT.NRAMAT + 1) = place(totals.random);
}

void place_fixed_effects(Totals& totals) {
    for (int32_t i = 1; i <= KVEINT.nt; ++i)
        for (int32_t j = 1; j <= MODEL(i).n_fixed; ++j) {
            sort_fixed_levels(i, j);
            FACTORS.NBEGF(i, j) = 0;
            if (!MODEL(i).f_intercept(j)) continue;
            FACTORS.NBEGF(i, j) = place(totals.fixed);
            totals.fixed += FACTORS.NLEV(i, j);
        }
}

void place_general_regressions(Totals& totals) {
    for (int32_t i = 1; i <= KVEINT.nt; ++i)
        for (int32_t r = 1; r <= MODEL(i).n_reg; ++r) {
            if (MODEL(i).reg_type(r) != kGeneralRegression) continue;
            FACTORS.NBEGREG(i, r) = place(totals.regressions++);
            MODEL(i).reg_n_rci(r) = 0;
        }
}

void place_regressions_in_fixed_effects(Totals& totals) {
    for (int32_t i = 1; i <= KVEINT.nt; ++i) {
        Model& m = MODEL(i);
        for (int32_t r = 1; r <= m.n_reg; ++r) {
            if (m.reg_type(r) != kNestedInFixed) continue;
            int32_t effect = m.reg_n_ef_no(r);
            FACTORS.NBEGREG(i, r) = place(totals.regressions);
            totals.regressions += FACTORS.NLEV(i, effect);
            m.reg_n_rci(r) = m.ef_rci(effect);
        }
    }
}

// A regression on a random effect is the next coefficient of the member (trait, effect) of its
// matrix, after the effect's own one. Its equations lie among those of the matrix, which are still
// relative here and so take the totals before them by hand.
void place_random_regressions(const Totals& totals) {
    for (int32_t i = 1; i <= KVEINT.nt; ++i) {
        Model& m = MODEL(i);
        std::vector<int32_t> coefficients(static_cast<std::size_t>(m.n_ef) + 1);
        for (int32_t r = 1; r <= m.n_reg; ++r) {
            if (m.reg_type(r) != kNestedInRandom) continue;
            int32_t effect = m.reg_n_ef_no(r);
            int32_t earlier = coefficients[static_cast<std::size_t>(effect)]++;
            m.reg_r_number(r) = 1 + (m.intercept(effect) ? 1 : 0) + earlier;
            FACTORS.NBEGREG(i, r) = place(m.reg_rmat_pos(r) - 1 + totals.fixed +
                                          totals.regressions + FACTORS.NBEGRA(m.reg_r_matno(r)));
        }
    }
}

// Kept: an effect without intercept has no equations, and its place moves all the same.
void shift_fixed_effects(const Totals& totals) {
    for (int32_t i = 1; i <= KVEINT.nt; ++i)
        for (int32_t j = 1; j <= MODEL(i).n_fixed; ++j)
            FACTORS.NBEGF(i, j) = place(FACTORS.NBEGF(i, j) + totals.regressions);
}

// The entry after the last factor, the number of random equations, is a count and stays.
void shift_random_factors(int64_t fixed_equations) {
    for (int32_t k = 1; k <= KVEINT.NRAMAT; ++k) {
        FACTORS.NBEGRA(k) = place(FACTORS.NBEGRA(k) + fixed_equations);
        FACTORS.NBEGRAT(1, k) = FACTORS.NBEGRA(k);
        for (int32_t e = 2; e <= RMAT(k).n_traits; ++e)
            FACTORS.NBEGRAT(e, k) = place(FACTORS.NBEGRAT(e, k) + fixed_equations);
    }
}

struct EquationBlock {
    int64_t first;
    int64_t n;
};

void gather_fixed_blocks(std::vector<EquationBlock>& blocks) {
    for (int32_t i = 1; i <= KVEINT.nt; ++i) {
        const Model& m = MODEL(i);
        for (int32_t j = 1; j <= m.n_fixed; ++j)
            if (m.f_intercept(j)) blocks.push_back({FACTORS.NBEGF(i, j), FACTORS.NLEV(i, j)});
        for (int32_t r = 1; r <= m.n_reg; ++r) {
            const int32_t first = FACTORS.NBEGREG(i, r);
            if (m.reg_type(r) == kGeneralRegression) blocks.push_back({first, 1});
            if (m.reg_type(r) == kNestedInFixed)
                blocks.push_back({first, FACTORS.NLEV(i, m.reg_n_ef_no(r))});
        }
    }
}

// Every equation belongs to one block: no gap, no overlap, and their sum is the total.
void assert_equations_are_dense(int64_t total) {
    if constexpr (!kAsserted) return;
    std::vector<EquationBlock> blocks;
    gather_fixed_blocks(blocks);
    for (int32_t k = 1; k <= KVEINT.NRAMAT; ++k)
        blocks.push_back({FACTORS.NBEGRA(k), int64_t{FACTORS.NRALEV(k)} * RMAT(k).rank});
    std::ranges::sort(blocks, [](const EquationBlock& a, const EquationBlock& b) {
        return a.first != b.first ? a.first < b.first : a.n < b.n;
    });
    int64_t next = 0;
    for (const EquationBlock& block : blocks) {
        KVE_ASSERT(block.first == next);
        next += block.n;
    }
    KVE_ASSERT(next == total);
}

}  // namespace

void number_equations() {
    Totals totals;
    place_random_factors(totals);
    place_fixed_effects(totals);
    place_general_regressions(totals);
    place_regressions_in_fixed_effects(totals);
    place_random_regressions(totals);
    shift_fixed_effects(totals);
    FACTORS.n_fixed_equations = place(totals.fixed + totals.regressions);
    shift_random_factors(FACTORS.n_fixed_equations);
    place(FACTORS.n_fixed_equations + totals.random);
    assert_equations_are_dense(FACTORS.n_fixed_equations + totals.random);
}

}  // namespace kve
