#include "process.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>

#include "base/leave.h"
#include "reset_tables.h"

namespace fs = std::filesystem;

namespace {

struct Left {
    int status;
};

// The lowest descriptor that is free.
int next_descriptor() {
    const int next = ::dup(STDERR_FILENO);
    ::close(next);
    return next;
}

void take_place_of(int stream, int file) {
    require(::dup2(file, stream) == stream);
    ::close(file);
}

struct ScratchFolder {
    ScratchFolder() {
        std::string pattern = (fs::temp_directory_path() / "kve1-fuzz-XXXXXX").string();
        require(::mkdtemp(pattern.data()) != nullptr);
        fs::current_path(path = pattern);
    }
    ScratchFolder(const ScratchFolder&) = delete;
    ScratchFolder& operator=(const ScratchFolder&) = delete;
    ~ScratchFolder() {
        std::error_code ignored;
        fs::remove_all(path, ignored);
    }
    fs::path path;
};

}  // namespace

namespace kve {

// The sources are compiled with exceptions here, so that a stop unwinds the stages.
void leave_program(int status) { throw Left{status}; }

}  // namespace kve

// Freed memory is kept from use for a while; a larger share of it costs fresh pages in each run.
// The sanitizer prescribes the name.
// NOLINTNEXTLINE(bugprone-reserved-identifier)
extern "C" const char* __asan_default_options() {
    return "quarantine_size_mb=2:allocator_may_return_null=1";
}

int run_fresh(void (*stages)()) {
    const int free_before = next_descriptor();
    int status = 0;
    try {
        stages();
    } catch (const Left& left) {
        status = left.status;
    }
    reset_tables();
    require(next_descriptor() == free_before);
    return status;
}

void empty_scratch_folder() {
    static const ScratchFolder scratch;
    for (const auto& file : fs::directory_iterator(".")) fs::remove_all(file.path());
}

void write_file(const std::string& name, std::string_view content) {
    const int file = ::open(name.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0666);
    require(::write(file, content.data(), content.size()) == static_cast<ssize_t>(content.size()));
    ::close(file);
}

void read_standard_input_from(const std::string& name) {
    take_place_of(STDIN_FILENO, ::open(name.c_str(), O_RDONLY));
}

void send_listing_to(const std::string& name) {
    std::fflush(stdout);
    std::clearerr(stdout);
    take_place_of(STDOUT_FILENO, ::open(name.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0666));
}

int memory_file(std::string_view content) {
    static const int file = ::memfd_create("input", MFD_CLOEXEC);
    require(::ftruncate(file, 0) == 0);
    require(::pwrite(file, content.data(), content.size(), 0) ==
            static_cast<ssize_t>(content.size()));
    ::lseek(file, 0, SEEK_SET);
    return file;
}
