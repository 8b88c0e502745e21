// kve run FILE: KVE1 in a folder of its own, whose results come to their place when all is well.
#include <fmt/format.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <set>

#include "kve/check/checking.h"
#include "kve/files/listing_words.h"
#include "kve/files/run_folder.h"
#include "kve/launch/outcome.h"
#include "kve/launch/stages.h"
#include "kve/shared/commands.h"
#include "kve/shared/failure.h"
#include "kve/shared/output.h"
#include "kve/shared/result_folder.h"

namespace kve::companion {

namespace {

namespace fs = std::filesystem;
using nlohmann::ordered_json;

const char* const kStopped = "stopped";  // folder with what a stopped run has left

struct Options {
    std::string file, folder, program;
    bool keep = false, force = false, json = false;
};

bool is_ours(const std::string& name) {
    return is_name_of_run_file(name) || name == kListing || name == kRecord;
}

// ---- Ahead of the run

// Tells what was found; false when KVE1 is not to be called.
bool check_first(const Options& options, RunOutcome& outcome, std::vector<std::string>& inputs) {
    Findings& findings = outcome.findings;
    const ordered_json report = check_analysis(options.file, false, findings);
    const int64_t errors = findings.count(Severity::error);
    if (errors + findings.count(Severity::warning) > 0)
        fmt::print(stderr, "{}", findings.as_text());
    inputs = report.value("inputs", inputs);
    outcome.model = report.value("model", ordered_json());
    if (errors == 0 || options.force) return true;
    fmt::print(stderr, "kve: {} error{} in the analysis, KVE1 was not called; --force calls it\n",
               errors, errors == 1 ? "" : "s");
    return false;
}

void refuse_folder(const fs::path& file, const char* why) {
    throw Failure(kUsage, fmt::format("{}: {}: take another folder with -C", file.string(), why));
}

// Nothing but results of earlier runs is replaced.
void look_at_folder(const ResultFolder& results, const std::vector<Input>& inputs) {
    for (const fs::directory_entry& entry : fs::directory_iterator(results.path(""))) {
        const std::string name = entry.path().filename().string();
        if (!is_ours(name)) continue;
        if (is_one_of(inputs, entry.path().string()))
            refuse_folder(entry.path(), "an input, and a result would replace it");
        if (entry.is_directory() && !entry.is_symlink())
            refuse_folder(entry.path(), "a folder that has the name of a result");
    }
    std::error_code none;
    if (!fs::exists(results.path(kStopped))) return;
    for (const fs::directory_entry& entry : fs::directory_iterator(results.path(kStopped), none))
        if (!is_ours(entry.path().filename().string()))
            refuse_folder(entry.path(), "is not of a stopped run, whose files would replace it");
}

// ---- After the run

void write_record(const ordered_json& run, const fs::path& folder) {
    const fs::path name = folder / kRecord;
    std::ofstream file(name, std::ios::binary);
    file << run.dump(1, ' ', false, ordered_json::error_handler_t::replace) << '\n';
    if (!file.flush()) throw Failure(kUnreadable, name.string() + ": cannot be written");
}

void tell(const Options& options, const ordered_json& run) {
    if (!options.json && run.at("status") != 0) return;
    Output out("");
    out.put(options.json ? run.dump(1, ' ', false, ordered_json::error_handler_t::replace) + "\n"
                         : screen_of(run));
    out.finish();
}

// Those that an earlier run has left here.
std::set<std::string> earlier_files(const ResultFolder& results) {
    std::ifstream file(results.path(kRecord));
    const ordered_json record = ordered_json::parse(file, nullptr, false);
    std::set<std::string> names;
    if (record.is_object() && record.contains("files") && record["files"].is_array())
        for (const ordered_json& one : record["files"]) names.insert(one.value("name", ""));
    return names;
}

// Later programs look for the sections of the user's in the folder that they run in.
void copy_sections(RunOutcome& outcome, const ResultFolder& results) {
    const RunFolder run(results.work().string());
    const std::set<std::string> earlier = earlier_files(results);
    for (const RunFile& file : run.promised_files()) {
        const fs::path name = file.name, place = results.path(file.name);
        if (file.kind != FileKind::section || name.has_parent_path()) continue;
        if (fs::exists(results.work() / name) || is_one_of(outcome.inputs, place.string()))
            continue;
        if (fs::exists(place) && !earlier.contains(file.name))
            outcome.notes.push_back(place.string() + " was there and is not that of the inputs");
        else
            fs::copy_file(fs::path(outcome.inputs_folder) / name, results.work() / name);
    }
}

int keep_results(const Options& options, RunOutcome& outcome, ResultFolder& results) {
    copy_sections(outcome, results);
    const ordered_json run = describe_run(outcome, results.work().string());
    write_record(run, results.work());
    for (const fs::directory_entry& entry : fs::directory_iterator(results.path("")))
        if (const std::string name = entry.path().filename().string(); is_name_of_run_file(name))
            results.remove(name);
    results.keep("MODINF");
    std::error_code ignored;
    fs::remove_all(results.path(kStopped), ignored);
    tell(options, run);
    return kGood;
}

// The listing stays, and the lists that it speaks of.
void drop_others(const fs::path& work) {
    for (const fs::directory_entry& entry : fs::directory_iterator(work)) {
        const std::string name = entry.path().filename().string();
        const bool is_list = name.starts_with("MISS_ID") || name == "PEDDATA";
        if (name != kListing && !(is_list && entry.file_size() > 0)) fs::remove(entry.path());
    }
}

void tell_stop(const Options& options, const RunOutcome& outcome) {
    const Ended& ended = outcome.ended;
    fmt::print(stderr, "kve: KVE1 stopped with status {} after {:.1f} s\n", ended.status,
               ended.seconds);
    if (ended.signal != 0)
        fmt::print(stderr, "it was ended by signal {}{}\n", ended.signal,
                   ended.signal == SIGKILL ? ": did the machine run out of memory?" : "");
    for (const std::string& line : outcome.reason) fmt::print(stderr, "{}\n", line);
    fmt::print(stderr, "{}/{}/{} is the listing{}\n", outcome.folder, kStopped, kListing,
               options.keep ? ", the other files of the run are beside it" : "");
}

int leave_stopped(const Options& options, RunOutcome& outcome, ResultFolder& results) {
    outcome.reason = find_reason(read_listing(results.work() / kListing));
    if (!options.keep) drop_others(results.work());
    const ordered_json run = describe_run(outcome, results.work().string());
    write_record(run, results.work());
    results.set_aside(kStopped);
    tell_stop(options, outcome);
    tell(options, run);
    return outcome.ended.status;
}

// The signal comes through when they are no longer held, and ends this program as it did the other.
int leave_interrupted(const Options& options, const RunOutcome& outcome, ResultFolder& results) {
    if (options.keep) results.set_aside(kStopped);
    fmt::print(stderr, "kve: the run was interrupted, {}\n",
               options.keep ? fmt::format("its files are in {}/{}", outcome.folder, kStopped)
                            : std::string("its files are gone"));
    static_cast<void>(std::raise(outcome.ended.from_user));
    return outcome.ended.status;
}

// ----

void call_kve1(RunOutcome& outcome, const HeldSignals& signals, const fs::path& work) {
    const std::string listing = fs::absolute(work / kListing).string();
    StageDisplay stages(work, listing);
    outcome.begin = std::time(nullptr);
    outcome.ended = run_kve1({.program = outcome.program,
                              .folder = work.string(),
                              .inputs = outcome.inputs_folder,
                              .directives = outcome.directives,
                              .listing = listing},
                             signals, [&stages](pid_t program) { stages.look(program); });
    if (outcome.ended.from_user != 0) return;
    stages.begin_stage("checksums of the inputs");
    find_checksums(outcome.inputs);
}

int run(const Options& options) {
    RunOutcome outcome;
    outcome.directives = options.file;
    outcome.program = find_kve1(options.program);
    outcome.folder =
        options.folder.empty() ? fs::path(options.file).stem().string() + ".run" : options.folder;
    const char* elsewhere = std::getenv("KVE_INPUTS");
    outcome.inputs_folder =
        (elsewhere != nullptr ? fs::absolute(elsewhere) : fs::current_path()).string();
    ResultFolder::require_free(outcome.folder);
    std::vector<std::string> inputs;
    if (!check_first(options, outcome, inputs)) return kFindings;
    outcome.inputs = find_inputs(options.file, inputs, outcome.inputs_folder);
    const HeldSignals signals;
    ResultFolder results(outcome.folder);
    look_at_folder(results, outcome.inputs);
    call_kve1(outcome, signals, results.work());
    if (outcome.ended.status == 0) return keep_results(options, outcome, results);
    if (outcome.ended.from_user != 0) return leave_interrupted(options, outcome, results);
    return leave_stopped(options, outcome, results);
}

}  // namespace

Command add_run(CLI::App& app) {
    auto options = std::make_shared<Options>();
    CLI::App* command = app.add_subcommand("run", "checks an analysis and runs KVE1 on it");
    command->add_option("FILE", options->file, "the directive file")->required();
    command
        ->add_option("-C", options->folder,
                     "the folder for the results; without it NAME.run, where NAME.kve is the file")
        ->type_name("DIR");
    command->add_flag("--keep", options->keep,
                      "keep the files of a run that stops, in DIR/stopped");
    command->add_flag("--force", options->force, "run although the check has found errors");
    command->add_flag("--json", options->json, "run.json in place of the screen");
    command->add_option("--program", options->program, "KVE1, when it is not beside kve")
        ->type_name("FILE");
    command->footer(
        "Names of inputs count from the folder that you stand in. Exit status: that of KVE1, or 1 "
        "when the check has found errors, 2 wrong use, 3 a file that cannot be read or written.\n"
        "Example: kve run lamb.kve");
    return [options] { return run(*options); };
}

}  // namespace kve::companion
