// The records of the data as KVE1 takes them, from text or framed files, one or two, into RECORD;
// what KVE1 would stop at is told, and the next record follows.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "base/records.h"
#include "kve/check/data_lines.h"
#include "kve/check/look.h"
#include "kve/check/words.h"

namespace kve::companion {

// Columns that the analysis uses: a value out of range in another one is lost without harm.
struct UsedColumns {
    std::vector<bool> integers, reals;  // by column, the first element is not used
};
UsedColumns find_used_columns(bool has_model);

// A framed file.
class FramedData {
 public:
    FramedData(Look& look, const std::string& name, int32_t n_integers, int32_t n_reals);
    // Into the columns of RECORD. False at the end and at a record that cannot be read.
    bool next();
    const std::string& name() const { return name_; }

 private:
    void tell_unreadable();
    void note_length();

    Look& look_;
    std::string name_;
    RecordInput file_;
    Progress progress_;
    bool is_open_;
    int32_t n_integers_, n_reals_;
    std::vector<std::byte> body_;
    int64_t n_read_ = 0;
};

class DataRecords {
 public:
    DataRecords(Look& look, const UsedColumns& used);

    // The next record into RECORD; false at the end.
    bool next();
    // Of the record read: its line in a text file, else which one it is. The lines of two files are
    // the same so far.
    int64_t number() const { return text_.empty() ? n_read_ : text_.back()->line(); }
    bool is_whole() const;

    // After the last record.
    void tell_files();

 private:
    bool next_of(std::size_t file);
    void take_values(const DataLines& lines);
    int32_t in_range(int64_t value, int32_t column, int64_t line);
    float in_range(double value, int32_t column, int64_t line);
    void tell_out_of_range(const ColumnRef& column, int64_t line, bool is_used,
                           const std::string& words, const char* hint);
    void tell_left();

    Look& look_;
    const UsedColumns& used_;
    std::vector<std::unique_ptr<DataLines>> text_;
    std::vector<std::unique_ptr<FramedData>> framed_;
    std::size_t n_files_;
    int64_t n_read_ = 0;
    std::vector<bool> has_ended_;
};

}  // namespace kve::companion
