// Full buffers, written by a second thread while the run fills the next one.
#pragma once

#include <cstddef>
#include <cstdint>

#include "base/helper_thread.h"

namespace kve {

// All bytes to the system. 0 or the system's error number.
[[nodiscard]] int write_all(int descriptor, const char* from, std::size_t bytes);

// One buffer is under way while the caller fills another. All are of kBufferBytes, however many
// bytes there are in them. The thread begins with the first buffer that is handed over; where none
// is to be had, buffers are written at once. A write that fails is told by the next call; after it
// nothing more is written.
class WritingBehind {
 public:
    static constexpr std::size_t kBufferBytes = std::size_t{1} << 18;

    WritingBehind() = default;
    WritingBehind(const WritingBehind&) = delete;
    WritingBehind& operator=(const WritingBehind&) = delete;
    ~WritingBehind() { end(); }

    // Takes over a buffer from malloc with `bytes` bytes in it, and gives an empty one for it. 0 or
    // the system's error number of a write so far.
    [[nodiscard]] int hand_over(int descriptor, char*& buffer, std::size_t bytes);
    // Until all that was handed over is with the system.
    [[nodiscard]] int wait();
    void end();

 private:
    static void* write_buffers(void* self);
    void start();
    void send_to_disk();

    char* buffer_ = nullptr;  // under way, or empty
    std::size_t bytes_ = 0;   // of it; 0 ends the thread
    std::size_t unsent_ = 0;  // bytes since the disk was told to begin
    int descriptor_ = -1;
    int error_ = 0;
    Semaphore given_, emptied_;
    HelperThread thread_;
};

}  // namespace kve
