// A run that the user or the system ends from outside: SIGINT, SIGTERM, SIGHUP.
#pragma once

#include <atomic>

namespace kve {

namespace state {

// The outcome of the run stands: a signal comes too late to change it, or has already done so.
inline constinit std::atomic<bool> OUTCOME_STANDS = false;

}  // namespace state

// From here on such a signal tells the listing and ends the program at once. Those that the caller
// lets be ignored, as nohup does, stay so.
void catch_signals();

// From here on such a signal changes nothing: the other outputs are whole and MODINF follows.
void settle_outcome();

}  // namespace kve
