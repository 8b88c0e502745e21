// kve report: a run, or what differs between two, as a page.
#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <memory>

#include "kve/report/comparison.h"
#include "kve/report/sections.h"
#include "kve/shared/commands.h"
#include "kve/shared/failure.h"
#include "kve/shared/output.h"

namespace kve::companion {

namespace {

struct Options {
    std::string folder, second, output, ids;
    std::vector<std::string> listings;
    std::optional<float> missing;
    bool all_inbreeding = false;
};

RunSource source_of(const Options& options, const std::string& folder, std::size_t number) {
    return {folder, number < options.listings.size() ? options.listings[number] : "",
            options.ids.empty() ? "" : ids_file(options.ids, folder), options.missing,
            options.all_inbreeding};
}

std::string name_of_folder(const RunFigures& figures) {
    std::error_code ignored;
    const std::filesystem::path whole = std::filesystem::canonical(figures.run.path(), ignored);
    return ignored || whole.filename().empty() ? figures.run.path().string()
                                               : whole.filename().string();
}

Page run_page(const RunFigures& figures) {
    const auto& head = figures.run.run();
    const std::string folder = figures.run.path().string();
    const bool is_here = folder == "." || folder == "./";  // which tells nobody anything
    Page page{.title = fmt::format("Run {}", name_of_folder(figures)),
              .subtitle = fmt::format("KVE1 {}.{}, {}{}", head.version.view(), head.release.view(),
                                      head.RUN_DATE.view(), is_here ? "" : ", in " + folder)};
    for (const auto make :
         {message_section, analysis_section, trait_section, covariable_section, pair_section,
          level_section, covariance_section, pedigree_section, matrix_section, file_section}) {
        Section section = make(figures);
        if (!section.notes.empty() || !section.tables.empty() || !section.figures.empty())
            page.sections.push_back(std::move(section));
    }
    return page;
}

Page report_one(const Options& options) {
    const RunSource source = source_of(options, options.folder, 0);
    const std::unique_ptr<RunFigures> figures = survey_run(source);
    if (figures->records) choose_bins(*figures->records);
    fill_bins(source, *figures);
    return run_page(*figures);
}

Page report_two(const Options& options) {
    const RunSource first = source_of(options, options.folder, 0),
                    second = source_of(options, options.second, 1);
    const std::unique_ptr<RunFigures> before = survey_run(first), after = survey_run(second);
    if (after->records) choose_bins(*after->records, before->records ? &*before->records : nullptr);
    fill_bins(first, *before);
    fill_bins(second, *after);
    return comparison_page(*before, *after);
}

int show_report(const Options& options) {
    if (options.output.empty() && ::isatty(STDOUT_FILENO) != 0)
        throw Failure(kUsage, "a page is nothing for a terminal: name a file with -o FILE.html");
    Page page = options.second.empty() ? report_one(options) : report_two(options);
    page.foot = "Made by kve report. The numbers behind a picture open below it.";
    Output out(options.output);
    out.put(std::string_view(render_page(page)));
    out.finish();
    return kGood;
}

}  // namespace

Command add_report(CLI::App& app) {
    auto options = std::make_shared<Options>();
    CLI::App* command =
        app.add_subcommand("report", "a run, or what differs between two, as a page with charts");
    command->add_option("DIR", options->folder, "the folder in which KVE1 ran")->required();
    command->add_option("SECOND", options->second,
                        "that of another run: the page tells what has changed from DIR to it");
    command->add_option("-o,--output", options->output, "a file in place of standard output")
        ->type_name("FILE");
    command
        ->add_option("--listing", options->listings,
                     "the file with the listing of the run, for its warnings; with two runs once "
                     "for each")
        ->type_name("FILE")
        ->expected(1)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
    add_ids(*command, options->ids);
    command
        ->add_option("--missing", options->missing,
                     "the missing value code of $DATA: reals at or below it are missing")
        ->type_name("CODE");
    command->add_flag("--inbreeding", options->all_inbreeding,
                      "finds the inbreeding of every pedigree; otherwise it is left out, and the "
                      "page says so, where that would take long");
    command->final_callback([options] {
        for (const std::string& folder : {options->folder, options->second})
            if (const std::string fault = refuse_run_file(options->output, folder);
                !options->output.empty() && !fault.empty())
                throw CLI::ValidationError(fault);
    });
    command->footer(
        "The page holds all that it shows and asks nobody for anything: it can be sent and "
        "kept.\n\nExamples:\n"
        "  kve report out/dairy -o dairy.html\n"
        "  kve report out/before out/after -o changes.html\n"
        "  kve report out/breeder --ids -o breeder.html");
    return [options] { return show_report(*options); };
}

}  // namespace kve::companion
