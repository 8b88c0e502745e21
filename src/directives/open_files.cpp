#include "directives/open_files.h"

#include <string>

#include "base/input.h"
#include "base/output_file.h"
#include "base/state.h"
#include "base/text.h"
#include "directives/directives.h"
#include "directives/file_identities.h"
#include "listing/listing.h"
#include "listing/model_file.h"
#include "listing/stop.h"
#include "listing/units.h"

namespace kve {

READS(DIRECTIVES);
WRITES(UNITS);

namespace {

void check_opened(int status, const std::string& name) {
    if (status == 0) return;
    tell_input_not_opened(name, status);
    say("ERROR OPENING FILES");
    say("        File: %s", name.c_str());
    stop_run();
}

template <class Unit>
void open_input(Unit& unit, const FileName& file) {
    const std::string name = file.string();
    note_input(name);
    check_opened(unit.open_input(name), name);
}

// A text of this run's own.
void open_text(TextInput& unit, const FileName& file) {
    const std::string name = file.string();
    note_input(name, name);
    check_opened(unit.open(name), name);
}

template <class Unit>
void open_output_unit(Unit& unit, const char* file) {
    if (const int status = unit.open(file); status != 0) stop_not_opened(file, status);
}

void open_data() {
    for (int k = 0; k < (DIRECTIVES.n_data_files == 2 ? 2 : 1); ++k) {
        const FileName& name = DIRECTIVES.data_file[k];
        if (DIRECTIVES.data_format == kAscii)
            open_input(UNITS.data[k].text, name);
        else
            open_input(UNITS.data[k].framed, name);
    }
}

// Those that later stages open.
void note_other_inputs() {
    const SectionFile& prior = DIRECTIVES.prior;
    const std::string priors = prior.name.string();
    if (!priors.empty()) note_input(priors, prior.from_user ? input_path(priors) : priors);
    for (const VAR_STR_SPEC& spec : DIRECTIVES.var_str)
        for (const FileName& name : spec.file)
            if (!name.blank()) note_input(name.string());
}

}  // namespace

void open_files() {
    note_other_inputs();
    open_data();
    if (DIRECTIVES.model.from_user)
        open_input(UNITS.model_text, DIRECTIVES.model.name);
    else
        open_text(UNITS.model_text, DIRECTIVES.model.name);
    if (!DIRECTIVES.reduce_file.blank()) open_text(UNITS.reduced_ranks, DIRECTIVES.reduce_file);
    const bool has_finfo = !DIRECTIVES.finfo.name.blank();
    const bool has_oldsol = !DIRECTIVES.oldsol.name.blank();
    if (has_finfo) open_input(UNITS.foreign_information, DIRECTIVES.finfo.name);
    if (has_oldsol) open_input(UNITS.old_solutions, DIRECTIVES.oldsol.name);
    for (const std::string& output : output_files())
        if (const int status = check_output(output); status != 0) stop_not_opened(output, status);
    open_output_unit(UNITS.MODINF, "MODINF");
    if (const int status = begin_model_file(); status != 0) stop_not_opened("MODINF", status);
    open_output_unit(UNITS.PEDDATA, "PEDDATA");
    open_output_unit(UNITS.INBREED, "INBREED");
    open_output_unit(UNITS.CODE_TABLE, "CODE_TABLE");
    if (has_finfo) open_output_unit(UNITS.RC_F_INFO, "RC_F_INFO");
    if (has_oldsol) open_output_unit(UNITS.oldsol, "oldsol");
    open_output_unit(UNITS.RCDATA_I, "RCDATA_I");
    open_output_unit(UNITS.RCDATA_R, "RCDATA_R");
}

}  // namespace kve
