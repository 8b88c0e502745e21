// A pedigree in memory, as the procedures of this folder take it: animals by their places 1..n, of
// which those of parents are below those of their progeny.
#pragma once

#include <cstdint>
#include <limits>
#include <new>

#include "base/arrays.h"
#include "pedigree/inbreeding.h"

namespace kve::companion {

enum class Sex : int8_t { unknown, male, female };

inline constexpr int32_t kNoBirth = std::numeric_limits<int32_t>::min();

struct Pedigree {
    Vec<ParentPair> parents;  // places, 0 unknown
    Vec<int32_t> birth;       // days, years or what else tells the time; kNoBirth
    Vec<Sex> sex;             // of an animal with progeny that of its part in them

    int32_t size() const { return static_cast<int32_t>(parents.size()); }
};

// Cleared elements; throws when there is no memory.
template <class Table>
void make_table(Table& table, int64_t n) {
    if (table.allocate(n) != 0) throw std::bad_alloc();
}

}  // namespace kve::companion
