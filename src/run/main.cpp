#include <csignal>
#include <new>

#include "base/arrays.h"
#include "run/driver.h"
#include "run/stop.h"

int main() {
    // A full disk or a closed pipe shows as a failed write, which is reported, not as a signal.
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);
    std::set_new_handler([] { kve::alloc_error("KVE1", "working memory", 0, kve::kNoMemory); });
    kve::run();
}
