// Whole runs in which the system refuses one allocation, read or write. Whichever it is, the run
// ends with status 16 and says why, or leaves the bytes of an undisturbed run.
#include "../program/run.h"

#include <fcntl.h>
#include <sys/wait.h>

#include <regex>

#include "doors.h"
#include "run/driver.h"

namespace {

using Files = std::map<std::string, std::string>;

// Twelve animals, the parents of each four and five before it. A has 3 levels, B the animals, C 4.
Files input_files() {
    Files files{{"old", "1 2 7 1\n2 1 0 1 1 0 0 1\n4 1 0 1 7 0 0 2\n"},
                {"foreign", "3 -2 1 5 .5 -999999 0 -999999 0\n4 -2 9 5 .5 0 0 0 0\n"},
                {"typed", "12\n7\n11\n"},
                {"genomic", "7 7 1.1\n11 11 1\n12 12 0.9\n7 12 0.1\n7 11 0.2\n"},
                {"four", "0 0 1\n1 1 2\n2 2 2\n3 3 2\n4 4 2\n1 3 .5\n"},
                {"dom", "0 0 1\n"},
                {"prior", "1 1 1 1\n1 2 2 1\n" + std::string(70000, '\n') + "2 1 1 4\n2 2 2 4\n"},
                {"KVEDIM", "&kvedim MFL=40 MDL=15 MAXNRM=60 /"}};
    for (int k = 0; k < 48; ++k)
        files["data"] += text("%d %d %d 2 1 %d %d\n", 1 + k / 16, 1 + k % 12, 1 + k % 4, k % 5, k);
    for (int k = 1; k <= 12; ++k) {
        const int sire = std::max(k - 4, 0), dam = std::max(k - 5, 0);
        files["ped"] += text("%d %d %d %d\n", k, sire, dam, k);
        files["grouped"] += text("%d %d %d %d\n", k, sire > 0 ? sire : -1, dam > 0 ? dam : -2, k);
        files["dom"] += text("%d %d 2\n", k, k);
    }
    return files;
}

std::string directives(const std::string& task, const std::string& structures,
                       const std::string& model, const std::string& priors) {
    return "$ANALYSE " + task + " 1 2\n$DATA ASCII (3,4,-9) data\n$VARIABLE\nA B C X W Y1 Y2\n" +
           structures + "$MODEL\n2" + model + "$PRIOR" + priors;
}

const std::string kRuns[] = {
    // All structures, results of other evaluations, a function of the user, restrictions.
    directives(
        "1 1",
        "$OLDSOL old\n$FINFO foreign\n$VAR_REST\nVAR 1 1\n$VAR_STR 1 COR ASCII four\n"
        "$VAR_STR 2 PED 6 ASCII grouped\n$VAR_STR 3 PGMIX 1 ASCII ped typed genomic 0.25 "
        "G-ADJUST\n$VAR_STR 4 GREL ASCII four\n$VAR_STR 5 DOM 2 ASCII dom\n"
        "$GLMM 2 VARF=USER(MU,Y-MU) LINK=USER(MU,1,ETA)\n",
        "\n0\n0\n3 2 6 1 3 2 2 3 2\n4 0 2 1 2\n5 1 2 3 4 5\n1 2\n2 1 1(3)\n0\n1\n1 2\n",
        "\n1 1 1 1\n2 1 1 1\n2 2 2 1\n2 3 3 1\n3 1 1 1\n4 1 1 1\n5 1 1 1\n6 1 1 4\n6 2 2 4\n"),
    // Inbreeding, residual groups, reduced rank, the mixture pair of a sequential binary trait.
    directives("2 0", "$REDUCE\n1\n1\n$VAR_STR 1 PED 1 ASCII ped\n$VAR_STR 2 GROUP 3\n",
               " 2 0 0 0\n0\n0\n3 2 2 1 2\n4 0 2 1 2\n1 1\n1 1\n0\n1 1\n0\n",
               "\n1 1 1 1\n2 1 1 4\n2 2 2 4\n"),
    // Absorbed effects; a file of priors that takes two reads.
    directives("12 1", "$VAR_STR 1 PED 2 ASCII ped\n",
               "\n1 1\n1 1\n3 2 2 3 2\n4 0 1 2\n1 1\n1 1\n0\n0\n0\n", " prior\n")};

// What a run leaves: after a stop the listing alone, else everything but the time.
struct Ended {
    int status;
    Granted left;
    Files files;
};

// A neighbour's deed at a read of the run.
struct Change {
    std::string file;
    void (*make)(const std::filesystem::path&);
    int at_read;
} change;

void make_change() {
    if (change.at_read-- == 0 && std::filesystem::exists(change.file)) change.make(change.file);
}

Ended run(const std::string& directives, const Granted& calls) {
    static const Files inputs = input_files();
    const Scratch scratch;
    for (const auto& [name, content] : inputs) {
        scratch.write(name, content);
        std::filesystem::last_write_time(scratch.folder() / name, {});
    }
    scratch.write("directives.in", directives);
    const pid_t child = ::fork();
    if (child == 0) {
        std::filesystem::current_path(scratch.folder());
        ::dup2(::open("directives.in", O_RDONLY), STDIN_FILENO);
        ::dup2(::open("listing.out", O_WRONLY | O_CREAT, 0666), STDOUT_FILENO);
        granted() = calls;
        kve::run();
    }
    int raw = 0;
    ::waitpid(child, &raw, 0);
    const Granted left = std::exchange(granted(), kAllCalls);
    if (raw != 0)
        return {WIFEXITED(raw) ? WEXITSTATUS(raw) : raw,
                left,
                {{"listing", scratch.read("listing.out")}}};
    Ended ended{0, left, {}};
    const std::regex once("\\d{4}(-\\d\\d){2} \\d\\d(:\\d\\d){2}|kve1-test-.{6}");
    for (const auto& file : std::filesystem::directory_iterator(scratch.folder())) {
        const std::string name = file.path().filename().string();
        ended.files[name] = std::regex_replace(scratch.read(name), once, "");
    }
    return ended;
}

struct Refusal {
    int Granted::*of;
    std::regex words;  // of the listing
};
const Refusal kRefusals[] = {
    {&Granted::allocations, std::regex("Trying to allocate +: \\w|Memmory allocation for byte")},
    {&Granted::reads, std::regex("ERROR - reading the file [.\\w ]+ failed: Input/output")},
    {&Granted::writes, std::regex("ERROR[^\\n]*writ")}};

// The sanitizers make a run slow: there only some of the calls are refused.
#ifdef KVE_INDEX_CHECKS
constexpr int kStride = 11;
#else
constexpr int kStride = 1;
#endif

class RefusedCall : public testing::TestWithParam<std::tuple<int, int>> {};

TEST_P(RefusedCall, EndsInWordsOrInAllBytes) {
    const auto [text, kind] = GetParam();
    const auto& [of, words] = kRefusals[kind];
    const Ended whole = run(kRuns[text], kAllCalls);
    ASSERT_EQ(whole.status, 0) << whole.files.at("listing");
    for (int n = kAll - whole.left.*of - 1; n >= 0; n -= kStride) {
        Granted few = kAllCalls;
        few.*of = n;
        const Ended cut = run(kRuns[text], few);
        if (cut.status == 0)
            for (const auto& [name, content] : whole.files)
                EXPECT_TRUE(cut.files.at(name) == content) << name << " at " << n;
        else
            ASSERT_TRUE(cut.status == 16 && std::regex_search(cut.files.at("listing"), words))
                << cut.status << " at " << n << cut.files.at("listing");
    }
}

// From the second read on: ahead of it the run does not know the file.
TEST(ChangedInput, NeverEndsWell) {
    namespace fs = std::filesystem;
    constexpr void (*kChanges[])(const fs::path&) = {
        [](const fs::path& file) { std::ofstream(file, std::ios::app) << "9 9 9 9\n"; },
        [](const fs::path& file) { fs::resize_file(file, fs::file_size(file) / 2); },
        [](const fs::path& file) { fs::remove(file); },
        [](const fs::path& file) { fs::copy_file(file, "new"), fs::rename("new", file); },
        [](const fs::path& file) { fs::last_write_time(file, fs::file_time_type::clock::now()); }};
    before_read = make_change;
    const int n_reads = kAll - run(kRuns[0], kAllCalls).left.reads;
    int first = 12;
    for (std::string file :
         {"data", "old", "foreign", "typed", "genomic", "four", "dom", "ped", "KVE1.dir", "PARIN"})
        for (auto* make : kChanges) {
            change = {file, make, 0};
            for (int n = first++ % 7 + 6; n < n_reads; n += 6 + kStride) {
                change.at_read = n;
                const Ended ended = run(kRuns[0], kAllCalls);
                EXPECT_TRUE(ended.status == 16 &&
                            ended.files.at("listing").find("ERROR") != std::string::npos)
                    << file << n << ended.files.at("listing");
            }
        }
    before_read = nullptr;
}

INSTANTIATE_TEST_SUITE_P(, RefusedCall,
                         testing::Combine(testing::Range(0, 3), testing::Range(0, 3)));

}  // namespace
