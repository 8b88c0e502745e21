// MODINF tells later programs that the files beside it belong together and are whole. So it is
// emptied before a run writes anything else and filled when all else is on disk; a run that does
// not end well leaves it empty, which is no model.
#pragma once

#include <unistd.h>

#include <atomic>

namespace kve {

namespace state {

struct ModelFile {
    constexpr ModelFile() = default;
    ModelFile(const ModelFile&) = delete;
    ModelFile& operator=(const ModelFile&) = delete;
    ~ModelFile() {
        if (descriptor >= 0) ::close(descriptor);
    }

    std::atomic<int> descriptor = -1;  // to empty it with; none while the run has written nothing
};

inline constinit ModelFile MODEL_FILE;

}  // namespace state

// Ahead of the first output; also when MODINF has just been made. Without the file there is nothing
// to do. 0, or what open_output tells.
[[nodiscard]] int begin_model_file();

// At every stop. Ahead of the outcome it is empty anyway.
void empty_model_file();

}  // namespace kve
