// Runs that end before their time, or beside another one: what they leave is no model, and the next
// run in the folder does not notice.
#include <fcntl.h>
#include <sys/file.h>
#include <sys/ptrace.h>
#include <sys/resource.h>
#include <sys/wait.h>

#include <csignal>

#include "run.h"

namespace fs = std::filesystem;

namespace {

using Files = std::map<std::string, std::string>;
constexpr int kPlaces = 20;

// Two traits with a pedigree and restrictions.
std::string directives(const std::string& variance) {
    return "$ANALYSE 1 1 0 0\n$DATA ASCII (1,2,-9.0) data\n$VAR_STR 1 PED 1 ASCII ped\n"
           "$VAR_REST\nVAR 1 1\n$MODEL\n2\n0\n0\n1 0 1 1\n2 0 1 1\n1 1\n1 1\n0\n0\n0\n$PRIOR\n" +
           priors({2}) + "2 1 1 " + variance + "\n2 2 2 4.0\n";
}

class InterruptedRun : public testing::Test {
 protected:
    InterruptedRun() {
        for (int k = 1; k <= 9; ++k) {
            data += text("%d %d %d\n", k, k % 3, k % 5);
            pedigree += text("%d %d %d %d\n", k, std::max(k - 4, 0), std::max(k - 3, 0), k);
        }
        scratch.write("data", data);
        scratch.write("ped", pedigree);
    }

    pid_t start(const std::string& text, const std::function<void()>& prepare) const {
        return scratch.fork_run(text, [&] {
            prepare();
            ::execl(KVE1_PROGRAM, KVE1_PROGRAM, nullptr);
        });
    }

    int run(const std::string& text, const std::function<void()>& prepare) const {
        int status = 0;
        ::waitpid(start(text, prepare), &status, 0);
        return WEXITSTATUS(status);
    }

    // Sends the signal at the n-th stop at a call to the system, of which `stops` are made; the
    // status of the wait.
    int interrupt(const std::string& text, int n, int signal, int& stops) const {
        const pid_t run = start(text, [] { ::ptrace(PTRACE_TRACEME, 0, nullptr, nullptr); });
        int status = 0;
        ::waitpid(run, &status, 0);
        for (stops = 0; WIFSTOPPED(status); ++stops) {
            if (stops == n) {
                ::kill(run, signal);
                ::ptrace(PTRACE_DETACH, run, nullptr, nullptr);
            } else {
                ::ptrace(PTRACE_SYSCALL, run, nullptr, nullptr);
            }
            ::waitpid(run, &status, 0);
        }
        return status;
    }

    // Without the times of the runs.
    Files outputs() const {
        Files files;
        for (const auto& file : fs::directory_iterator(scratch.folder()))
            files[file.path().filename()] = scratch.read(file.path().filename());
        for (const char* name : {"directives.in", "listing.out", "errors.out"}) files.erase(name);
        if (files["MODINF"].size() > 36) files["MODINF"].replace(8, 24, "");
        return files;
    }

    Scratch scratch;
    std::string data, pedigree;
};

}  // namespace

TEST_F(InterruptedRun, LeavesNoModelAndNothingInTheWay) {
    ASSERT_EQ(scratch.run(directives("5")).status, 0);
    const Files later = outputs();
    ASSERT_EQ(scratch.run(directives("4")).status, 0);
    const Files earlier = outputs();
    const char* const words =
        "\nERROR - the run was interrupted by a signal, its files are not complete\n"
        "Program terminates\n";
    int stops = 0, n_interrupted = 0;
    ASSERT_EQ(interrupt(directives("5"), -1, 0, stops), 0);
    for (int signal : {SIGINT, SIGTERM, SIGKILL})
        for (int place = 1; place <= kPlaces; ++place) {
            ASSERT_EQ(scratch.run(directives("4")).status, 0);
            ASSERT_EQ(outputs(), earlier) << signal << " at " << place;
            int made = 0;
            const int n = stops * place / (kPlaces + 1);
            const int status = interrupt(directives("5"), n, signal, made);
            const Files left = outputs();
            if (status == 0) {
                EXPECT_EQ(left, later);
                continue;
            }
            ++n_interrupted;
            EXPECT_EQ(status, signal);
            // Until the program itself has begun nothing catches a signal.
            const std::string listing = scratch.read("listing.out");
            EXPECT_TRUE(signal == SIGKILL || listing.empty() || listing.ends_with(words))
                << n << " of " << stops;
            EXPECT_TRUE(left == earlier || left.at("MODINF").empty() ||
                        numbers<int>(left.at("MODINF"))[0] == 0)
                << signal << " at " << place;
        }
    EXPECT_GE(n_interrupted, 3 * (kPlaces - 1));
}

TEST_F(InterruptedRun, StoppedByAFaultLeavesNoEarlierModelBesideItsFiles) {
    for (const std::string& fault : {directives("5") + "$MODEL\n", directives("5") + "a\r\n",
                                     directives("x"), directives("-5")}) {
        ASSERT_EQ(scratch.run(directives("4")).status, 0);
        EXPECT_EQ(scratch.run(fault).status, 16);
        EXPECT_EQ(scratch.read("MODINF"), "") << fault;
        EXPECT_NE(scratch.read("PARIN").find(fault.substr(fault.find("2 1 1"), 7)),
                  std::string::npos);
    }
    // It has written nothing.
    ASSERT_EQ(scratch.run(directives("4")).status, 0);
    const Files earlier = outputs();
    EXPECT_EQ(scratch.run("$ANALYSE 1 1 0 0\n$DATA WRONG\n").status, 16);
    EXPECT_EQ(outputs(), earlier);
}

TEST_F(InterruptedRun, AnotherOneInTheFolderIsRefused) {
    ASSERT_EQ(scratch.run(directives("4")).status, 0);
    const Files earlier = outputs();
    const int folder = ::open(scratch.folder().c_str(), O_RDONLY);
    ASSERT_EQ(::flock(folder, LOCK_EX), 0);
    const Outcome second = scratch.run(directives("5"));
    EXPECT_EQ(second.status, 16);
    EXPECT_TRUE(second.words.ends_with(
        "ERROR - another run works in this directory: wait for its end, or run in another one "
        "Program terminates"));
    EXPECT_EQ(outputs(), earlier);
    ::close(folder);
    EXPECT_EQ(scratch.run(directives("5")).status, 0);
}

TEST_F(InterruptedRun, ALostLineOfTheListingIsToldElsewhere) {
    const std::pair<void (*)(), const char*> losses[] = {
        {[] { ::dup2(::open("/dev/full", O_WRONLY), STDOUT_FILENO); }, "No space left on device"},
        {[] { ::close(STDOUT_FILENO); }, "Bad file descriptor"},
        {[] {
             int ends[2];
             static_cast<void>(::pipe(ends) + ::dup2(ends[1], STDOUT_FILENO) + ::close(ends[0]));
         },
         "Broken pipe"},
        {[] {
             const struct rlimit few = {3000, 3000};
             ::setrlimit(RLIMIT_FSIZE, &few);
         },
         "File too large"}};
    for (const auto& [lose, reason] : losses) {
        EXPECT_EQ(run(directives("4"), lose), 16);
        EXPECT_EQ(scratch.read("errors.out"),
                  "ERROR - writing the listing failed: " + std::string(reason) + "\n");
        EXPECT_EQ(scratch.read("MODINF"), "");
        EXPECT_EQ(scratch.read("listing.out").find("END OF"), std::string::npos);
        // Nobody would see what follows.
        EXPECT_FALSE(scratch.has("RCDATA_I")) << reason;
    }
}
