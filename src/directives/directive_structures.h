// $VAR_STR: the (co)variance structures of the random factors. Numbers that cannot be read stop
// the run.
#pragma once

#include "directives/catalogue.h"

namespace kve {

// Reads the group of $VAR_STR lines that begins with the keyword line in `cinp`, then looks for the
// files of all records so far. Returns the kind of the line after the group.
Keyword read_structures();

// Tells the random factors that have more than one record, in factor order.
void check_repeated_factors();

}  // namespace kve
