// What MODINF hands on of the user's old solutions.
#pragma once

#include <cstdint>

#include "base/state.h"

namespace kve::state {

// Second number in the head of the file, 0 when none was read. Written by the old solutions.
inline constinit int32_t OLDSOL_H2 = 0;

}  // namespace kve::state
