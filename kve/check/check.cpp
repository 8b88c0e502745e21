// kve check FILE: all that is wrong or suspicious in an analysis, before it is run.
#include <fcntl.h>
#include <fmt/format.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>

#include "kve/check/checking.h"
#include "kve/check/data_pass.h"
#include "kve/check/look.h"
#include "kve/check/words.h"
#include "kve/shared/commands.h"
#include "kve/shared/failure.h"
#include "kve/shared/noun.h"
#include "kve/shared/output.h"

namespace kve::companion {

namespace {

namespace fs = std::filesystem;
using nlohmann::json;

struct Options {
    std::string file;
    bool json = false;
    bool fast = false;
    bool has_fresh_folder = false;  // for the run, in which nothing stands
};

// ---- The process that reads

const char* const kReport = "kve-check-report";

struct Job {
    const DirectiveText* text;
    std::string inputs, outputs;
    bool fast;
};
const Job* JOB = nullptr;

void write_report(const Findings& findings, const Look& look,
                  const std::optional<std::string>& mended) {
    json report{{"findings", findings.pack()}};
    if (mended) {
        report["mended"] = *mended;
    } else {
        report["model"] = model_as_json(look);
        report["text"] = model_as_text(look);
        report["inputs"] = names_of_inputs(look);
    }
    std::ofstream file(kReport, std::ios::binary);
    file << report.dump(-1, ' ', false, json::error_handler_t::replace);
    if (!file.flush()) throw Failure(kUnreadable, "the temporary folder takes no more");
}

// A fault that ends the reading is told, and all else when the text has been read without it.
void look_at_all(const Reading& reading) {
    Findings findings;
    Look look{*JOB->text, reading, JOB->inputs, JOB->outputs, JOB->fast, findings};
    const std::optional<std::string> mended = mend(look);
    look_for_unread_lines(look);
    tell_what_was_said(look, mended ? Step::directives : Step::priors);
    if (!mended) {
        DataFigures data = read_data(look);
        look.data = &data;
        look_at_data(look);
        look_at_outputs(look);
        look_at_directives(look);
        look_at_model(look);
        look_at_priors(look);
        look_at_relationships(look);
    }
    write_report(findings, look, mended);
}

// ---- The process that waits

volatile std::sig_atomic_t READER = 0;
volatile std::sig_atomic_t SIGNAL = 0;

void end_reader(int signal) {
    SIGNAL = signal;
    if (READER > 0) ::kill(READER, SIGKILL);
}

// What the caller ignores, such as SIGHUP after nohup, stays ignored.
void handle(int signal, void (*handler)(int)) {
    if (std::signal(signal, handler) == SIG_IGN) std::signal(signal, SIG_IGN);
}

// A private folder, gone with its files at the end, at a signal too.
class Workplace {
 public:
    Workplace() {
        std::string pattern = (fs::temp_directory_path() / "kve-check-XXXXXX").string();
        if (::mkdtemp(pattern.data()) == nullptr)
            throw Failure(kUnreadable, pattern + ": " + std::strerror(errno));
        folder_ = pattern;
        for (const int signal : {SIGINT, SIGTERM, SIGHUP}) handle(signal, end_reader);
    }
    Workplace(const Workplace&) = delete;
    Workplace& operator=(const Workplace&) = delete;
    ~Workplace() {
        std::error_code ignored;
        fs::remove_all(folder_, ignored);
        for (const int signal : {SIGINT, SIGTERM, SIGHUP}) handle(signal, SIG_DFL);
        if (SIGNAL != 0) static_cast<void>(std::raise(SIGNAL));
    }
    const fs::path& folder() const { return folder_; }
    void empty() const {
        for (const fs::directory_entry& entry : fs::directory_iterator(folder_))
            fs::remove_all(entry.path());
    }

 private:
    fs::path folder_;
};

[[noreturn]] void read_in(const Workplace& work, const Job& job) {
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) handle(signal, SIG_DFL);
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    // What the stages might print goes nowhere; the user's stream may be a file that they look at.
    const int nowhere = ::open("/dev/null", O_WRONLY | O_CLOEXEC);
    if (nowhere < 0 || ::dup2(nowhere, STDOUT_FILENO) < 0 || ::chdir(work.folder().c_str()) != 0)
        std::_Exit(EXIT_FAILURE);
    JOB = &job;
    // A run in the user's folder would read what an earlier one has left of its restrictions.
    std::error_code ignored;
    fs::copy_file(fs::path(job.outputs) / "CVREST.DIR", "CVREST.DIR", ignored);
    read_with_kve1({job.text->whole(), job.inputs, job.fast, look_at_all});
}

// The report, empty when the process has not got so far.
json report_on(const Workplace& work, const Job& job) {
    work.empty();
    const pid_t reader = ::fork();
    if (reader < 0) throw Failure(kUnreadable, std::string("fork: ") + std::strerror(errno));
    if (reader == 0) read_in(work, job);
    READER = reader;
    int status = 0;
    while (::waitpid(reader, &status, 0) < 0 && errno == EINTR) continue;
    READER = 0;
    std::ifstream file(work.folder() / kReport, std::ios::binary);
    const std::string text{std::istreambuf_iterator<char>(file), {}};
    if (status != 0 || text.empty()) return {};
    return json::parse(text);
}

// What is told of a file that no reader has come through.
json report_of_failure(const DirectiveText& text) {
    Findings findings;
    findings.error("check-failed", {text.name(), 0, 0}, "the check itself has failed on this file",
                   "Run KVE1 to see what it says, and report the file");
    return {{"findings", findings.pack()}, {"model", nullptr}, {"text", ""}};
}

std::string read_directive_file(const std::string& name) {
    std::error_code error;
    if (fs::is_directory(name, error)) throw Failure(kUnreadable, name + ": it is a folder");
    std::ifstream file(name, std::ios::binary);
    std::string text{std::istreambuf_iterator<char>(file), {}};
    if (!file.is_open() || file.bad())
        throw Failure(kUnreadable, name + ": " + std::strerror(errno));
    return text;
}

// Each round finds one fault that ends the reading of the directive file, and mends it in a copy.
constexpr int kMostRounds = 40;

json check(const Options& options, Findings& findings) {
    const Workplace work;
    const std::string here = fs::current_path().string();
    const std::string outputs = options.has_fresh_folder ? work.folder().string() : here;
    const char* elsewhere = std::getenv("KVE_INPUTS");
    const std::string inputs = elsewhere != nullptr ? fs::absolute(elsewhere).string() : here;
    std::string text =
        uncover_keywords({options.file, read_directive_file(options.file)}, findings);
    json report;
    for (int round = 1; round <= kMostRounds && SIGNAL == 0; ++round) {
        const DirectiveText directives(options.file, text);
        const Job job{&directives, inputs, outputs, options.fast};
        report = report_on(work, job);
        if (report.is_null()) report = report_of_failure(directives);
        findings.unpack(report.at("findings"));
        if (!report.contains("mended")) break;
        text = report.at("mended").get<std::string>();
    }
    return report;
}

std::string summary(const Findings& findings) {
    return fmt::format("{}, {}, {}\n", counted(findings.count(Severity::error), "error"),
                       counted(findings.count(Severity::warning), "warning"),
                       counted(findings.count(Severity::note), "note"));
}

int run_check(const Options& options) {
    Findings findings;
    const json report = check(options, findings);
    const json model = report.value("model", json());
    Output out("");
    if (options.json) {
        const json all{{"findings", findings.as_json()}, {"model", model}, {"fast", options.fast}};
        out.put(all.dump(2, ' ', false, json::error_handler_t::replace) + "\n");
    } else {
        out.put(findings.as_text());
        const std::string text = report.value("text", "");
        if (!text.empty()) out.put("\n" + text + "\n");
        if (options.fast)
            out.put(fmt::format("Of each file the first {} lines were read\n", kFastLines));
        out.put(summary(findings));
    }
    out.finish();
    return findings.count(Severity::error) > 0 ? kFindings : kGood;
}

}  // namespace

json check_analysis(const std::string& file, bool fast, Findings& findings) {
    return check({.file = file, .fast = fast, .has_fresh_folder = true}, findings);
}

Command add_check(CLI::App& app) {
    auto options = std::make_shared<Options>();
    CLI::App* command =
        app.add_subcommand("check", "what is wrong in an analysis, before it is run");
    command->add_option("FILE", options->file, "the directive file")->required();
    command->add_flag("--json", options->json, "findings and model for programs");
    command->add_flag("--fast", options->fast, "read the first 100,000 lines of each file only");
    command->footer(
        "Names of inputs count from the folder that you stand in, as for KVE1. Nothing is written "
        "there.\nExample: kve check lamb.kve\nExit status: 0 no error, 1 errors, 2 wrong use, 3 "
        "the "
        "directive file cannot be read.");
    return [options] { return run_check(*options); };
}

}  // namespace kve::companion
