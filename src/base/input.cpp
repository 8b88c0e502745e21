#include "base/input.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdlib>
#include <cstring>
#include <system_error>
#include <utility>

#include "base/freeform.h"
#include "base/state.h"

namespace kve {

READS(INPUT_FOLDER);

namespace {

// The fuzzers have a small one, which ends everywhere in their small files.
#ifndef KVE_BUFFER_BYTES
#define KVE_BUFFER_BYTES 65536
#endif
constexpr std::size_t kBufferBytes = KVE_BUFFER_BYTES;

}  // namespace

std::string input_path(const std::string& name) {
    if (INPUT_FOLDER.empty() || name.starts_with('/')) return name;
    return INPUT_FOLDER + "/" + name;
}

int ByteInput::open_input(const std::string& name) {
    const int status = open(input_path(name));
    path_ = name;
    return status;
}

int ByteInput::open(const std::string& path) {
    close();
    path_ = path;
    // Without O_NONBLOCK the open of a pipe would wait for a writer.
    int descriptor = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (descriptor < 0) return errno;
    struct stat about;
    int status = 0;
    if (::fstat(descriptor, &about) != 0)
        status = errno;
    else if (!S_ISREG(about.st_mode))
        status = S_ISDIR(about.st_mode) ? EISDIR : ESPIPE;
    if (status == 0) status = attach(descriptor);
    if (status != 0) ::close(descriptor);
    owned_ = status == 0;
    return status;
}

int ByteInput::attach(int descriptor) {
    close();
    buffer_ = static_cast<char*>(std::malloc(kBufferBytes + 1));
    if (buffer_ == nullptr) return ENOMEM;
    descriptor_ = descriptor;
    buffer_[0] = '\n';
    at_ = end_ = buffer_;
    line_number_ = 1;
    at_end_of_file_ = false;
    error_ = 0;
    return 0;
}

int ByteInput::rewind() {
    if (::lseek(descriptor_, 0, SEEK_SET) < 0) return errno;
    buffer_[0] = '\n';
    at_ = end_ = buffer_;
    line_number_ = 1;
    at_end_of_file_ = false;
    error_ = 0;
    return 0;
}

void ByteInput::close() {
    if (owned_) ::close(descriptor_);
    std::free(buffer_);
    buffer_ = nullptr;
    descriptor_ = -1;
    owned_ = false;
}

void ByteInput::read_from(std::string_view text) {
    at_ = text.data();
    end_ = at_ + text.size();
    at_end_of_file_ = true;
}

bool ByteInput::fill() {
    if (at_end_of_file_ || error_ != 0) return false;
    std::size_t held = static_cast<std::size_t>(end_ - at_);
    if (held == kBufferBytes) return false;
    std::memmove(buffer_, at_, held);
    ssize_t got;
    do {
        got = ::read(descriptor_, buffer_ + held, kBufferBytes - held);
    } while (got < 0 && errno == EINTR);
    if (got < 0) error_ = errno;
    if (got == 0) at_end_of_file_ = true;
    at_ = buffer_;
    end_ = buffer_ + held + (got > 0 ? got : 0);
    buffer_[end_ - buffer_] = '\n';
    return got > 0;
}

TextInput::Line TextInput::read_line(std::string_view& line, std::size_t longest) {
    for (;;) {
        std::size_t held = static_cast<std::size_t>(end_ - at_);
        auto* stop = static_cast<const char*>(std::memchr(at_, '\n', held));
        if (stop != nullptr) {
            line = std::string_view(at_, static_cast<std::size_t>(stop - at_)).substr(0, longest);
            at_ = stop + 1;
            ++line_number_;
            return Line::ok;
        }
        if (held == kBufferBytes || !fill()) return collect_line(line, longest);
    }
}

// A line without a line end, at the end of the file, or one longer than the buffer: piece by piece.
TextInput::Line TextInput::collect_line(std::string_view& line, std::size_t longest) {
    long_line_.clear();
    bool any = false;
    for (;;) {
        std::size_t held = static_cast<std::size_t>(end_ - at_);
        auto* stop = static_cast<const char*>(std::memchr(at_, '\n', held));
        std::size_t piece = stop != nullptr ? static_cast<std::size_t>(stop - at_) : held;
        if (long_line_.size() < longest)
            long_line_.append(at_, std::min(piece, longest - long_line_.size()));
        any = any || piece > 0;
        at_ += piece;
        if (stop != nullptr) break;
        if (fill()) continue;
        if (error() != 0) return Line::failed;
        if (!any) return Line::end;
        ++line_number_;
        line = long_line_;
        return Line::ok;
    }
    ++at_;
    ++line_number_;
    line = long_line_;
    return Line::ok;
}

void TextInput::skip_rest() {
    for (;;) {
        auto* stop =
            static_cast<const char*>(std::memchr(at_, '\n', static_cast<std::size_t>(end_ - at_)));
        if (stop != nullptr) {
            at_ = stop + 1;
            ++line_number_;
            return;
        }
        at_ = end_;
        if (!fill()) return;
    }
}

bool TextInput::comma_and_digit_follow() {
    if (*at_ != ',') return false;
    if (end_ - at_ < 2 && !fill()) return false;
    return at_[1] >= '0' && at_[1] <= '9';
}

// Over the separators held. False at a comma that leaves an item out.
bool TextInput::skip_separators() {
    for (; kind_of(*at_) == kSeparator && at_ < end_; ++at_) {
        if (*at_ == ',' && !std::exchange(after_item_, false)) return false;
        line_number_ += *at_ == '\n' ? 1 : 0;
    }
    return true;
}

// To the first character of the next item or to what cannot begin one. False at the end.
bool TextInput::skip_to_item() {
    do {
        if (!skip_separators() || at_ < end_) return true;
    } while (fill());
    return false;
}

template <class Value>
TextInput::Number TextInput::read_any(Value& value) {
    if (!skip_to_item()) return error() != 0 ? Number::bad : Number::end;
    for (;;) {
        auto [stop, code] = std::from_chars(at_, end_, value);
        if (stop != end_ && code == std::errc() && kind_of(*stop) != kItemCharacter) [[likely]] {
            at_ = stop;
            after_item_ = true;
            return Number::ok;
        }
        // The item may go on behind the buffer's end.
        if (stop != end_ || !fill()) return read_odd_number(value);
    }
}

// Numbers that from_chars does not take as they stand: a leading "+", a D exponent, a real beyond
// the range, the last item of a file without a line end. Everything else is bad, and so is an item
// that is longer than the buffer.
template <class Value>
TextInput::Number TextInput::read_odd_number(Value& value) {
    const char* stop;
    for (;;) {
        stop = at_;
        while (kind_of(*stop) == kItemCharacter) ++stop;
        if (stop != end_ || exhausted()) break;
        // A fill that only finds the end of the file moves the item, too.
        if (!fill() && !exhausted()) return Number::bad;
    }
    std::string_view item(at_, static_cast<std::size_t>(stop - at_));
    if (!parse_number(item, value)) return Number::bad;
    at_ = stop;
    after_item_ = true;
    return Number::ok;
}

TextInput::Number TextInput::read_any_number(int64_t& value) { return read_any(value); }
TextInput::Number TextInput::read_any_number(double& value) { return read_any(value); }

}  // namespace kve
