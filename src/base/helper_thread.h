// A thread that helps the run, and how the two wait for each other.
#pragma once

#include <pthread.h>
#include <semaphore.h>

#include <cstddef>

namespace kve {

// What one thread writes all the time stands on other lines of the cache than what another reads.
inline constexpr std::size_t kCacheLine = 64;

// Counts what is ready. The memory that one side wrote ahead of `post` is what the other sees after
// `wait`.
class Semaphore {
 public:
    Semaphore() { static_cast<void>(::sem_init(&count_, 0, 0)); }
    Semaphore(const Semaphore&) = delete;
    Semaphore& operator=(const Semaphore&) = delete;
    ~Semaphore() { static_cast<void>(::sem_destroy(&count_)); }

    // While nobody waits.
    void set(unsigned ready) {
        static_cast<void>(::sem_destroy(&count_));
        static_cast<void>(::sem_init(&count_, 0, ready));
    }
    void post() { static_cast<void>(::sem_post(&count_)); }
    // Takes one, and sleeps while there is none.
    void wait() {
        while (::sem_wait(&count_) != 0) continue;  // a signal came in between
    }

 private:
    sem_t count_;
};

class HelperThread {
 public:
    HelperThread() = default;
    HelperThread(const HelperThread&) = delete;
    HelperThread& operator=(const HelperThread&) = delete;
    ~HelperThread() { join(); }

    // Calls `work` on a thread of its own. False where none is to be had, and where it would bring
    // nothing because the process has one core.
    [[nodiscard]] bool start(void* (*work)(void*), void* argument);
    // Waits for the end of `work`.
    void join();
    bool is_running() const { return is_running_; }

 private:
    pthread_t thread_{};
    bool is_running_ = false;
};

}  // namespace kve
