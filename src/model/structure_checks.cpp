#include "model/structure_checks.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <map>
#include <vector>

#include "base/state.h"
#include "directives/directives.h"
#include "listing/listing.h"
#include "listing/stop.h"
#include "model/model_records.h"

namespace kve {

READS(KVEINT);
READS(MODEL);
READS(RMAT);
WRITES(DIRECTIVES);

namespace {

void check_pgmix_methods() {
    for (int32_t k = 1; k <= KVEINT.NRAMAT; ++k) {
        if (RMAT(k).structure != Structure::PGMIX || RMAT(k).method == 1) continue;
        page_if(2);
        say("  ERROR - Relationship method PGMIX requiers");
        say("          method 1 for computing A**(-1)");
        terminate_run();
    }
}

bool is_merged(const RMatrix& r, int32_t q) {
    return MODEL(r.cont_t_no(q)).merge_prev(r.cont_eff(q)) != 0;
}

bool is_of_member(const RMatrix& r, int32_t q, int32_t member) {
    return r.cont_t_no(q) == r.trait_no(member) && r.cont_eff(q) == r.r_eff(member);
}

// The contributions of the member, from q on, fill its block row by row with those merged with it.
// q becomes the one after them.
bool fills_block(const RMatrix& r, int32_t member, int32_t& q) {
    const int32_t start = r.trait_blk_start(member);
    const int32_t last = start + r.trait_blk_size(member) - 1;
    int32_t row = start - 1;
    for (; q <= r.n_cont && (is_of_member(r, q, member) || is_merged(r, q)); ++q) {
        if (!is_merged(r, q) && (row < start || r.cont_rc(q) == row + 1)) ++row;
        if (r.cont_rc(q) != row) return false;
    }
    return row == last && last <= r.rank;
}

// The first member that has not the rows of its block, 0 when all have.
int32_t find_misplaced_member(const RMatrix& r) {
    int32_t q = 1;
    for (int32_t member = 1; member <= r.n_traits; ++member)
        if (!fills_block(r, member, q)) return member;
    return 0;
}

void warn_of_misplaced_rows(int32_t k) {
    const RMatrix& r = RMAT(k);
    const int32_t member = find_misplaced_member(r);
    if (member == 0) return;
    Block block;
    block.line(
        "WARNING - random matrix %d: effect %.*s of trait %.*s has not the %d rows from %d on", k,
        KVE_SV(integer_name(r.r_eff_inp(member)).view()),
        KVE_SV(real_name(r.trait_inp(member)).view()), r.trait_blk_size(member),
        r.trait_blk_start(member));
    if (DIRECTIVES.reduce_file.blank()) {
        block.line(
            "          where its equations are placed: the effects of one trait in a matrix");
        block.line("          need equally many regressions");
    } else {
        block.line(
            "          that its position in $REDUCE gives it. In a matrix either no effects share");
        block.line("          rows or all do: two effects, or more of one row each");
    }
    block.print();
}

void warn_of_shared_zeros(int32_t k) {
    const Vec<int32_t>& position = RMAT(k).reduce;
    for (int32_t member = 2; member <= RMAT(k).n_traits; ++member) {
        if (position(member) != 0 || position(member - 1) != 0) continue;
        Block block;
        block.line(
            "WARNING - random matrix %d: effects with the position 0 in $REDUCE share their rows",
            k);
        block.line("          Give them different numbers when they should not");
        return block.print();
    }
}

// Position 0 is left to warn_of_shared_zeros: who gives it twice means no position at all.
void warn_of_positions_apart(int32_t k) {
    const RMatrix& r = RMAT(k);
    std::map<int32_t, int32_t> last_member;  // of each position, within the trait
    for (int32_t member = 1; member <= r.n_traits; ++member) {
        if (member > 1 && r.trait_no(member) != r.trait_no(member - 1)) last_member.clear();
        int32_t& before = last_member[r.reduce(member)];
        if (before != 0 && before != member - 1 && r.reduce(member) != 0) {
            Block block;
            block.line(
                "WARNING - random matrix %d: effects %.*s and %.*s of trait %.*s share no rows,", k,
                KVE_SV(integer_name(r.r_eff_inp(before)).view()),
                KVE_SV(integer_name(r.r_eff_inp(member)).view()),
                KVE_SV(real_name(r.trait_inp(member)).view()));
            block.line(
                "          though both have the position %d in $REDUCE: another stands between",
                r.reduce(member));
            return block.print();
        }
        before = member;
    }
}

void warn_of_merged_effect(const Model& m, int32_t j, int32_t trait_before) {
    Block block;
    block.line("WARNING - random matrix %d: the + before effect %.*s of trait %.*s merges it with",
               m.r_ef_matno(j), KVE_SV(m.r_ef_name(j).view()), KVE_SV(m.trait_name.view()));
    if (trait_before > 0)
        block.line("          an effect of trait %.*s",
                   KVE_SV(MODEL(trait_before).trait_name.view()));
    else
        block.line("          nothing, its row is 0");
    block.line("          A + belongs between two effects of one trait in one matrix");
    block.print();
}

void warn_of_merged_rows(const Model& m, int32_t j, int32_t joined) {
    Block block;
    block.line(
        "WARNING - random matrix %d: the + before effect %.*s of trait %.*s puts all its rows",
        m.r_ef_matno(j), KVE_SV(m.r_ef_name(j).view()), KVE_SV(m.trait_name.view()));
    block.line("          into the last row of effect %.*s", KVE_SV(m.r_ef_name(joined).view()));
    block.line("          A + belongs between effects of one row each: regressions need rows too");
    block.print();
}

// The rows that each random effect of the trait has, or would have if it were not merged.
std::vector<int32_t> count_rows(const Model& m) {
    std::vector<int32_t> n_rows(static_cast<std::size_t>(m.n_random) + 1);
    for (int32_t j = 1; j <= m.n_random; ++j)
        if (m.r_intercept(j)) ++n_rows[static_cast<std::size_t>(j)];
    for (int32_t l = 1; l <= m.n_reg; ++l)
        if (m.reg_type(l) == kNestedInRandom && m.reg_n_level(l) <= 1)
            ++n_rows[static_cast<std::size_t>(m.reg_n_ef_no(l) - m.n_fixed)];
    return n_rows;
}

// A merged effect has one row only, the last one of the effect that it joins.
void warn_of_merging_many_rows(const Model& m) {
    const std::vector<int32_t> n_rows = count_rows(m);
    std::map<int32_t, int32_t> joined;  // by matrix: 0 when it has been told of
    for (int32_t j = 1; j <= m.n_random; ++j) {
        const int32_t matrix = m.r_ef_matno(j);
        if (m.merge_prev(j) == 0) joined[matrix] = j;
        const int32_t before = joined[matrix];
        const int32_t rows = n_rows[static_cast<std::size_t>(j)];
        if (before == 0 || before == j || rows == 0) continue;
        if (rows == 1 && n_rows[static_cast<std::size_t>(before)] <= 1) continue;
        warn_of_merged_rows(m, j, before);
        joined[matrix] = 0;
    }
}

// A merged effect takes the row before it in the matrix, whosever it is.
void warn_of_merging_across_traits() {
    Vec<int32_t> last_trait;
    check_allocated(last_trait.allocate(KVEINT.NRAMAT), "KVEINT", "LAST_TRAIT", KVEINT.NRAMAT);
    for (int32_t i = 1; i <= KVEINT.nt; ++i) {
        const Model& m = MODEL(i);
        for (int32_t j = 1; j <= m.n_random; ++j) {
            int32_t& before = last_trait(m.r_ef_matno(j));
            if (before != i && m.merge_prev(j) != 0) warn_of_merged_effect(m, j, before);
            before = i;
        }
    }
}

// Some matrix holds two effects of the trait, merged or not.
bool has_two_effects_in_a_matrix(const Model& m) {
    std::vector<int32_t> matrices(m.r_ef_matno.begin(), m.r_ef_matno.end());
    std::sort(matrices.begin(), matrices.end());
    return std::adjacent_find(matrices.begin(), matrices.end()) != matrices.end();
}

bool deviations_are_defined() {
    if (!DIRECTIVES.reduce_file.blank()) return false;
    return std::none_of(MODEL.begin(), MODEL.end(), [](const Model& m) {
        return m.n_r_n_reg > 0 || has_two_effects_in_a_matrix(m);
    });
}

bool task_has_deviations(int32_t task) {
    return task == kSampling || task == kSolveByKve4 || task == kSolveByKve5;
}

// Of trait deviations and progeny trait deviations.
void check_factor_of_deviations(int32_t factor) {
    if (factor >= 1 && factor <= KVEINT.NRAMAT) return;
    page_if(2);
    say("  ERROR - Random factor specified for computation of TD and PTD: %12d", factor);
    say("          Must be between 1 and %12d", KVEINT.NRAMAT);
    terminate_run();
}

void check_deviations_are_defined() {
    if (deviations_are_defined()) return;
    page_if(5);
    say("  ERROR - Calculation of Trait Deviations and Progeny Trait Deviations");
    say("          is not implemented for models with:");
    say("             Random Regressions");
    say("             More than one random effect in a covariance matrix");
    say("             Reduced Rank");
    terminate_run();
}

}  // namespace

void check_structures() {
    for (int32_t k = 1; k <= KVEINT.NRAMAT; ++k) {
        warn_of_misplaced_rows(k);
        warn_of_shared_zeros(k);
        warn_of_positions_apart(k);
    }
    warn_of_merging_across_traits();
    for (const Model& m : MODEL) warn_of_merging_many_rows(m);
    check_pgmix_methods();
    TrendRequest& request = DIRECTIVES.td_ptd;
    if (!request.asked || !task_has_deviations(DIRECTIVES.ITASK)) return;
    check_factor_of_deviations(request.factor);
    request.pedigree_exists = RMAT(request.factor).structure == Structure::PED;
    check_deviations_are_defined();
}

}  // namespace kve
