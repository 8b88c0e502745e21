// The doors to the system with a keeper. Memory and threads are asked for here, since the linker
// puts this in between. For all else the kernel hands the calls in kDoors to a handler, which
// refuses them or makes them itself.
#include "doors.h"

#include <fcntl.h>
#include <linux/audit.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <pthread.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <ucontext.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstdlib>
#include <new>
#include <vector>

// The linker prescribes the names.
// NOLINTBEGIN(bugprone-reserved-identifier)

extern "C" void* __real_mmap(void*, std::size_t, int, int, int, off_t);

Doors& doors() {
    static Doors& shared = *new (__real_mmap(nullptr, sizeof(Doors), PROT_READ | PROT_WRITE,
                                             MAP_SHARED | MAP_ANONYMOUS, -1, 0)) Doors;
    return shared;
}

void refuse_calls(Call kind, int first, int last) {
    for (std::atomic<int>& made : doors().made) made = 0;
    doors().own_reads = 0;
    doors().kind = kind;
    doors().first = first;
    doors().last = last;
}

static bool is_refused(Call kind) {
    const int n = ++doors().made[static_cast<std::size_t>(kind)];
    return kind == doors().kind && n >= doors().first && n <= doors().last;
}

// The linker puts these in the place of the calls in the program's own sources.
extern "C" {

void* __real_malloc(std::size_t bytes);
void* __wrap_malloc(std::size_t bytes) {
    return is_refused(Call::allocation) ? nullptr : __real_malloc(bytes);
}

void* __real_calloc(std::size_t elements, std::size_t bytes);
void* __wrap_calloc(std::size_t elements, std::size_t bytes) {
    return is_refused(Call::allocation) ? nullptr : __real_calloc(elements, bytes);
}

void* __wrap_mmap(void* at, std::size_t bytes, int use, int how, int file, off_t offset) {
    if (is_refused(Call::allocation)) return MAP_FAILED;
    return __real_mmap(at, bytes, use, how, file, offset);
}

void* __real_mremap(void* from, std::size_t bytes, std::size_t more, int how, void* to);
void* __wrap_mremap(void* from, std::size_t bytes, std::size_t more, int how, void* to) {
    if (is_refused(Call::growth)) {
        // The system clears the way before it fails.
        if ((how & MREMAP_FIXED) != 0) ::munmap(to, more);
        return MAP_FAILED;
    }
    return __real_mremap(from, bytes, more, how, to);
}

ssize_t __real_read(int file, void* into, std::size_t bytes);
ssize_t __wrap_read(int file, void* into, std::size_t bytes) {
    ++doors().own_reads;
    if (before_read != nullptr) before_read();
    return __real_read(file, into, bytes);
}

int __real_pthread_create(pthread_t* thread, const pthread_attr_t* how, void* (*work)(void*),
                          void* with);
int __wrap_pthread_create(pthread_t* thread, const pthread_attr_t* how, void* (*work)(void*),
                          void* with) {
    struct Start {
        void* (*work)(void*);
        void* with;
    };
    if (is_refused(Call::thread)) return EAGAIN;
    const auto behind_doors = [](void* given) {
        const Start start = *static_cast<Start*>(given);
        delete static_cast<Start*>(given);
        // A call that comes to a door must find its handler.
        sigset_t doors_signal;
        ::sigemptyset(&doors_signal);
        ::sigaddset(&doors_signal, SIGSYS);
        ::pthread_sigmask(SIG_UNBLOCK, &doors_signal, nullptr);
        return start.work(start.with);
    };
    return __real_pthread_create(thread, how, behind_doors, new Start{work, with});
}
}
// NOLINTEND(bugprone-reserved-identifier)

namespace {

struct Door {
    long call;
    Call kind;
    int error;
};
constexpr Door kDoors[] = {
    {SYS_openat, Call::open, EACCES},      {SYS_read, Call::read, EIO},
    {SYS_pread64, Call::read, EIO},        {SYS_write, Call::write, ENOSPC},
    {SYS_pwrite64, Call::write, ENOSPC},   {SYS_writev, Call::write, ENOSPC},
    {SYS_close, Call::close, EIO},         {SYS_fstat, Call::status, EIO},
    {SYS_newfstatat, Call::status, EIO},   {SYS_statx, Call::status, EIO},
    {SYS_fsync, Call::sync, EIO},          {SYS_fdatasync, Call::sync, EIO},
    {SYS_flock, Call::lock, ENOLCK},       {SYS_fcntl, Call::lock, ENOLCK},
    {SYS_lseek, Call::seek, EIO},          {SYS_unlink, Call::remove, EACCES},
    {SYS_unlinkat, Call::remove, EACCES},  {SYS_rename, Call::remove, EACCES},
    {SYS_ftruncate, Call::remove, EACCES}, {SYS_fallocate, Call::remove, EOPNOTSUPP},
};

// A sixth argument, which none of these calls has, lets the handler's own calls pass.
constexpr unsigned kPassed = 0x1f2e3d4c;

bool has_a_door(const Door& door, const long long* registers) {
    // Standard error seldom goes where the disk is full.
    if (door.kind == Call::write) return registers[REG_RDI] != STDERR_FILENO;
    if (door.call != SYS_fcntl) return true;
    const auto command = static_cast<int>(registers[REG_RSI]);
    return command == F_SETLK || command == F_OFD_SETLK;
}

void answer_call(int, siginfo_t* about, void* context) {
    const int kept = errno;
    auto* registers = static_cast<ucontext_t*>(context)->uc_mcontext.gregs;
    const Door& door = *std::ranges::find(kDoors, long{about->si_syscall}, &Door::call);
    const bool refused = has_a_door(door, registers) && is_refused(door.kind);
    long result = -door.error;
    // A close that fails has closed the file all the same.
    if (!refused || door.kind == Call::close)
        result = ::syscall(door.call, registers[REG_RDI], registers[REG_RSI], registers[REG_RDX],
                           registers[REG_R10], registers[REG_R8], kPassed);
    registers[REG_RAX] = refused ? -door.error : result < 0 ? -errno : result;
    errno = kept;
}

}  // namespace

void close_doors() {
    struct sigaction handler {};
    handler.sa_sigaction = answer_call;
    handler.sa_flags = SA_SIGINFO | SA_NODEFER;
    ::sigaction(SIGSYS, &handler, nullptr);
    std::vector<sock_filter> filter{
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, args[5])),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, kPassed, 0, 1),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr))};
    for (const Door& door : kDoors) {
        filter.push_back(
            BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, static_cast<unsigned>(door.call), 0, 1));
        filter.push_back(BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_TRAP));
    }
    filter.push_back(BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW));
    const sock_fprog program{static_cast<unsigned short>(filter.size()), filter.data()};
    if (::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0 ||
        ::prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) != 0)
        std::abort();
}
