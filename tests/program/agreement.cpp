#include "agreement.h"

#include <sys/wait.h>

#include <regex>

namespace {

// Of the stages behind the priors, and of the first pass over the data, which lies ahead of them.
bool stops_in_data(const Outcome& outcome) {
    if (outcome.says("Starting parameters for model")) return true;
    for (const char* words : {"Reading data file at observation", "Data not sorted by absorption",
                              "OUT OF RANGE", "NO INPUT DATA FOUND", "To few (<10)", "BITSTR ERROR",
                              "equence", "mixture trait for a CURE", "Only 2 groups for residual"})
        if (outcome.says(words)) return true;
    return false;
}

// Stops at values that cannot be read or are out of range.
bool stops_at_values(const Outcome& outcome) {
    return outcome.says("Reading data file at observation") || outcome.says("OUT OF RANGE") ||
           outcome.says("NO INPUT DATA FOUND");
}

// What the check is not asked for: the place of the run, its listing.
bool stops_elsewhere(const Outcome& outcome) {
    for (const char* words : {"another run works", "interrupted by a signal", "listing are lost",
                              "writing the", "has changed while the run", "cannot be opened:"})
        if (outcome.says(words)) return true;
    return outcome.status != 0 && outcome.status != 16;
}

// Errors for which the run goes on with an analysis that is not the one meant.
constexpr std::string_view kWithoutStop[] = {
    "effect-count", "regression-count", "nesting", "no-column", "other-rows", "merged-rows",
    "regression-order", "trait-twice", "trait-as-covariable", "empty-matrix", "reading-ended",
    "three-lines", "decimal-comma", "hidden-keyword", "long-line", "lost-line", "no-priors",
    "zero-covariances", "data-reading",
    // of a pedigree
    "own-parent", "one-as-both", "pedigree-identity", "sire-is-grandsire", "short-record",
    "not-in-pedigree", "pedigree-loop",
    // of matrices
    "matrix-diagonal", "matrix-record", "matrix-twice", "matrix-value", "not-an-inverse",
    "genomic-correlation",
    // Of the data: a run stops in them after all that is compared here.
    "absorption-order", "byte-order-mark", "data-form", "dropped-records", "empty-column",
    "file-lengths", "header-line", "line-ends", "long-record", "missing-sign", "no-records",
    "not-a-number", "not-an-integer", "not-text", "out-of-range", "quotes", "trait-value",
    "weight-value"};

// Errors for which a later stage stops.
constexpr std::string_view kStopsLater[] = {
    "pedigree-record",  "pedigree-range",   "inverse-method", "parent-not-older",
    "sort-variable",    "birth-date",       "typed-animal",   "genomic-identity",
    "genomic-diagonal", "genomic-singular", "matrix-identity"};

}  // namespace

Agreement::Agreement(const std::filesystem::path& folder) {
    const std::string command = "cd '" + folder.string() +
                                "' && exec '" KVE_PROGRAM "' check directives.in > check.out 2>&1";
    const int raw = std::system(command.c_str());
    status_ = WIFEXITED(raw) ? WEXITSTATUS(raw) : 1000 + WTERMSIG(raw);
    std::ifstream file(folder / "check.out", std::ios::binary);
    found_ = {std::istreambuf_iterator<char>(file), {}};
    file.close();
    std::filesystem::remove(folder / "check.out");
}

void Agreement::expect_of(const Outcome& outcome, const std::string& directives) const {
    if (stops_elsewhere(outcome)) return;
    EXPECT_TRUE(status_ == 0 || status_ == 1) << status_ << found_ << directives;
    if (outcome.status == 16 && (!stops_in_data(outcome) || stops_at_values(outcome))) {
        EXPECT_EQ(status_, 1) << directives << outcome.listing;
        return;
    }
    static const std::regex error(": error: .* \\[([a-z0-9-]+)\\]\n");
    for (std::sregex_iterator it(found_.begin(), found_.end(), error), end; it != end; ++it) {
        const std::string code = it->str(1);
        if (std::ranges::find(kStopsLater, code) != std::end(kStopsLater))
            EXPECT_EQ(outcome.status, 16) << it->str() << directives << outcome.listing;
        else
            EXPECT_NE(std::ranges::find(kWithoutStop, code), std::end(kWithoutStop))
                << it->str() << directives << outcome.listing;
    }
}
