#include "run.h"

#include <fcntl.h>
#include <sys/wait.h>

#include <cstdarg>
#include <cstdio>

#ifdef KVE_CHECKS_RUNS
#include "agreement.h"
#endif

namespace fs = std::filesystem;

std::string folded(std::string_view text) {
    std::istringstream from{std::string(text)};
    std::string out;
    for (std::string word; from >> word;) out += (out.empty() ? "" : " ") + word;
    return out;
}

bool Outcome::says(std::string_view text) const { return times(text) > 0; }

int Outcome::times(std::string_view text) const {
    const std::string wanted = folded(text);
    int count = 0;
    for (std::size_t at = 0; (at = words.find(wanted, at)) != words.npos; ++at) ++count;
    return count;
}

std::vector<std::string> lines_of(const std::string& listing) {
    std::vector<std::string> lines;
    std::istringstream from(listing);
    for (std::string line; std::getline(from, line);) lines.push_back(line);
    return lines;
}

bool is_page_head(const std::string& line) {
    return line.find("Multivariate Mixed Model Package") != line.npos;
}

std::vector<std::string> Outcome::block(std::string_view title, std::string_view end) const {
    std::vector<std::string> found;
    for (const std::string& line : lines_of(listing)) {
        if (is_page_head(line)) continue;
        if (!found.empty() && line == end) return found;
        if (!found.empty() || line == title) found.push_back(line);
    }
    ADD_FAILURE() << "no block " << title << "\n" << listing;
    return std::vector<std::string>(40);
}

std::size_t Outcome::longest_page() const {
    std::size_t longest = 0, lines = 0;
    for (const std::string& line : lines_of(listing))
        longest = std::max(longest, lines = is_page_head(line) ? 1 : lines + 1);
    return longest;
}

std::string text(const char* format, ...) {
    char line[400];
    std::va_list items;
    va_start(items, format);
    std::vsnprintf(line, sizeof line, format, items);
    va_end(items);
    return line;
}

std::string times(int n, std::string_view text) {
    std::string all;
    while (n-- > 0) all += text;
    return all;
}

std::string priors(const std::vector<int>& rows) {
    std::string all;
    for (std::size_t m = 1; m <= rows.size(); ++m)
        for (int i = 1; i <= rows[m - 1]; ++i) all += text("%zu %d %d 1.0\n", m, i, i);
    return all;
}

Outcome outcome_of(int status, const std::string& listing) {
    std::string words;
    for (const std::string& line : lines_of(listing))
        if (!is_page_head(line)) words += line + "\n";
    return {status, listing, folded(words)};
}

Scratch::Scratch() {
    std::string pattern = (fs::temp_directory_path() / "kve1-test-XXXXXX").string();
    if (::mkdtemp(pattern.data()) == nullptr) std::abort();
    folder_ = pattern;
}

Scratch::~Scratch() {
    std::error_code ignored;
    fs::remove_all(folder_, ignored);
}

void Scratch::write(const std::string& name, std::string_view content) const {
    std::ofstream(folder_ / name, std::ios::binary) << content;
}

std::string Scratch::read(const std::string& name) const {
    std::ifstream file(folder_ / name, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

bool Scratch::says(const std::string& name, std::string_view text) const {
    return folded(read(name)).find(folded(text)) != std::string::npos;
}

bool Scratch::has(const std::string& name) const { return fs::exists(folder_ / name); }

Outcome Scratch::run(std::string_view directives, const std::string& listing) const {
    write("directives.in", directives);
#ifdef KVE_CHECKS_RUNS
    const Agreement agreement(folder_);
#endif
    std::string command = "cd '" + folder_.string() +
                          "' && exec '" KVE1_PROGRAM "' < directives.in " + listing +
                          " 2> errors.out";
    int raw = std::system(command.c_str());
    EXPECT_EQ(read("errors.out"), "") << "nothing goes to standard error";
    Outcome outcome =
        outcome_of(WIFEXITED(raw) ? WEXITSTATUS(raw) : 1000 + WTERMSIG(raw), read("listing.out"));
#ifdef KVE_CHECKS_RUNS
    agreement.expect_of(outcome, std::string(directives));
#endif
    return outcome;
}

pid_t Scratch::fork_run(std::string_view directives, const std::function<void()>& work) const {
    write("directives.in", directives);
    std::fflush(stdout);
    const pid_t child = ::fork();
    if (child != 0) return child;
    fs::current_path(folder_);
    constexpr int kOutput = O_WRONLY | O_CREAT | O_TRUNC;
    ::dup2(::open("directives.in", O_RDONLY), STDIN_FILENO);
    ::dup2(::open("listing.out", kOutput, 0666), STDOUT_FILENO);
    ::dup2(::open("errors.out", kOutput, 0666), STDERR_FILENO);
    work();
    std::_Exit(99);
}

std::vector<std::string> framed_records(const std::string& bytes) {
    std::vector<std::string> records;
    for (std::size_t at = 0; at < bytes.size(); at += records.back().size() + 8) {
        const std::string length = bytes.substr(at, 4);
        const std::size_t size = length.size() == 4 ? numbers<uint32_t>(length)[0] : bytes.size();
        if (at + 8 + size > bytes.size() || bytes.substr(at + 4 + size, 4) != length) {
            ADD_FAILURE() << "record " << records.size() + 1 << " is cut or does not close";
            break;
        }
        records.push_back(bytes.substr(at + 4, size));
    }
    return records;
}

std::string framed(std::string_view record) {
    int32_t length = static_cast<int32_t>(record.size());
    std::string frame(reinterpret_cast<const char*>(&length), 4);
    return frame + std::string(record) + frame;
}
