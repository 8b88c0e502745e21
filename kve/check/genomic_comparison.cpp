#include "kve/check/genomic_comparison.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <new>
#include <tuple>

#include "kve/check/definite.h"
#include "kve/check/thresholds.h"
#include "kve/pedigree/animal_figures.h"
#include "kve/pedigree/loops.h"
#include "kve/pedigree/places.h"

namespace kve::companion {

namespace {

// The standard deviation of normal values around 0, by the median of their sizes, which wrong ones
// do not change. Not in the order after it.
double usual_size(std::vector<double>& sizes) {
    if (sizes.empty()) return 0;
    const auto middle = sizes.begin() + std::ssize(sizes) / 2;
    std::ranges::nth_element(sizes, middle);
    return *middle / kMedianOfNormal;
}

void require(int status) {
    if (status != 0) throw std::bad_alloc();
}

}  // namespace

GenomicComparison::GenomicComparison(Look& look, const VAR_STR_SPEC& spec, PedigreeBook& pedigree,
                                     const std::vector<int32_t>& typed, RelationMatrix& g)
    : look_(look), spec_(spec), pedigree_(pedigree), elements_(g) {
    make_a11(typed);
    fill_g();
    find_scale();
}

void GenomicComparison::make_a11(const std::vector<int32_t>& typed) {
    std::vector<int32_t> numbers(typed.size());
    std::ranges::transform(typed, numbers.begin(),
                           [this](int32_t id) { return pedigree_.number_of(id); });
    const Vec<int32_t> generation = break_loops(pedigree_.book, [](const Loop&) {});
    const Vec<int32_t> order = order_animals(generation);
    const Vec<bool> keep = find_ancestors(pedigree_.book, order, numbers, -1);
    const Placed placed =
        place_animals(pedigree_.book, order, generation, keep, BirthUnit::numbers);
    const Inbreeding inbreeding = find_inbreeding(placed.pedigree);
    const int64_t n = placed.pedigree.size(), n_typed = std::ssize(typed);
    require(reduced_.parents.allocate(n + 1));
    require(reduced_.share.allocate(n + 1));
    require(reduced_.position.allocate(n_typed));
    require(reduced_.ID.allocate(n_typed));
    Vec<bool> is_typed;
    require(is_typed.allocate(pedigree_.size()));
    for (const int32_t number : numbers) is_typed(number) = true;
    int32_t t = 0;
    for (int32_t p = 1; p <= n; ++p) {
        const auto [sire, dam] = placed.pedigree.parents(p);
        reduced_.parents(p) = {sire, dam};
        reduced_.share(p) = inbreeding.sampling(p);
        has_inbred_ = has_inbred_ || inbreeding.coefficient(p) > 0;
        if (!is_typed(placed.number(p))) continue;
        reduced_.position(++t) = p;
        reduced_.ID(t) = pedigree_.id(placed.number(p));
    }
    require(both_.all.allocate(n_typed + 1, n_typed));
    fill_a11(reduced_, both_);
}

void GenomicComparison::fill_g() {
    const int32_t n = both_.n();
    std::vector<int32_t> typed_of(elements_.id.size());
    level_.assign(static_cast<std::size_t>(n) + 1, 0);
    for (int32_t t = 1; t <= n; ++t) {
        const int32_t level = elements_.find(reduced_.ID(t));
        level_[static_cast<std::size_t>(t)] = level;
        typed_of[static_cast<std::size_t>(level)] = t;
    }
    for (const LevelElement& e : elements_.elements) {
        const int32_t i = typed_of[static_cast<std::size_t>(e.row)],
                      j = typed_of[static_cast<std::size_t>(e.column)];
        both_.G(std::max(i, j), std::min(i, j)) = e.value;
    }
}

// Means of the diagonals and of the elements beside them, and what brings the one scale to the
// other.
void GenomicComparison::find_scale() {
    const int32_t n = both_.n();
    for (int32_t j = 1; j <= n; ++j) {
        mean_diagonal_a_ += both_.A11(j, j) / n;
        mean_diagonal_g_ += both_.G(j, j) / n;
    }
    const double pairs = 0.5 * n * (n - 1.0);
    visit_pairs(n, [&](int64_t i, int64_t j) {
        if (i == j) return;
        mean_beside_a_ += both_.A11(i, j) / pairs;
        mean_beside_g_ += both_.G(i, j) / pairs;
    });
    const double spread_a = mean_diagonal_a_ - mean_beside_a_,
                 spread_g = mean_diagonal_g_ - mean_beside_g_;
    if (n < 2 || !(spread_a > 0) || !(spread_g > 0)) return;
    beta_ = spread_g / spread_a;
    alfa_ = mean_diagonal_a_ * beta_ - mean_diagonal_g_;
}

// Of the elements beside the diagonal; not a number when the pedigree says too little.
double GenomicComparison::correlate() const {
    double aa = 0, gg = 0, ag = 0;
    int64_t n_related = 0;
    visit_pairs(both_.n(), [&](int64_t i, int64_t j) {
        if (i == j) return;
        const double a = both_.A11(i, j) - mean_beside_a_, g = both_.G(i, j) - mean_beside_g_;
        aa += a * a;
        gg += g * g;
        ag += a * g;
        n_related += a > kRelatedPair ? 1 : 0;
    });
    if (n_related < kFewestRelatedPairs || !(gg > 0)) return std::nan("");
    return ag / std::sqrt(aa * gg);
}

// Of at most a million pairs.
double GenomicComparison::usual_distance() const {
    constexpr int64_t kMost = 1'000'000;
    const int64_t n = both_.n(), n_pairs = n * (n - 1) / 2, step = n_pairs / kMost + 1;
    std::vector<double> distances;
    int64_t k = 0;
    visit_pairs(n, [&](int64_t i, int64_t j) {
        if (i != j && k++ % step == 0)
            distances.push_back(std::abs(scaled(both_.G(i, j)) - both_.A11(i, j)));
    });
    return usual_size(distances);
}

Place GenomicComparison::place_of(int32_t i, int32_t j) {
    const auto [column, row] =
        std::minmax(level_[static_cast<std::size_t>(i)], level_[static_cast<std::size_t>(j)]);
    const auto found =
        std::ranges::lower_bound(elements_.elements, std::tuple(row, column), {},
                                 [](const LevelElement& e) { return std::tuple(e.row, e.column); });
    const bool is_given =
        found != elements_.elements.end() && found->row == row && found->column == column;
    return elements_.place(is_given ? found->record : 0);
}

void GenomicComparison::tell() {
    if (both_.n() >= 2) {
        if (!spec_.g_adjust) tell_scale();
        if (tell_correlation()) {
            tell_diagonals();
            tell_lost();
            tell_pairs();
        }
    }
    tell_singular();
}

void GenomicComparison::tell_scale() {
    if (std::abs(mean_diagonal_g_ - mean_diagonal_a_) < kDiagonalScale &&
        std::abs(mean_beside_g_ - mean_beside_a_) < kBesideScale)
        return;
    look_.findings.warn(
        "genomic-scale", elements_.place(0),
        fmt::format(
            "the mean of the diagonal is {:.2f} in G and {:.2f} in A11, beside it {:.2f} and "
            "{:.2f}: the two matrices are on different scales",
            mean_diagonal_g_, mean_diagonal_a_, mean_beside_g_, mean_beside_a_),
        "G-ADJUST at the end of the $VAR_STR line brings G to the scale of A11");
}

bool GenomicComparison::tell_correlation() {
    const double r = correlate();
    if (!(r < kDoubtfulCorrelation)) return true;
    look_.findings.add(
        {"genomic-correlation", r < kLowCorrelation ? Severity::error : Severity::warning,
         elements_.place(0),
         fmt::format("the elements of G and A11 beside the diagonal have a correlation of {:.2f}; "
                     "0.6 and more is usual",
                     r),
         "Perhaps the samples of G have other identities, or the rows are in another order"});
    return r >= kLowCorrelation;
}

void GenomicComparison::tell_diagonals() {
    const int32_t n = both_.n();
    std::vector<double> distances;
    for (int32_t t = 1; t <= n; ++t)
        distances.push_back(std::abs(scaled(both_.G(t, t)) - both_.A11(t, t)));
    std::vector<double> all = distances;
    const double limit = std::max(2 * kClearDistance, kFarDistance * usual_size(all));
    for (int32_t t = 1; t <= n; ++t)
        if (distances[static_cast<std::size_t>(t - 1)] > limit)
            look_.findings.warn(
                "genomic-diagonal", place_of(t, t),
                fmt::format(
                    "the diagonal of {} is {:.2f}, on the scale of A11 {:.2f}, and {:.2f} by "
                    "the pedigree",
                    reduced_.ID(t), both_.G(t, t), scaled(both_.G(t, t)), both_.A11(t, t)),
                "A high one may be a mixed sample or another breed, a low one a bad genotype");
}

// ---- Animals that G gives other relatives

// Between the sample of one animal and the close relatives that another one has by the pedigree.
GenomicComparison::Relatives GenomicComparison::relatives_of(int32_t animal, int32_t sample) const {
    Relatives found;
    for (int32_t k = 1; k <= both_.n(); ++k) {
        const double a = both_.A11(std::max(animal, k), std::min(animal, k));
        if (k == animal || k == sample || a < kCloseRelative) continue;
        ++found.n;
        found.a += a;
        found.g += scaled(both_.G(std::max(sample, k), std::min(sample, k)));
    }
    if (found.n == 0) return found;
    found.a /= static_cast<double>(found.n);
    found.g /= static_cast<double>(found.n);
    return found;
}

// G has little more than for any two animals, and it is no chance.
bool GenomicComparison::are_lost(const Relatives& r, double far) const {
    const double lack = r.a - r.g;
    return r.n >= kFewestLostRelatives && lack > kLostShare * (r.a - mean_beside_a_) &&
           lack > far / std::sqrt(static_cast<double>(r.n));
}

// What is usual for the lack of an animal, brought to one relative.
double GenomicComparison::usual_lack(const std::vector<Relatives>& all) const {
    std::vector<double> lacks;
    for (const Relatives& r : all)
        if (r.n > 0) lacks.push_back(std::abs(r.a - r.g) * std::sqrt(static_cast<double>(r.n)));
    return usual_size(lacks);
}

// Its relatives are much as the pedigree has them.
bool GenomicComparison::fit(const Relatives& r) const {
    return r.n > 0 && r.a - r.g < kFitsShare * (r.a - mean_beside_a_);
}

// Two whose samples fit each other's relatives are no chance where one alone may be.
void GenomicComparison::tell_lost() {
    constexpr std::size_t kMost = 100;
    std::vector<Relatives> all(static_cast<std::size_t>(both_.n()) + 1);
    for (int32_t t = 1; t <= both_.n(); ++t) all[static_cast<std::size_t>(t)] = relatives_of(t, t);
    const double usual = usual_lack(all);
    std::vector<int32_t> lost;
    for (int32_t t = 1; t <= both_.n() && lost.size() < kMost; ++t)
        if (are_lost(all[static_cast<std::size_t>(t)], kLostFar * usual)) lost.push_back(t);
    while (!lost.empty()) {
        const int32_t animal = lost.front();
        lost.erase(lost.begin());
        const Relatives& own = all[static_cast<std::size_t>(animal)];
        const auto other = std::ranges::find_if(lost, [this, animal](int32_t one) {
            return fit(relatives_of(one, animal)) && fit(relatives_of(animal, one));
        });
        if (other == lost.end() && !are_lost(own, kLostFarAlone * usual)) continue;
        std::string words =
            fmt::format("{} has {:.2f} with its {} close relatives in G and {:.2f} by the pedigree",
                        reduced_.ID(animal), own.g, own.n, own.a);
        if (other != lost.end()) {
            words += fmt::format(
                "; its sample fits those of {0}, and that of {0} fits here: "
                "exchanged?",
                reduced_.ID(*other));
            lost.erase(other);
        }
        look_.findings.warn("sample-misfit", place_of(animal, animal), words,
                            "The sample is that of another animal, or the parents are others");
    }
}

std::string GenomicComparison::pair_called(const Pair& pair) const {
    return fmt::format("{} and {}", reduced_.ID(pair.i), reduced_.ID(pair.j));
}

// What is special about a pair that is far off.
void GenomicComparison::tell_pair(const Pair& pair, bool& is_told) {
    const auto [i, j, a, g] = pair;
    const double self = std::sqrt(scaled(both_.G(i, i)) * scaled(both_.G(j, j)));
    const double self_a = std::sqrt(both_.A11(i, i) * both_.A11(j, j));
    is_told = true;
    if (g > kSameSample * self && a < kNotSameByPedigree * self_a)
        return look_.findings.warn(
            "same-sample", place_of(i, j),
            fmt::format("{} look like one sample: {:.2f} in G, {:.2f} by the pedigree",
                        pair_called(pair), g, a),
            "One of the two has the genotype of the other, unless they are identical twins");
    const auto is_parent = [this](int32_t parent, int32_t of) {
        const KnownParents& p = reduced_.parents(reduced_.position(of));
        return p.sire == reduced_.position(parent) || p.dam == reduced_.position(parent);
    };
    const bool i_has_j = is_parent(j, i);
    if ((i_has_j || is_parent(i, j)) && g < a)
        return look_.findings.warn(
            "parent-misfit", place_of(i, j),
            fmt::format("{} is a parent of {} by the pedigree, {:.2f}, and not by G, {:.2f}",
                        reduced_.ID(i_has_j ? j : i), reduced_.ID(i_has_j ? i : j), a, g),
            "The parent is wrong, or one of the two samples");
    is_told = false;
}

void GenomicComparison::tell_pairs() {
    const double limit = std::max(kClearDistance, kFarDistance * usual_distance());
    constexpr std::size_t kMostPairs = 100'000;
    std::vector<Pair> far;
    const auto is_farther = [](const Pair& x, const Pair& y) {
        return std::abs(x.distance()) > std::abs(y.distance());
    };
    // Of many the farthest ones are kept.
    const auto keep_farthest = [&] {
        std::ranges::nth_element(far, far.begin() + kMostPairs / 2, is_farther);
        far.resize(kMostPairs / 2);
    };
    visit_pairs(both_.n(), [&](int64_t i, int64_t j) {
        if (i == j) return;
        const Pair pair{static_cast<int32_t>(i), static_cast<int32_t>(j), both_.A11(i, j),
                        scaled(both_.G(i, j))};
        if (std::abs(pair.distance()) <= limit) return;
        far.push_back(pair);
        if (far.size() == kMostPairs) keep_farthest();
    });
    std::ranges::sort(far, is_farther);
    int64_t n_notes = 0;
    for (const Pair& pair : far) {
        bool is_told = false;
        tell_pair(pair, is_told);
        if (is_told || ++n_notes > Findings::kShownOfCode) continue;
        look_.findings.note("discordant-pair", place_of(pair.i, pair.j),
                            fmt::format("{}: {:.2f} in G, {:.2f} by the pedigree",
                                        pair_called(pair), pair.g, pair.a));
    }
    look_.findings.count_more("discordant-pair", Severity::note, n_notes - Findings::kShownOfCode);
}

// Of (1 - w) G + w A11, after G-ADJUST.
bool GenomicComparison::is_definite(double weight) const {
    const auto n = static_cast<std::size_t>(both_.n());
    std::vector<double> lower(n * n);
    visit_pairs(both_.n(), [&](int64_t i, int64_t j) {
        const double g = spec_.g_adjust ? scaled(both_.G(i, j)) : both_.G(i, j);
        lower[static_cast<std::size_t>(j - 1) * n + static_cast<std::size_t>(i - 1)] =
            weight > 0 ? (1 - weight) * g + weight * both_.A11(i, j) : g;
    });
    return factorise_dense(both_.n(), lower.data(), both_.n()).answer ==
           Definiteness::Answer::definite;
}

void GenomicComparison::tell_singular() {
    if (!is_definite(1))
        return look_.findings.error(
            "genomic-singular", place_of_structure(look_, spec_.factor),
            "the relationships A11 of the typed animals by the pedigree are not positive definite, "
            "and KVE1 would stop",
            "Two typed animals cannot be told apart by their pedigree: leave one out");
    // G-ADJUST divides by what one animal does not have.
    const bool can_be_adjusted = both_.n() >= 2 || !spec_.g_adjust;
    if (can_be_adjusted && is_definite(spec_.weight)) return;
    std::string proposal = "Animals twice in G, or with the same pedigree, make no weight help";
    for (const double weight : {0.01, 0.02, 0.05, 0.1, 0.2, 0.4})
        if (can_be_adjusted && weight > spec_.weight && is_definite(weight)) {
            proposal = fmt::format("A weight of {} behind the file is enough: ... {} {}{}", weight,
                                   elements_.file, weight, spec_.g_adjust ? " G-ADJUST" : "");
            break;
        }
    look_.findings.error(
        "genomic-singular", place_of_structure(look_, spec_.factor),
        fmt::format("G{} is not positive definite, so it has no inverse and KVE1 would stop",
                    spec_.weight > 0 ? fmt::format(" with {:g} of A11", spec_.weight) : ""),
        proposal);
}

}  // namespace kve::companion
