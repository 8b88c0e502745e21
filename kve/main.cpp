// kve: makes what KVE1 reads, runs it, and brings what it left into forms that people and other
// programs read. It never writes to the files of a run.
#include <fmt/format.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <new>
#include <utility>
#include <vector>

#include "kve/files/run_folder.h"
#include "kve/shared/commands.h"
#include "kve/shared/failure.h"

namespace kve::companion {

namespace {

int run_command(const Command& command) {
    try {
        return command();
    } catch (const Failure& failure) {
        fmt::print(stderr, "kve: {}\n", failure.what());
        return failure.status;
    } catch (const ClosedPipe&) {
        return kGood;
    } catch (const std::bad_alloc&) {
        fmt::print(stderr, "kve: there is not enough memory\n");
        return kUnreadable;
    } catch (const std::exception& other) {
        fmt::print(stderr, "kve: {}\n", other.what());
        return kUnreadable;
    }
}

int run_program(int argc, char** argv) {
    CLI::App app(
        "Makes the files that KVE1 reads, runs it, and shows what it left in the folder DIR of a "
        "run.",
        "kve");
    app.set_version_flag("--version", "kve " KVE_VERSION);
    app.require_subcommand(1);
    app.get_formatter()->label("SUBCOMMAND", "COMMAND");
    app.get_formatter()->label("Subcommands", "Commands");
    app.footer(
        "kve COMMAND --help tells more and has an example.\n"
        "Exit status: 0 good, 1 something was found, 2 wrong use, 3 a file that cannot be read or "
        "written.\n\nExample:\n"
        "    kve run dairy.kve -C out && kve levels out --factor 1 >animals.csv");
    std::vector<std::pair<CLI::App*, Command>> commands;
    for (auto* add : {add_prep, add_ped, add_check, add_explain, add_run, add_summary, add_levels,
                      add_records, add_matrix, add_verify, add_report}) {
        Command command = add(app);
        commands.emplace_back(app.get_subcommands({}).back(), std::move(command));
    }
    const auto is_asked_for = [&](const auto& known) { return known.first->check_name(argv[1]); };
    if (argc > 1 && argv[1][0] != '-' && std::ranges::none_of(commands, is_asked_for)) {
        fmt::print(stderr, "kve: there is no command {}; kve --help has those that there are\n",
                   argv[1]);
        return kUsage;
    }
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        if (error.get_exit_code() == 0) return app.exit(error);
        fmt::print(stderr, "kve: {}\nkve --help tells more\n", error.what());
        return kUsage;
    }
    for (const auto& [parsed, command] : commands)
        if (parsed->parsed()) return run_command(command);
    return kUsage;
}

}  // namespace

std::string refuse_run_file(const std::string& output, const std::string& folder) {
    namespace fs = std::filesystem;
    std::error_code ignored;
    for (const fs::directory_entry& entry : fs::directory_iterator(folder, ignored))
        if (is_name_of_run_file(entry.path().filename().string()) &&
            fs::equivalent(entry.path(), output, ignored))
            return fmt::format("-o {}: a file of the run", output);
    return {};
}

void add_common(CLI::App& command, CommonOptions& options) {
    command.add_option("DIR", options.folder, "the folder in which KVE1 ran")->required();
    command.add_option("-o,--output", options.output, "a file in place of standard output")
        ->type_name("FILE");
    command.final_callback([&options] {
        if (options.output.empty()) return;
        const std::string fault = refuse_run_file(options.output, options.folder);
        if (!fault.empty()) throw CLI::ValidationError(fault);
    });
}

void add_ids(CLI::App& command, std::string& ids) {
    command.add_flag(
        "--ids", ids,
        "the users' own names in place of integers, out of ids.tsv of kve prep in DIR; "
        "--ids=FILE: out of another one");
}

std::string ids_file(const std::string& ids, const std::string& folder) {
    return ids == "true" ? (std::filesystem::path(folder) / "ids.tsv").string() : ids;
}

}  // namespace kve::companion

int main(int argc, char** argv) {
    std::signal(SIGPIPE, SIG_IGN);  // a write tells
    try {
        return kve::companion::run_program(argc, argv);
    } catch (const std::exception& fault) {  // memory for the words of another fault, say
        std::fprintf(stderr, "kve: %s\n", fault.what());
        return kve::companion::kUnreadable;
    }
}
