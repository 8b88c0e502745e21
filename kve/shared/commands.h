// The commands. Each adds itself to the command line; what it returns is called when the user has
// asked for it, and gives the exit status.
#pragma once

#include <CLI/CLI.hpp>
#include <functional>
#include <string>

namespace kve::companion {

using Command = std::function<int()>;

Command add_summary(CLI::App& app);
Command add_levels(CLI::App& app);
Command add_records(CLI::App& app);
Command add_matrix(CLI::App& app);
Command add_verify(CLI::App& app);
Command add_report(CLI::App& app);
Command add_ped(CLI::App& app);
Command add_check(CLI::App& app);
Command add_explain(CLI::App& app);
Command add_prep(CLI::App& app);
Command add_run(CLI::App& app);

// What all commands have.
struct CommonOptions {
    std::string folder;
    std::string output;
};
void add_common(CLI::App& command, CommonOptions& options);
// --ids or --ids=FILE, for commands that show identities, and the file that it asks for. One that
// is newer than the run is told on standard error.
void add_ids(CLI::App& command, std::string& ids);
std::string ids_file(const std::string& ids, const std::string& folder);

// Data go anywhere but into the files of a run that they come from: what is wrong with the output,
// or nothing.
std::string refuse_run_file(const std::string& output, const std::string& folder);

}  // namespace kve::companion
