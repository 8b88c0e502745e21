// Runs the built program in a scratch folder of its own and reads back what it left there.
#pragma once

#include <functional>

#include "testing.h"

struct Outcome {
    int status = -1;  // exit status; 1000 + signal number when a signal ended the program
    std::string listing;
    std::string words;  // the listing without page heads, blanks and line ends folded to one blank

    bool says(std::string_view text) const;  // compared with blanks folded
    bool prints(std::string_view text) const { return listing.find(text) != listing.npos; }
    int times(std::string_view text) const;
    // The lines of the listing from the one that is `title` to the one before `end`, page heads
    // left out; without them a failure and some blank lines.
    std::vector<std::string> block(std::string_view title, std::string_view end) const;
    std::size_t longest_page() const;  // its lines
};

class Scratch {
 public:
    Scratch();
    ~Scratch();
    Scratch(const Scratch&) = delete;
    Scratch& operator=(const Scratch&) = delete;

    const std::filesystem::path& folder() const { return folder_; }
    void write(const std::string& name, std::string_view content) const;
    std::string read(const std::string& name) const;
    bool has(const std::string& name) const;
    bool says(const std::string& name, std::string_view text) const;  // with blanks folded

    // One run with the given directive text on standard input. program_tests compare it with what
    // `kve check` finds. `listing` says where the shell sends
    // the listing.
    Outcome run(std::string_view directives, const std::string& listing = ">listing.out") const;
    // A process that begins as a copy of the test, in the folder, with the directives on standard
    // input and files for the listing and standard error. `work` ends it.
    pid_t fork_run(std::string_view directives, const std::function<void()>& work) const;

 private:
    std::filesystem::path folder_;
};

// The records of a framed binary file, in order. A frame that does not close is a test failure.
std::vector<std::string> framed_records(const std::string& bytes);
std::string framed(std::string_view record);

template <class T>
std::vector<T> numbers(const std::string& record) {
    std::vector<T> all(record.size() / sizeof(T));
    for (std::size_t k = 0; k < all.size(); ++k)
        std::char_traits<char>::copy(reinterpret_cast<char*>(&all[k]), &record[k * sizeof(T)],
                                     sizeof(T));
    return all;
}

template <class T>
std::string bytes_of(const std::vector<T>& values) {
    return {reinterpret_cast<const char*>(values.data()), values.size() * sizeof(T)};
}

std::string folded(std::string_view text);
std::string times(int n, std::string_view text);
// Lines for matrices with so many rows: ones on the diagonals.
std::string priors(const std::vector<int>& rows);
Outcome outcome_of(int status, const std::string& listing);
std::vector<std::string> lines_of(const std::string& listing);
bool is_page_head(const std::string& line);
[[gnu::format(printf, 1, 2)]] std::string text(const char* format, ...);
