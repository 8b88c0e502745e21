// What `kve check` finds in an analysis, against what a run of it shows: an error wherever the run
// stops in its directives, model, priors or structure checks, and none that means a stop where it
// does not.
#pragma once

#include "run.h"

class Agreement {
 public:
    // The directive file stands in the folder, and the run has not been there yet.
    explicit Agreement(const std::filesystem::path& folder);
    void expect_of(const Outcome& outcome, const std::string& directives) const;

 private:
    int status_;
    std::string found_;
};
