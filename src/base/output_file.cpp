#include "base/output_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <string>
#include <system_error>

namespace kve {
namespace {

namespace fs = std::filesystem;

int kind_fault(mode_t mode) {
    if (S_ISREG(mode)) return 0;
    return S_ISDIR(mode) ? EISDIR : kNotAFile;
}

// Follows a link, which may change from here on: what is opened is the file that was looked at.
int find_target(const std::string& path, std::string& target) {
    target = path;
    struct stat about;
    if (::lstat(path.c_str(), &about) != 0) return errno == ENOENT ? 0 : errno;
    if (!S_ISLNK(about.st_mode)) return kind_fault(about.st_mode);
    std::error_code lost;
    const fs::path file = fs::canonical(path, lost);
    if (lost) return kLinkOutside;
    const fs::path below = file.lexically_relative(fs::canonical(".", lost));
    if (lost || below.empty() || *below.begin() == "..") return kLinkOutside;
    target = file.string();
    return ::stat(target.c_str(), &about) == 0 ? kind_fault(about.st_mode) : errno;
}

}  // namespace

int check_output(const std::string& path) {
    std::string target;
    return find_target(path, target);
}

int open_output(const std::string& path, int& descriptor) {
    descriptor = -1;
    std::string target;
    if (const int status = find_target(path, target); status != 0) return status;
    // The name may have become that of a pipe or a link meanwhile.
    const int opened =
        ::open(target.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC | O_NONBLOCK | O_NOFOLLOW, 0666);
    if (opened < 0) return errno;
    struct stat about;
    int status = ::fstat(opened, &about) == 0 ? kind_fault(about.st_mode) : errno;
    if (status == 0 && about.st_size > 0 && ::ftruncate(opened, 0) != 0) status = errno;
    if (status != 0)
        ::close(opened);
    else
        descriptor = opened;
    return status;
}

int sync_to_disk(int descriptor) {
    while (::fdatasync(descriptor) != 0) {
        // Some file systems have no such call.
        if (errno == EINVAL || errno == ENOSYS || errno == EOPNOTSUPP) return 0;
        if (errno != EINTR) return errno;
    }
    return 0;
}

std::string words_of(int status) {
    switch (status) {
        case kNotAFile:
            return "it is a pipe, a socket or a device: remove it";
        case EISDIR:
            return "it is a folder: remove it";
        case kLinkOutside:
            return "it is a link that leads out of the working directory, or to no file: remove it";
        default:
            return std::strerror(status);
    }
}

}  // namespace kve
