// The folder in which a command leaves its results, all of them or none.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace kve::companion {

// Files are made in a work folder, which is hidden in the folder; keep() moves them to their place
// when all of them are whole. Without that call they go away, and the folder is as it was. One
// command works in a folder at a time; the lock goes with the process.
class ResultFolder {
 public:
    // Makes the folder when there is none. An empty name is for no folder: nothing can be begun.
    explicit ResultFolder(const std::string& folder);
    ResultFolder(const ResultFolder&) = delete;
    ResultFolder& operator=(const ResultFolder&) = delete;
    ~ResultFolder();

    // Throws Failure when another command works in the folder. Leaves nothing there.
    static void require_free(const std::string& folder);

    // A result of an earlier run that is none of this one goes away when this one is kept.
    void remove(const std::string& name) { obsolete_.push_back(name); }
    // Where to write the file.
    std::string begin(const std::string& name);
    // Moves all files of the work folder. `seal`, one that tells that the others belong together,
    // is the first to go away and the last to come.
    void keep(const std::string& seal = {});
    // Leaves the work folder as it is, under this name, in the place of an earlier one.
    void set_aside(const std::string& name);

    std::filesystem::path path(const std::string& name) const { return folder_ / name; }
    const std::filesystem::path& work() const { return work_; }
    const std::vector<std::string>& names() const { return names_; }

 private:
    struct Move {
        std::filesystem::path from, to;
    };
    void move(const std::filesystem::path& from, const std::filesystem::path& to);
    void take_all();
    void put_in_place(const std::string& seal);

    std::filesystem::path folder_, work_;
    std::vector<std::string> names_, obsolete_;
    std::vector<Move> moves_;
    int lock_ = -1;
    bool is_new_ = false;  // the folder
};

}  // namespace kve::companion
