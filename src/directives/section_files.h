// Sections of free text. Inline text is copied, logical line by logical line, to a file in the
// working directory; or the user names a file on the keyword line, which must exist. A file that
// cannot be written stops the run.
//
// Each procedure reads the section that begins with the keyword line in `cinp` and returns the kind
// of the line after it.
#pragma once

#include "directives/catalogue.h"

namespace kve {

Keyword read_reduce_section();               // $REDUCE: KVE1.reduce
Keyword read_file_or_text(Keyword keyword);  // $MODEL: KVE1.dir; $PRIOR: PARIN; $KVE4 to $KVEGS
Keyword read_file_name(Keyword keyword);     // $OLDSOL, $FINFO
Keyword read_restrictions();                 // $VAR_REST: CVREST.DIR, which stays open
void close_restrictions();

}  // namespace kve
