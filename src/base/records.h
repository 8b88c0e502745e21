// Framed binary records: each is preceded and followed by its length in 4 bytes, in the byte order
// of the machine.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <string>
#include <type_traits>
#include <utility>

#include "base/arrays.h"
#include "base/input.h"
#include "base/text.h"
#include "base/writing_behind.h"

namespace kve {

// A file of framed records under way. A failed write is kept: later writes do nothing and error()
// tells. write_record below is the way to use it.
class RecordOutput {
 public:
    RecordOutput() = default;
    RecordOutput(const RecordOutput&) = delete;
    RecordOutput& operator=(const RecordOutput&) = delete;
    ~RecordOutput() { static_cast<void>(close()); }

    // Creates or empties the file. 0 or what open_output tells.
    [[nodiscard]] int open(const std::string& path);
    // Ahead of the first record: until close() has brought all else to disk the length of the first
    // record is 0 in the file, so that nobody takes a file for whole that a dying machine has left.
    void hold_first_length() { first_ = First::to_be_held; }
    // To the system. 0 or the number of the first error met so far.
    [[nodiscard]] int flush();
    // After the last record: the file goes to the disk while the run goes on, and close() waits for
    // it. 0 or the number of the first error met so far.
    [[nodiscard]] int start_closing();
    // To the disk. What was told by the first error is told again. A large file is written behind
    // the run: a failure is told by a later write, at the latest here or by flush().
    [[nodiscard]] int close();
    bool is_open() const { return descriptor_ >= 0; }
    int error() const { return error_; }
    const std::string& path() const { return path_; }

    void begin_record(std::size_t bytes);
    void put(const void* bytes, std::size_t count) {
        if (error_ != 0 || count > kBufferBytes - held_) return put_in_pieces(bytes, count);
        std::memcpy(buffer_ + held_, bytes, count);
        held_ += count;
    }
    void end_record() { put(&length_, sizeof length_); }

    // Where the next bytes go, all of which the caller writes; null when the buffer has not so much
    // room, or after an error.
    char* take_room(std::size_t count) {
        if (error_ != 0 || count > kBufferBytes - held_) return nullptr;
        return buffer_ + std::exchange(held_, held_ + count);
    }

 private:
    static constexpr std::size_t kBufferBytes = WritingBehind::kBufferBytes;

    enum class First { written, to_be_held, held };

    void put_in_pieces(const void* bytes, std::size_t count);
    void write_out();
    void keep_first_length();
    void write_first_length();

    std::string path_;
    char* buffer_ = nullptr;
    std::size_t held_ = 0;
    int descriptor_ = -1;
    int error_ = 0;
    int32_t length_ = 0;
    int32_t first_length_ = 0;
    First first_ = First::written;
    bool is_on_disk_ = false;  // all so far, or will be when behind_ is done
    WritingBehind behind_;
};

namespace record_items {

template <class T>
struct is_text : std::false_type {};
template <int N>
struct is_text<Text<N>> : std::true_type {};

// The types that the files hold. A plain bool or a 64-bit size does not compile by mistake.
template <class T>
concept Field = std::same_as<T, int8_t> || std::same_as<T, int32_t> || std::same_as<T, int64_t> ||
    std::same_as<T, float> || std::same_as<T, double> || std::same_as<T, logical4> ||
    is_text<T>::value;

template <Field T>
std::size_t bytes_of(const T&) {
    return sizeof(T);
}
template <Field T>
void put_item(RecordOutput& to, const T& item) {
    to.put(&item, sizeof item);
}
template <Field T>
void copy_item(char*& to, const T& item) {
    std::memcpy(to, &item, sizeof item);
    to += sizeof item;
}

// Whole arrays: anything with data() and size().
template <class A>
concept FieldArray = requires(const A& array) {
    requires Field<std::remove_cvref_t<decltype(*array.data())>>;
    array.size();
};
template <FieldArray A>
std::size_t bytes_of(const A& array) {
    return static_cast<std::size_t>(array.size()) * sizeof(*array.data());
}
template <FieldArray A>
void put_item(RecordOutput& to, const A& array) {
    if (array.size() > 0) to.put(array.data(), bytes_of(array));
}
template <FieldArray A>
void copy_item(char*& to, const A& array) {
    if (array.size() > 0) std::memcpy(to, array.data(), bytes_of(array));
    to += bytes_of(array);
}

}  // namespace record_items

// One record of the given scalars, texts and whole arrays, in that order, without padding. As a
// rule each item goes right into the buffer: a copy of small items in one piece would wait until
// they have left the processor for the cache.
template <class... Items>
void write_record(RecordOutput& to, const Items&... items) {
    const std::size_t bytes = (record_items::bytes_of(items) + ... + std::size_t{0});
    const auto length = static_cast<int32_t>(bytes);
    if (char* at = to.take_room(bytes + 2 * sizeof length); at != nullptr) {
        record_items::copy_item(at, length);
        (record_items::copy_item(at, items), ...);
        return record_items::copy_item(at, length);
    }
    to.begin_record(bytes);
    (record_items::put_item(to, items), ...);
    to.end_record();
}

class RecordInput : public ByteInput {
 public:
    enum class Record { ok, end, bad };

    // The first bytes of the next record, as many as it has; what stands behind them in the record
    // is skipped. Bad: lengths that differ, a file that ends inside the record.
    [[nodiscard]] Record read_front(std::span<std::byte> body) {
        return take_whole(body) ? Record::ok : read_any(body);
    }
    // The same, and a record that is shorter than `body` is bad.
    [[nodiscard]] Record read_record(std::span<std::byte> body) {
        const Record record = read_front(body);
        const bool is_short = static_cast<std::size_t>(record_bytes_) < body.size();
        return record == Record::ok && is_short ? Record::bad : record;
    }
    // Of the record read last, without its frame.
    int32_t record_bytes() const { return record_bytes_; }

 private:
    // A record as long as `body` that the buffer holds with its frame; else nothing is taken.
    bool take_whole(std::span<std::byte> body) {
        int32_t length, trailer;
        if (static_cast<std::size_t>(end_ - at_) < body.size() + 2 * sizeof length) return false;
        std::memcpy(&length, at_, sizeof length);
        std::memcpy(&trailer, at_ + sizeof length + body.size(), sizeof trailer);
        if (trailer != length || static_cast<int64_t>(length) != std::ssize(body)) return false;
        if (!body.empty()) std::memcpy(body.data(), at_ + sizeof length, body.size());
        at_ += body.size() + 2 * sizeof length;
        record_bytes_ = length;
        return true;
    }
    Record read_any(std::span<std::byte> body);
    // The next bytes, or nowhere when `to` is null.
    bool take(void* to, std::size_t count);

    int32_t record_bytes_ = 0;
};

}  // namespace kve
