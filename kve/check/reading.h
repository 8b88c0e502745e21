// KVE1's own stages from the first line of the directive file to the priors, run in this process,
// which must be one of their own: what they say is gathered, and where they stop the later ones go
// on with what is known.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace kve::companion {

// In the order of a run.
enum class Step { before, directives, outputs, pedigrees, files, model, groups, priors, done };

// Lines of the listing that stand together, and where the reader was when they were said.
struct Said {
    Step step = Step::before;
    int64_t section_line = 0;  // of the keyword line whose section was read
    int64_t line = 0;          // of the directive file
    int64_t prior_line = 0;
    std::vector<std::string> lines;

    bool has(std::string_view text) const;  // with blanks folded
    std::string words() const;              // folded, lines joined by a blank
};

// A step that has ended the run, with the line that the reader was at.
struct Stop {
    Step step = Step::before;
    int64_t line = 0;        // of the directive file
    int64_t model_line = 0;  // of the text of the model
    int64_t reduce_line = 0;
    bool has_read_all = false;  // of the directive file
    bool is_in_log = false;     // its words stand at the end of KVE_LOG
};

struct Reading {
    std::vector<Said> said;
    std::vector<Stop> stops;
    std::string log;  // KVE_LOG as it stood

    bool stopped_in(Step step) const;
    bool has_directives() const;  // DIRECTIVES is complete
    bool has_submodels() const;   // MODEL
    bool has_matrices() const;    // RMAT
    bool has_priors() const;      // cov_mat
};

struct ReadingJob {
    std::string directives;  // text
    std::string inputs;      // folder in which the inputs lie
    bool fast = false;       // no pass over all the data
    void (*when_done)(const Reading& reading);
};

// Runs the steps in the working directory, which must be empty, then `when_done`, and ends the
// process.
[[noreturn]] void read_with_kve1(const ReadingJob& job);

}  // namespace kve::companion
