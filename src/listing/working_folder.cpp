#include "listing/working_folder.h"

#include <fcntl.h>
#include <sys/file.h>

#include <cerrno>

#include "base/output_file.h"
#include "base/state.h"

namespace kve {

WRITES(WORKING_FOLDER);

bool claim_working_folder() {
    int& folder = WORKING_FOLDER.descriptor;
    if (folder >= 0) ::close(folder);
    folder = ::open(".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (folder < 0) return true;
    int status = 0;
    do status = ::flock(folder, LOCK_EX | LOCK_NB) == 0 ? 0 : errno;
    while (status == EINTR);
    return status != EWOULDBLOCK;
}

int sync_working_folder() {
    return WORKING_FOLDER.descriptor >= 0 ? sync_to_disk(WORKING_FOLDER.descriptor) : 0;
}

}  // namespace kve
