#include "listing/listing.h"

#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstring>
#include <ctime>
#include <string_view>

#include "base/input.h"
#include "base/output_file.h"
#include "base/state.h"

namespace kve {

WRITES(PROGRAM_ID);
WRITES(RUN_DATE);
WRITES(LINES_ON_PAGE);
WRITES(KVE_LOG);
WRITES(HAS_LOG);
WRITES(LISTING_FAULT);
WRITES(N_WARNINGS);

namespace {

constexpr std::size_t kLogColumnsShown = 98;
constexpr std::size_t kLongestLogLine = 32768;

// Later lines may find room again, so the first fault is kept.
void note_lost_line() {
    if (LISTING_FAULT == 0) LISTING_FAULT = errno != 0 ? errno : EIO;
}

[[gnu::format(printf, 2, 0)]] void print_line(std::FILE* to, const char* format,
                                              std::va_list items) {
    const bool printed = std::vfprintf(to, format, items) >= 0 && std::fputc('\n', to) != EOF;
    if (!printed && to == stdout) note_lost_line();
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
    print_line(stdout, format, items);
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
    print_line(stdout, format, items);
    va_end(items);
    count_lines(1);
}

void say_row(const char* format, ...) {
    page_if(1);
    std::va_list items;
    va_start(items, format);
    print_line(stdout, format, items);
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
    if (KVE_LOG != nullptr) std::fclose(KVE_LOG);
    KVE_LOG = nullptr;
    HAS_LOG = false;
    N_WARNINGS = 0;
    int descriptor = -1;
    if (const int status = open_output("KVE_LOG", descriptor); status != 0) return status;
    KVE_LOG = ::fdopen(descriptor, "w");
    HAS_LOG = KVE_LOG != nullptr;
    return HAS_LOG ? 0 : errno;
}

void log_say(const char* format, ...) {
    if (KVE_LOG == nullptr) return;
    std::va_list items;
    va_start(items, format);
    print_line(KVE_LOG, format, items);
    va_end(items);
}

void log_blank() {
    if (KVE_LOG != nullptr) std::fputc('\n', KVE_LOG);
}

void log_warning(const char* format, ...) {
    if (KVE_LOG == nullptr) return;
    ++N_WARNINGS;
    std::va_list items;
    va_start(items, format);
    print_line(KVE_LOG, format, items);
    va_end(items);
}

void tell_warnings_in_log() {
    if (N_WARNINGS == 0) return;
    Block block;
    block.blank();
    block.line("WARNING - KVE_LOG holds %d warnings on the model section", N_WARNINGS);
    block.print();
}

int flush_log() {
    if (KVE_LOG == nullptr) return 0;
    return std::fflush(KVE_LOG) != 0 || std::ferror(KVE_LOG) ? EIO : 0;
}

int close_log() {
    if (KVE_LOG == nullptr) return 0;
    int status = flush_log();
    if (status == 0) status = sync_to_disk(::fileno(KVE_LOG));
    if (std::fclose(KVE_LOG) != 0 && status == 0) status = errno;
    KVE_LOG = nullptr;
    return status;
}

bool has_log() { return HAS_LOG; }

void copy_log_to_listing() {
    HAS_LOG = false;
    static_cast<void>(flush_log());
    TextInput log;
    std::string_view line;
    int status = log.open("KVE_LOG");
    if (status == 0) {
        while (log.read_line(line, kLongestLogLine) == TextInput::Line::ok)
            say_row("%.*s", KVE_SV(line.substr(0, kLogColumnsShown)));
        status = log.error();
    }
    if (status != 0) say_row("ERROR - reading the file KVE_LOG failed: %s", std::strerror(status));
    static_cast<void>(close_log());
}

}  // namespace kve
