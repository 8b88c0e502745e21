// KVE1 as another process.
#pragma once

#include <sys/types.h>

#include <csignal>
#include <cstdint>
#include <functional>
#include <string>

namespace kve::companion {

// The program that the user names, or KVE1 beside this program, or on the PATH. An absolute path.
std::string find_kve1(const std::string& named);

// While it lives SIGINT, SIGTERM and SIGHUP wait; one that came and was not dealt with comes
// through at its end.
class HeldSignals {
 public:
    HeldSignals();
    HeldSignals(const HeldSignals&) = delete;
    HeldSignals& operator=(const HeldSignals&) = delete;
    ~HeldSignals();

    // The next one, or 0 when the time has passed. The end of a child counts.
    int wait(int milliseconds) const;
    const sigset_t& before() const { return before_; }

 private:
    sigset_t held_, before_;
};

struct Ended {
    int status = 0;      // that a shell sees: 128 more than a signal that ended it
    int signal = 0;      // that ended it
    int from_user = 0;   // signal that the user has sent to this program
    double seconds = 0;  // of the clock
    double cpu_seconds = 0;
    int64_t most_memory = 0;  // bytes
};

struct Start {
    std::string program, folder, inputs, directives, listing;
};

// Runs it to its end, in the folder, and looks every now and then with `look` at the process. A
// signal of the user is handed on, the second one ends it whatever it does.
Ended run_kve1(const Start& start, const HeldSignals& signals,
               const std::function<void(pid_t)>& look);

}  // namespace kve::companion
