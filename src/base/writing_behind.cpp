#include "base/writing_behind.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <utility>

#include "base/output_file.h"

namespace kve {

int write_all(int descriptor, const char* from, std::size_t bytes) {
    while (bytes > 0) {
        const ssize_t done = ::write(descriptor, from, bytes);
        if (done < 0 && errno != EINTR) return errno;
        if (done <= 0) continue;
        from += done;
        bytes -= static_cast<std::size_t>(done);
    }
    return 0;
}

void WritingBehind::start() {
    buffer_ = static_cast<char*>(std::malloc(kBufferBytes));
    if (buffer_ == nullptr) return;
    given_.set(0);
    emptied_.set(1);
    static_cast<void>(thread_.start(work, this));
}

void* WritingBehind::work(void* self) {
    auto& behind = *static_cast<WritingBehind*>(self);
    for (;;) {
        behind.given_.wait();
        if (behind.task_ == Task::end) return nullptr;
        if (behind.task_ == Task::write)
            behind.write_buffer();
        else if (behind.error_ == 0)
            behind.error_ = sync_to_disk(behind.descriptor_);
        behind.emptied_.post();
    }
}

void WritingBehind::write_buffer() {
    if (error_ == 0) error_ = write_all(descriptor_, buffer_, bytes_);
    send_to_disk();
}

// The disk begins with what there is, so that little is left to wait for when the file is closed.
// Only a hint: errors are those of the later sync_to_disk.
void WritingBehind::send_to_disk() {
    constexpr std::size_t kWorthIt = std::size_t{1} << 24;
    unsent_ += bytes_;
    if (unsent_ < kWorthIt) return;
    unsent_ = 0;
    static_cast<void>(::sync_file_range(descriptor_, 0, 0, SYNC_FILE_RANGE_WRITE));
}

int WritingBehind::hand_over(int descriptor, char*& buffer, std::size_t bytes) {
    if (buffer_ == nullptr) start();
    if (!thread_.is_running()) return write_all(descriptor, buffer, bytes);
    emptied_.wait();
    if (error_ != 0) {
        emptied_.post();
        return error_;
    }
    std::swap(buffer_, buffer);
    bytes_ = bytes;
    give(Task::write, descriptor);
    return 0;
}

bool WritingBehind::start_sync(int descriptor) {
    if (buffer_ == nullptr) start();
    if (!thread_.is_running()) return false;
    emptied_.wait();
    give(Task::sync, descriptor);
    return true;
}

void WritingBehind::give(Task task, int descriptor) {
    task_ = task;
    descriptor_ = descriptor;
    given_.post();
}

int WritingBehind::wait() {
    if (!thread_.is_running()) return 0;
    emptied_.wait();
    emptied_.post();
    return error_;
}

void WritingBehind::end() {
    if (thread_.is_running()) {
        emptied_.wait();
        give(Task::end, -1);
        thread_.join();
    }
    std::free(buffer_);
    buffer_ = nullptr;
    error_ = 0;
}

}  // namespace kve
