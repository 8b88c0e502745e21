// The working directory, in which one run works at a time.
#pragma once

#include <unistd.h>

namespace kve {

namespace state {

struct WorkingFolder {
    constexpr WorkingFolder() = default;
    WorkingFolder(const WorkingFolder&) = delete;
    WorkingFolder& operator=(const WorkingFolder&) = delete;
    ~WorkingFolder() {
        if (descriptor >= 0) ::close(descriptor);
    }

    int descriptor = -1;  // open and locked for the run; the system drops the lock with it
};

inline constinit WorkingFolder WORKING_FOLDER;

}  // namespace state

// False when another run works here. Where the system knows no locks nobody can tell.
[[nodiscard]] bool claim_working_folder();

// The names of the outputs are on the disk then. 0 or the system's error number.
[[nodiscard]] int sync_working_folder();

}  // namespace kve
