// How many allocations of arrays, reads and writes the system grants before it refuses one. Shared
// with the processes that a test forks.
#pragma once

struct Granted {
    int allocations, reads, writes;
};
constexpr int kAll = 1 << 30;
constexpr Granted kAllCalls{kAll, kAll, kAll};
Granted& granted();

// What a test does to the files ahead of each read, if anything.
inline void (*before_read)() = nullptr;
