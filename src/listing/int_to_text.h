#pragma once

#include <cstdint>

namespace kve {

// Writes `value` left-adjusted into text[0..length-1], padded with blanks, and returns the number
// of characters it took, sign included. Digits that do not fit stop the run.
int32_t int_to_text(int64_t value, char* text, int32_t length);

}  // namespace kve
