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

[[nodiscard]] int32_t read_framed(RecordInput& file, std::span<int32_t> integers,
                                  std::span<float> reals);

// The end of a report on a record that could not be read: the status and what to look for.
// `check` is the line that names the file to check.
[[noreturn]] void stop_unreadable_record(int32_t status, const char* check);

}  // namespace kve
