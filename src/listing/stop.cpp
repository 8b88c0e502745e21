#include "listing/stop.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <utility>

#include "base/leave.h"
#include "base/output_file.h"
#include "base/state.h"
#include "base/text.h"
#include "listing/interruption.h"
#include "listing/listing.h"
#include "listing/model_file.h"
#include "listing/units.h"
#include "listing/working_folder.h"

namespace kve {

READS(LISTING_FAULT);
READS(PROGRAM_ID);
WRITES(AT_LOST_LINE);
WRITES(CUT_FILES);
WRITES(BEFORE_STOP);

namespace {

void tell_cut_files() {
    for (const FailedOutput& file : CUT_FILES)
        say("ERROR - writing the file %s failed, the file is not complete: %s", file.name.c_str(),
            words_of(file.status).c_str());
}

// What else went wrong stands ahead of the last lines of a stop.
void flush_and_tell() {
    if (BEFORE_STOP != nullptr) std::exchange(BEFORE_STOP, nullptr)();
    const FailedOutput failed = flush_units();
    if (failed.status != 0) tell_not_written(failed.name, failed.status);
    tell_cut_files();
}

// As ByteInput tells it.
const char* reason_of(int code) {
    return code == ESPIPE ? "it is a pipe, a socket or a device" : std::strerror(code);
}

// A listing that cannot take its last lines is told where somebody may see it.
void tell_lost_listing() {
    std::fprintf(stderr, "ERROR - writing the listing failed: %s\n", std::strerror(LISTING_FAULT));
}

[[noreturn]] void leave_with_error() {
    empty_model_file();
    if (flush_listing() != 0) tell_lost_listing();
    leave_program(kErrorStatus);
}

void stop_at_lost_line() {
    say("ERROR - lines of this listing are lost: %s", std::strerror(LISTING_FAULT));
    stop_run();
}

}  // namespace

void stop_run(const char* last_line) {
    flush_and_tell();
    say("%s", last_line);
    leave_with_error();
}

void terminate_run() {
    flush_and_tell();
    Block end;
    end.blank();
    end.line("Program terminates");
    end.blank();
    end.print();
    if (has_log()) {
        page_header();
        blank_lines();
        say_line("ERROR(S) found in model directives / prior (co)variance");
        blank_lines(2);
        say_line("A listing of information in the directive file follows.");
        blank_lines();
        say_line("------------------------------------------------------------- ");
        copy_log_to_listing();
        end.blank();
        end.line("Program terminated");
        end.print();
    }
    leave_with_error();
}

void watch_listing() { AT_LOST_LINE = stop_at_lost_line; }

void note_cut_file(std::string_view file, int status) {
    CUT_FILES.push_back({std::string(file), status});
}

void close_outputs() {
    const FailedOutput failed = close_units();
    check_written(failed.status, failed.name);
    if (!CUT_FILES.empty()) stop_run();
    if (const int status = sync_working_folder(); status != 0) {
        say("ERROR - the working directory cannot be brought to disk: %s", std::strerror(status));
        stop_run();
    }
    if (flush_listing() != 0) stop_at_lost_line();
    settle_outcome();
}

void end_run() {
    Block block;
    block.blank(3);
    block.line(" END OF %.*s", KVE_SV(PROGRAM_ID.padded()));
    block.print();
    if (sync_listing() != 0) leave_with_error();
    leave_program(0);
}

void alloc_error(std::string_view routine, std::string_view array, int64_t elements, int status) {
    page_if(6);  // no Block: memory may be short
    say_line("ERROR");
    blank_lines();
    say_line("Trying to allocate                    : %.*s", KVE_SV(array));
    say_line("With elements                         : %12lld", static_cast<long long>(elements));
    say_line("Retur status from allocate            : %12d", status);
    say_line("Called in subroutine(function/program): %.*s", KVE_SV(routine));
    terminate_run();
}

void dealloc_error(std::string_view routine, std::string_view array, int status) {
    page_if(5);
    say_line("ERROR");
    blank_lines();
    say_line("Trying to deallocate                  : %.*s", KVE_SV(array));
    say_line("Retur status from deallocate          : %12d", status);
    say_line("Called in subroutine(function/program): %.*s", KVE_SV(routine));
    terminate_run();
}

void stop_unreadable(std::string_view where, std::string_view expected, std::string_view text,
                     std::string_view remark) {
    say("ERROR - %.*s: cannot read %.*s from: %.*s", KVE_SV(where), KVE_SV(expected), KVE_SV(text));
    if (!remark.empty()) say("%.*s", KVE_SV(remark));
    stop_run();
}

void tell_input_not_opened(std::string_view file, int code) {
    say("ERROR - opening the file %.*s failed: %s", KVE_SV(file), reason_of(code));
}

void tell_not_read(std::string_view file, int code) {
    say("ERROR - reading the file %.*s failed: %s", KVE_SV(file), reason_of(code));
}

void stop_not_read(std::string_view file, int code) {
    tell_not_read(file, code);
    stop_run();
}

void stop_not_opened(std::string_view file, int status) {
    say("ERROR - the output %.*s cannot be opened: %s", KVE_SV(file), words_of(status).c_str());
    say("ERROR OPENING FILES");
    say("        File: %.*s", KVE_SV(file));
    stop_run();
}

void tell_not_written(std::string_view file, int status) {
    say("ERROR - writing the file %.*s failed: %s", KVE_SV(file), words_of(status).c_str());
}

void stop_not_written(std::string_view file, int status) {
    tell_not_written(file, status);
    tell_cut_files();
    static_cast<void>(flush_units());
    say("Program terminates");
    leave_with_error();
}

}  // namespace kve
