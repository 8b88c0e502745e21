// The examples run, and the pages show what they print.

#include "run.h"

namespace fs = std::filesystem;

namespace {

std::string content(const fs::path& path) {
    std::ifstream file(path, std::ios::binary);
    EXPECT_TRUE(file.is_open()) << path;
    return {std::istreambuf_iterator<char>(file), {}};
}

// Runs a copy of the example.
Outcome example(const std::string& name, const std::string& directives) {
    Scratch scratch;
    const fs::path from = fs::path(KVE1_EXAMPLES) / name;
    fs::copy(from, scratch.folder());
    return scratch.run(content(from / directives));
}

std::string right_trimmed(std::string line) {
    line.erase(line.find_last_not_of(' ') + 1);
    return line;
}

void collect_lines(const Outcome& outcome, std::set<std::string>& lines) {
    for (const std::string& line : lines_of(outcome.listing)) lines.insert(right_trimmed(line));
}

TEST(Examples, PagesQuoteTheListings) {
    const std::pair<const char*, const char*> runs[] = {
        {"weights", "weights.kve"}, {"weights", "restricted.kve"}, {"dairy", "dairy.kve"},
        {"groups", "sheep.kve"},    {"binomial", "hatching.kve"},  {"genomic", "pigs.kve"}};
    std::set<std::string> printed;
    for (const auto& [name, directives] : runs) {
        const Outcome outcome = example(name, directives);
        ASSERT_EQ(outcome.status, 0) << name << outcome.listing;
        collect_lines(outcome, printed);
    }
    EXPECT_TRUE(example("faults", "faults.kve").words.ends_with("COMPUTATIONS TERMINATED"));
    bool quoting = false;
    int quoted = 0;
    for (const std::string& line : lines_of(content(fs::path(KVE1_DOCS) / "listing.md"))) {
        if (line == "```") {
            quoting = !quoting;
        } else if (quoting) {
            ++quoted;
            EXPECT_TRUE(printed.contains(right_trimmed(line))) << line;
        }
    }
    EXPECT_GT(quoted, 100);
}

}  // namespace
