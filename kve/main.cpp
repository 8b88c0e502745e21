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

#include "kve/check/directive_text.h"
#include "kve/files/run_folder.h"
#include "kve/shared/commands.h"
#include "kve/shared/failure.h"
#include "kve/shared/help_format.h"

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

struct NamedCommand {
    CLI::App* parser;
    Command run;
};

std::vector<NamedCommand> add_commands(CLI::App& app) {
    std::vector<NamedCommand> commands;
    for (auto* add : {add_prep, add_ped, add_check, add_explain, add_run, add_summary, add_levels,
                      add_records, add_matrix, add_verify, add_report}) {
        Command command = add(app);
        commands.push_back({app.get_subcommands({}).back(), std::move(command)});
        commands.back().parser->group("Commands");
    }
    return commands;
}

int refuse_command(const std::string& name, const std::vector<NamedCommand>& commands) {
    std::vector<std::string> names;
    names.reserve(commands.size());
    for (const NamedCommand& command : commands) names.push_back(command.parser->get_name());
    const std::string similar = most_similar(name, names);
    fmt::print(
        stderr, "kve: there is no command {}; {}\n", name,
        similar.empty() ? "kve --help has those that there are" : "did you mean " + similar + "?");
    return kUsage;
}

// "kve help" and "kve help levels", as other programs have it.
int show_help(const CLI::App& app, const std::vector<NamedCommand>& commands,
              const std::string& name) {
    const auto found = std::ranges::find_if(
        commands, [&](const NamedCommand& c) { return c.parser->check_name(name); });
    if (found == commands.end() && !name.empty()) return refuse_command(name, commands);
    fmt::print("{}", name.empty() ? app.help() : found->parser->help("kve"));
    return kGood;
}

// What is wrong with the command line, in words that name what stands there.
std::string fault_of(const CLI::ParseError& error, const CLI::App& parser) {
    std::string words = error.what(), conversion = "Could not convert: ";
    if (words.starts_with(conversion))
        return words.substr(conversion.size()) + " cannot be read as a value";
    if (dynamic_cast<const CLI::ExtrasError*>(&error) == nullptr) return words;
    const std::vector<std::string> extras = parser.remaining();
    const auto option =
        std::ranges::find_if(extras, [](const std::string& text) { return text.starts_with('-'); });
    if (option != extras.end()) return fmt::format("there is no option {}", *option);
    return fmt::format("{} is one argument too many", extras.empty() ? words : extras.front());
}

int refuse_arguments(const CLI::ParseError& error, const CLI::App& app) {
    const std::vector<const CLI::App*> parsed =
        app.get_subcommands([](const CLI::App* command) { return command->parsed(); });
    const CLI::App& parser = parsed.empty() ? app : *parsed.front();
    const std::string name = parsed.empty() ? "kve" : "kve " + parser.get_name();
    fmt::print(stderr, "kve: {}\n{} --help tells more\n", fault_of(error, parser), name);
    return kUsage;
}

int run_program(int argc, char** argv) {
    CLI::App app(
        "Makes the files that KVE1 reads, runs it, and shows what it left in the folder DIR\nof a "
        "run.",
        "kve");
    app.formatter(std::make_shared<HelpFormat>());
    app.set_version_flag("--version", "kve " KVE_VERSION);
    app.require_subcommand(1);
    app.footer(
        "kve COMMAND --help tells more and has an example.\n"
        "Exit status: 0 good, 1 something was found, 2 wrong use, 3 a file that cannot be read or "
        "written.\n\nExample:\n"
        "    kve run dairy.kve -C out && kve levels out --factor 1 >animals.csv");
    const std::vector<NamedCommand> commands = add_commands(app);
    const std::string first = argc > 1 ? argv[1] : "";
    if (argc < 2) {
        fmt::print(stderr, "{}", app.help());
        return kUsage;
    }
    if (first == "help") return show_help(app, commands, argc > 2 ? argv[2] : "");
    if (!first.starts_with('-') && std::ranges::none_of(commands, [&](const NamedCommand& c) {
            return c.parser->check_name(first);
        }))
        return refuse_command(first, commands);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        if (error.get_exit_code() == 0) return app.exit(error);
        return refuse_arguments(error, app);
    }
    for (const NamedCommand& command : commands)
        if (command.parser->parsed()) return run_command(command.run);
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
    namespace fs = std::filesystem;
    const fs::path file = ids == "true" ? fs::path(folder) / "ids.tsv" : fs::path(ids);
    std::error_code none;
    const auto made = fs::last_write_time(file, none);
    const auto run = none ? made : fs::last_write_time(fs::path(folder) / "MODINF", none);
    if (!none && run < made)
        fmt::print(stderr,
                   "kve: {}: newer than the run in {}: if the tables have changed since, its names "
                   "are not those of the run, and KVE1 must run again\n",
                   file.string(), folder);
    return file.string();
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
