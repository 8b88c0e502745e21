// Refuses calls of a run to the system, whoever makes them: the program, its threads, the
// libraries.
#pragma once

#include <array>
#include <atomic>

enum class Call {
    allocation,  // of an array or a buffer
    growth,      // of a large array in place
    open,
    read,
    write,
    close,
    status,  // of a file
    sync,
    lock,
    seek,
    remove,  // or rename, or cut
    thread,
    kinds
};
constexpr int kCalls = static_cast<int>(Call::kinds);

// Shared with the processes that a test forks.
struct Doors {
    std::array<std::atomic<int>, kCalls> made{};  // calls so far
    std::atomic<int> own_reads{};                 // of the program, without those of libraries
    Call kind = Call::kinds;                      // which is refused
    int first = 0, last = 0;                      // the numbers of the refused calls
};
Doors& doors();

// Counts anew, and refuses calls `first` to `last` of a kind.
void refuse_calls(Call kind, int first, int last);
inline void grant_all_calls() { refuse_calls(Call::kinds, 0, 0); }

// From here on the calls of this process go through the doors. Allocations always do.
void close_doors();

// What a test does to the files ahead of each read of the program, if anything.
inline void (*before_read)() = nullptr;
