#include "kve/check/data_records.h"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <limits>
#include <memory>
#include <system_error>

#include "base/input.h"
#include "base/state.h"
#include "data/raw_record.h"
#include "directives/directives.h"
#include "kve/check/data_words.h"
#include "model/model_records.h"

namespace kve::companion {

READS(DIRECTIVES);
READS(MODEL);
WRITES(RECORD);

// KVE1 minds those of the model alone; residual groups and censoring codes drop the record.
UsedColumns find_used_columns(bool has_model) {
    UsedColumns used{std::vector<bool>(static_cast<std::size_t>(DIRECTIVES.NI) + 1),
                     std::vector<bool>(static_cast<std::size_t>(DIRECTIVES.NR) + 1)};
    const auto mark = [](std::vector<bool>& columns, int32_t column) {
        if (column >= 1 && column < std::ssize(columns))
            columns[static_cast<std::size_t>(column)] = true;
    };
    if (!has_model) return used;
    for (const Model& m : MODEL) {
        for (const int32_t column : m.a_ef_inp) mark(used.integers, column);
        for (const int32_t column : m.ef_inp) mark(used.integers, column);
        mark(used.reals, m.trait_inp_no);
        mark(used.reals, m.wgt_inp_no);
        for (const int32_t column : m.reg_inp) mark(used.reals, column);
    }
    return used;
}

// ---- Framed files

FramedData::FramedData(Look& look, const std::string& name, int32_t n_integers, int32_t n_reals)
    : look_(look),
      name_(name),
      progress_(name, bytes_of_input(name)),
      is_open_(file_.open_input(name) == 0),
      n_integers_(n_integers),
      n_reals_(n_reals),
      body_(4 * static_cast<std::size_t>(n_integers + n_reals)) {}

void FramedData::tell_unreadable() {
    is_open_ = false;
    if (file_.error() != 0)
        return look_.findings.error("file-unusable", {name_}, std::strerror(file_.error()));
    const bool is_text = n_read_ == 1 && std::ranges::all_of(body_, [](std::byte b) {
                             const auto c = static_cast<unsigned char>(b);
                             return std::isprint(c) != 0 || std::isspace(c) != 0 || c == 0;
                         });
    look_.findings.error(
        "data-form", {name_},
        fmt::format("record {} is none of a framed file: its length stands not in front of and "
                    "behind it, or the file ends in it",
                    n_read_),
        is_text ? "Is it a text file? $DATA says BINARY"
                : "A record is the length, the values and the length again");
}

void FramedData::note_length() {
    const auto bytes = static_cast<std::size_t>(file_.record_bytes());
    if (bytes < body_.size()) {
        look_.findings.error("short-record", {name_},
                             fmt::format("record {} has {} bytes, and {} values need {}", n_read_,
                                         bytes, body_.size() / 4, body_.size()),
                             "KVE1 stops there");
        is_open_ = false;
    } else if (!look_.findings.has("long-record")) {
        look_.findings.warn("long-record", {name_},
                            fmt::format("record {} has {} bytes, and only the {} of {} values are "
                                        "read",
                                        n_read_, bytes, body_.size(), body_.size() / 4),
                            "Compare the columns with $DATA; each has 4 bytes");
    }
}

bool FramedData::next() {
    if (!is_open_ || (look_.fast && n_read_ >= kFastLines)) return false;
    const RecordInput::Record found = file_.read_front(body_);
    if (found == RecordInput::Record::end) return false;
    ++n_read_;
    if (found == RecordInput::Record::bad) {
        tell_unreadable();
        return false;
    }
    constexpr std::size_t kFrame = 8;
    progress_.advance(static_cast<std::size_t>(file_.record_bytes()) + kFrame);
    if (static_cast<std::size_t>(file_.record_bytes()) != body_.size()) note_length();
    if (!is_open_) return false;
    const std::size_t of_integers = 4 * static_cast<std::size_t>(n_integers_);
    if (of_integers > 0) std::memcpy(&RECORD.IINP(0) + 1, body_.data(), of_integers);
    if (n_reals_ > 0)
        std::memcpy(RECORD.FINP.data(), body_.data() + of_integers, body_.size() - of_integers);
    return true;
}

// ---- All files

DataRecords::DataRecords(Look& look, const UsedColumns& used)
    : look_(look), used_(used), n_files_(DIRECTIVES.n_data_files == 2 ? 2 : 1) {
    for (std::size_t k = 0; k < n_files_; ++k) {
        const std::string name = DIRECTIVES.data_file[k].string();
        const int32_t n_integers = k == 0 ? DIRECTIVES.NI : 0;
        const int32_t n_reals = n_files_ == 2 && k == 0 ? 0 : DIRECTIVES.NR;
        if (DIRECTIVES.data_format == kAscii)
            text_.push_back(std::make_unique<DataLines>(look, name, n_integers, n_reals));
        else
            framed_.push_back(std::make_unique<FramedData>(look, name, n_integers, n_reals));
    }
    has_ended_.resize(n_files_);
}

void DataRecords::tell_out_of_range(const ColumnRef& column, int64_t line, bool is_used,
                                    const std::string& words, const char* hint) {
    look_.findings.add({"out-of-range", is_used ? Severity::error : Severity::warning,
                        in_data(column, line), fmt::format("{} is {}", name_of(column), words),
                        hint});
}

int32_t DataRecords::in_range(int64_t value, int32_t column, int64_t line) {
    constexpr int64_t kFirstTooLarge = int64_t{1} << 31;
    if (value >= -kFirstTooLarge && value < kFirstTooLarge) [[likely]]
        return static_cast<int32_t>(value);
    tell_out_of_range({false, column}, line, used_.integers[static_cast<std::size_t>(column)],
                      fmt::format("{}, and 2147483647 is the largest integer", value),
                      "Number the levels anew; kve prep does it");
    // As KVE1 goes on.
    return value >= kFirstTooLarge ? 0 : static_cast<int32_t>(static_cast<uint32_t>(value));
}

float DataRecords::in_range(double value, int32_t column, int64_t line) {
    if (std::fabs(value) <= std::numeric_limits<float>::max() || std::isnan(value)) [[likely]]
        return static_cast<float>(value);
    tell_out_of_range({true, column}, line, used_.reals[static_cast<std::size_t>(column)],
                      fmt::format("{:g}, and reals have 32 bits: 3.4e38 is the largest", value),
                      "");
    return DIRECTIVES.RMISS;
}

void DataRecords::take_values(const DataLines& lines) {
    int32_t i = 0, j = 0;
    for (const int64_t value : lines.integers()) {
        ++i;
        RECORD.IINP(i) = in_range(value, i, lines.line());
    }
    for (const double value : lines.reals()) {
        ++j;
        RECORD.FINP(j) = in_range(value, j, lines.line());
    }
}

bool DataRecords::next_of(std::size_t file) {
    if (text_.empty()) return framed_[file]->next();
    // A file of no columns is not read.
    if (text_[file]->integers().empty() && text_[file]->reals().empty()) return true;
    if (!text_[file]->next()) return false;
    if (text_[file]->is_whole()) take_values(*text_[file]);
    return true;
}

bool DataRecords::next() {
    if (DIRECTIVES.NI + DIRECTIVES.NR == 0) return false;
    for (std::size_t k = 0; k < n_files_; ++k) has_ended_[k] = !next_of(k);
    if (std::ranges::count(has_ended_, true) > 0) return false;
    ++n_read_;
    return true;
}

bool DataRecords::is_whole() const {
    return std::ranges::all_of(text_, [](const auto& lines) { return lines->is_whole(); });
}

void DataRecords::tell_left() {
    const Findings& findings = look_.findings;
    const bool is_given_up = findings.has("not-text") || findings.has("data-form") ||
                             findings.has("file-unusable") || look_.fast;
    for (std::size_t k = 0; k < n_files_ && !is_given_up; ++k) {
        if (has_ended_[k] || (k == 0 && DIRECTIVES.NI == 0)) continue;
        int64_t n = 1;
        while (next_of(k)) ++n;
        look_.findings.error("file-lengths", {DIRECTIVES.data_file[k].string()},
                             fmt::format("{} more records than in the other data file", n),
                             "The files belong together record by record");
    }
}

void DataRecords::tell_files() {
    if (n_files_ == 2) tell_left();
    for (const auto& lines : text_) lines->tell_odd_lines();
    const Place file{DIRECTIVES.data_file[0].string()};
    std::error_code ignored;
    if (n_read_ == 0 && !look_.findings.has_error_in(file.file) &&
        std::filesystem::is_regular_file(input_path(file.file), ignored))
        look_.findings.error("no-records", file, "there are no records");
}

}  // namespace kve::companion
