#include "directives/place.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <filesystem>
#include <string>
#include <string_view>
#include <system_error>

#include "base/input.h"
#include "base/state.h"
#include "base/text.h"
#include "directives/directives.h"
#include "listing/listing.h"
#include "listing/stop.h"
#include "listing/working_folder.h"

namespace kve {

WRITES(DIRECTIVES);

namespace {

constexpr std::size_t kLongestDirectory = 1024;
constexpr std::size_t kLongestHostName = 120;
constexpr std::size_t kPrintedWhole = 80;  // a directory from this length on is shortened
constexpr std::size_t kHead = 35;
constexpr std::size_t kTail = 36;

// Kept: each print counts two lines although it is one.
void print_place(const char* label, const std::string& text) {
    say("         %-21s%s", label, text.c_str());
    count_lines(2);
}

void print_host() {
    char name[kLongestHostName + 1] = "";
    ::gethostname(name, kLongestHostName);
    print_place("Executed on host:", name);
}

void read_submission_directory() {
    TextInput file;
    std::string_view line;
    const int status = file.open_input("ST_DIR");
    if (status == ENOENT) return;
    if (status != 0 || file.read_line(line, kLongestDirectory) != TextInput::Line::ok) {
        const int code = status != 0 ? status : file.error();
        if (code != 0) tell_not_read("ST_DIR", code);
        blank();
        say("Unexpected EOF on file with name of submition directory");
        blank();
        stop_run();
    }
    DIRECTIVES.ST_DIR = trimmed(line);
    std::string directory = DIRECTIVES.ST_DIR.string();
    // Kept: a long one is printed whole and its end once more, unlike the working directory.
    if (directory.size() >= kPrintedWhole)
        directory += "....." + directory.substr(directory.size() - kTail);
    print_place("Submition directory:", directory);
}

void print_working_directory() {
    std::error_code status;
    std::string directory = std::filesystem::current_path(status).string();
    directory.resize(std::min(directory.size(), kLongestDirectory));
    if (directory.size() >= kPrintedWhole)
        directory.replace(kHead, directory.size() - kTail - kHead, ".....");
    print_place("Working directory:", directory);
}

}  // namespace

void find_place() {
    print_host();
    read_submission_directory();
    print_working_directory();
}

void claim_place() {
    if (claim_working_folder()) return;
    say("ERROR - another run works in this directory: wait for its end, or run in another one");
    stop_run();
}

}  // namespace kve
