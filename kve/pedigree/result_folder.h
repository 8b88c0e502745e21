// The folder in which a command leaves its results, all of them or none.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace kve::companion {

// Files are written under other names; keep() gives them their own when all of them are whole.
// Without that call they go away.
class ResultFolder {
 public:
    // Makes the folder when there is none. An empty name is for no folder: nothing can be begun.
    explicit ResultFolder(const std::string& folder);
    ResultFolder(const ResultFolder&) = delete;
    ResultFolder& operator=(const ResultFolder&) = delete;
    ~ResultFolder();

    // Results of an earlier run are none of this one.
    void remove(const std::string& name) const;
    // Where to write the file.
    std::string begin(const std::string& name);
    void keep();

    std::filesystem::path path(const std::string& name) const { return folder_ / name; }
    const std::vector<std::string>& names() const { return names_; }

 private:
    std::filesystem::path part(const std::string& name) const {
        return folder_ / ("." + name + ".part");
    }

    std::filesystem::path folder_;
    std::vector<std::string> names_;
    bool is_kept_ = false;
};

}  // namespace kve::companion
