// Sections of free text. Inline text is copied, logical line by logical line, to a file in the
// working directory; or the user names a file on the keyword line, which must exist.
//
// The text is gathered and goes to its file when the whole directive file has been read, or at a
// stop ahead of that: a keyword line further down may name that file as an input.
//
// Each procedure reads the section that begins with the keyword line in `cinp` and returns the kind
// of the line after it.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "base/state.h"
#include "directives/catalogue.h"

namespace kve {

namespace state {

struct InlineText {
    Keyword keyword;
    std::string file;
    std::string text;                   // until its file is written
    std::vector<int64_t> line_numbers;  // of the directive file, one for each line of the text
};

// In the order of the files' first keyword lines.
inline std::vector<InlineText> INLINE_TEXTS;

}  // namespace state

void begin_sections();

Keyword read_reduce_section();               // $REDUCE: KVE1.reduce
Keyword read_file_or_text(Keyword keyword);  // $MODEL: KVE1.dir; $PRIOR: PARIN; $KVE4 to $KVEGS
Keyword read_file_name(Keyword keyword);     // $OLDSOL, $FINFO
Keyword read_restrictions();                 // $VAR_REST: CVREST.DIR

// Makes the files. Ahead of that looks at all the outputs of the run: one that is also an input, or
// another output, by a link, is a fault, and a text that would replace one is not written. A file
// that cannot be written stops the run.
void write_sections();

}  // namespace kve
