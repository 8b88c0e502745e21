// Pedigrees in kve: the figures of animals and classes against textbook values and against dense
// matrices made from the definitions.
#include <cmath>
#include <random>

#include "kve/pedigree/class_statistics.h"
#include "kve/pedigree/contributions.h"
#include "program/run.h"

namespace {

using namespace kve::companion;
using kve::Vec;
using Dense = std::vector<std::vector<double>>;
using Pairs = std::vector<std::pair<int, int>>;

Pedigree pedigree_of(const Pairs& parents) {
    Pedigree pedigree;
    const int n = static_cast<int>(parents.size());
    make_table(pedigree.parents, n);
    make_table(pedigree.birth, n);
    make_table(pedigree.sex, n);
    for (int j = 1; j <= n; ++j) {
        const auto [sire, dam] = parents[j - 1];
        pedigree.parents(j) = {sire, dam};
        pedigree.birth(j) = kNoBirth;
        if (sire != 0) pedigree.sex(sire) = Sex::male;
        if (dam != 0) pedigree.sex(dam) = Sex::female;
    }
    return pedigree;
}

// Animals 1..30 are founders; then a parent is unknown in one of ten cases. Sires have odd numbers.
Pairs random_parents(int n, unsigned seed) {
    std::mt19937 random(seed);
    Pairs parents(n);
    for (int j = 31; j <= n; ++j) {
        const auto pick = [&](int odd) {
            const int latest = std::max(1, j - 40), earlier = static_cast<int>(random() % 40);
            return random() % 10 == 0 ? 0 : (latest + earlier) / 2 * 2 - odd;
        };
        const auto within = [&](int parent) { return parent < j ? std::max(parent, 0) : 0; };
        parents[j - 1].first = within(pick(1));
        parents[j - 1].second = within(pick(0));
    }
    return parents;
}

// The tabular method.
Dense relationships(const Pairs& parents) {
    const std::size_t n = parents.size();
    Dense a(n + 1, std::vector<double>(n + 1));
    for (std::size_t j = 1; j <= n; ++j) {
        const auto [s, d] = parents[j - 1];
        for (std::size_t k = 1; k < j; ++k) a[j][k] = a[k][j] = (a[k][s] + a[k][d]) / 2;
        a[j][j] = 1 + (s != 0 && d != 0 ? a[s][d] / 2 : 0);
    }
    return a;
}

TEST(PedigreeFigures, AreThoseOfTheTextbook) {
    // Mrode (2005), Linear models for the prediction of animal breeding values, example 2.1: its
    // diagonals of A. The rest by hand from the definitions.
    const Pedigree pedigree = pedigree_of({{0, 0}, {0, 0}, {1, 2}, {1, 0}, {4, 3}, {5, 2}});
    const double inbreeding[] = {0, 0, 0, 0, .125, .125}, equivalent[] = {0, 0, 1, .5, 1.75, 1.875},
                 completeness[] = {0, 0, .5, 0, 6. / 7, 2. / 3},
                 sampling[] = {1, 1, .5, .75, .5, .46875};
    const int generation[] = {0, 0, 1, 1, 2, 3};
    const Inbreeding found = find_inbreeding(pedigree);
    const AnimalFigures figures = find_figures(pedigree, 2);
    for (int j = 1; j <= 6; ++j) {
        EXPECT_DOUBLE_EQ(found.coefficient(j), inbreeding[j - 1]) << j;
        EXPECT_DOUBLE_EQ(found.sampling(j), sampling[j - 1]) << j;
        EXPECT_FLOAT_EQ(figures.equivalent(j), static_cast<float>(equivalent[j - 1])) << j;
        EXPECT_FLOAT_EQ(figures.completeness(j), static_cast<float>(completeness[j - 1])) << j;
        EXPECT_EQ(find_generations(pedigree)(j), generation[j - 1]) << j;
    }
}

// Boichard, Maignel and Verrier (1997) by their own words, step by step: the pedigree of those that
// are chosen is deleted, q goes up from the reference population, a down from the chosen.
std::vector<Ancestor> choose_by_definition(Pairs parents, const std::vector<int>& reference) {
    const int n = static_cast<int>(parents.size());
    std::vector<Ancestor> chosen;
    std::vector<bool> is_chosen(n + 1);
    for (;;) {
        std::vector<double> q(n + 1), a(n + 1);
        for (const int j : reference) q[j] = 1;
        for (int j = n; j >= 1; --j)
            for (const int p : {parents[j - 1].first, parents[j - 1].second})
                if (p != 0) q[p] += q[j] / 2;
        Ancestor best{0, 0, 1e-9};
        for (int j = 1; j <= n; ++j) {
            a[j] = is_chosen[j] ? 1 : (a[parents[j - 1].first] + a[parents[j - 1].second]) / 2;
            const double p = q[j] * (1 - a[j]) / static_cast<double>(reference.size());
            if (p > best.marginal + 1e-12) best = {j, q[j], p};
        }
        if (best.place == 0) return chosen;
        chosen.push_back(best);
        is_chosen[best.place] = true;
        parents[best.place - 1] = {0, 0};
    }
}

TEST(Contributions, AreThoseOfTheDefinition) {
    struct {
        Pairs parents;
        std::vector<int> reference;
        double founders, ancestors, genomes;  // effective numbers, by hand; 0: of the definition
    } cases[] = {
        // A sire with four dams. The mean of the relationships is (4 + 12/4)/16.
        {{{0, 0}, {0, 0}, {0, 0}, {0, 0}, {0, 0}, {1, 2}, {1, 3}, {1, 4}, {1, 5}},
         {6, 7, 8, 9},
         3.2,
         3.2,
         16. / 7},
        // The sire has parents: a founder more, and the same bottleneck.
        {{{0, 0}, {0, 0}, {1, 2}, {0, 0}, {0, 0}, {0, 0}, {0, 0}, {3, 4}, {3, 5}, {3, 6}, {3, 7}},
         {8, 9, 10, 11},
         16. / 3,
         3.2,
         16. / 7},
        // A dam is unknown: she is a founder with the same share as the known one, and as an
        // ancestor her son or daughter stands for her.
        {{{0, 0}, {0, 0}, {1, 2}, {1, 0}}, {3, 4}, 8. / 3, 8. / 3, 1.6},
        {random_parents(150, 1), {}, 0, 0, 0},
        {random_parents(400, 2), {}, 0, 0, 0}};
    for (auto& one : cases) {
        const int n = static_cast<int>(one.parents.size());
        if (one.reference.empty())
            for (int j = n - 60; j <= n; j += 1 + j % 3) one.reference.push_back(j);
        const Pedigree pedigree = pedigree_of(one.parents);
        Vec<bool> reference;
        make_table(reference, n);
        for (const int j : one.reference) reference(j) = true;
        const Inbreeding inbreeding = find_inbreeding(pedigree);
        const Contributions all =
            find_contributions(pedigree, reference, inbreeding.sampling, 1000000);
        const std::vector<Ancestor> expected = choose_by_definition(one.parents, one.reference);
        double sum = 0, squares = 0;
        for (const Ancestor& a : all.ancestors) {
            sum += a.marginal;
            squares += a.marginal * a.marginal;
        }
        EXPECT_NEAR(sum, 1, 1e-9);
        ASSERT_EQ(all.ancestors.size(), expected.size());
        for (std::size_t k = 0; k < expected.size(); ++k)
            EXPECT_NEAR(all.ancestors[k].marginal, expected[k].marginal, 1e-12) << k;
        EXPECT_NEAR(all.effective_ancestors_low, 1 / squares, 1e-9);
        const Dense a = relationships(one.parents);
        double mean = 0;
        for (const int j : one.reference)
            for (const int k : one.reference)
                mean += a[j][k] / static_cast<double>(one.reference.size() * one.reference.size());
        EXPECT_NEAR(all.founder_genomes, 1 / mean, 1e-9);
        for (int j = 1; j <= n; ++j) EXPECT_NEAR(inbreeding.coefficient(j), a[j][j] - 1, 1e-12);
        if (one.founders > 0) {
            EXPECT_NEAR(all.effective_founders, one.founders, 1e-12);
            EXPECT_NEAR(all.effective_ancestors_low, one.ancestors, 1e-12);
            EXPECT_NEAR(all.founder_genomes, one.genomes, 1e-12);
        }
        // The bounds of a search that ends early hold what it would have found.
        const Contributions some = find_contributions(pedigree, reference, inbreeding.sampling, 3);
        EXPECT_LE(some.effective_ancestors_low, all.effective_ancestors_low + 1e-9);
        EXPECT_GE(some.effective_ancestors_high, all.effective_ancestors_low - 1e-9);
    }
}

TEST(ClassStatistics, OfGenerationsAndYears) {
    // Two founders, full sibs, their inbred progeny, and a daughter of one of these by her sire.
    Pedigree pedigree = pedigree_of({{0, 0}, {0, 0}, {1, 2}, {1, 2}, {3, 4}, {3, 4}, {5, 6}});
    const int years[] = {0, 1, 3, 4, 6, 8, 10};
    for (int j = 1; j <= 7; ++j) pedigree.birth(j) = years[j - 1];
    const AnimalFigures figures = find_figures(pedigree, 2);
    const std::vector<ClassRow> rows =
        sum_up_classes(pedigree, figures, find_generations(pedigree), 1.0);
    ASSERT_EQ(rows.size(), 4);
    // Full-sib mating: F is 1/4 and then 3/8, with 2 and 3 complete generations.
    const double inbreeding[] = {0, 0, .25, .375},
                 increase[] = {0, 0, .25, 1 - std::sqrt(1 - .375)};
    for (int g = 0; g < 4; ++g) {
        EXPECT_EQ(rows[g].label, g);
        EXPECT_DOUBLE_EQ(rows[g].equivalent, g);
        EXPECT_DOUBLE_EQ(rows[g].completeness, g == 0 ? 0 : g == 1 ? .5 : 1);
        EXPECT_DOUBLE_EQ(rows[g].inbreeding, inbreeding[g]);
        EXPECT_DOUBLE_EQ(rows[g].increase, increase[g]);
    }
    const ClassRow all = add_up(rows);
    const double ages[] = {(3 + 3) / 2., (4 + 5) / 2., (2 + 2) / 2., (3 + 4) / 2.};
    EXPECT_DOUBLE_EQ(all.ages[kSireSon].mean(), ages[0]);
    EXPECT_DOUBLE_EQ(all.ages[kSireDaughter].mean(), ages[1]);
    EXPECT_DOUBLE_EQ(all.ages[kDamSon].mean(), ages[2]);
    EXPECT_DOUBLE_EQ(all.ages[kDamDaughter].mean(), ages[3]);
    EXPECT_DOUBLE_EQ(generation_interval(all), (ages[0] + ages[1] + ages[2] + ages[3]) / 4);
    EXPECT_EQ(all.animals, 7);
    EXPECT_EQ(all.founders, 2);
    EXPECT_EQ(rows[2].sires.parents, 1);
    EXPECT_EQ(rows[2].sires.largest, 2);
    EXPECT_EQ(rows[1].males, 1);
}

}  // namespace
