#include "kve/files/record_file.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <system_error>
#include <utility>
#include <vector>

#include "kve/shared/failure.h"

namespace kve::companion {

namespace fs = std::filesystem;

namespace {

constexpr uintmax_t kLookBytes = uintmax_t{1} << 22;  // of a file, between two looks at the clock
constexpr auto kPause = std::chrono::milliseconds(300);
constexpr const char* kClearLine = "\r\033[K";

}  // namespace

Progress::Progress(std::string name, uintmax_t bytes)
    : name_(std::move(name)),
      all_(bytes),
      next_look_(::isatty(STDERR_FILENO) != 0 ? kLookBytes : UINTMAX_MAX),
      next_line_(std::chrono::steady_clock::now() + kPause) {}

Progress::~Progress() {
    if (has_line_) std::fputs(kClearLine, stderr);
}

Reckoning::Reckoning(const std::string& words) {
    if (::isatty(STDERR_FILENO) == 0) return;
    std::fprintf(stderr, "\rkve: %s", words.c_str());
    std::fflush(stderr);
}

Reckoning::~Reckoning() {
    if (::isatty(STDERR_FILENO) != 0) std::fputs(kClearLine, stderr);
}

void Progress::look() {
    next_look_ = done_ + kLookBytes;
    const auto now = std::chrono::steady_clock::now();
    if (now < next_line_ || all_ == 0) return;
    next_line_ = now + kPause;
    has_line_ = true;
    std::fprintf(stderr, "\rkve: %s %ju %%", name_.c_str(), 100 * done_ / all_);
    std::fflush(stderr);
}

uintmax_t bytes_of_file(const fs::path& file) {
    std::error_code error;
    const uintmax_t bytes = fs::file_size(file, error);
    if (error) throw Failure(kUnreadable, fmt::format("{}: {}", file.string(), error.message()));
    return bytes;
}

RecordFile::RecordFile(const fs::path& folder, const std::string& name)
    : name_(name),
      path_((folder / name).string()),
      bytes_(bytes_of_file(folder / name)),
      progress_(name, bytes_) {
    if (const int error = file_.open(path_); error != 0)
        throw Failure(kUnreadable, fmt::format("{}: {}", path_, std::strerror(error)));
}

RecordFile::RecordFile(const fs::path& folder, const std::string& name, int descriptor,
                       int64_t n_read)
    : name_(name),
      path_((folder / name).string()),
      bytes_(bytes_of_file(folder / name)),
      n_read_(n_read),
      progress_(name, bytes_) {
    if (const int error = file_.attach(descriptor); error != 0)
        throw Failure(kUnreadable, fmt::format("{}: {}", path_, std::strerror(error)));
}

void RecordFile::refuse(const std::string& words) const {
    throw Failure(kUnreadable, n_read_ == 0
                                   ? fmt::format("{}: {}", path_, words)
                                   : fmt::format("{}: record {}: {}", path_, n_read_, words));
}

void RecordFile::refuse_record(RecordInput::Record found, std::size_t bytes) const {
    if (found != RecordInput::Record::bad)
        refuse(fmt::format("{} bytes, and not {}", file_.record_bytes(), bytes));
    refuse(file_.error() != 0 ? std::string(std::strerror(file_.error()))
                              : std::string("cut, or the file is no file of records"));
}

RecordBlock::RecordBlock(fs::path folder, std::string name)
    : folder_(std::move(folder)),
      name_(std::move(name)),
      file_bytes_(bytes_of_file(folder_ / name_)) {
    const std::string path = (folder_ / name_).string();
    descriptor_ = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (descriptor_ < 0)
        throw Failure(kUnreadable, fmt::format("{}: {}", path, std::strerror(errno)));
}

RecordBlock::~RecordBlock() { ::close(descriptor_); }

int64_t RecordBlock::read(const Part& part, std::size_t record_bytes) {
    part_ = part;
    frame_bytes_ = record_bytes + 2 * sizeof(int32_t);
    const std::size_t wanted =  // no more than the file has
        std::min(static_cast<uintmax_t>(part.n) * frame_bytes_,
                 file_bytes_ - std::min(file_bytes_, part.bytes_before));
    if (wanted > room_) {
        bytes_ = std::make_unique_for_overwrite<std::byte[]>(wanted);
        room_ = wanted;
    }
    std::size_t held = 0;
    while (held < wanted) {
        const ssize_t got = ::pread(descriptor_, bytes_.get() + held, wanted - held,
                                    static_cast<off_t>(part.bytes_before + held));
        if (got < 0 && errno == EINTR) continue;
        if (got <= 0) break;
        held += static_cast<std::size_t>(got);
    }
    const auto whole = static_cast<int64_t>(held / frame_bytes_);
    const auto is_framed = [&](const std::byte* body) {
        int32_t length, trailer;
        std::memcpy(&length, body - sizeof length, sizeof length);
        std::memcpy(&trailer, body + record_bytes, sizeof trailer);
        return length == trailer && std::cmp_equal(length, record_bytes);
    };
    int64_t n = 0;
    while (n < whole && is_framed(record(n))) ++n;
    return n;
}

// A record that is not as it should be may end anywhere, and so the file tells.
void RecordBlock::refuse_unread(int64_t k, const std::string& at_end) const {
    const uintmax_t begin = part_.bytes_before + static_cast<uintmax_t>(k) * frame_bytes_;
    ::lseek(descriptor_, static_cast<off_t>(begin), SEEK_SET);
    RecordFile file(folder_, name_, descriptor_, part_.n_before + k);
    std::vector<std::byte> record(frame_bytes_ - 2 * sizeof(int32_t));
    if (!file.next(std::span(record))) file.refuse(at_end);
    file.refuse("it was written to in the meantime");
}

void RecordBlock::expect_end(const Part& before, std::size_t record_bytes,
                             const std::string& words) {
    ::lseek(descriptor_, static_cast<off_t>(before.bytes_before), SEEK_SET);
    RecordFile file(folder_, name_, descriptor_, before.n_before);
    std::vector<std::byte> more(record_bytes);
    if (file.next(std::span(more))) file.refuse(words);
}

void RecordBlock::refuse(int64_t k, const std::string& words) const {
    throw Failure(kUnreadable, fmt::format("{}: record {}: {}", (folder_ / name_).string(),
                                           part_.n_before + k + 1, words));
}

}  // namespace kve::companion
