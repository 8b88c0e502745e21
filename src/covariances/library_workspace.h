// The linear algebra library and the memory that it takes for itself.
#pragma once

namespace kve {

// Threads among which the library shares out work on large matrices.
int library_threads();

// The library asks for a workspace of 128 MiB in each thread that works, and keeps it; when the
// system has none left it asks again for ever. So the room is tried first. Call it right before the
// library, when the matrices have their memory; `routine` is named where the room is lacking, which
// stops the run. Small matrices are the work of one thread.
void find_library_workspace(const char* routine, int threads);

}  // namespace kve
