// kve run: what a run leaves in its folder, whatever becomes of it.
#include "program/run.h"

#include <sys/wait.h>

#include <csignal>
#include <nlohmann/json.hpp>
#include <thread>

namespace {

namespace fs = std::filesystem;
using Files = std::map<std::string, std::string>;

// Two traits, of which the second has a weight; cow 4 has no herd, cow 5 no weight, cow 6 no value.
const char* const kDirectives =
    "$ANALYSE 1 1 0 0\n$DATA ASCII (2,3,-9.0) data\n$VARIABLE\nCOW HERD MILK FAT TESTS\n"
    "$MODEL\n2\n0\n0\n1 0 2 2 1\n2 3 2 2 1\n1 1\n1 1\n0\n0\n0\n$VAR_STR 1 PED 1 ASCII ped\n"
    "$PRIOR\n1 1 1 2.0\n1 2 2 3.0\n2 1 1 4.0\n2 2 2 5.0\n$KVEAI options\n";

struct Shown {
    int status;
    std::string out, words;
};

class Launch : public testing::Test {
 protected:
    Launch() {
        std::string data, pedigree;
        for (int k = 1; k <= 20; ++k) {
            data += text("%d %d %d.5 %s %d\n", k, k == 4 ? 0 : 1 + k % 3, 20 + k % 7,
                         k == 6 ? "-9" : text("%d.25", 4 + k % 3).c_str(), k == 5 ? -9 : 1 + k % 2);
            pedigree += text("%d %d %d %d\n", k, std::max(k - 8, 0), std::max(k - 7, 0), k);
        }
        scratch.write("data", data);
        scratch.write("ped", pedigree);
        scratch.write("options", "kept as it is\n");
        scratch.write("cows.kve", kDirectives);
    }

    pid_t start(const std::string& arguments) const {
        const pid_t child = ::fork();
        if (child != 0) return child;
        const std::string command = "cd '" + scratch.folder().string() +
                                    "' && exec '" KVE_PROGRAM "' run " + arguments +
                                    " >/dev/null 2>&1";
        ::execl("/bin/sh", "sh", "-c", command.c_str(), nullptr);
        std::_Exit(99);
    }

    Shown run(const std::string& arguments, const std::string& command = "run") const {
        const std::string line = "cd '" + scratch.folder().string() +
                                 "' && exec '" KVE_PROGRAM "' " + command + " " + arguments +
                                 " >.shown 2>.words";
        const int raw = std::system(line.c_str());
        return {WIFEXITED(raw) ? WEXITSTATUS(raw) : 1000 + WTERMSIG(raw), scratch.read(".shown"),
                scratch.read(".words")};
    }

    Files files(const std::string& folder) const {
        Files found;
        if (!scratch.has(folder)) return found;
        for (const auto& file : fs::recursive_directory_iterator(scratch.folder() / folder))
            if (file.is_regular_file()) {
                const std::string name =
                    fs::relative(file.path(), scratch.folder() / folder).string();
                found[name] = scratch.read((fs::path(folder) / name).string());
            }
        return found;
    }

    // A program in the place of KVE1 that writes its number and waits.
    void wait_instead() const {
        scratch.write("wait",
                      "#!/bin/sh\necho half >RCDATA_I\necho $$ >\"$KVE_INPUTS/number\"\n"
                      "exec sleep 60\n");
        fs::permissions(scratch.folder() / "wait", fs::perms::owner_all);
    }
    pid_t waiting_program() const {
        for (int k = 0; k < 1000 && scratch.read("number").empty(); ++k)
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        return std::atoi(scratch.read("number").c_str());
    }

    Scratch scratch;
};

TEST_F(Launch, AGoodRunLeavesItsFilesAndTheirRecord) {
    const Shown shown = run("cows.kve");
    ASSERT_EQ(shown.status, 0) << shown.words;
    for (const char* line : {"20 records read, 19 recoded", "MILK 19 0 1 HERD 3 levels",
                             "FAT 17 1 2 HERD 3 levels", "1 COW PED, 20 levels, 40 equations"})
        EXPECT_NE(folded(shown.out).find(line), std::string::npos) << line << "\n" << shown.out;
    const auto record = nlohmann::json::parse(scratch.read("cows.run/run.json"));
    EXPECT_EQ(record.at("status"), 0);
    std::set<std::string> names;
    for (const auto& input : record.at("inputs")) {
        const std::string name = input.at("name"), sum = input.at("sha256");
        names.insert(name);
        EXPECT_EQ(std::system(("cd '" + scratch.folder().string() + "' && echo '" + sum + "  " +
                               name + "' | sha256sum -c --status")
                                  .c_str()),
                  0)
            << input;
        EXPECT_EQ(input.at("bytes"), scratch.read(name).size());
    }
    EXPECT_EQ(names, (std::set<std::string>{"cows.kve", "data", "ped", "options"}));

    Files made = files("cows.run");
    EXPECT_EQ(made.at("options"), "kept as it is\n");
    EXPECT_NE(made.at("KVE1.lst").find("END OF KVE1V6"), std::string::npos);
    ASSERT_EQ(scratch.run(kDirectives).status, 0);
    for (const char* name : {"RCDATA_I", "RCDATA_R", "CODE_TABLE", "AINV1", "PEDFILE1", "KVE_LOG"})
        EXPECT_EQ(made[name], scratch.read(name)) << name;
    for (const char* command : {"verify", "summary", "levels"})
        EXPECT_EQ(run("cows.run", command).status, 0) << command;
    EXPECT_FALSE(scratch.has("cows.run/.kve-work"));
}

TEST_F(Launch, AStoppedRunTellsWhyAndLeavesTheEarlierOne) {
    const std::string data = scratch.read("data"), pedigree = scratch.read("ped");
    struct Case {
        const char *file, *content, *words;
        int status;
        const char* options;
    };
    const std::string broken = data + "20 x 1 1 1\n", loop = pedigree + "30 30 0 1\n31 0 30 0\n";
    const Case cases[] = {
        {"cows.kve", "$ANALYSE 1 99 0 0\n", "[analyse-line]", 1, ""},
        {"data", broken.c_str(), "Reading data file at observation: 21", 16, "--force"},
        {"data", broken.c_str(), "Reading data file at observation: 21", 16, "--force --keep"},
        {"ped", "1 2 0 1\n2 0 0 5\n", "Method used to compute A-inverse is 1 This method", 16,
         "--force"},
        {"ped", "1 2\n", "do not contain 4 columns", 16, "--force"},
    };
    ASSERT_EQ(run("cows.kve").status, 0);
    const Files good = files("cows.run");
    for (const Case& c : cases) {
        const std::string before = scratch.read(c.file);
        scratch.write(c.file, c.content);
        const Shown shown = run(std::string("cows.kve ") + c.options);
        EXPECT_EQ(shown.status, c.status) << c.words;
        EXPECT_NE(folded(shown.words).find(c.words), std::string::npos) << shown.words;
        Files left = files("cows.run");
        const Files stopped = files("cows.run/stopped");
        std::erase_if(left, [](const auto& file) { return file.first.starts_with("stopped/"); });
        EXPECT_EQ(left, good) << c.words;
        EXPECT_EQ(stopped.count("KVE1.lst"), c.status == 16 ? 1U : 0U);
        const bool is_kept = std::string_view(c.options).ends_with("--keep");
        EXPECT_EQ(stopped.count("MODINF"), is_kept ? 1U : 0U);
        if (is_kept) {
            EXPECT_EQ(stopped.at("MODINF"), "");
        }
        scratch.write(c.file, before);
    }
    ASSERT_EQ(run("cows.kve").status, 0);
    EXPECT_FALSE(scratch.has("cows.run/stopped"));
}

TEST_F(Launch, ASignalEndsBothAndLeavesNothing) {
    wait_instead();
    const std::string arguments = "cows.kve --program ./wait";
    for (const int signal : {SIGINT, SIGTERM, SIGKILL}) {
        fs::remove(scratch.folder() / "number");
        const pid_t kve = start(arguments);
        const pid_t program = waiting_program();
        ASSERT_GT(program, 0);
        if (signal == SIGINT) {
            const Shown second = run("cows.kve");
            EXPECT_EQ(second.status, 3);
            EXPECT_NE(second.words.find("another run works in this folder"), std::string::npos);
        }
        ::kill(kve, signal);
        int status = 0;
        ::waitpid(kve, &status, 0);
        EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == signal) << status;
        for (int k = 0; k < 500 && ::kill(program, 0) == 0; ++k)
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        EXPECT_NE(::kill(program, 0), 0) << "goes on after " << signal;
        EXPECT_EQ(scratch.has("cows.run"), signal == SIGKILL);
        EXPECT_FALSE(scratch.has("cows.run/RCDATA_I"));
    }
    EXPECT_EQ(run("cows.kve").status, 0);
    EXPECT_FALSE(scratch.has("cows.run/.kve-work"));
}

TEST_F(Launch, NothingButResultsIsReplaced) {
    fs::rename(scratch.folder() / "data", scratch.folder() / "INBREED");
    std::string directives = kDirectives;
    scratch.write("cows.kve", directives.replace(directives.find(" data\n"), 5, " INBREED"));
    const std::string data = scratch.read("INBREED");
    const Shown shown = run("cows.kve -C .");
    EXPECT_EQ(shown.status, 2);
    EXPECT_NE(shown.words.find("INBREED: an input"), std::string::npos) << shown.words;
    EXPECT_EQ(scratch.read("INBREED"), data);
    EXPECT_FALSE(scratch.has("MODINF"));

    fs::create_directories(scratch.folder() / "elsewhere/AINV1");
    scratch.write("elsewhere/AINV1/mine", "mine");
    EXPECT_EQ(run("cows.kve -C elsewhere").status, 2);
    fs::rename(scratch.folder() / "elsewhere/AINV1", scratch.folder() / "elsewhere/stopped");
    EXPECT_EQ(run("cows.kve -C elsewhere").status, 2);
    EXPECT_EQ(files("elsewhere"), (Files{{"stopped/mine", "mine"}}));
    EXPECT_EQ(run("cows.kve --program nowhere").status, 2);
}

}  // namespace
