// The listing: everything that the user reads goes to standard output through here, in pages of 78
// lines. Printing and counting stay apart, since several reports count more or fewer lines than
// they print. Also the log KVE_LOG, which holds what was understood of the model section and is
// shown when a run stops.
//
// An integer after a text is printed "%12d", a real "%16.7g", unless a report says otherwise.
#pragma once

#include <cstdint>
#include <string>

#include "base/text.h"

namespace kve {

namespace state {

// Set once by start_listing.
inline constinit Text<8> PROGRAM_ID;
inline constinit Text<19> RUN_DATE;  // local time, "year-mm-dd hh:mm:ss"

// Lines printed on the page so far; 0 before the first page head.
inline constinit int32_t LINES_ON_PAGE = 0;

inline constinit bool HAS_LOG = false;  // this run has made KVE_LOG; it may be closed

// The system's error number of the first line that did not reach the listing, 0 while it has all;
// what is called then, unless it is null.
inline constinit int LISTING_FAULT = 0;
using Answer = void (*)();
inline constinit Answer AT_LOST_LINE = nullptr;

inline constinit int N_WARNINGS = 0;  // in the log

}  // namespace state

inline constexpr int kLinesOnPage = 78;

// Takes the date and time of the run and prints the first page head.
void start_listing();

// Lines that are not counted, and counting by itself.
[[gnu::format(printf, 1, 2)]] void say(const char* format, ...);
void blank(int lines = 1);
void count_lines(int lines);

// Lines that are counted. A row goes on a new page when this one is full.
[[gnu::format(printf, 1, 2)]] void say_line(const char* format, ...);
[[gnu::format(printf, 1, 2)]] void say_row(const char* format, ...);
void blank_lines(int lines = 1);

// Prints the page head and sets the count to 2.
void page_header();
// A new page when `lines` more would fill this one, or when more than `limit` lines stand on it.
void page_if(int lines);
void page_above(int limit);

// Lines that stand together on one page. They are gathered first, so that the block knows their
// number when it asks for room; then they are printed and counted.
//
//     Block block;
//     block.blank();
//     block.line("ERROR - Repeated GLMM specification for trait no.: %12d", trait);
//     block.print();
//
// A report that asks for more or less room than it fills has page_if(n) and say_line instead.
class Block {
 public:
    [[gnu::format(printf, 2, 3)]] void line(const char* format, ...);
    void blank(int lines = 1);
    void print();  // the block is empty then

 private:
    std::string text_;
    int lines_ = 0;
};

// To the system, and to the disk at the end of the run. 0, or LISTING_FAULT: a line that is lost
// once is lost for good.
[[nodiscard]] int flush_listing();
[[nodiscard]] int sync_listing();

// KVE_LOG. Opening creates or empties it; 0 or what open_output tells.
[[nodiscard]] int open_log();
[[gnu::format(printf, 1, 2)]] void log_say(const char* format, ...);  // one line
void log_blank();
// The first line of a warning, which is counted; its further lines are log_say.
[[gnu::format(printf, 1, 2)]] void log_warning(const char* format, ...);
// On the listing, which says where they stand when the run goes on. Nothing without warnings.
void tell_warnings_in_log();
// By this run: a log that an earlier one has left does not count.
bool has_log();
// Copies the log to the listing, each line cut to 98 characters, and closes it.
void copy_log_to_listing();

}  // namespace kve
