// How a command ends before its time.
#pragma once

#include <stdexcept>
#include <string>

namespace kve::companion {

enum Status : int { kGood = 0, kFindings = 1, kUsage = 2, kUnreadable = 3 };

// What is wrong, after "kve: " on standard error, and the exit status.
struct Failure : std::runtime_error {
    Failure(Status of_program, const std::string& words)
        : std::runtime_error(words), status(of_program) {}
    Status status;
};

// Nobody reads on: `| head` has seen enough.
struct ClosedPipe {};

}  // namespace kve::companion
