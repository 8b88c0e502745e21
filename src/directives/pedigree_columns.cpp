#include "directives/pedigree_columns.h"

#include <algorithm>
#include <cstddef>
#include <string_view>

#include "base/input.h"
#include "base/state.h"
#include "base/text.h"
#include "directives/directives.h"
#include "directives/file_identities.h"
#include "directives/user_files.h"
#include "listing/listing.h"
#include "listing/stop.h"

namespace kve {

READS(DIRECTIVES);

namespace {

constexpr std::size_t kLongestLine = 100000;
constexpr int kLeastGaps = 3;

// Gaps of blanks, tabs or carriage returns between the values of a line. Kept: a comma alone is no
// gap, and a tab in front of the first value is one.
int gaps_in(std::string_view line) {
    line.remove_prefix(std::min(line.find_first_not_of(' '), line.size()));
    line = right_trimmed(line);
    int gaps = 0;
    for (std::size_t k = 0; k < line.size(); ++k)
        if (is_blank(line[k]) && (k == 0 || !is_blank(line[k - 1]))) ++gaps;
    return gaps;
}

bool has_four_columns(const VAR_STR_SPEC& spec) {
    TextInput file;
    note_input(spec.file[0].string());
    if (const int code = file.open_input(spec.file[0].string()); code != 0)
        stop_pedigree_not_opened(spec.factor, spec.file[0], code);
    std::string_view line;
    const TextInput::Line read = file.read_line(line, kLongestLine);
    if (read == TextInput::Line::failed) stop_not_read(file.path(), file.error());
    return read == TextInput::Line::ok && gaps_in(line) >= kLeastGaps;
}

void report_columns(const VAR_STR_SPEC& spec) {
    Block block;
    block.blank();
    block.line("%9sERROR - The pedigree file for random factor%12d", "", spec.factor);
    block.line("%9s        do not contain 4 columns: ID, Sire_ID, Dam_ID/MGS_ID and Sort_Var", "");
    block.blank();
    block.print();
}

}  // namespace

void check_pedigree_columns() {
    bool failed = false;
    for (const VAR_STR_SPEC& spec : DIRECTIVES.var_str) {
        bool pedigree = has_pedigree(spec.structure);
        if (!pedigree || spec.format != kAscii || has_four_columns(spec)) continue;
        report_columns(spec);
        failed = true;
    }
    if (!failed) return;
    blank();
    stop_run("KVE1 terminates");
}

}  // namespace kve
