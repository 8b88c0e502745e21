#include "base/records.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <limits>

#include "base/output_file.h"

namespace kve {

int RecordOutput::open(const std::string& path) {
    static_cast<void>(close());
    path_ = path;
    error_ = 0;
    first_ = First::written;
    is_on_disk_ = false;
    if (const int status = open_output(path, descriptor_); status != 0) return status;
    buffer_ = static_cast<char*>(std::malloc(kBufferBytes));
    if (buffer_ == nullptr) return error_ = ENOMEM;
    return 0;
}

void RecordOutput::keep_first_length() {
    if (first_ != First::to_be_held || held_ < sizeof first_length_) return;
    std::memcpy(&first_length_, buffer_, sizeof first_length_);
    std::memset(buffer_, 0, sizeof first_length_);
    first_ = First::held;
}

void RecordOutput::write_out() {
    keep_first_length();
    if (error_ == 0) error_ = behind_.wait();
    if (error_ == 0) error_ = write_all(descriptor_, buffer_, held_);
    is_on_disk_ = is_on_disk_ && held_ == 0;
    held_ = 0;
}

void RecordOutput::write_first_length() {
    if (::pwrite(descriptor_, &first_length_, sizeof first_length_, 0) < 0)
        error_ = errno;
    else
        error_ = sync_to_disk(descriptor_);
}

int RecordOutput::flush() {
    if (descriptor_ >= 0) write_out();
    return error_;
}

int RecordOutput::start_closing() {
    if (flush() == 0 && descriptor_ >= 0 && !is_on_disk_)
        is_on_disk_ = behind_.start_sync(descriptor_);
    return error_;
}

int RecordOutput::close() {
    if (descriptor_ < 0) return error_;
    write_out();
    behind_.end();
    if (error_ == 0 && !is_on_disk_) error_ = sync_to_disk(descriptor_);
    if (error_ == 0 && first_ == First::held) write_first_length();
    if (::close(descriptor_) != 0 && error_ == 0) error_ = errno;
    descriptor_ = -1;
    std::free(buffer_);
    buffer_ = nullptr;
    return error_;
}

void RecordOutput::put_in_pieces(const void* bytes, std::size_t count) {
    if (error_ != 0) return;
    auto* from = static_cast<const char*>(bytes);
    while (count > kBufferBytes - held_) {
        std::size_t part = kBufferBytes - held_;
        std::memcpy(buffer_ + held_, from, part);
        held_ += part;
        from += part;
        count -= part;
        keep_first_length();
        error_ = behind_.hand_over(descriptor_, buffer_, held_);
        is_on_disk_ = false;
        held_ = 0;
        if (error_ != 0) return;
    }
    std::memcpy(buffer_ + held_, from, count);
    held_ += count;
}

void RecordOutput::begin_record(std::size_t bytes) {
    // A longer record cannot be framed by its 4-byte length.
    if (bytes > static_cast<std::size_t>(std::numeric_limits<int32_t>::max())) error_ = EFBIG;
    length_ = static_cast<int32_t>(bytes);
    put(&length_, sizeof length_);
}

bool RecordInput::take(void* to, std::size_t count) {
    auto* into = static_cast<char*>(to);
    while (count > 0) {
        std::size_t held = static_cast<std::size_t>(end_ - at_);
        if (held == 0) {
            if (!fill()) return false;
            continue;
        }
        std::size_t part = count < held ? count : held;
        if (into != nullptr) {
            std::memcpy(into, at_, part);
            into += part;
        }
        at_ += part;
        count -= part;
    }
    return true;
}

RecordInput::Record RecordInput::read_any(std::span<std::byte> body) {
    if (at_ == end_ && !fill()) return error() != 0 ? Record::bad : Record::end;
    int32_t length, trailer;
    if (!take(&length, sizeof length) || length < 0) return Record::bad;
    const auto bytes = static_cast<std::size_t>(length);
    const std::size_t front = std::min(bytes, body.size());
    const bool whole =
        take(body.data(), front) && take(nullptr, bytes - front) && take(&trailer, sizeof trailer);
    record_bytes_ = length;
    return whole && trailer == length ? Record::ok : Record::bad;
}

}  // namespace kve
