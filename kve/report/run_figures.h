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
#include "kve/tables/identities.h"

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
    std::optional<UserNames> names;  // where they are asked for

    // What the user calls a level of an effect, or its number.
    std::string name_of(const std::string& effect, int32_t identity) const {
        return names ? names->name_of(effect.substr(0, effect.find('+')), identity)
                     : std::to_string(identity);
    }
};

struct RunSource {
    std::string folder;
    std::string listing;  // a file, empty to look for one in the folder
    std::string ids;      // the file of the users' own names, empty for none
    std::optional<float> missing;
    bool all_inbreeding = false;  // however long it takes
};

// Everything but the bins of the records, which may be those of another run. Of the run's files
// only MODINF must be there.
std::unique_ptr<RunFigures> survey_run(const RunSource& source);

void fill_bins(const RunSource& source, RunFigures& figures);

}  // namespace kve::companion
