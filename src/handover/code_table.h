// Stage write_code_table: the translation between the identities in the data and the recoded
// levels.
//
// Reads the level table, the animal table and the heads of their lists. Writes CODE_TABLE (unit 54)
// and closes it. Stops when the file cannot be written whole.
#pragma once

namespace kve {

void write_code_table();

}  // namespace kve
