// Shows on the listing what was understood of the directives.
#pragma once

#include "directives/catalogue.h"

namespace kve {

// $COMMENT: prints its lines in a box. Returns the kind of the line after the section.
Keyword read_comments();

// The analysis, the user's files, the names of the variables.
void echo_directives();

}  // namespace kve
