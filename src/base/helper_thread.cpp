#include "base/helper_thread.h"

#include <sched.h>

#include <csignal>

namespace kve {
namespace {

bool has_second_core() {
    cpu_set_t cores;
    return ::sched_getaffinity(0, sizeof cores, &cores) != 0 || CPU_COUNT(&cores) > 1;
}

}  // namespace

bool HelperThread::start(void* (*work)(void*), void* argument) {
    join();
    if (!has_second_core()) return false;
    // Signals are for the thread of the run.
    sigset_t all, before;
    ::sigfillset(&all);
    ::pthread_sigmask(SIG_SETMASK, &all, &before);
    is_running_ = ::pthread_create(&thread_, nullptr, work, argument) == 0;
    ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
    return is_running_;
}

void HelperThread::join() {
    if (is_running_) ::pthread_join(thread_, nullptr);
    is_running_ = false;
}

}  // namespace kve
