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

// Is `file` by name or by a link one that this run reads: named on a keyword line, read ahead of
// the directives, or the directive file itself? Its own inline texts do not count.
bool is_input_file(const std::string& file);

// Two names of one file. False when one of them does not exist.
bool is_same_file(const std::string& name, const std::string& other);

// The pedigree file of a random factor cannot be opened.
[[noreturn]] void stop_pedigree_not_opened(int32_t factor, const FileName& name);

}  // namespace kve
