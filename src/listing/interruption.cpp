#include "listing/interruption.h"

#include <poll.h>
#include <unistd.h>

#include <csignal>
#include <string_view>

#include "base/state.h"

namespace kve {

WRITES(OUTCOME_STANDS);

namespace {

constexpr int kSignals[] = {SIGINT, SIGTERM, SIGHUP};

// With its line end in front: the listing may be inside a line.
constexpr std::string_view kWords =
    "\nERROR - the run was interrupted by a signal, its files are not complete\n"
    "Program terminates\n";

// Nobody need read the other end of a pipe any more.
void tell_listing() {
    struct pollfd listing = {STDOUT_FILENO, POLLOUT, 0};
    if (::poll(&listing, 1, 0) == 1 && ::write(STDOUT_FILENO, kWords.data(), kWords.size()) < 0)
        return;  // there is no other place to tell it
}

// Calls nothing but what POSIX allows in a handler. What the run holds in buffers is lost: MODINF
// is empty until the outcome stands, so no program takes these files for complete. The signal
// itself ends the program then, so that a shell stops its script as the user wants.
void end_interrupted_run(int signal) {
    if (OUTCOME_STANDS.exchange(true)) return;
    tell_listing();
    std::signal(signal, SIG_DFL);
    std::raise(signal);
    sigset_t all;
    ::sigfillset(&all);
    ::pthread_sigmask(SIG_UNBLOCK, &all, nullptr);
}

}  // namespace

void catch_signals() {
    struct sigaction action = {};
    action.sa_handler = end_interrupted_run;
    action.sa_flags = SA_RESTART;  // for one that comes too late
    ::sigfillset(&action.sa_mask);
    for (int signal : kSignals) {
        struct sigaction before;
        if (::sigaction(signal, nullptr, &before) == 0 && before.sa_handler != SIG_IGN)
            ::sigaction(signal, &action, nullptr);
    }
}

void settle_outcome() {
    // Another thread may be in the handler.
    while (OUTCOME_STANDS.exchange(true)) ::pause();
}

}  // namespace kve
