// All that a report shows of one run.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "kve/files/run_folder.h"
#include "kve/report/level_figures.h"
#include "kve/report/messages.h"
#include "kve/report/pattern_figures.h"
#include "kve/report/pedigree_figures.h"
#include "kve/report/record_figures.h"

namespace kve::companion {

// Something that could not be shown, and why.
struct Gap {
    std::string what, reason;
};

struct RunFigures {
    explicit RunFigures(const std::string& folder) : run(folder) {}

    RunFolder run;
    MessageFile listing, log;
    std::optional<RecordFigures> records;  // with bins that are still empty
    std::vector<LevelFigures> levels;
    std::vector<PedigreeFigures> pedigrees;
    std::vector<PatternFigures> patterns;
    std::vector<Gap> gaps;
};

struct RunSource {
    std::string folder;
    std::string listing;  // a file, empty to look for one in the folder
    std::optional<float> missing;
};

// Everything but the bins of the records, which may be those of another run. Of the run's files
// only MODINF must be there.
std::unique_ptr<RunFigures> survey_run(const RunSource& source);

void fill_bins(const RunSource& source, RunFigures& figures);

}  // namespace kve::companion
