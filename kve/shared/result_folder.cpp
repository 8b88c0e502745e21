#include "kve/shared/result_folder.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/file.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <system_error>

#include "kve/shared/failure.h"

namespace kve::companion {

namespace fs = std::filesystem;

namespace {

const char* const kWork = ".kve-work";
const char* const kEarlier = ".earlier";  // in the work folder

[[noreturn]] void refuse(const fs::path& file, const std::error_code& error) {
    throw Failure(kUnreadable, fmt::format("{}: {}", file.string(), error.message()));
}

// An open descriptor that holds the lock; KVE1 itself takes the same one. -1 when there is no such
// folder, or a file system that has no locks.
int lock(const fs::path& folder) {
    const int descriptor = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (descriptor < 0 || ::flock(descriptor, LOCK_EX | LOCK_NB) == 0 || errno != EWOULDBLOCK)
        return descriptor;
    ::close(descriptor);
    throw Failure(kUnreadable, fmt::format("{}: another run works in this folder: wait for its "
                                           "end, or take another folder",
                                           folder.string()));
}

}  // namespace

void ResultFolder::require_free(const std::string& folder) {
    if (const int descriptor = lock(folder); descriptor >= 0) ::close(descriptor);
}

ResultFolder::ResultFolder(const std::string& folder) : folder_(folder), work_(folder_ / kWork) {
    if (folder.empty()) return;
    std::error_code error;
    is_new_ = fs::create_directories(folder_, error);
    if (error) refuse(folder_, error);
    lock_ = lock(folder_);
    fs::remove_all(work_, error);  // of a command that was killed
    if (!error) fs::create_directory(work_, error);
    if (error) refuse(work_, error);
}

ResultFolder::~ResultFolder() {
    if (folder_.empty()) return;
    std::error_code ignored;
    fs::remove_all(work_, ignored);
    if (is_new_) ::rmdir(folder_.c_str());  // when nothing came
    if (lock_ >= 0) ::close(lock_);
}

std::string ResultFolder::begin(const std::string& name) {
    names_.push_back(name);
    return (work_ / name).string();
}

void ResultFolder::move(const fs::path& from, const fs::path& to) {
    std::error_code error;
    if (const fs::file_status at = fs::symlink_status(from, error); fs::is_directory(at))
        throw Failure(kUnreadable, from.string() + ": it is a folder: remove it");
    fs::rename(from, to, error);
    if (error) refuse(from, error);
    moves_.push_back({from, to});
}

void ResultFolder::take_all() {
    std::vector<std::string> others;
    for (const fs::directory_entry& entry : fs::directory_iterator(work_))
        others.push_back(entry.path().filename().string());
    std::ranges::sort(others);
    for (const std::string& name : others)
        if (std::ranges::count(names_, name) == 0) names_.push_back(name);
}

void ResultFolder::put_in_place(const std::string& seal) {
    std::vector<std::string> earlier = obsolete_, made = names_;
    earlier.insert(earlier.end(), made.begin(), made.end());
    std::stable_partition(earlier.begin(), earlier.end(),
                          [&](const std::string& name) { return name == seal; });
    std::stable_partition(made.begin(), made.end(),
                          [&](const std::string& name) { return name != seal; });
    fs::create_directory(work_ / kEarlier);
    for (const std::string& name : earlier)
        if (fs::exists(fs::symlink_status(path(name)))) move(path(name), work_ / kEarlier / name);
    for (const std::string& name : made) move(work_ / name, path(name));
}

void ResultFolder::keep(const std::string& seal) {
    take_all();
    try {
        put_in_place(seal);
    } catch (const std::exception&) {
        std::error_code ignored;
        for (auto done = moves_.rbegin(); done != moves_.rend(); ++done)
            fs::rename(done->to, done->from, ignored);
        throw;
    }
}

void ResultFolder::set_aside(const std::string& name) {
    std::error_code error;
    fs::remove_all(path(name), error);
    if (!error) fs::rename(work_, path(name), error);
    if (error) refuse(path(name), error);
}

}  // namespace kve::companion
