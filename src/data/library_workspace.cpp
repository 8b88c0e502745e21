#include "data/library_workspace.h"

#include <cstdint>

#include "base/arrays.h"
#include "run/stop.h"

extern "C" int openblas_get_num_threads(void);

namespace kve {

void find_library_workspace(const char* routine) {
    static bool found = false;
    if (found) return;
    const int64_t bytes = openblas_get_num_threads() * (int64_t{130} << 20);
    Vec<char> room;
    check_allocated(room.allocate(bytes), routine, "workspace", bytes);
    found = true;
}

}  // namespace kve
