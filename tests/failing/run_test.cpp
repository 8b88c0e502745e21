// Whole runs in which the system refuses calls. Whichever it is, the run ends with status 16, says
// why and names the file or table, or leaves the bytes of an undisturbed run.
//
// With KVE1_FAULTS in the environment the runs are larger, and each of their calls is refused.
#include "../program/run.h"

#include <sys/wait.h>

#include <regex>

#include "doors.h"
#include "run/driver.h"
#include "small_inputs.h"

namespace {

const bool kThorough = std::getenv("KVE1_FAULTS") != nullptr;

std::string directives(const std::string& task, const std::string& structures,
                       const std::string& model, const std::string& priors) {
    return "$ANALYSE " + task +
           " 1 2\n$DATA ASCII (4,6,-9) data\n$VARIABLE\nA B C D X W Y1 Y2 V Z\n" + structures +
           "$MODEL\n2" + model + "$PRIOR" + priors;
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

struct Ended {
    int status;
    int own_reads;
    std::array<int, kCalls> calls;
    std::string words;  // the listing and what went to standard error
    Files files;        // all but the time, of a run that ends well
};

const Files& inputs_of(int animals) {
    static std::map<int, Files> made;
    Files& files = made[animals];
    if (!files.empty()) return files;
    files = input_files(animals);
    files["prior"] = "1 1 1 1\n1 2 2 1\n" + std::string(70000, '\n') + "2 1 1 4\n2 2 2 4\n";
    files["KVEDIM"] = "&kvedim MFL=40 MDL=15 MAXNRM=60 /";
    return files;
}

// Only tables of a megabyte grow in place, and only files of some blocks have a thread. The first
// run would make dense matrices of all animals, and the inbreeding of the second one, all of one
// line, takes long.
bool is_large(int text, Call kind) {
    return kThorough && text == 2 && (kind == Call::growth || kind == Call::thread);
}
int animals_of(int text, Call kind) { return is_large(text, kind) ? 60000 : kThorough ? 400 : 12; }

// A neighbour's deed at a read of the run.
struct Change {
    std::string file;
    void (*make)(const std::filesystem::path&);
    int at_read;
} change;

void make_change() {
    if (change.at_read-- == 0 && std::filesystem::exists(change.file)) change.make(change.file);
}

Ended run(const std::string& directives, int animals, Call kind, int first, int last) {
    const Scratch scratch;
    for (const auto& [name, content] : inputs_of(animals)) {
        scratch.write(name, content);
        std::filesystem::last_write_time(scratch.folder() / name, {});
    }
    refuse_calls(kind, first, last);
    int raw = 0;
    ::waitpid(scratch.fork_run(directives, [] { close_doors(), kve::run(); }), &raw, 0);
    Ended ended{WIFEXITED(raw) ? WEXITSTATUS(raw) : 1000 + raw, doors().own_reads, {}, {}, {}};
    std::ranges::copy(doors().made, ended.calls.begin());
    grant_all_calls();
    const std::regex once("\\d{4}(-\\d\\d){2} \\d\\d(:\\d\\d){2}|kve1-test-.{6}");
    const auto timeless = [&](const std::string& name) {
        return std::regex_replace(scratch.read(name), once, "");
    };
    ended.words = timeless("listing.out") + timeless("errors.out");
    if (ended.status != 0) return ended;
    for (const auto& file : std::filesystem::directory_iterator(scratch.folder())) {
        const std::string name = file.path().filename();
        const bool has_time = name == "MODINF" || name == "KVE_LOG" || name == "listing.out";
        ended.files[name] = has_time ? timeless(name) : scratch.read(name);
    }
    return ended;
}

// What a run says from the line on that an undisturbed one has not.
std::string_view news(const Ended& cut, const Ended& whole) {
    const auto apart = std::ranges::mismatch(cut.words, whole.words).in1 - cut.words.begin();
    const std::size_t line = cut.words.rfind('\n', static_cast<std::size_t>(apart)) + 1;
    return std::string_view(cut.words).substr(line);
}

// A refusal that spoils no output may be told on the listing of a good run.
bool is_as_whole(const std::string& name, const Ended& cut, const Ended& whole) {
    const std::string_view told = news(cut, whole);
    return cut.files.at(name) == whole.files.at(name) ||
           (name == "listing.out" && (told.starts_with("WARNING") || told.starts_with("Error")));
}

struct Refusal {
    Call kind;
    bool lasts;  // from one call on all are refused
    const char* name;
};
const Refusal kRefusals[] = {{Call::allocation, false, "allocation"},
                             {Call::growth, false, "growth"},
                             {Call::open, false, "open"},
                             {Call::read, false, "read"},
                             {Call::write, false, "write"},
                             {Call::write, true, "full_disk"},
                             {Call::close, false, "close"},
                             {Call::status, false, "status"},
                             {Call::sync, false, "sync"},
                             {Call::lock, false, "lock"},
                             {Call::seek, false, "seek"},
                             {Call::remove, false, "remove"},
                             {Call::thread, false, "thread"}};

// Does a stop say what could not be done with which file or table?
bool names_something(std::string_view words, const Files& files) {
    if (words.find("ERROR") == words.npos) return false;
    for (const char* other :
         {"Trying to allocate", "listing", "driver file", "working directory", "the output ",
          "writing the file ", "reading the file ", "ST_DIR", "CVREST.DIR"})
        if (words.find(other) != words.npos) return true;
    return std::ranges::any_of(
        files, [&](const auto& file) { return words.find(file.first) != words.npos; });
}

void PrintTo(const Refusal& refusal, std::ostream* to) { *to << refusal.name; }

// A sample of the calls is enough to see that a kind is looked at.
#ifdef KVE_INDEX_CHECKS
constexpr int kSample = 8, kReadsApart = 17;
#else
constexpr int kSample = 25, kReadsApart = 7;
#endif

class RefusedCall : public testing::TestWithParam<std::tuple<int, Refusal>> {};

TEST_P(RefusedCall, EndsInWordsOrInAllBytes) {
    const auto& [text, refusal] = GetParam();
    const int animals = animals_of(text, refusal.kind);
    const Ended whole = run(kRuns[text], animals, Call::kinds, 0, 0);
    ASSERT_EQ(whole.status, 0) << whole.words;
    const int calls = whole.calls[static_cast<std::size_t>(refusal.kind)];
    const bool is_for_large = refusal.kind == Call::growth || refusal.kind == Call::thread;
    ASSERT_TRUE(calls > 0 || (is_for_large && !is_large(text, refusal.kind)));
    if (kThorough) std::cout << calls << " calls of run " << text << ": " << refusal.name << "\n";
    const int stride = kThorough ? 1 : std::max(1, calls / kSample);
    for (int n = calls; n > 0; n -= stride) {
        const int last = refusal.lasts ? calls + 1000 : n;
        const Ended cut = run(kRuns[text], animals, refusal.kind, n, last);
        if (cut.status == 0)
            for (const auto& [name, content] : whole.files)
                EXPECT_TRUE(cut.files.contains(name) && is_as_whole(name, cut, whole))
                    << name << " at " << n << "\n"
                    << news(cut, whole).substr(0, 200);
        else
            EXPECT_TRUE(cut.status == 16 && names_something(news(cut, whole), whole.files))
                << cut.status << " at " << n << "\n"
                << news(cut, whole);
    }
}

// From the sixth read on: ahead of it the run reads KVEDIM and the directives and knows no input.
TEST(ChangedInput, NeverEndsWell) {
    namespace fs = std::filesystem;
    constexpr void (*kChanges[])(const fs::path&) = {
        [](const fs::path& file) { std::ofstream(file, std::ios::app) << "9 9 9 9\n"; },
        [](const fs::path& file) { fs::resize_file(file, fs::file_size(file) / 2); },
        [](const fs::path& file) { fs::remove(file); },
        [](const fs::path& file) { fs::copy_file(file, "new"), fs::rename("new", file); },
        [](const fs::path& file) { fs::last_write_time(file, fs::file_time_type::clock::now()); }};
    before_read = make_change;
    const auto run_all = [] { return run(kRuns[0], 12, Call::kinds, 0, 0); };
    const int n_reads = run_all().own_reads;
    ASSERT_GT(n_reads, 20);
    int first = 12;
    for (std::string file :
         {"data", "old", "foreign", "typed", "genomic", "four", "dom", "ped", "KVE1.dir", "PARIN"})
        for (auto* make : kChanges) {
            change = {file, make, 0};
            for (int n = first++ % 7 + 6; n < n_reads; n += kReadsApart) {
                change.at_read = n;
                const Ended ended = run_all();
                EXPECT_TRUE(ended.status == 16 && ended.words.find("ERROR") != std::string::npos)
                    << file << n << ended.words;
            }
        }
    before_read = nullptr;
}

INSTANTIATE_TEST_SUITE_P(, RefusedCall,
                         testing::Combine(testing::Range(0, 3), testing::ValuesIn(kRefusals)),
                         [](const auto& about) {
                             return "run" + std::to_string(std::get<0>(about.param)) + "_" +
                                    std::get<1>(about.param).name;
                         });

}  // namespace
