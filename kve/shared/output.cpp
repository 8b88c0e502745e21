#include "kve/shared/output.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "kve/shared/failure.h"

namespace kve::companion {

namespace {

constexpr std::size_t kBufferBytes = std::size_t{1} << 18;

}  // namespace

Output::Output(const std::string& file)
    : name_(file.empty() ? "standard output" : file),
      descriptor_(STDOUT_FILENO),
      buffer_(kBufferBytes) {
    if (file.empty()) return;
    descriptor_ = ::open(file.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    if (descriptor_ < 0) throw Failure(kUnreadable, name_ + ": " + std::strerror(errno));
}

Output::~Output() {
    if (descriptor_ > STDERR_FILENO) ::close(descriptor_);
}

void Output::write_out() {
    for (std::size_t at = 0; at < held_;) {
        const ssize_t done = ::write(descriptor_, buffer_.data() + at, held_ - at);
        if (done >= 0)
            at += static_cast<std::size_t>(done);
        else if (errno == EPIPE)
            throw ClosedPipe();
        else if (errno != EINTR)
            throw Failure(kUnreadable, name_ + ": " + std::strerror(errno));
    }
    held_ = 0;
}

void Output::put_in_pieces(std::string_view text) {
    while (!text.empty()) {
        if (held_ == buffer_.size()) write_out();
        const std::size_t n = text.copy(buffer_.data() + held_, buffer_.size() - held_);
        held_ += n;
        text.remove_prefix(n);
    }
}

void Output::finish() {
    write_out();
    if (descriptor_ == STDOUT_FILENO) return;
    const int closed = ::close(descriptor_);
    descriptor_ = STDOUT_FILENO;
    if (closed != 0) throw Failure(kUnreadable, name_ + ": " + std::strerror(errno));
}

}  // namespace kve::companion
