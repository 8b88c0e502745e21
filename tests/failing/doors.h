// How many more allocations of arrays, reads and writes the system grants.
#pragma once

constexpr int kUnlimited = 1 << 30;
extern int allocations_left, reads_left, writes_left;
