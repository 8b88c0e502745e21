#include "matrices/typed_relationships.h"

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>

#include "base/memory.h"
#include "listing/stop.h"

namespace kve {
namespace {

// So many vectors at a time: what an animal has in them fills one line of the cache.
constexpr int32_t kVectors = 8;
constexpr std::size_t kLine = kVectors * sizeof(double);
constexpr int32_t kWordBits = 64;
constexpr int32_t kAhead = 16;

struct Products {
    Vec<double, 0> rows;      // kVectors each, from position 0, the unknown parent, which stays 0
    double* first = nullptr;  // of them, where a line of the cache begins
    Vec<uint64_t, 0> bits;    // a bit for each position: the row holds something on the way up

    double* row(int32_t p) const { return &first[int64_t{p} * kVectors]; }
    bool is_reached(int32_t p) const { return (bits(p / kWordBits) >> (p % kWordBits) & 1U) != 0; }
    void set_reached(int32_t p) { bits(p / kWordBits) |= uint64_t{1} << (p % kWordBits); }
};

void allocate_products(Products& products, int32_t n_animals) {
    const int64_t n = (int64_t{n_animals} + 2) * kVectors;
    const int64_t n_words = n_animals / kWordBits + 1;
    check_allocated(products.rows.allocate(n), "A_TIMES_X", "Y", n);
    check_allocated(products.bits.allocate(n_words), "COLLEAU", "X", n_words);
    const auto address = reinterpret_cast<std::uintptr_t>(products.rows.data());
    products.first = products.rows.data() + (kLine - address % kLine) % kLine / sizeof(double);
}

// Vector v is 1 at the position of typed animal t + v. Positions are all different.
void start_vectors(const ReducedPedigree& ped, int32_t t, int32_t n, Products& products) {
    for (int32_t v = 0; v < n; ++v) {
        const int32_t p = ped.position(t + v);
        std::fill_n(products.row(p), kVectors, 0.0);
        products.row(p)[v] = 1.0;
        products.set_reached(p);
    }
}

// Half of what the animal holds goes to a parent.
void add_to_parent(Products& products, int32_t parent, const double* from) {
    if (parent == 0) return;
    double* to = products.row(parent);
    if (!products.is_reached(parent)) {
        products.set_reached(parent);
        std::fill_n(to, kVectors, 0.0);
    }
    for (int v = 0; v < kVectors; ++v) to[v] += from[v] / 2.0;
}

// From the youngest animal reached to the oldest one. The others hold 0 and have nothing to give.
void pass_up(const ReducedPedigree& ped, int32_t last, Products& products) {
    for (int32_t word = last / kWordBits; word >= 0; --word) {
        uint64_t pending = products.bits(word);
        while (pending != 0) {
            const int bit = kWordBits - 1 - std::countl_zero(pending);
            const int32_t p = word * kWordBits + bit;
            add_to_parent(products, ped.parents(p).sire, products.row(p));
            add_to_parent(products, ped.parents(p).dam, products.row(p));
            // Parents may stand in the same word, below.
            pending = products.bits(word) & ((uint64_t{1} << bit) - 1);
        }
    }
}

KVE_FETCH void expect_parents(const ReducedPedigree& ped, const Products& products, int32_t p) {
    if (p > ped.n_animals()) return;
    __builtin_prefetch(products.row(ped.parents(p).sire));
    __builtin_prefetch(products.row(ped.parents(p).dam));
}

// Each animal gets the mean of its parents, and what it holds times its share. An animal that was
// not reached may still have something from an earlier turn in its row.
void pass_down(const ReducedPedigree& ped, int32_t last, Products& products) {
    for (int32_t p = 1; p <= last; ++p) {
        expect_parents(ped, products, p + kAhead);
        const double* of_sire = products.row(ped.parents(p).sire);
        const double* of_dam = products.row(ped.parents(p).dam);
        double* own = products.row(p);
        if (products.is_reached(p)) {
            const double share = ped.share(p);
            for (int v = 0; v < kVectors; ++v)
                own[v] = (of_sire[v] + of_dam[v]) / 2.0 + share * own[v];
        } else {
            for (int v = 0; v < kVectors; ++v) own[v] = (of_sire[v] + of_dam[v]) / 2.0;
        }
    }
}

void A_TIMES_X(const ReducedPedigree& ped, int32_t last, Products& products) {
    pass_up(ped, last, products);
    pass_down(ped, last, products);
    std::fill_n(products.bits.begin(), last / kWordBits + 1, 0);
}

}  // namespace

void COLLEAU(const ReducedPedigree& ped, const TakeRelationships& take) {
    Products products;
    allocate_products(products, ped.n_animals());
    for (int32_t t = 1; t <= ped.n_typed(); t += kVectors) {
        const int32_t n = std::min(kVectors, ped.n_typed() - t + 1);
        start_vectors(ped, t, n, products);
        A_TIMES_X(ped, ped.position(t + n - 1), products);
        for (int32_t u = 1; u < t + n; ++u) {
            const double* row = products.row(ped.position(u));
            const int32_t first = std::max(t, u);
            take(first, u, {row + (first - t), row + n});
        }
    }
}

void fill_a11(const ReducedPedigree& ped, TypedMatrices& both) {
    COLLEAU(ped, [&](int32_t t, int32_t u, std::span<const double> of_u) {
        for (const double a : of_u) both.A11(t++, u) = a;
    });
}

}  // namespace kve
