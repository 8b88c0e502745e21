#include "base/writing_behind.h"

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
    static_cast<void>(thread_.start(write_buffers, this));
}

void* WritingBehind::write_buffers(void* self) {
    auto& behind = *static_cast<WritingBehind*>(self);
    for (;;) {
        behind.given_.wait();
        if (behind.bytes_ == 0) return nullptr;
        if (behind.error_ == 0)
            behind.error_ = write_all(behind.descriptor_, behind.buffer_, behind.bytes_);
        behind.send_to_disk();
        behind.emptied_.post();
    }
}

void WritingBehind::send_to_disk() {
    constexpr std::size_t kWorthIt = std::size_t{1} << 24;
    unsent_ += bytes_;
    if (unsent_ < kWorthIt) return;
    unsent_ = 0;
    start_sync(descriptor_);
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
    descriptor_ = descriptor;
    bytes_ = bytes;
    given_.post();
    return 0;
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
        bytes_ = 0;
        given_.post();
        thread_.join();
    }
    std::free(buffer_);
    buffer_ = nullptr;
    error_ = 0;
}

}  // namespace kve
