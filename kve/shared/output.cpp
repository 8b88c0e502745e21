#include "kve/shared/output.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <new>

#include "kve/shared/failure.h"

namespace kve::companion {

Output::Output(const std::string& file)
    : name_(file.empty() ? "standard output" : file),
      descriptor_(STDOUT_FILENO),
      buffer_(static_cast<char*>(std::malloc(kBufferBytes))) {
    if (buffer_ == nullptr) throw std::bad_alloc();
    if (file.empty()) {
        // A pipe that holds a block spares its reader and this program many a turn.
        static_cast<void>(::fcntl(descriptor_, F_SETPIPE_SZ, kBufferBytes));
        return;
    }
    descriptor_ = ::open(file.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    if (descriptor_ >= 0) return;
    std::free(buffer_);
    refuse(errno);
}

Output::~Output() {
    behind_.end();
    if (descriptor_ > STDERR_FILENO) ::close(descriptor_);
    std::free(buffer_);
}

void Output::refuse(int error) const {
    if (error == EPIPE) throw ClosedPipe();
    throw Failure(kUnreadable, name_ + ": " + std::strerror(error));
}

void Output::hand_over() {
    const int error = behind_.hand_over(descriptor_, buffer_, held_);
    if (error != 0) refuse(error);
    held_ = 0;
}

void Output::put_in_pieces(std::string_view text) {
    while (!text.empty()) {
        if (held_ == kBufferBytes) hand_over();
        const std::size_t n = text.copy(buffer_ + held_, kBufferBytes - held_);
        held_ += n;
        text.remove_prefix(n);
    }
}

void Output::put_through(std::string_view text) {
    int error = behind_.wait();
    if (error == 0) error = write_all(descriptor_, buffer_, held_);
    held_ = 0;
    if (error == 0) error = write_all(descriptor_, text.data(), text.size());
    if (error != 0) refuse(error);
}

void Output::finish() {
    int error = behind_.wait();
    if (error == 0) error = write_all(descriptor_, buffer_, held_);
    if (descriptor_ != STDOUT_FILENO && ::close(descriptor_) != 0 && error == 0) error = errno;
    descriptor_ = STDOUT_FILENO;
    held_ = 0;
    if (error != 0) refuse(error);
}

}  // namespace kve::companion
