// The inputs of a run, with what tells later whether they are still the same.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <ctime>
#include <string>
#include <vector>

namespace kve::companion {

struct Input {
    std::string name;  // in the directives
    std::string path;
    bool is_there = false;
    dev_t device = 0;
    ino_t inode = 0;
    int64_t bytes = 0;
    timespec modified = {};
    std::string sha256;        // empty until it is known
    bool has_changed = false;  // since the run began
};

// The directive file first, the others from the folder.
std::vector<Input> find_inputs(const std::string& directives, const std::vector<std::string>& names,
                               const std::string& folder);

bool is_one_of(const std::vector<Input>& inputs, const std::string& path);

// Reads all of them. One that is no longer what it was has no checksum.
void find_checksums(std::vector<Input>& inputs);

}  // namespace kve::companion
