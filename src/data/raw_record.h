// The one reader of data records. Both passes read through it, so every column holds the same
// number in both, whatever the form of the data files.
//
// A column that the data do not have can still be named by a model or a directive. Such a column
// gets a place of its own after the record's columns, where an integer is always 0 and a real
// always the missing value code: nobody indexes the record by an untested column number.
#pragma once

#include <cstdint>

#include "base/arrays.h"
#include "data/input_record.h"

namespace kve {

// The data record under the reader.
struct DataRecord {
    Vec<int32_t, 0> IINP;    // 0..NI, IINP(0) is the constant 1, IINP(NI+1) always 0
    Vec<float> FINP;         // 1..NR, FINP(NR+1) always RMISS
    Vec<int8_t> L_FINP_MIS;  // 1..NR+1, not 0 when the value is present
};

namespace state {

// Allocated and filled here. The classifier marks what is present, the first pass makes a value
// that is none of its trait missing, the second pass releases it.
inline constinit DataRecord RECORD;

}  // namespace state

enum class ReadMode : int32_t { one_text = 1, one_binary = 2, two_text = 3, two_binary = 4 };

// What $DATA says: no format keyword counts as BINARY; with two files the integers stand in the
// first and the reals in the second.
ReadMode read_mode();

// RECORD, sized by NI and NR, and the memory of records read ahead. A failure stops the run.
void allocate_record();
void release_record();

// The next record into IINP(1..NI) and FINP(1..NR) of RECORD, and the status: kRecordRead,
// kEndOfData, or above 0 for a failure (data/input_record.h). Text data are brought into the range
// of the record: an integer of 2**31 or more becomes 0, a lower one is cut to its low 32 bits; a
// real beyond a 32-bit real becomes RMISS. With `count` NI_OOR and NR_OOR of INTAKE count what the
// range changed, and its `file` counts records of other lines or length. Data read from binary
// files are taken as they stand.
[[nodiscard]] int32_t read_raw_record(ReadMode mode, bool count);

// The integers of a record that will be read soon, as far as it is at hand: good for fetching from
// the memory what they will need.
class LaterIntegers {
 public:
    explicit LaterIntegers(ReadMode mode);

    // 0 when it is not at hand.
    int32_t operator()(int32_t place) const {
        if (place < 1 || place > n_) return 0;
        return text_ != nullptr ? static_cast<int32_t>(text_[place - 1]) : binary_[place - 1];
    }

 private:
    const int64_t* text_ = nullptr;
    const int32_t* binary_ = nullptr;
    int32_t n_ = 0;
};

// After the last record of two data files: counts the records that only one of them has, in n_left
// of INTAKE.
void count_left_records(ReadMode mode);

// Names the data file that the system did not let us read, when that was the failure.
void tell_failed_data();

// Back to the first record, in all data files. Stops the run when one was not read to its end,
// cannot be read twice, or has changed.
void rewind_data();

// After the second pass over `n_read` records: stops the run when a file was not read to its end or
// has changed since the first pass.
void check_second_pass(int64_t n_read);

// Place of a column in RECORD.IINP (column 0 is the constant 1) or in RECORD.FINP.
int32_t integer_place(int64_t column);
int32_t real_place(int64_t column);

}  // namespace kve
