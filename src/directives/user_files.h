// Files that the user names in the directives.
#pragma once

#include <cstdint>
#include <string>

#include "base/text.h"
#include "directives/catalogue.h"

namespace kve {

// Puts the submission directory, if there is one, in front of a name that does not begin with "/",
// and notes the file as an input. False when the result is too long for a file name; it is cut
// then.
bool take_user_file(FileName& name);

// A fault of keyword line `keyword` when nothing of that name exists, whatever it is.
void require_file(Keyword keyword, const FileName& name);

// Both, one after the other.
void find_user_file(Keyword keyword, FileName& name);

// The pedigree file of a random factor cannot be opened; `code` is the system's error number.
[[noreturn]] void stop_pedigree_not_opened(int32_t factor, const FileName& name, int code);

}  // namespace kve
