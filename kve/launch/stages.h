// Where a run is, for somebody who waits at a terminal.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>

namespace kve::companion {

// A line for each stage with the seconds that it took, the last one with what is being read or
// written. Nothing when standard error is no terminal.
class StageDisplay {
 public:
    StageDisplay(const std::filesystem::path& folder, const std::filesystem::path& listing);
    StageDisplay(const StageDisplay&) = delete;
    StageDisplay& operator=(const StageDisplay&) = delete;
    ~StageDisplay() { end_stage(); }

    void look(pid_t program);
    // A stage after those of the program.
    void begin_stage(const std::string& name);

 private:
    void read_listing();
    void end_stage();
    void show(const std::string& activity) const;
    std::string activity_of(pid_t program);
    std::string words_on(const std::string& file, int64_t position) const;

    bool is_shown_;
    std::filesystem::path folder_;
    std::ifstream listing_;
    std::string unread_;  // the end of the listing in which the next mark may stand
    std::size_t stage_ = 0;
    std::string name_;
    std::chrono::steady_clock::time_point begin_;
    std::map<std::string, int64_t> positions_;  // of the open files
};

}  // namespace kve::companion
