// Stage delete_empty_work_files: PEDDATA and INBREED stay only when a pedigree has written to them.
//
// Reads the line counts of the pedigree stages, NBAFT and INBREED_LINES. Closes and deletes units
// 10 and 11 or leaves them open. Nothing stops it.
#pragma once

namespace kve {

void delete_empty_work_files();

}  // namespace kve
