// The linear algebra library and the memory that it takes for itself.
#pragma once

namespace kve {

// The library asks for a workspace of 128 MiB for each of its threads and keeps it; when the system
// has none left it asks again for ever. So the room is tried first. Call it before the library;
// `routine` is named where the room is lacking, which stops the run.
void find_library_workspace(const char* routine);

}  // namespace kve
