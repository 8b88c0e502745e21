// The records of a text file of the data, line by line: KVE1's own numbers, and what is wrong with
// the lines. KVE1 takes a value that a line is short of from the next one; here a record begins
// where its line begins, so that one fault is told once.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "base/input.h"
#include "kve/check/data_items.h"
#include "kve/check/look.h"
#include "kve/files/record_file.h"

namespace kve::companion {

class DataLines {
 public:
    // Columns of this file alone. What cannot be opened has no records; others have told it.
    DataLines(Look& look, const std::string& name, int32_t n_integers, int32_t n_reals);

    // The next record. An item that is no number counts as missing. False at the end.
    bool next();
    // Is false for a record that is short of values.
    bool is_whole() const { return is_whole_; }
    const std::vector<int64_t>& integers() const { return integers_; }
    const std::vector<double>& reals() const { return reals_; }
    int64_t line() const { return first_line_; }  // on which the record begins
    const std::string& name() const { return name_; }

    // After the last record: lines with too few or too many values, which only the whole file tells
    // from the rule.
    void tell_odd_lines();

 private:
    struct OddLine {
        int64_t line;
        int64_t n_items;
        int64_t column;     // of the first value that is too many
        std::string extra;  // that value
        int64_t comma;      // column of a decimal comma
    };
    struct OddLines {
        int64_t n = 0;
        std::vector<OddLine> first;  // the ones that can be shown
        std::map<int64_t, int64_t> n_by_items;
    };
    enum class Fill { full, line_ended, refused };

    bool take_line();
    bool refuse_line();
    bool pass_item(bool is_integer);
    template <class Value>
    Fill fill_columns(std::vector<Value>& values, std::size_t first);
    Fill fill_record();
    Fill fill_from_next_lines();
    bool note_record();
    void note_line_ends();
    void note_short_line();
    void note_long_line();
    void tell_items();
    void tell_cut_record();
    int64_t usual_items(const OddLines& lines) const;
    void tell_short_lines();
    void tell_long_lines();
    bool has_rest() const;
    int64_t column_under_reader() const;
    Place place(int64_t line, int64_t column = 0) const { return {name_, line, column}; }

    Look& look_;
    std::string name_;
    TextInput file_, items_;  // the items of the line
    Progress progress_;
    std::size_t longest_;
    bool is_open_ = false;
    bool is_kept_ = false;  // the line under the reader begins the next record
    std::string_view line_;
    std::string copy_;  // of a line that has no line end in the buffer
    int64_t number_ = 0, first_line_ = 0;
    uintmax_t bytes_ = 0;

    std::size_t n_filled_ = 0;  // columns of the record
    std::size_t n_before_ = 0;  // on the lines ahead of this one
    bool is_whole_ = true;
    std::vector<int64_t> integers_;
    std::vector<double> reals_;
    int64_t line_ends_ = -1;  // within the first record

    // Of the record under way; its first line may be found to be another's.
    struct Told {
        int64_t line, column;
        bool is_integer;
        std::size_t number;  // of the column
        std::string item;
    };
    std::vector<Told> told_;

    OddLines short_, long_;
    int64_t n_good_ = 0;
};

}  // namespace kve::companion
