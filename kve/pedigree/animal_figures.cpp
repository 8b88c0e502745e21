#include "kve/pedigree/animal_figures.h"

#include <algorithm>
#include <array>
#include <vector>

namespace kve::companion {

Vec<int32_t> find_generations(const Pedigree& pedigree) {
    Vec<int32_t> generation;
    make_table(generation, pedigree.size());
    const auto behind = [&](int32_t parent) { return parent == 0 ? 0 : generation(parent) + 1; };
    for (int32_t j = 1; j <= pedigree.size(); ++j) {
        const ParentPair p = pedigree.parents(j);
        generation(j) = std::max(behind(p.sire), behind(p.dam));
    }
    return generation;
}

Vec<float> find_equivalent_generations(const Pedigree& pedigree) {
    Vec<float> equivalent;
    make_table(equivalent, pedigree.size());
    const auto half = [&](int32_t parent) {
        return parent == 0 ? 0.0F : 0.5F * (equivalent(parent) + 1.0F);
    };
    for (int32_t j = 1; j <= pedigree.size(); ++j) {
        const ParentPair p = pedigree.parents(j);
        equivalent(j) = half(p.sire) + half(p.dam);
    }
    return equivalent;
}

namespace {

// How many ancestors of each generation are known, the animal itself as generation 0, a byte each:
// 128 at most in the eighth, so that no sum reaches the next byte.
using KnownAncestors = uint64_t;

// The mean over the generations of the share that is known.
float known_share(KnownAncestors known, int generations) {
    float sum = 0.0F, weight = 1.0F;
    for (int g = 0; g < generations; ++g, known >>= 8, weight *= 0.5F)
        sum += weight * static_cast<float>(known & 255);
    return sum / static_cast<float>(generations);
}

}  // namespace

Vec<float> find_completeness(const Pedigree& pedigree, int generations) {
    Vec<float> completeness;
    make_table(completeness, pedigree.size());
    Vec<KnownAncestors, 0> known;
    make_table(known, pedigree.size() + 1);
    for (int32_t j = 1; j <= pedigree.size(); ++j) {
        const KnownAncestors sire = known(pedigree.parents(j).sire),
                             dam = known(pedigree.parents(j).dam);
        known(j) = (sire + dam) << 8 | 1;
        const float s = known_share(sire, generations), d = known_share(dam, generations);
        completeness(j) = s + d > 0.0F ? 2.0F * s * d / (s + d) : 0.0F;
    }
    return completeness;
}

namespace {

// Sires of animals with both parents known, every so many of them, and the mates of each.
struct SireSample {
    std::vector<int32_t> sires;
    std::vector<std::vector<int32_t>> mates;
    double sires_for_one = 0.0;
};

SireSample sample_sires(const Pedigree& pedigree) {
    constexpr std::size_t kSires = 50;
    Vec<bool> is_sire;
    make_table(is_sire, pedigree.size());
    for (const auto& [sire, dam] : pedigree.parents)
        if (sire > 0 && dam > 0) is_sire(sire) = true;
    std::vector<int32_t> all;
    for (int32_t j = 1; j <= pedigree.size(); ++j)
        if (is_sire(j)) all.push_back(j);
    SireSample sample;
    const std::size_t n = std::min(all.size(), kSires);
    for (std::size_t k = 0; k < n; ++k)
        sample.sires.push_back(all[(2 * k + 1) * all.size() / (2 * n)]);
    sample.mates.resize(n);
    for (const auto& [sire, dam] : pedigree.parents)
        if (const auto at = std::ranges::lower_bound(sample.sires, sire);
            dam > 0 && at != sample.sires.end() && *at == sire)
            sample.mates[static_cast<std::size_t>(at - sample.sires.begin())].push_back(dam);
    if (n > 0) sample.sires_for_one = static_cast<double>(all.size()) / static_cast<double>(n);
    return sample;
}

}  // namespace

double estimate_visits(const Pedigree& pedigree) {
    SireSample sample = sample_sires(pedigree);
    Vec<int32_t, 0> seen_for;  // the last sire for whom the animal was counted
    make_table(seen_for, pedigree.size() + 1);
    double visits = 0.0;
    for (std::size_t k = 0; k < sample.sires.size(); ++k) {
        const int32_t sire = sample.sires[k];
        std::vector<int32_t>& pending = sample.mates[k];
        pending.push_back(sire);
        while (!pending.empty()) {
            const int32_t animal = pending.back();
            pending.pop_back();
            if (animal == 0 || seen_for(animal) == sire) continue;
            seen_for(animal) = sire;
            visits += sample.sires_for_one;
            pending.push_back(pedigree.parents(animal).sire);
            pending.push_back(pedigree.parents(animal).dam);
        }
    }
    return visits;
}

Inbreeding find_inbreeding(const Pedigree& pedigree) {
    Inbreeding found;
    const int64_t n = pedigree.size();
    make_table(found.coefficient, n);
    make_table(found.sampling, n);
    Vec<ParentPair> parents;
    make_table(parents, n);
    std::copy(pedigree.parents.begin(), pedigree.parents.end(), parents.begin());
    if (find_diagonals(parents, found.coefficient, found.sampling).array != nullptr)
        throw std::bad_alloc();
    for (double& coefficient : found.coefficient) coefficient -= 1.0;
    for (double& sampling : found.sampling) sampling *= sampling;
    return found;
}

}  // namespace kve::companion
