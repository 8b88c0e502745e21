#include "covariances/library_workspace.h"

#include <cstdint>

#include "base/arrays.h"
#include "listing/stop.h"

extern "C" int openblas_get_num_threads(void);

namespace kve {

int library_threads() { return openblas_get_num_threads(); }

void find_library_workspace(const char* routine, int threads) {
    const int64_t bytes = threads * (int64_t{130} << 20);
    Vec<char> room;
    check_allocated(room.allocate(bytes), routine, "workspace", bytes);
}

}  // namespace kve
