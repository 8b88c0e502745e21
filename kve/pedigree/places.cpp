#include "kve/pedigree/places.h"

#include <algorithm>
#include <array>

namespace kve::companion {

namespace {

// The key above, the number below.
using Keyed = uint64_t;

// One digit of the key; equal ones stay in their order.
void sort_by_digit(Vec<Keyed>& from, Vec<Keyed>& to, int shift, int bits) {
    std::array<int64_t, 2049> place{};
    const uint64_t mask = (uint64_t{1} << bits) - 1;
    for (const Keyed k : from) ++place[(k >> shift & mask) + 1];
    for (std::size_t d = 1; d < place.size(); ++d) place[d] += place[d - 1];
    for (const Keyed k : from) to(++place[k >> shift & mask]) = k;
}

}  // namespace

Vec<int32_t> order_animals(const Vec<int32_t>& sort) {
    const int64_t n = sort.size();
    Vec<int32_t> order;
    make_table(order, n);
    if (n == 0) return order;
    const auto [low, high] = std::minmax_element(sort.begin(), sort.end());
    const int64_t base = *low;
    const uint64_t range = static_cast<uint64_t>(*high - base);
    Vec<Keyed> keyed, other;
    make_table(keyed, n);
    for (int64_t j = 1; j <= n; ++j)
        keyed(j) = static_cast<uint64_t>(sort(j) - base) << 32 | static_cast<uint64_t>(j);
    if (!std::is_sorted(keyed.begin(), keyed.end())) {
        make_table(other, n);
        constexpr int kBits = 11;
        for (int shift = 0; shift < 32 && range >> shift != 0; shift += kBits) {
            sort_by_digit(keyed, other, 32 + shift, kBits);
            std::swap(keyed, other);
        }
    }
    for (int64_t k = 1; k <= n; ++k) order(k) = static_cast<int32_t>(keyed(k) & 0xFFFFFFFF);
    return order;
}

Vec<bool> find_ancestors(const Herdbook& book, const Vec<int32_t>& order,
                         const std::vector<int32_t>& from, int32_t generations) {
    Vec<int32_t, 0> above;  // generations that still count, and 1
    make_table(above, int64_t{book.size()} + 1);
    const int32_t all = generations < 0 ? book.size() + 1 : generations + 1;
    for (const int32_t j : from) above(j) = all;
    for (int64_t k = order.size(); k >= 1; --k) {
        const auto [sire, dam] = book.parents(order(k));
        for (const int32_t parent : {sire, dam})
            above(parent) = std::max(above(parent), above(order(k)) - 1);
    }
    Vec<bool> keep;
    make_table(keep, book.size());
    for (int32_t j = 1; j <= book.size(); ++j) keep(j) = above(j) > 0;
    return keep;
}

Placed place_animals(const Herdbook& book, const Vec<int32_t>& order, const Vec<int32_t>& sort,
                     const Vec<bool>& keep, BirthUnit sort_unit) {
    const auto kept = [&](int32_t j) { return keep.size() == 0 || keep(j); };
    const int64_t n = keep.size() == 0 ? book.size() : std::count(keep.begin(), keep.end(), true);
    Placed placed;
    make_table(placed.pedigree.parents, n);
    make_table(placed.pedigree.birth, n);
    make_table(placed.pedigree.sex, n);
    make_table(placed.number, n);
    make_table(placed.sort, n);
    Vec<int32_t, 0> place_of;
    make_table(place_of, int64_t{book.size()} + 1);
    int32_t place = 0, lowest = 1;
    for (const int32_t j : order) {
        if (!kept(j)) continue;
        place_of(j) = ++place;
        placed.number(place) = j;
        placed.pedigree.parents(place) = {place_of(book.parents(j).sire),
                                          place_of(book.parents(j).dam)};
        placed.pedigree.birth(place) = book.birth(j);
        placed.pedigree.sex(place) = book.sex(j);
        placed.sort(place) = readable_birth(sort(j), sort_unit);
        lowest = std::min(lowest, placed.sort(place));
    }
    // A parent without a record counts as born at 0.
    if (lowest < 1)
        for (int32_t& s : placed.sort) s += 1 - lowest;
    return placed;
}

}  // namespace kve::companion
