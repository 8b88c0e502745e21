#include "pedigree/a_inverse.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <utility>

#include "base/memory.h"
#include "base/state.h"
#include "listing/listing.h"
#include "listing/stop.h"
#include "store/big_tables.h"
#include "store/sparse_store.h"

namespace kve {

READS(IDL);
READS(LD);
WRITES(A_INVERSE);

namespace {

constexpr const char* kRoutine = "AINVERSE";

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

// Calls add(i, j, value) for each addition of an animal, in the order that counts where a place
// gets several. Indices below 1 belong to unknown parents. Returns the Mendelian sampling variance.
template <class Add>
double add_animal(const Parentage& p, const Coefficients& t, const Add& add) {
    const int32_t a = p.animal, s = p.sire, d = p.dam;
    if (s > 0 && d > 0) {
        add(d, d, t.dd);
        add(d, s, t.ds);
        add(d, a, t.da);
        add(s, s, t.ss);
        add(s, a, t.sa);
        add(a, a, t.aa);
        return t.var_both;
    }
    if (s > 0) {
        add(s, s, t.sire_ss);
        add(s, a, t.sire_sa);
        add(a, a, t.sire_aa);
        return t.var_sire;
    }
    if (d > 0) {
        add(d, d, t.dam_dd);
        add(d, a, t.dam_da);
        add(a, a, t.dam_aa);
        return t.var_dam;
    }
    add(a, a, t.none_aa);
    return 1.0;
}

// A phantom group counts as a parent, and its animals have more sampling variance the more of their
// parents are groups. A group row has no parents and adds only the variance ratio of random groups,
// 0 for fixed ones, so that its element is in the file. Returns the sampling variance.
template <class Add>
double add_animal_or_group(const Parentage& p, double ran_factor, const Add& add) {
    const int32_t a = std::abs(p.animal), s = std::abs(p.sire), d = std::abs(p.dam);
    if (p.animal < 0) {
        add(a, a, ran_factor);
        return 1.0;
    }
    const int groups = (p.sire < 0 ? 1 : 0) + (p.dam < 0 ? 1 : 0);
    constexpr double kVariances[] = {0.5, 0.75, 1.0};
    constexpr double kFactors[] = {2.0, 4.0 / 3, 1.0};
    const double f = kFactors[groups];
    add(d, d, f / 4);
    add(d, s, f / 4);
    add(d, a, -f / 2);
    add(s, s, f / 4);
    add(s, a, -f / 2);
    add(a, a, f);
    // The place (s,d) is met from both sides when it lies on the diagonal.
    if (s == d) add(s, d, f / 4);
    return kVariances[groups];
}

// Kept, here and in add_animal: where both parents are one, (d,s) is added once, so the parent's
// diagonal gets three quarters. Only the rule with groups completes it.
template <class Add>
double add_inbred_animal(const Parentage& p, double of_l, const Add& add) {
    const auto [a, s, d] = p;
    const double variance = of_l * of_l, v = 1.0 / variance;
    add(a, a, v);
    if (s > 0 && d > 0) {
        add(s, a, -v / 2);
        add(d, a, -v / 2);
        add(s, s, v / 4);
        add(d, s, v / 4);
        add(d, d, v / 4);
    } else if (d > 0) {
        add(d, a, -v / 2);
        add(d, d, v / 4);
    } else if (s > 0) {
        add(s, a, -v / 2);
        add(s, s, v / 4);
    }
    return variance;
}

// What the animal at place j of the list adds.
template <class Add>
double add_by_rule(const AInverse& of, int64_t j, const Add& add) {
    const Parentage& p = of.parentage(j);
    switch (of.rule) {
        case ParentRule::inbreeding:
            return add_inbred_animal(p, LD(j), add);
        case ParentRule::phantom_groups:
            return add_animal_or_group(p, of.ran_factor, add);
        default:
            return add_animal(p, of.rule == ParentRule::parents ? kParents : kGrandsire, add);
    }
}

// The same by row and column of the lower triangle, without those of unknown parents.
template <class Add>
double add_below_diagonal(const AInverse& of, int64_t j, const Add& add) {
    return add_by_rule(of, j, [&](int32_t i, int32_t k, double value) {
        if (std::min(i, k) >= 1) add(std::max(i, k), std::min(i, k), value);
    });
}

constexpr int64_t kAhead = 16;  // animals or additions by which memory is fetched ahead

KVE_FETCH void expect_counts(const AInverse& of, int64_t j) {
    if (j + kAhead > of.parentage.size()) return;
    const auto [a, s, d] = of.parentage(j + kAhead);
    for (int32_t level : {std::abs(s), std::abs(d)})
        if (level > 0) __builtin_prefetch(&of.diagonal(level));
    __builtin_prefetch(&of.first(std::max(std::abs(s), std::abs(d)) + 2));
    __builtin_prefetch(&of.first(std::abs(a) + 2));
}

// The diagonal, and in first(row + 2) the additions beside it. Returns ln |A|.
double sum_diagonal(AInverse& of, int64_t& n_additions) {
    double log_det = 0.0;
    for (int64_t j = 1; j <= of.parentage.size(); ++j) {
        expect_counts(of, j);
        const double variance =
            add_below_diagonal(of, j, [&](int32_t row, int32_t column, double value) {
                if (row == column) {
                    of.diagonal(row) += value;
                } else {
                    ++of.first(row + 2);
                    ++n_additions;
                }
            });
        log_det += std::log(variance);
    }
    return log_det;
}

KVE_FETCH void expect_places(const AInverse& of, int64_t j) {
    const auto younger = [&](int64_t place) {
        const auto [a, s, d] = of.parentage(place);
        return std::max(std::abs(s), std::abs(d));
    };
    if (j + 2 * kAhead > of.parentage.size()) return;
    __builtin_prefetch(&of.first(younger(j + 2 * kAhead) + 1));
    const int32_t place = of.first(younger(j + kAhead) + 1);
    if (place <= of.additions.size()) __builtin_prefetch(&of.additions(place));
}

// Moves first(row + 1) on from where the additions of the row begin to where they end.
void place_additions(AInverse& of) {
    of.first(1) = of.first(2) = 1;
    for (int64_t k = 3; k <= of.first.size(); ++k) of.first(k) += of.first(k - 1);
    for (int64_t j = 1; j <= of.parentage.size(); ++j) {
        expect_places(of, j);
        add_below_diagonal(of, j, [&](int32_t row, int32_t column, double) {
            if (row != column)
                of.additions(of.first(row + 1)++) =
                    static_cast<uint64_t>(column) << 32 | static_cast<uint64_t>(j);
        });
    }
}

int32_t column_of(uint64_t addition) { return static_cast<int32_t>(addition >> 32); }
int64_t animal_of(uint64_t addition) { return static_cast<int64_t>(addition & 0xffffffff); }

// Most rows have the animal's parents and a few mates.
void sort_row(uint64_t* first, uint64_t* end) {
    constexpr std::ptrdiff_t kShortRow = 16;
    if (end - first > kShortRow) return std::sort(first, end);
    for (uint64_t* next = first; next < end; ++next) {
        const uint64_t addition = *next;
        uint64_t* at = next;
        for (; at > first && at[-1] > addition; --at) *at = at[-1];
        *at = addition;
    }
}

// Each row by column, and by the animals where one column has several additions. Returns the number
// of columns.
int64_t sort_rows(AInverse& of) {
    int64_t n = 0;
    for (int64_t row = 1; row <= of.diagonal.size(); ++row) {
        uint64_t* first = of.additions.begin() + of.first(row) - 1;
        uint64_t* end = of.additions.begin() + of.first(row + 1) - 1;
        sort_row(first, end);
        for (uint64_t* at = first; at < end; ++at)
            n += at == first || column_of(*at) != column_of(at[-1]) ? 1 : 0;
    }
    return n;
}

double form_rows(AInverse& of) {
    const int64_t n = of.parentage.size();
    check_allocated(of.diagonal.allocate(n), kRoutine, "DIAGONAL", n);
    check_allocated(of.first.allocate(n + 2), kRoutine, "ROWS", n + 2);
    int64_t n_additions = 0;
    const double log_det = sum_diagonal(of, n_additions);
    const bool fits = n_additions < std::numeric_limits<int32_t>::max();
    check_allocated(fits ? of.additions.allocate(n_additions) : kNoMemory, kRoutine, "ADDITIONS",
                    n_additions);
    place_additions(of);
    claim_elements(n + sort_rows(of));
    return log_det;
}

KVE_FETCH void expect_addition(const AInverse& of, int64_t k) {
    if (k + kAhead > of.additions.size()) return;
    const int64_t j = animal_of(of.additions(k + kAhead));
    __builtin_prefetch(&of.parentage(j));
    if (of.rule == ParentRule::inbreeding) __builtin_prefetch(&LD(j));
}

double value_at(const AInverse& of, int64_t j, int32_t row, int32_t column) {
    double found = 0.0;
    add_below_diagonal(of, j, [&](int32_t r, int32_t c, double value) {
        if (r == row && c == column) found = value;
    });
    return found;
}

// Kept: no caller has another rule; the codes are those of the interface.
[[noreturn]] void stop_unknown_rule(ParentRule code) {
    say("KVEA24-ERROR ICODE=%12d", static_cast<int32_t>(code));
    stop_run();
}

}  // namespace

double KVEA24(Vec<Parentage> parentage, ParentRule code, double ran_factor) {
    if (code != ParentRule::parents && code != ParentRule::maternal_grandsire &&
        code != ParentRule::phantom_groups)
        stop_unknown_rule(code);
    A_INVERSE = {.parentage = std::move(parentage), .rule = code, .ran_factor = ran_factor};
    return form_rows(A_INVERSE);
}

void form_a_inverse_with_inbreeding(Vec<Parentage> parentage) {
    A_INVERSE = {.parentage = std::move(parentage), .rule = ParentRule::inbreeding};
    form_rows(A_INVERSE);
}

std::span<const SparseElement> a_inverse_row(int32_t row) {
    AInverse& of = A_INVERSE;
    of.row.clear();
    for (int64_t k = of.first(row); k < of.first(row + 1); ++k) {
        expect_addition(of, k);
        const int32_t column = column_of(of.additions(k));
        const double value = value_at(of, animal_of(of.additions(k)), row, column);
        if (!of.row.empty() && of.row.back().column == column)
            of.row.back().value += value;
        else
            of.row.push_back({column, value});
    }
    of.row.push_back({row, of.diagonal(row)});
    return of.row;
}

void release_a_inverse() { A_INVERSE = {}; }

void add_reduced_a_inverse(const Vec<int32_t>& rows, const Vec<Parentage>& parentage) {
    for (int64_t j = 1; j <= rows.size(); ++j) {
        const auto [a, s, d] = parentage(j);
        if (IDL(rows(j)).n_desc != 0)
            add_animal({std::abs(a), std::abs(s), std::abs(d)}, kParents, insert_sparse);
    }
}

}  // namespace kve
