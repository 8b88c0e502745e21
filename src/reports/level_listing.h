// The first levels of each effect and factor with their codes, for tests of a model.
#pragma once

#include <cstdint>

namespace kve {

// So many rows of a list are printed; the rows after them are not shown.
inline constexpr int32_t kMostLevelsListed = 100;

// The fixed class effects, trait by trait.
void list_fixed_levels();

// The random factors: those of type I, then the animals of the pedigrees, which stand in the order
// of their list and not of their level numbers.
void list_random_levels();

}  // namespace kve
