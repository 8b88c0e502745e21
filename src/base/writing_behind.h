// Full buffers, written by a second thread while the run fills the next one.
#pragma once

#include <cstddef>
#include <cstdint>

#include "base/helper_thread.h"

namespace kve {

// All bytes to the system. 0 or the system's error number.
[[nodiscard]] int write_all(int descriptor, const char* from, std::size_t bytes);

// One buffer is under way while the caller fills another. All are of kBufferBytes, however many
// bytes there are in them. The thread begins with its first task; where none is to be had, buffers
// are written at once. A failure is told by the next call; after it nothing more is written.
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
    // Brings the file to the disk behind the run, as sync_to_disk does. False when there is no
    // thread for it.
    [[nodiscard]] bool start_sync(int descriptor);
    // Until all of it is done. 0 or the system's error number.
    [[nodiscard]] int wait();
    void end();

 private:
    enum class Task { write, sync, end };

    static void* work(void* self);
    void start();
    void give(Task task, int descriptor);
    void write_buffer();
    void send_to_disk();

    Task task_ = Task::end;   // of the thread
    char* buffer_ = nullptr;  // under way, or empty
    std::size_t bytes_ = 0;   // of it
    std::size_t unsent_ = 0;  // bytes since the disk was told to begin
    int descriptor_ = -1;
    int error_ = 0;
    Semaphore given_, emptied_;
    HelperThread thread_;
};

}  // namespace kve
