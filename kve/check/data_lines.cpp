#include "kve/check/data_lines.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstring>
#include <type_traits>
#include <utility>

#include "base/state.h"
#include "directives/directives.h"
#include "kve/check/words.h"

namespace kve::companion {

READS(DIRECTIVES);

namespace {

// Room for a line: most of it for what hostile files have.
constexpr std::size_t kLeastRoom = std::size_t{1} << 20, kRoomOfItem = 64;

// Of no text: a file in binary, in UTF-16, or compressed.
bool has_control_characters(std::string_view line) {
    return std::ranges::any_of(line, [](char c) {
        return (static_cast<unsigned char>(c) < 32 && c != '\t' && c != '\r' && c != '\f') ||
               c == 127;
    });
}

}  // namespace

DataLines::DataLines(Look& look, const std::string& name, int32_t n_integers, int32_t n_reals)
    : look_(look),
      name_(name),
      progress_(name, bytes_of_input(name)),
      longest_(kLeastRoom + kRoomOfItem * static_cast<std::size_t>(n_integers + n_reals)),
      is_open_(file_.open_input(name) == 0),
      integers_(static_cast<std::size_t>(n_integers)),
      reals_(static_cast<std::size_t>(n_reals)) {}

// ---- Lines

// The next line, with its line end behind it in memory.
bool DataLines::take_line() {
    if (!is_open_ || (look_.fast && number_ >= kFastLines)) return false;
    if (const auto found = file_.read_line(line_, longest_); found != TextInput::Line::ok) {
        if (found == TextInput::Line::failed)
            look_.findings.error("file-unusable", place(0), std::strerror(file_.error()));
        return is_open_ = false;
    }
    ++number_;
    bytes_ += line_.size() + 1;
    progress_.move_to(bytes_);
    if (line_.data()[line_.size()] != '\n') {
        copy_.assign(line_).append("\n");
        line_ = std::string_view(copy_).substr(0, copy_.size() - 1);
    }
    items_.read_from({line_.data(), line_.size() + 1});
    return true;
}

int64_t DataLines::column_under_reader() const { return items_.rest().data() - line_.data() + 1; }

bool DataLines::has_rest() const { return !std::ranges::all_of(items_.rest(), is_separator); }

// A line that is none of a record: names of columns, a remark, bytes that are no text.
bool DataLines::refuse_line() {
    if (has_control_characters(line_)) {
        look_.findings.error("not-text", place(number_),
                             "the line has bytes that are no text; what follows is not looked at",
                             "A binary file? UTF-16? Compressed?");
        is_open_ = false;
        return true;
    }
    const LineItems items = count_items(line_);
    const bool is_header = number_ == 1 ? 2 * items.n_words >= items.n : items.n_words == items.n;
    if (items.n < 2 || !is_header) return false;
    look_.findings.error("header-line", place(number_, 1),
                         fmt::format("names or remarks and no values: {}", shown(line_)),
                         "The data are numbers from the first line to the last");
    return true;
}

// ---- Items

// Over an item that is no number. False when the whole line is none of a record.
bool DataLines::pass_item(bool is_integer) {
    const bool is_first_of_line = told_.empty() || told_.back().line != number_;
    if (is_first_of_line && refuse_line()) return false;
    const std::string_view rest = items_.rest(), item = first_item(rest);
    const std::size_t number = n_filled_ + 1 - (is_integer ? 0 : integers_.size());
    told_.push_back({number_, column_under_reader(), is_integer, number, std::string(item)});
    // The comma behind it belongs to it; the one that leaves it out does, too.
    std::size_t end = item.size();
    while (end < rest.size() && (rest[end] == ' ' || rest[end] == '\t')) ++end;
    if (end < rest.size() && rest[end] == ',') ++end;
    items_.read_from(rest.substr(end));
    return true;
}

template <class Value>
DataLines::Fill DataLines::fill_columns(std::vector<Value>& values, std::size_t first) {
    constexpr bool is_integer = std::is_same_v<Value, int64_t>;
    for (std::size_t k = n_filled_ - first; k < values.size(); ++k) {
        const TextInput::Number status = items_.read_number(values[k]);
        n_filled_ = first + k + (status == TextInput::Number::ok ? 1 : 0);
        if (status == TextInput::Number::ok) [[likely]]
            continue;
        if (status == TextInput::Number::end) return Fill::line_ended;
        if (!pass_item(is_integer)) return Fill::refused;
        values[k] = is_integer ? Value{} : static_cast<Value>(DIRECTIVES.RMISS);
        ++n_filled_;
    }
    return Fill::full;
}

DataLines::Fill DataLines::fill_record() {
    if (n_filled_ < integers_.size())
        if (const Fill filled = fill_columns(integers_, 0); filled != Fill::full) return filled;
    return fill_columns(reals_, integers_.size());
}

void DataLines::tell_items() {
    for (const Told& told : told_) {
        const char* code = code_of_item(told.item, told.is_integer);
        if (look_.findings.counts_only(code, Severity::error)) continue;
        const ItemFault fault =
            fault_of_item(told.item, told.is_integer,
                          name_of({!told.is_integer, static_cast<int32_t>(told.number)}));
        look_.findings.error(code, place(told.line, told.column), fault.message, fault.hint);
    }
    told_.clear();
}

// ---- Records

bool DataLines::next() {
    for (;;) {
        if (!is_kept_ && !take_line()) return false;
        is_kept_ = false;
        is_whole_ = true;
        n_filled_ = 0;
        first_line_ = number_;
        items_.begin_record();
        Fill filled = fill_record();
        if (filled == Fill::line_ended && n_filled_ > 0) filled = fill_from_next_lines();
        if (filled == Fill::full) return note_record();
        if (filled == Fill::line_ended && n_filled_ > 0) return false;
        told_.clear();
    }
}

// What the first line is short of, as KVE1 takes it.
DataLines::Fill DataLines::fill_from_next_lines() {
    for (;;) {
        n_before_ = n_filled_;
        if (!take_line()) {
            tell_cut_record();
            return Fill::line_ended;
        }
        const Fill filled = fill_record();
        if (filled == Fill::line_ended) continue;
        if (filled == Fill::refused) note_short_line();
        return filled;
    }
}

// The values of a record that takes the front of a line and leaves its rest are none of one record:
// that line begins the next.
bool DataLines::note_record() {
    const bool has_rest_of_line = has_rest();
    if (has_rest_of_line && number_ > first_line_) {
        note_short_line();
        items_.read_from({line_.data(), line_.size() + 1});
        is_kept_ = true;
        is_whole_ = false;
        std::erase_if(told_, [this](const Told& told) { return told.line == number_; });
    } else if (has_rest_of_line) {
        note_long_line();
    } else {
        ++n_good_;
        note_line_ends();
    }
    if (!told_.empty()) tell_items();
    return true;
}

void DataLines::note_line_ends() {
    const int64_t line_ends = number_ - first_line_;
    if (line_ends_ < 0) {
        line_ends_ = line_ends;
        if (line_ends > 0)
            look_.findings.note("record-lines", place(first_line_),
                                fmt::format("records take {} lines", line_ends + 1),
                                fmt::format("A line has fewer values than the {} that $DATA says",
                                            integers_.size() + reals_.size()));
    }
    if (line_ends == line_ends_) [[likely]]
        return;
    look_.findings.warn("record-lines", place(first_line_),
                        fmt::format("this record takes {}, the first one {}",
                                    counted(line_ends + 1, "line"), line_ends_ + 1));
}

void DataLines::tell_cut_record() {
    if (look_.fast && number_ >= kFastLines) return;
    tell_items();
    // The last of many short lines.
    if (short_.n_by_items.contains(static_cast<int64_t>(n_before_))) return note_short_line();
    look_.findings.error("short-record", place(first_line_, 1),
                         fmt::format("the file ends after {} of {} values, and KVE1 stops",
                                     n_before_, integers_.size() + reals_.size()));
}

// ---- Lines with other numbers of values

void DataLines::note_short_line() {
    const auto n = static_cast<int64_t>(n_before_);
    ++short_.n;
    ++short_.n_by_items[n];
    if (short_.n <= Findings::kKeptOfCode) short_.first.push_back({first_line_, n, 1, {}, -1});
}

void DataLines::note_long_line() {
    const auto n = static_cast<int64_t>(integers_.size() + reals_.size());
    const std::size_t end = line_.find('\r');
    if (end != line_.npos && end + 1 < line_.size())
        return look_.findings.error(
            "line-ends", place(number_, static_cast<int64_t>(end) + 1),
            "carriage returns alone end the lines, as on an old Macintosh: KVE1 takes all for one "
            "line and reads its first record",
            fmt::format("tr '\\r' '\\n' <{} >new.dat", name_));
    std::string_view rest = items_.rest();
    while (is_separator(rest.front())) rest.remove_prefix(1);
    const int64_t n_items = n + count_items(rest).n;
    ++long_.n;
    ++long_.n_by_items[n_items];
    if (long_.n <= Findings::kKeptOfCode)
        long_.first.push_back({number_, n_items, rest.data() - line_.data() + 1,
                               std::string(first_item(rest)), find_decimal_comma(line_, n)});
}

void DataLines::tell_odd_lines() {
    tell_short_lines();
    tell_long_lines();
}

// The number of values that more than half of all lines have, when they are such lines; else 0.
int64_t DataLines::usual_items(const OddLines& lines) const {
    for (const auto& [n_items, n] : lines.n_by_items)
        if (n > 1 && 2 * n > n_good_ + short_.n + long_.n) return n_items;
    return 0;
}

void DataLines::tell_short_lines() {
    const auto n = static_cast<int64_t>(integers_.size() + reals_.size());
    const int64_t usual = usual_items(short_);
    if (usual > 0)
        look_.findings.error(
            "short-record", place(short_.first[0].line, 1),
            fmt::format("the lines have {}, and $DATA says {}: each record would take the rest "
                        "from the next line, which is lost",
                        counted(usual, "value"), n),
            "Count the columns, and write a value in each");
    for (const OddLine& line : short_.first)
        if (line.n_items != usual)
            look_.findings.error("short-record", place(line.line, 1),
                                 fmt::format("{}, {} expected; the next line would fill the record",
                                             counted(line.n_items, "value"), n));
    if (usual == 0)
        look_.findings.count_more("short-record", Severity::error,
                                  short_.n - std::ssize(short_.first));
}

void DataLines::tell_long_lines() {
    const auto n = static_cast<int64_t>(integers_.size() + reals_.size());
    const int64_t usual = usual_items(long_);
    bool usual_is_told = false;
    for (const OddLine& line : long_.first) {
        const std::string extra = shown(line.extra);
        if (line.comma > 0) {
            look_.findings.error("decimal-comma", place(line.line, line.comma),
                                 "a comma separates values: a number with a decimal comma is two, "
                                 "and all behind it move on",
                                 "The decimal sign is a point");
        } else if (line.n_items == usual) {
            if (!std::exchange(usual_is_told, true))
                look_.findings.warn("long-record", place(line.line, line.column),
                                    fmt::format("the lines have {}, and {} are read: from {} on "
                                                "they are not used",
                                                counted(usual, "value"), n, extra),
                                    "Compare the columns with $DATA");
        } else if (count_items(line.extra).n_words > 0) {
            look_.findings.warn("long-record", place(line.line, line.column),
                                fmt::format("text behind the values is not read: {}", extra));
        } else {
            look_.findings.error("long-record", place(line.line, line.column),
                                 fmt::format("{}, {} expected; from {} on they are lost",
                                             counted(line.n_items, "value"), n, extra));
        }
    }
    if (usual == 0)
        look_.findings.count_more("long-record", Severity::error,
                                  long_.n - std::ssize(long_.first));
}

}  // namespace kve::companion
