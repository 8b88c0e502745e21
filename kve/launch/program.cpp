#include "kve/launch/program.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <sstream>

#include "kve/shared/failure.h"

namespace kve::companion {

namespace fs = std::filesystem;

namespace {

constexpr long kMilli = 1000, kMicro = 1'000'000, kNano = 1'000'000'000;
constexpr int kBetweenLooks = 200;  // milliseconds
constexpr int kOfSignal = 128;
constexpr std::array kOfUser{SIGINT, SIGTERM, SIGHUP};

bool is_program(const fs::path& file) {
    std::error_code ignored;
    return fs::is_regular_file(file, ignored) && ::access(file.c_str(), X_OK) == 0;
}

// Nothing is called here but what another thread's locks cannot stop.
[[noreturn]] void become_kve1(const Start& start, const sigset_t& signals, pid_t parent, int told) {
    ::sigprocmask(SIG_SETMASK, &signals, nullptr);
    ::prctl(PR_SET_PDEATHSIG, SIGTERM);  // when this program is killed
    const int in = ::open(start.directives.c_str(), O_RDONLY);
    const int out = ::open(start.listing.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0666);
    if (in >= 0 && out >= 0 && ::getppid() == parent && ::dup2(in, STDIN_FILENO) >= 0 &&
        ::dup2(out, STDOUT_FILENO) >= 0 && ::chdir(start.folder.c_str()) == 0) {
        for (const int file : {in, out})
            if (file > STDERR_FILENO) ::close(file);
        ::execl(start.program.c_str(), start.program.c_str(), nullptr);
    }
    const int error = errno;
    static_cast<void>(::write(told, &error, sizeof error) < 0);
    std::_Exit(EXIT_FAILURE);
}

pid_t start_kve1(const Start& start, const HeldSignals& signals) {
    int told[2];
    if (::pipe2(told, O_CLOEXEC) != 0) throw Failure(kUnreadable, std::strerror(errno));
    ::setenv("KVE_INPUTS", start.inputs.c_str(), 1);
    const pid_t parent = ::getpid();
    const pid_t child = ::fork();
    int error = errno;
    if (child == 0) become_kve1(start, signals.before(), parent, told[1]);
    ::close(told[1]);
    const bool has_failed = child < 0 || ::read(told[0], &error, sizeof error) > 0;
    ::close(told[0]);
    if (child > 0 && has_failed) ::waitpid(child, nullptr, 0);
    if (has_failed)
        throw Failure(kUnreadable,
                      fmt::format("{} cannot be started: {}", start.program, std::strerror(error)));
    return child;
}

double seconds_of(const timeval& time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / kMicro;
}

// False while it goes on.
bool has_ended(pid_t child, Ended& ended) {
    int status = 0;
    rusage used{};
    if (::wait4(child, &status, WNOHANG, &used) != child) return false;
    ended.signal = WIFSIGNALED(status) ? WTERMSIG(status) : 0;
    ended.status = ended.signal != 0 ? kOfSignal + ended.signal : WEXITSTATUS(status);
    ended.cpu_seconds = seconds_of(used.ru_utime) + seconds_of(used.ru_stime);
    constexpr int64_t kKilo = 1024;
    ended.most_memory = used.ru_maxrss * kKilo;
    return true;
}

}  // namespace

std::string find_kve1(const std::string& named) {
    std::error_code ignored;
    if (!named.empty()) {
        if (is_program(named)) return fs::absolute(named).string();
        throw Failure(kUsage, fmt::format("--program {}: no program", named));
    }
    const fs::path beside = fs::read_symlink("/proc/self/exe", ignored).parent_path() / "KVE1";
    if (is_program(beside)) return beside.string();
    const char* path = std::getenv("PATH");
    std::istringstream folders(path != nullptr ? path : "");
    for (std::string folder; std::getline(folders, folder, ':');)
        if (is_program(fs::path(folder) / "KVE1")) return fs::absolute(folder + "/KVE1").string();
    throw Failure(kUsage, fmt::format("there is no {} and no KVE1 on the PATH: --program names it",
                                      beside.string()));
}

HeldSignals::HeldSignals() {
    ::sigemptyset(&held_);
    for (const int signal : kOfUser) {
        struct sigaction action;
        const bool is_known = ::sigaction(signal, nullptr, &action) == 0;
        if (is_known && action.sa_handler != SIG_IGN) ::sigaddset(&held_, signal);
    }
    std::signal(SIGCHLD, SIG_DFL);
    ::sigaddset(&held_, SIGCHLD);
    ::sigprocmask(SIG_BLOCK, &held_, &before_);
}

HeldSignals::~HeldSignals() { ::sigprocmask(SIG_SETMASK, &before_, nullptr); }

int HeldSignals::wait(int milliseconds) const {
    const timespec time{milliseconds / kMilli, milliseconds % kMilli * (kNano / kMilli)};
    const int signal = ::sigtimedwait(&held_, nullptr, &time);
    return signal > 0 ? signal : 0;
}

Ended run_kve1(const Start& start, const HeldSignals& signals,
               const std::function<void(pid_t)>& look) {
    const auto begin = std::chrono::steady_clock::now();
    const pid_t child = start_kve1(start, signals);
    Ended ended;
    while (!has_ended(child, ended)) {
        const int signal = signals.wait(kBetweenLooks);
        if (signal != 0 && signal != SIGCHLD) {
            ::kill(child, ended.from_user == 0 ? signal : SIGKILL);
            ended.from_user = signal;
        }
        look(child);
    }
    ended.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
    return ended;
}

}  // namespace kve::companion
