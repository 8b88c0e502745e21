#include "listing/model_file.h"

#include <sys/stat.h>

#include <cerrno>

#include "base/output_file.h"
#include "base/state.h"

namespace kve {

WRITES(MODEL_FILE);

int begin_model_file() {
    struct stat about;
    if (::stat("MODINF", &about) != 0) return errno == ENOENT ? 0 : errno;
    int descriptor = -1;
    if (const int status = open_output("MODINF", descriptor); status != 0) return status;
    if (const int before = MODEL_FILE.descriptor.exchange(descriptor); before >= 0) ::close(before);
    return sync_to_disk(descriptor);
}

void empty_model_file() {
    const int descriptor = MODEL_FILE.descriptor;
    // What cannot be emptied any more has not been filled: it was the last file to be written.
    if (descriptor >= 0 && ::ftruncate(descriptor, 0) == 0)
        static_cast<void>(sync_to_disk(descriptor));
}

}  // namespace kve
