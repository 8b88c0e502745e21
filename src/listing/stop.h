// The ways out. Every stop caused by an error leaves with status 16 through one place that brings
// all that was written so far to disk.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "listing/units.h"

namespace kve {

namespace state {

// The output files noted as cut.
inline std::vector<FailedOutput> CUT_FILES;

// What a stop has to bring to disk ahead of the outputs; null while there is nothing.
using LastDeed = void (*)();
inline constinit LastDeed BEFORE_STOP = nullptr;

}  // namespace state

inline constexpr int kErrorStatus = 16;

// The direct stop: the caller has printed its words, this prints the last line.
[[noreturn]] void stop_run(const char* last_line = "Program terminates");

// The orderly stop once the model is known: shows KVE_LOG, when this run has written one.
[[noreturn]] void terminate_run();

// From here on a line that the listing cannot take stops the run. Nobody would see what follows.
void watch_listing();

// An output file that could not be written whole, where the run goes on: it will not end well.
// `status` as in FailedOutput.
void note_cut_file(std::string_view file, int status);

// Every output but MODINF is on the disk and the listing has all its lines; stops otherwise. From
// here on a signal comes too late to end the run.
void close_outputs();

// The normal end. Status 0, or 16 when the listing cannot take its last line.
[[noreturn]] void end_run();

// An allocation of `elements` elements for `array`, asked for by `routine`, failed with `status`.
[[noreturn]] void alloc_error(std::string_view routine, std::string_view array, int64_t elements,
                              int status);
// Kept: giving memory back cannot fail here, so nobody calls it; it is part of the interface.
[[noreturn]] void dealloc_error(std::string_view routine, std::string_view array, int status);

// Goes on when `status` is 0.
inline void check_allocated(int status, std::string_view routine, std::string_view array,
                            int64_t elements) {
    if (status != 0) alloc_error(routine, array, elements, status);
}

// A text that should be a number and is none, where the place has no words of its own.
// `where` is the keyword or file, `expected` what was to be read; a `remark` is a second line.
[[noreturn]] void stop_unreadable(std::string_view where, std::string_view expected,
                                  std::string_view text, std::string_view remark = {});

// An input that the system did not let open, or read to its end. `code` is the system's error
// number. Those that only tell stand ahead of words of the stage.
void tell_input_not_opened(std::string_view file, int code);
void tell_not_read(std::string_view file, int code);
[[noreturn]] void stop_not_read(std::string_view file, int code);

// An output file that could not be opened; `status` is what open_output tells.
[[noreturn]] void stop_not_opened(std::string_view file, int status);

// An output file that could not be made or written whole.
void tell_not_written(std::string_view file, int status);
[[noreturn]] void stop_not_written(std::string_view file, int status);

// Goes on when `status` is 0.
inline void check_written(int status, std::string_view file) {
    if (status != 0) stop_not_written(file, status);
}

}  // namespace kve
