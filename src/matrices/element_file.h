// Files of matrix elements and of IDs: records of ID1, ID2 and value, or of IDs alone, as free-form
// text or as framed binary records. Reads the file it is given; nothing here prints or stops.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>

#include "base/input.h"
#include "base/reading_ahead.h"
#include "base/records.h"
#include "directives/directives.h"

namespace kve {

struct MatrixElement {
    int32_t id_1, id_2;
    double value;

    // Of the first record of a file: its value is the log determinant of the matrix.
    bool is_determinant() const { return id_1 == 0 && id_2 == 0; }
};
static_assert(sizeof(MatrixElement) == 16);  // as in the binary file

// Text records with a comma and a digit right behind the value: 1,25 was read as 1.
struct DecimalCommas {
    int64_t n = 0;
    int64_t first = 0;  // number of the first such record
};

enum class FileAnswer : int32_t {
    record = 0,
    end,
    failure,  // not to be read on; `offending` tells
};

// The identities that begin a record of a text. `end` when the file ends ahead of the first. One
// outside 32 bits is passed over and goes to `too_large`.
[[nodiscard]] FileAnswer read_text_ids(TextInput& text, std::span<int32_t> ids,
                                       std::optional<int64_t>& too_large);

// A record of a text is a list of numbers, across lines if need be; what follows the last of them
// on its line is skipped. A failure is an item that is left empty or is no number of its kind, a
// list ended by "/", an ID outside 32 bits, and a record that the end of the file cuts. A value
// takes E and D exponents, "nan" and "inf"; beyond the range of a double it is infinite.
// A binary record that is too short, cut, or framed by different lengths is a failure; of a longer
// one the front counts.
class ElementFile {
 public:
    // A file of elements, or of IDs with n_ids of them in a record. 0 or the system's error number.
    [[nodiscard]] int open(const std::string& name, DataFormat format, int32_t n_ids = 0);

    [[nodiscard]] FileAnswer read(MatrixElement& element);
    // A record of n_ids IDs.
    [[nodiscard]] FileAnswer read(std::span<int32_t> ids);

    // After a failure: of a text the item that could not be read with the rest of its line, at most
    // 60 characters of it, or that the file ends within the record; of a binary file what may be
    // wrong with the record. A read that the system refused gives the system's words.
    std::string offending();
    bool is_binary() const { return format_ != kAscii; }
    // The system's error number of a failure that is a read which it refused, else 0.
    int system_error() const;
    int64_t n_read() const { return n_read_; }  // records, the one that fails among them
    DecimalCommas decimal_commas() const { return commas_; }

 private:
    static int32_t make_text_element(void* self, void* to);
    static int32_t make_text_ids(void* self, void* to);
    static int32_t make_framed(void* self, void* to);
    const void* next_record();  // null when there is none: answer_ tells

    TextInput text_;
    RecordInput framed_;
    DataFormat format_ = kNoFormat;
    std::size_t n_ids_ = 0;
    std::size_t record_bytes_ = 0;
    std::optional<int64_t> too_large_{};  // an ID outside 32 bits, which has been passed
    ReadingAhead records_;
    int64_t n_read_ = 0;
    FileAnswer answer_ = FileAnswer::end;  // the last one
    DecimalCommas commas_{};
};

}  // namespace kve
