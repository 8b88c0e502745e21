// The keyword lines on the raw data: what a record holds, the names of its columns, which of them
// are mixture variables. Numbers that cannot be read stop the run.
//
// Each procedure reads the section that begins with the keyword line in `cinp` and returns the kind
// of the line after it.
#pragma once

#include <cstdint>
#include <string_view>

#include "directives/catalogue.h"

namespace kve {

Keyword read_data_section();      // $DATA
Keyword read_variable_section();  // $VARIABLE, after $DATA
Keyword read_mixture_section();   // $MIXTURE, after $ANALYSE and $DATA

// ASCII or BINARY as a format number, kNoFormat for any other word.
int32_t format_of(std::string_view word);

}  // namespace kve
