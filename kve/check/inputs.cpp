// The files that an analysis reads.
#include <filesystem>
#include <set>

#include "base/state.h"
#include "directives/directives.h"
#include "kve/check/checking.h"
#include "kve/check/look.h"

namespace kve::companion {

READS(DIRECTIVES);

std::vector<std::string> names_of_inputs(const Look& look) {
    namespace fs = std::filesystem;
    std::vector<std::string> names;
    std::set<std::string> seen;
    for (const FileName& name : DIRECTIVES.named_files)
        if (!name.blank() && seen.insert(name.string()).second) names.push_back(name.string());
    std::error_code ignored;
    for (const char* name : {"KVEDIM", "ST_DIR"})
        if (fs::exists(fs::path(look.inputs) / name, ignored)) names.emplace_back(name);
    return names;
}

}  // namespace kve::companion
