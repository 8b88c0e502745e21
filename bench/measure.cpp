// Runs a program and prints its wall, user and system time (seconds) and its peak memory (MB).
//
//     measure PROGRAM [ARGUMENT...]
//
// Standard input and error go to the program; what it prints is dropped.
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>

namespace {

double seconds(const timeval& time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) * 1e-6;
}

}  // namespace

int main(int count, char** words) {
    if (count < 2) return 2;
    const auto start = std::chrono::steady_clock::now();
    pid_t child = ::fork();
    if (child == 0) {
        ::dup2(::open("/dev/null", O_WRONLY), STDOUT_FILENO);
        ::execvp(words[1], words + 1);
        ::_exit(127);
    }
    int status = 0;
    rusage used;
    if (child < 0 || ::wait4(child, &status, 0, &used) != child) return 2;
    const std::chrono::duration<double> wall = std::chrono::steady_clock::now() - start;
    std::printf("%.3f %.3f %.3f %.1f\n", wall.count(), seconds(used.ru_utime),
                seconds(used.ru_stime), static_cast<double>(used.ru_maxrss) / 1024.0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 2;
}
