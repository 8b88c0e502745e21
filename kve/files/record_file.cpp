#include "kve/files/record_file.h"

#include <fmt/format.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <system_error>
#include <utility>

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

void RecordFile::refuse(const std::string& words) const {
    throw Failure(kUnreadable, fmt::format("{}: record {}: {}", path_, n_read_, words));
}

void RecordFile::refuse_record(RecordInput::Record found, std::size_t bytes) const {
    if (found != RecordInput::Record::bad)
        refuse(fmt::format("{} bytes, and not {}", file_.record_bytes(), bytes));
    refuse(file_.error() != 0 ? std::string(std::strerror(file_.error()))
                              : std::string("cut, or the file is no file of records"));
}

}  // namespace kve::companion
