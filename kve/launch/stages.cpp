#include "kve/launch/stages.h"

#include <fmt/format.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <iterator>

namespace kve::companion {

namespace fs = std::filesystem;

namespace {

// A stage begins behind the last one of the listing's lines ahead of it, or when the file is no
// longer empty.
struct Stage {
    const char* name;
    const char* line;
    const char* file;
};
constexpr std::array kStages{
    Stage{"directives and model", "", ""},
    Stage{"data, first reading", "Matrix no., Row and Col identifies", ""},
    Stage{"levels, pedigrees and matrices", "SUMMARY OF DATA FILE", ""},
    Stage{"data, second reading", "", "RCDATA_I"},
    Stage{"tables for later programs", "MODEL STATISTICS", ""},
};
constexpr std::size_t kLongestMark = 100;

using Clock = std::chrono::steady_clock;

double seconds_since(Clock::time_point begin) {
    return std::chrono::duration<double>(Clock::now() - begin).count();
}

int64_t position_of(const fs::path& information) {
    std::ifstream file(information);
    std::string name;
    int64_t position = -1;
    file >> name >> position;
    return name == "pos:" ? position : -1;
}

}  // namespace

StageDisplay::StageDisplay(const fs::path& folder, const fs::path& listing)
    : is_shown_(::isatty(STDERR_FILENO) != 0),
      folder_(fs::canonical(folder)),
      name_(kStages[0].name),
      begin_(Clock::now()) {
    if (is_shown_) listing_.open(listing, std::ios::binary);
}

void StageDisplay::show(const std::string& activity) const {
    if (!is_shown_) return;
    fmt::print(stderr, "\r\033[K{:9.1f} s  {}{}", seconds_since(begin_), name_, activity);
    std::fflush(stderr);
}

void StageDisplay::end_stage() {
    if (name_.empty()) return;
    show(is_shown_ ? "\n" : "");
    name_.clear();
}

void StageDisplay::begin_stage(const std::string& name) {
    end_stage();
    name_ = name;
    begin_ = Clock::now();
    show("");
}

void StageDisplay::read_listing() {
    listing_.clear();
    unread_.append(std::istreambuf_iterator<char>(listing_), {});
    for (std::size_t next = stage_ + 1; next < kStages.size(); ++next) {
        const Stage& stage = kStages[next];
        const std::string line = stage.line, file = stage.file;
        std::error_code error;
        const std::size_t at = line.empty() ? unread_.npos : unread_.find(line);
        const bool has_file = !file.empty() && fs::file_size(folder_ / file, error) > 0 && !error;
        if (at == unread_.npos && !has_file) continue;
        begin_stage(stage.name);
        stage_ = next;
        if (at != unread_.npos) unread_.erase(0, at + line.size());
    }
    if (unread_.size() > kLongestMark) unread_.erase(0, unread_.size() - kLongestMark);
}

std::string StageDisplay::words_on(const std::string& file, int64_t position) const {
    constexpr int64_t kMega = 1'000'000, kPercent = 100;
    std::error_code error;
    const fs::path path(file);
    const auto bytes = static_cast<int64_t>(fs::file_size(path, error));
    if (error || bytes == 0) return {};
    if (path.parent_path() == folder_)
        return fmt::format("  {} {} MB", path.filename().string(), position / kMega);
    return fmt::format("  {} {} %", path.filename().string(), kPercent * position / bytes);
}

// Of the files that have moved since the last look an input tells most.
std::string StageDisplay::activity_of(pid_t program) {
    const fs::path process = fmt::format("/proc/{}", program);
    std::error_code error;
    std::map<std::string, int64_t> now;
    std::string input, output;
    for (const fs::directory_entry& entry : fs::directory_iterator(process / "fd", error)) {
        const std::string file = fs::read_symlink(entry.path(), error).string();
        const int64_t position = position_of(process / "fdinfo" / entry.path().filename());
        if (error || !file.starts_with('/') || file.ends_with(".lst") || position < 0) continue;
        now[file] = position;
        if (!positions_.contains(file) || positions_[file] == position) continue;
        (fs::path(file).parent_path() == folder_ ? output : input) = words_on(file, position);
    }
    positions_ = std::move(now);
    return input.empty() ? output : input;
}

void StageDisplay::look(pid_t program) {
    if (!is_shown_) return;
    read_listing();
    show(activity_of(program));
}

}  // namespace kve::companion
