// A framed file of a run, read front to back.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <span>
#include <string>
#include <type_traits>

#include "base/records.h"

namespace kve::companion {

// How far a file has been read, on standard error when that is a terminal.
class Progress {
 public:
    Progress(std::string name, uintmax_t bytes);
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;
    ~Progress();

    void advance(std::size_t bytes) { move_to(done_ + bytes); }
    void move_to(uintmax_t bytes) {
        done_ = bytes;
        if (done_ >= next_look_) look();
    }

 private:
    void look();

    std::string name_;
    uintmax_t all_, done_ = 0, next_look_;
    std::chrono::steady_clock::time_point next_line_;
    bool has_line_ = false;
};

// What is being reckoned, in the same place.
class Reckoning {
 public:
    explicit Reckoning(const std::string& words);
    Reckoning(const Reckoning&) = delete;
    Reckoning& operator=(const Reckoning&) = delete;
    ~Reckoning();
};

// What cannot be read throws Failure, which names the file and the record.
class RecordFile {
 public:
    RecordFile(const std::filesystem::path& folder, const std::string& name);
    // Reads on from where the caller's descriptor of this file stands, after so many records.
    RecordFile(const std::filesystem::path& folder, const std::string& name, int descriptor,
               int64_t n_read);

    // The next record, which must have as many bytes as there is room for; false at the end.
    bool next(std::span<std::byte> record) {
        const RecordInput::Record found = file_.read_front(record);
        if (found == RecordInput::Record::end) return false;
        ++n_read_;
        if (found == RecordInput::Record::bad ||
            static_cast<std::size_t>(file_.record_bytes()) != record.size())
            refuse_record(found, record.size());
        constexpr std::size_t kFrame = 8;
        progress_.advance(record.size() + kFrame);
        return true;
    }
    template <class Record>
    requires std::is_trivially_copyable_v<Record>
    bool next(Record& record) { return next(std::as_writable_bytes(std::span(&record, 1))); }
    // The next record; one that must be there.
    template <class Record>
    void expect(Record& record) {
        if (!next(record)) refuse("the last one, and more must follow");
    }

    [[noreturn]] void refuse(const std::string& words) const;  // of the record read last
    int64_t n_read() const { return n_read_; }
    uintmax_t bytes() const { return bytes_; }
    const std::string& name() const { return name_; }

 private:
    [[noreturn]] void refuse_record(RecordInput::Record found, std::size_t bytes) const;

    std::string name_, path_;
    RecordInput file_;
    uintmax_t bytes_;
    int64_t n_read_ = 0;
    Progress progress_;
};

// Records of one size of such a file, many at a time. Where others stand in the file, threads may
// each have one of their own.
class RecordBlock {
 public:
    // The records that are asked for: what stands before them, and their number.
    struct Part {
        int64_t n_before;
        uintmax_t bytes_before;
        int64_t n = 0;
    };

    RecordBlock(std::filesystem::path folder, std::string name);
    RecordBlock(const RecordBlock&) = delete;
    RecordBlock& operator=(const RecordBlock&) = delete;
    ~RecordBlock();

    // Tells how many of them are there as they should be.
    int64_t read(const Part& part, std::size_t record_bytes);
    // From 0 on. Numbers of 4 bytes may be taken from where they stand.
    const std::byte* record(int64_t k) const {
        return bytes_.get() + static_cast<std::size_t>(k) * frame_bytes_ + sizeof(int32_t);
    }
    // The file must end after these; `words` say that it goes on.
    void expect_end(const Part& before, std::size_t record_bytes, const std::string& words);
    // What is wrong with record k, which was not as it should be; `at_end` where there is none.
    [[noreturn]] void refuse_unread(int64_t k, const std::string& at_end) const;
    [[noreturn]] void refuse(int64_t k, const std::string& words) const;

 private:
    std::filesystem::path folder_;
    std::string name_;
    int descriptor_ = -1;
    uintmax_t file_bytes_;
    Part part_{};
    std::size_t frame_bytes_ = 0;  // of a record with its lengths
    std::unique_ptr<std::byte[]> bytes_;
    std::size_t room_ = 0;
};

// The size of a file of the folder; what is no plain file throws.
uintmax_t bytes_of_file(const std::filesystem::path& file);

}  // namespace kve::companion
