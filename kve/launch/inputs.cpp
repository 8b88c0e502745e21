#include "kve/launch/inputs.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <nettle/sha2.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <filesystem>

namespace kve::companion {

namespace {

Input look_at(const std::string& name, const std::string& path) {
    Input input;
    input.name = name;
    input.path = path;
    struct stat about;
    if (::stat(path.c_str(), &about) != 0 || !S_ISREG(about.st_mode)) return input;
    input.is_there = true;
    input.device = about.st_dev;
    input.inode = about.st_ino;
    input.bytes = about.st_size;
    input.modified = about.st_mtim;
    return input;
}

bool is_same(const Input& a, const Input& b) {
    return a.is_there == b.is_there && a.device == b.device && a.inode == b.inode &&
           a.bytes == b.bytes && a.modified.tv_sec == b.modified.tv_sec &&
           a.modified.tv_nsec == b.modified.tv_nsec;
}

// Empty when the file cannot be read to its end.
std::string sha256_of(const std::string& path) {
    const int file = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (file < 0) return {};
    constexpr std::size_t kBlock = std::size_t{1} << 20;
    std::vector<uint8_t> block(kBlock);
    sha256_ctx context;
    ::sha256_init(&context);
    ssize_t n = 0;
    while ((n = ::read(file, block.data(), block.size())) > 0)
        ::sha256_update(&context, static_cast<std::size_t>(n), block.data());
    ::close(file);
    if (n < 0) return {};
    std::array<uint8_t, SHA256_DIGEST_SIZE> digest;
    ::sha256_digest(&context, digest.size(), digest.data());
    return fmt::format("{:02x}", fmt::join(digest, ""));
}

}  // namespace

std::vector<Input> find_inputs(const std::string& directives, const std::vector<std::string>& names,
                               const std::string& folder) {
    std::vector<Input> inputs{look_at(directives, std::filesystem::absolute(directives).string())};
    for (const std::string& name : names)
        inputs.push_back(look_at(name, (std::filesystem::path(folder) / name).string()));
    return inputs;
}

bool is_one_of(const std::vector<Input>& inputs, const std::string& path) {
    const Input file = look_at("", path);
    return file.is_there && std::ranges::any_of(inputs, [&file](const Input& input) {
               return input.device == file.device && input.inode == file.inode;
           });
}

void find_checksums(std::vector<Input>& inputs) {
    for (Input& input : inputs) {
        if (!input.is_there) continue;
        input.sha256 = sha256_of(input.path);
        input.has_changed = !is_same(input, look_at(input.name, input.path));
        if (input.has_changed) input.sha256.clear();
    }
}

}  // namespace kve::companion
