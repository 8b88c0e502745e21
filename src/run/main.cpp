#include <fcntl.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <new>

#include "base/arrays.h"
#include "base/input.h"
#include "listing/interruption.h"
#include "listing/stop.h"
#include "run/driver.h"

namespace {

// The first file opened would take the place of a stream that the caller has closed, and the
// words meant for it would end in that file. What stands here instead fails at the first use.
void occupy_closed_streams() {
    for (int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
        if (::fcntl(stream, F_GETFD) < 0)
            static_cast<void>(::open("/dev/null", stream == STDIN_FILENO ? O_WRONLY : O_RDONLY));
}

}  // namespace

int main() {
    occupy_closed_streams();
    // A full disk or a closed pipe shows as a failed write, which is reported, not as a signal.
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);
    kve::catch_signals();
    std::set_new_handler([] { kve::alloc_error("KVE1", "working memory", 0, kve::kNoMemory); });
    if (const char* inputs = std::getenv("KVE_INPUTS")) kve::state::INPUT_FOLDER = inputs;
    kve::run();
}
