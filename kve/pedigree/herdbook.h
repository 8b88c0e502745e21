// A pedigree as its file has it: animals by number 1..n in the order in which they are mentioned,
// with parents that may come before or behind, be in a loop or have no record.
#pragma once

#include <cstdint>
#include <string>

#include "kve/pedigree/pedigree.h"

namespace kve::companion {

enum class BirthUnit : int8_t { none, days, years, numbers };

struct Herdbook {
    Vec<ParentPair> parents;  // numbers, 0 unknown
    Vec<int32_t> line;        // of the record in the file; 0 for a parent without one
    Vec<int32_t> birth;       // in `unit`, kNoBirth
    Vec<Sex> sex;             // as the record has it
    BirthUnit unit = BirthUnit::none;
    bool has_sexes = false;  // the file has a column of them

    int32_t size() const { return static_cast<int32_t>(parents.size()); }
};

inline constexpr double kDaysPerYear = 365.25;
double units_per_year(BirthUnit unit);
// 20240229 for a day, the number itself for other units.
int32_t readable_birth(int32_t birth, BirthUnit unit);
// The year, and the number itself where the unit is no time.
int32_t year_of_birth(int32_t birth, BirthUnit unit);
std::string birth_text(int32_t birth, BirthUnit unit);

}  // namespace kve::companion
