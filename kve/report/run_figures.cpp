#include "kve/report/run_figures.h"

#include <fmt/format.h>

#include <cstdio>

#include "kve/files/listing_words.h"
#include "kve/shared/failure.h"

namespace kve::companion {

namespace {

// What cannot be read is told in the page.
template <class Survey>
void try_survey(RunFigures& figures, const char* what, Survey survey) {
    try {
        survey();
    } catch (const Failure& failure) {
        figures.gaps.push_back({what, failure.what()});
    }
}

MessageFile read_listing(const RunSource& source, const RunFolder& run) {
    if (source.listing.empty()) return read_messages(find_listing(run), "listing");
    MessageFile listing = read_messages(source.listing, "listing");
    if (!listing.is_there) throw Failure(kUnreadable, source.listing + ": cannot be opened");
    return listing;
}

void add_pedigree(RunFigures& figures, int32_t k, bool all_inbreeding) {
    figures.pedigrees.push_back(survey_pedigree(figures.run, k, all_inbreeding));
    const PedigreeFigures& p = figures.pedigrees.back();
    if (!p.without_inbreeding.empty())
        fmt::print(stderr, "kve: {}, {}: {}\n", figures.run.path().string(), p.name,
                   p.without_inbreeding);
}

}  // namespace

std::unique_ptr<RunFigures> survey_run(const RunSource& source) {
    auto figures = std::make_unique<RunFigures>(source.folder);
    const RunFolder& run = figures->run;
    if (!source.ids.empty()) figures->names.emplace(source.ids);
    figures->listing = read_listing(source, run);
    figures->log = read_messages(run.path() / "KVE_LOG", "KVE_LOG");
    try_survey(*figures, "values of traits and covariables",
               [&] { figures->records = survey_records(run, source.missing); });
    try_survey(*figures, "records per level", [&] { figures->levels = survey_levels(run); });
    for (int32_t k = 1; k <= run.run().NRAMAT; ++k)
        if (has_pedigree(run.factor(k).structure))
            try_survey(*figures, "pedigree",
                       [&] { add_pedigree(*figures, k, source.all_inbreeding); });
    for (const RunFile& file : run.promised_files())
        if (file.kind == FileKind::matrix)
            try_survey(*figures, "pattern of a matrix",
                       [&] { figures->patterns.push_back(survey_pattern(run, file)); });
    return figures;
}

void fill_bins(const RunSource& source, RunFigures& figures) {
    if (figures.records) fill_bins(figures.run, source.missing, *figures.records);
}

}  // namespace kve::companion
