// Records of numbers from a text or a framed binary file, with one status for both.
#pragma once

#include <cstdint>
#include <span>

#include "base/input.h"
#include "base/records.h"

namespace kve {

enum : int32_t {
    kRecordRead = 0,
    kEndOfData = -1,
    kUnreadableRecord = 1,  // or the system's error number, also above 0
};

// The status of a read that failed.
inline int32_t read_failure(const ByteInput& file) {
    return file.error() != 0 ? file.error() : kUnreadableRecord;
}

// One list of numbers, across lines. The end of the file may come before the first item of a
// record; a record that the end cuts is a failure.
template <class Number>
[[nodiscard]] inline int32_t read_list(TextInput& file, Number* into, int32_t n, bool end_allowed) {
    for (int32_t k = 0; k < n; ++k) {
        TextInput::Number item = file.read_number(into[k]);
        if (item == TextInput::Number::ok) [[likely]]
            continue;
        bool at_end = item == TextInput::Number::end && k == 0 && end_allowed;
        return at_end ? kEndOfData : read_failure(file);
    }
    return kRecordRead;
}

// The next items of a text record whose fields are 32 bits wide: an integer beyond the range is
// bad, a real beyond it infinite. Fields from the first one that is not `ok` on keep what they
// held.
[[nodiscard]] TextInput::Number read_fields(TextInput& file, std::span<int32_t> into);
[[nodiscard]] TextInput::Number read_fields(TextInput& file, std::span<float> into);
[[nodiscard]] TextInput::Number read_fields(TextInput& file, std::span<double> into);

// A text record of two lists of fields, from a new line on; the rest of the line on which it ends,
// or on which it cannot be read, is skipped. `end` when the file ends before the last field.
template <class First, class Second>
[[nodiscard]] inline TextInput::Number read_record_of(TextInput& file, First first, Second second) {
    file.begin_record();
    TextInput::Number status = read_fields(file, first);
    if (status == TextInput::Number::ok) status = read_fields(file, second);
    file.skip_line();
    return status;
}

// Stops when the system could not read the file: a read that fails is no end of the file.
void stop_if_failed(const ByteInput& file);

// The same status for a framed record.
[[nodiscard]] int32_t framed_status(const RecordInput& file, RecordInput::Record record);

// The end of a report on a record that could not be read: the status and what to look for.
// `check` is the line that names the file to check.
[[noreturn]] void stop_unreadable_record(int32_t status, const char* check);

}  // namespace kve
