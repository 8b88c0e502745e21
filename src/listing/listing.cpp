#include "listing/listing.h"

#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <string_view>

#include "base/input.h"
#include "base/output_file.h"
#include "base/state.h"
#include "listing/units.h"

namespace kve {

WRITES(PROGRAM_ID);
WRITES(RUN_DATE);
WRITES(LINES_ON_PAGE);
WRITES(HAS_LOG);
WRITES(LISTING_FAULT);
READS(AT_LOST_LINE);
WRITES(N_WARNINGS);
WRITES(UNITS);

namespace {

constexpr std::size_t kLogColumnsShown = 98;
constexpr std::size_t kLongestLogLine = 32768;

// Later lines may find room again, so the first fault is kept.
void note_lost_line() {
    if (LISTING_FAULT != 0) return;
    LISTING_FAULT = errno != 0 ? errno : EIO;
    if (AT_LOST_LINE != nullptr) AT_LOST_LINE();
}

[[gnu::format(printf, 1, 0)]] void print_line(const char* format, std::va_list items) {
    if (std::vprintf(format, items) < 0 || std::putchar('\n') == EOF) note_lost_line();
}

[[gnu::format(printf, 1, 0)]] void print_log_line(const char* format, std::va_list items) {
    std::string line;
    append_list(line, format, items);
    UNITS.KVE_LOG.print_line(line);
}

}  // namespace

void start_listing() {
    // Line by line to the system: whoever follows a long run sees where it is.
    static_cast<void>(std::setvbuf(stdout, nullptr, _IOLBF, BUFSIZ));
    PROGRAM_ID = "KVE1V6";
    std::time_t now = std::time(nullptr);
    std::tm local{};
    localtime_r(&now, &local);
    char text[32];
    std::size_t length = std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &local);
    RUN_DATE = std::string_view(text, length);
    LINES_ON_PAGE = 0;
    page_header();
}

void say(const char* format, ...) {
    std::va_list items;
    va_start(items, format);
    print_line(format, items);
    va_end(items);
}

void blank(int lines) {
    for (int k = 0; k < lines; ++k)
        if (std::fputc('\n', stdout) == EOF) note_lost_line();
}

void count_lines(int lines) { LINES_ON_PAGE += lines; }

void say_line(const char* format, ...) {
    std::va_list items;
    va_start(items, format);
    print_line(format, items);
    va_end(items);
    count_lines(1);
}

void say_row(const char* format, ...) {
    page_if(1);
    std::va_list items;
    va_start(items, format);
    print_line(format, items);
    va_end(items);
    count_lines(1);
}

void blank_lines(int lines) {
    blank(lines);
    count_lines(lines);
}

void page_header() {
    // "1" in column 1 tells a line printer to begin a new page.
    say("%c%-28.8s%-47s%.*s", LINES_ON_PAGE == 0 ? ' ' : '1', PROGRAM_ID.string().c_str(),
        "Multivariate Mixed Model Package", KVE_SV(RUN_DATE.view()));
    LINES_ON_PAGE = 2;
}

void page_if(int lines) {
    if (LINES_ON_PAGE + lines >= kLinesOnPage) page_header();
}

void page_above(int limit) {
    if (LINES_ON_PAGE > limit) page_header();
}

void Block::line(const char* format, ...) {
    std::va_list items;
    va_start(items, format);
    append_list(text_, format, items);
    va_end(items);
    text_ += '\n';
    ++lines_;
}

void Block::blank(int lines) {
    text_.append(static_cast<std::size_t>(lines), '\n');
    lines_ += lines;
}

void Block::print() {
    page_if(lines_);
    std::fwrite(text_.data(), 1, text_.size(), stdout);
    // The library counts as written what it has lost on the way from its buffer.
    if (std::ferror(stdout)) note_lost_line();
    count_lines(lines_);
    text_.clear();
    lines_ = 0;
}

int flush_listing() {
    if (std::fflush(stdout) != 0 || std::ferror(stdout)) note_lost_line();
    return LISTING_FAULT;
}

int sync_listing() {
    if (flush_listing() == 0) LISTING_FAULT = sync_to_disk(STDOUT_FILENO);
    return LISTING_FAULT;
}

int open_log() {
    N_WARNINGS = 0;
    const int status = UNITS.KVE_LOG.open("KVE_LOG");
    HAS_LOG = status == 0;
    return status;
}

void log_say(const char* format, ...) {
    std::va_list items;
    va_start(items, format);
    print_log_line(format, items);
    va_end(items);
}

void log_blank() { UNITS.KVE_LOG.print_line(""); }

void log_warning(const char* format, ...) {
    if (!UNITS.KVE_LOG.is_open()) return;
    ++N_WARNINGS;
    std::va_list items;
    va_start(items, format);
    print_log_line(format, items);
    va_end(items);
}

void tell_warnings_in_log() {
    if (N_WARNINGS == 0) return;
    Block block;
    block.blank();
    block.line("WARNING - KVE_LOG holds %d warnings on the model section", N_WARNINGS);
    block.print();
}

bool has_log() { return HAS_LOG; }

void copy_log_to_listing() {
    HAS_LOG = false;
    static_cast<void>(UNITS.KVE_LOG.flush());
    TextInput log;
    std::string_view line;
    int status = log.open("KVE_LOG");
    if (status == 0) {
        while (log.read_line(line, kLongestLogLine) == TextInput::Line::ok)
            say_row("%.*s", KVE_SV(line.substr(0, kLogColumnsShown)));
        status = log.error();
    }
    if (status != 0) say_row("ERROR - reading the file KVE_LOG failed: %s", std::strerror(status));
    static_cast<void>(UNITS.KVE_LOG.close());
}

}  // namespace kve
