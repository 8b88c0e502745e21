// A framed file of a run, read front to back.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <span>
#include <string>

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
    bool next(Record& record) {
        return next(std::as_writable_bytes(std::span(&record, 1)));
    }
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

// The size of a file of the folder; what is no plain file throws.
uintmax_t bytes_of_file(const std::filesystem::path& file);

}  // namespace kve::companion
