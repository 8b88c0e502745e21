#include "model/covariance_structure.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "base/arrays.h"
#include "base/state.h"
#include "directives/directives.h"
#include "listing/listing.h"
#include "listing/stop.h"
#include "model/model_records.h"
#include "model/structure_link.h"

namespace kve {

READS(DIRECTIVES);
WRITES(KVEINT);
WRITES(MODEL);
WRITES(RMAT);

namespace {

// Of all random matrices together. Repeated effects multiply the regressions on the first of them:
// a short model section can ask for billions of rows.
constexpr int64_t kMostElements = 1000000;

// Random effect j of a trait with the regressions nested in it, in the order of their line.
struct RandomEffect {
    int32_t trait;
    int32_t j;
    std::span<const int32_t> regressions;

    bool has_row() const { return MODEL(trait).r_intercept(j) || !regressions.empty(); }
};

// The effects of one matrix in the order of its rows.
using Effects = std::vector<RandomEffect>;

// The regressions of a trait that are nested in random effects, effect by effect. Looking through
// all of them for each effect would take hours where `[n]` makes a million effects.
using Regressions = std::vector<int32_t>;

void allocate_matrices() {
    const int64_t n = int64_t{KVEINT.NRAMAT} + 1;
    check_allocated(RMAT.allocate(n), "KVEINT", "RMAT", n);
}

Regressions group_by_effect(const Model& m) {
    Regressions nested;
    for (int32_t l = 1; l <= m.n_reg; ++l)
        if (m.reg_type(l) == kNestedInRandom) nested.push_back(l);
    std::stable_sort(nested.begin(), nested.end(),
                     [&m](int32_t a, int32_t b) { return m.reg_n_ef_no(a) < m.reg_n_ef_no(b); });
    return nested;
}

// Element k - 1 of `all` takes the effects of matrix k. They refer to `nested`.
void add_effects(int32_t i, const Regressions& nested, std::vector<Effects>& all) {
    const Model& m = MODEL(i);
    auto begin = nested.begin();
    for (int32_t j = 1; j <= m.n_random; ++j) {
        auto end = begin;
        while (end != nested.end() && m.reg_n_ef_no(*end) == m.r_ef_no(j)) ++end;
        all[static_cast<std::size_t>(m.r_ef_matno(j) - 1)].push_back({i, j, {begin, end}});
        begin = end;
    }
}

void count_effects(RMatrix& r, const Effects& effects) {
    for (const auto& [i, j, regressions] : effects) {
        const Model& m = MODEL(i);
        ++r.n_r_eff;
        if (!m.merge_prev(j)) ++r.n_traits;
        if (m.r_intercept(j)) ++r.n_cont;
        r.n_cont += static_cast<int32_t>(regressions.size());
    }
}

void list_members(RMatrix& r, const Effects& effects) {
    allocate_members(r);
    int32_t member = 0;
    for (const auto& [i, j, regressions] : effects) {
        const Model& m = MODEL(i);
        if (m.merge_prev(j)) continue;
        ++member;
        r.trait_no(member) = i;
        r.trait_inp(member) = m.trait_inp_no;
        r.r_eff(member) = j;
        r.r_eff_inp(member) = m.r_ef_inp(j);
    }
}

// What the rows of a direct effect and of a regression have in common.
void fill_contribution(RMatrix& r, int32_t q, const RandomEffect& effect, int32_t row,
                       int32_t level) {
    const Model& m = MODEL(effect.trait);
    r.cont_rc(q) = row;
    r.cont_rc1(q) = level;
    r.cont_t_no(q) = effect.trait;
    r.cont_t_inp(q) = m.trait_inp_no;
    r.cont_t_rci(q) = m.trait_rci;
    r.cont_t_name(q) = m.trait_name;
    r.cont_eff(q) = effect.j;
    r.cont_eff_inp(q) = m.r_ef_inp(effect.j);
    r.cont_id_name(q) = m.r_ef_name(effect.j);
    r.cont_coeff(q) = m.r_ef_coeff(effect.j);
}

void fill_regression(RMatrix& r, int32_t q, const Model& m, int32_t l) {
    r.cont_rr_eff(q) = true;
    r.cont_rr_inp(q) = m.reg_inp(l);
    r.cont_rr_rci(q) = m.reg_rci(l);
    r.cont_rr_name(q) = m.reg_name(l);
}

// Kept: a covariable without a level after a list with levels takes over the last level.
int32_t level_of_regression(const RMatrix& r, int32_t q, int32_t trait, int32_t given) {
    if (given != 0) return given;
    return q > 1 && r.cont_t_no(q - 1) == trait ? r.cont_rc1(q - 1) : 1;
}

// A merged effect shares the row before it, a covariable of level 2 or higher the row of its
// level 1. Row 0 means that there was no row to share.
void list_contributions(RMatrix& r, const Effects& effects) {
    allocate_contributions(r);
    int32_t q = 0, row = 0;
    for (const RandomEffect& effect : effects) {
        const auto& [i, j, regressions] = effect;
        Model& m = MODEL(i);
        const bool own_rows = !m.merge_prev(j);
        if (m.r_intercept(j)) {
            if (own_rows) ++row;
            fill_contribution(r, ++q, effect, row, 1);
        }
        for (int32_t l : regressions) {
            if (own_rows && m.reg_n_level(l) <= 1) ++row;
            ++q;
            fill_contribution(r, q, effect, row, level_of_regression(r, q, i, m.reg_n_level(l)));
            fill_regression(r, q, m, l);
            m.reg_rmat_pos(l) = row;
            m.reg_n_level(l) = std::max(m.reg_n_level(l), 1);
        }
    }
}

// The different integer columns that identify the levels of effects with a row. Their recoded
// columns are numbered over all matrices; `n_before` of them belong to earlier ones.
void list_identifiers(RMatrix& r, const Effects& effects, int32_t n_before) {
    std::vector<int32_t> columns;
    for (const RandomEffect& effect : effects)
        if (effect.has_row()) columns.push_back(MODEL(effect.trait).r_ef_inp(effect.j));
    std::sort(columns.begin(), columns.end());
    columns.erase(std::unique(columns.begin(), columns.end()), columns.end());
    r.n_random_id = static_cast<int32_t>(columns.size());
    allocate_identifiers(r);
    std::copy(columns.begin(), columns.end(), r.random_id_inp.begin());
    for (int32_t p = 1; p <= r.n_random_id; ++p) r.r_id_rci(p) = n_before + p;
}

// 0 for the column of an effect that has neither intercept nor regression, hence no row.
int32_t recoded_column(const RMatrix& r, int32_t column) {
    const int32_t* at = std::lower_bound(r.random_id_inp.begin(), r.random_id_inp.end(), column);
    if (at == r.random_id_inp.end() || *at != column) return 0;
    return r.r_id_rci(at - r.random_id_inp.begin() + 1);
}

void describe_members(RMatrix& r) {
    const bool reduced = !DIRECTIVES.reduce_file.blank();
    for (int32_t member = 1; member <= r.n_traits; ++member) {
        const Model& m = MODEL(r.trait_no(member));
        const int32_t j = r.r_eff(member);
        r.intercept(member) = m.r_intercept(j);
        r.reduce(member) = reduced ? m.reduce(m.n_fixed + j) : member;
        r.t_r_eff_rci(member) = recoded_column(r, r.r_eff_inp(member));
    }
}

void set_recoded_columns(RMatrix& r, const Effects& effects) {
    for (int32_t q = 1; q <= r.n_cont; ++q)
        r.cont_eff_rci(q) = recoded_column(r, r.cont_eff_inp(q));
    for (const auto& [i, j, regressions] : effects)
        MODEL(i).r_ef_rci(j) = recoded_column(r, MODEL(i).r_ef_inp(j));
}

// Members are sorted by trait.
bool trait_met_before(const RMatrix& r, int32_t member) {
    return member > 1 && r.trait_no(member) == r.trait_no(member - 1);
}

// Regressions are told by the column of the member, not by its place in the submodel: those of all
// effects of the trait with that column are the member's, in the order of their line.
Regressions regressions_of_member(const RMatrix& r, const Effects& effects, int32_t member) {
    Regressions all;
    for (const auto& [i, j, regressions] : effects)
        if (i == r.trait_no(member) && MODEL(i).r_ef_inp(j) == r.r_eff_inp(member))
            all.insert(all.end(), regressions.begin(), regressions.end());
    std::sort(all.begin(), all.end());
    return all;
}

// Kept: a further member of a trait takes the size of the one before it, also where the two effects
// have different regressions; the rank is then not the number of rows.
void size_blocks(RMatrix& r, const Effects& effects) {
    for (int32_t member = 1; member <= r.n_traits; ++member) {
        const Model& m = MODEL(r.trait_no(member));
        int32_t& n_rr = r.n_rr(member);
        int32_t& size = r.trait_blk_size(member);
        if (trait_met_before(r, member)) {
            n_rr = r.n_rr(member - 1);
            size = r.trait_blk_size(member - 1);
            continue;
        }
        for (int32_t l : regressions_of_member(r, effects, member)) {
            ++n_rr;
            if (m.reg_n_level(l) <= 1) ++size;
        }
        if (r.intercept(member)) ++size;
        r.m_n_rr = std::max(r.m_n_rr, n_rr);
    }
}

void list_member_regressions(RMatrix& r, const Effects& effects) {
    if (r.m_n_rr == 0) return;
    allocate_random_regressions(r);
    r.l_rr = true;
    for (int32_t member = 1; member <= r.n_traits; ++member) {
        if (trait_met_before(r, member)) continue;
        const Model& m = MODEL(r.trait_no(member));
        int32_t p = 0;
        for (int32_t l : regressions_of_member(r, effects, member)) {
            ++p;
            r.rr_f_inp(member, p) = m.reg_inp(l);
            r.rr_f_rcr(member, p) = m.reg_rci(l);
        }
    }
}

[[noreturn]] void refuse_rows(int32_t k) {
    log_say("ERROR - The random matrices have more than %lld elements together",
            static_cast<long long>(kMostElements));
    log_say("        The limit is passed by matrix%12d", k);
    log_say("        A matrix of n rows has n*n elements");
    terminate_run();
}

// `n_elements` are those of the matrices before.
void add_rows(int32_t k, int32_t n, int64_t n_elements) {
    const int64_t rank = int64_t{RMAT(k).rank} + n;
    if (rank > kMostElements || n_elements + rank * rank > kMostElements) refuse_rows(k);
    RMAT(k).rank = static_cast<int32_t>(rank);
}

bool shares_block(const RMatrix& r, int32_t member) {
    return member > 1 && r.reduce(member) == r.reduce(member - 1);
}

// Neighbours of one reduced rank position share their rows.
void place_blocks(int32_t k, int64_t n_elements) {
    RMatrix& r = RMAT(k);
    int32_t start = 1;
    for (int32_t member = 1; member <= r.n_traits; ++member) {
        if (!shares_block(r, member)) {
            start = member == 1 ? 1 : start + r.trait_blk_size(member - 1);
            add_rows(k, r.trait_blk_size(member), n_elements);
        }
        r.trait_blk_start(member) = start;
    }
    r.n_rc = r.rank;
}

// cont_rc(to + s) = cont_rc(from + s) for s = 1..n, as far as both rows exist.
void share_rows(RMatrix& r, int64_t from, int64_t to, int32_t n) {
    for (int32_t s = 1; s <= n; ++s)
        if (from + s <= r.n_cont && to + s <= r.n_cont) r.cont_rc(to + s) = r.cont_rc(from + s);
}

// Kept: the places in the contribution lists advance at a sharing member only, by block starts, and
// the rows after it are not renumbered, so that a row may lie above the rank.
void share_reduced_rows(RMatrix& r) {
    if (r.n_traits == 0) return;
    int64_t from = 0, to = r.trait_blk_size(1);
    for (int32_t member = 2; member <= r.n_traits; ++member) {
        if (!shares_block(r, member)) continue;
        share_rows(r, from, to, r.trait_blk_size(member));
        from += r.trait_blk_start(member - 1);
        to += r.trait_blk_start(member);
    }
}

// Kept: a trait whose first member has no intercept is left out of t_no and t_name.
void name_traits(RMatrix& r) {
    int32_t named = 0;
    for (int32_t member = 1; member <= r.n_traits; ++member) {
        if (trait_met_before(r, member) || !r.intercept(member)) continue;
        ++named;
        r.t_no(named) = r.trait_no(member);
        r.t_name(named) = real_name(r.trait_inp(member));
    }
}

// Kept: a contribution whose row is not the last one named names the next, so that rows which
// reduced rank leaves above the rank are named below it, as far as there is room.
void name_rows(RMatrix& r) {
    int32_t row = 0;
    for (int32_t q = 1; q <= r.n_cont && row < r.rank; ++q)
        if (r.cont_rc(q) != row) r.rank_tn(++row) = r.cont_t_no(q);
}

// The rank is known, and its bound checked, before the contributions are listed: they may be many
// more than the rows.
void derive_matrix(int32_t k, const Effects& effects, int32_t n_columns_before,
                   int64_t n_elements_before) {
    RMatrix& r = RMAT(k);
    count_effects(r, effects);
    list_members(r, effects);
    list_identifiers(r, effects, n_columns_before);
    describe_members(r);
    size_blocks(r, effects);
    place_blocks(k, n_elements_before);
    list_contributions(r, effects);
    share_reduced_rows(r);
    set_recoded_columns(r, effects);
    list_member_regressions(r, effects);
    allocate_rows(r);
    name_traits(r);
    name_rows(r);
}

void derive_matrices() {
    std::vector<Regressions> nested;
    for (const Model& m : MODEL) nested.push_back(group_by_effect(m));
    std::vector<Effects> effects(static_cast<std::size_t>(KVEINT.NRAMAT));
    for (int32_t i = 1; i <= KVEINT.nt; ++i)
        add_effects(i, nested[static_cast<std::size_t>(i - 1)], effects);
    int32_t n_columns = 0;
    int64_t n_elements = 0;
    for (int32_t k = 1; k <= KVEINT.NRAMAT; ++k) {
        derive_matrix(k, effects[static_cast<std::size_t>(k - 1)], n_columns, n_elements);
        n_columns += RMAT(k).n_random_id;
        n_elements += int64_t{RMAT(k).rank} * RMAT(k).rank;
    }
    for (Model& m : MODEL) {
        std::copy(m.f_ef_rci.begin(), m.f_ef_rci.end(), m.ef_rci.begin());
        std::copy(m.r_ef_rci.begin(), m.r_ef_rci.end(), m.ef_rci.begin() + m.n_fixed);
    }
}

void mark_absorbed_effects() {
    int32_t most = 0;
    for (Model& m : MODEL) {
        for (int32_t j = 1; j <= m.n_random; ++j) {
            const RMatrix& r = RMAT(m.r_ef_matno(j));
            if (r.structure != Structure::ABS_QTL) continue;
            m.ass_rf(j) = r.ass_rf;
            if (r.ass_rf > 0) ++m.n_random_abs;
        }
        most = std::max(most, m.n_random_abs);
    }
    KVEINT.N_RAMAT_NOT_ABS = KVEINT.NRAMAT - most;
}

bool columns_exist(const Model& m) {
    auto is_real = [](int32_t column) { return column >= 0 && column <= DIRECTIVES.NR; };
    auto is_integer = [](int32_t column) { return column >= 0 && column <= DIRECTIVES.NI; };
    return is_real(m.trait_inp_no) && is_real(m.wgt_inp_no) &&
           std::all_of(m.ef_inp.begin(), m.ef_inp.end(), is_integer);
}

// Only a warning: a column that does not exist reads as missing.
void warn_of_illegal_columns() {
    if (std::all_of(MODEL.begin(), MODEL.end(), columns_exist)) return;
    log_warning("ERROR: ILLEGAL VAR-NO IN MODEL DESCRIPTION");
    log_say(" OR WEIGHTS");
}

void count_random_covariables() {
    KVEINT.N_RANDOM_COV = 0;
    for (const Model& m : MODEL) KVEINT.N_RANDOM_COV += m.n_r_n_reg;
}

// The residual has one row per trait and no contribution lists.
void make_residual_record() {
    const int32_t nt = KVEINT.nt;
    RMatrix& r = residual_of(RMAT);
    r.n_traits = r.n_rc = r.rank = nt;
    allocate_members(r);
    allocate_rows(r);
    allocate_zero_covariances(r);
    for (int32_t i = 1; i <= nt; ++i) {
        r.trait_no(i) = i;
        r.trait_inp(i) = MODEL(i).trait_inp_no;
        r.t_no(i) = i;
        r.t_name(i) = MODEL(i).trait_name;
        for (int32_t j = 1; j <= nt; ++j) r.l_rcov_zero(i, j) = KVEINT.LogicalZeroEltR0(i, j);
    }
}

}  // namespace

void derive_covariance_structure() {
    allocate_matrices();
    link_variance_structures();
    derive_matrices();
    mark_absorbed_effects();
    warn_of_illegal_columns();
    count_random_covariables();
    make_residual_record();
}

}  // namespace kve
