#include "directives/open_files.h"

#include <algorithm>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

#include "base/output_file.h"
#include "base/state.h"
#include "base/text.h"
#include "directives/directives.h"
#include "directives/user_files.h"
#include "listing/listing.h"
#include "listing/model_file.h"
#include "listing/stop.h"
#include "listing/units.h"

namespace kve {

READS(DIRECTIVES);
WRITES(UNITS);

namespace {

[[noreturn]] void refuse(std::string_view file) {
    say("ERROR OPENING FILES");
    say("        File: %.*s", KVE_SV(file));
    stop_run();
}

template <class Unit>
void open_unit(Unit& unit, std::string_view file) {
    if (unit.open(std::string(file)) != 0) refuse(file);
}

// An inline text that is still to be read, by this run or by a later program.
bool is_section_file(const std::string& file) {
    const Directives& d = DIRECTIVES;
    const FileName* names[] = {&d.model.name, &d.reduce_file, &d.prior.name,  &d.kve4.name,
                               &d.kve5.name,  &d.kveai.name,  &d.kvemgp.name, &d.kvegs.name};
    return std::any_of(std::begin(names), std::end(names),
                       [&](const FileName* name) { return is_same_file(name->string(), file); });
}

// Opening an output empties it.
void refuse_name(const char* output) {
    if (const int status = check_output(output); status != 0) stop_not_opened(output, status);
    if (!is_input_file(output) && !is_section_file(output)) return;
    say("ERROR OPENING FILES");
    say("        File: %s is input and output of this run", output);
    stop_run();
}

// Files of a factor that later stages open, by the structure that makes them.
struct FactorOutput {
    Structure structure;
    const char* prefix;
};
constexpr FactorOutput kFactorOutputs[] = {
    {Structure::PED, "AINV"},        {Structure::PED, "AINV_RAM"}, {Structure::PED, "PEDFILE"},
    {Structure::PGMIX, "PGMIX"},     {Structure::COR, "COR"},      {Structure::COR, "MISS_ID"},
    {Structure::DOM, "DOM"},         {Structure::DOM, "MISS_ID"},  {Structure::ABS_QTL, "IBD"},
    {Structure::ABS_QTL, "MISS_ID"}, {Structure::GREL, "GINV"},    {Structure::GREL, "MISS_ID"},
};

void refuse_factor_inputs() {
    for (const VAR_STR_SPEC& spec : DIRECTIVES.var_str)
        for (const FactorOutput& output : kFactorOutputs)
            if (output.structure == spec.structure)
                refuse_name(factor_file_name(output.prefix, spec.factor).c_str());
}

template <class Unit>
void open_output_unit(Unit& unit, const char* file) {
    refuse_name(file);
    if (const int status = unit.open(file); status != 0) stop_not_opened(file, status);
}

void open_data() {
    for (int k = 0; k < (DIRECTIVES.n_data_files == 2 ? 2 : 1); ++k) {
        const std::string_view name = DIRECTIVES.data_file[k].view();
        if (DIRECTIVES.data_format == kAscii)
            open_unit(UNITS.data[k].text, name);
        else
            open_unit(UNITS.data[k].framed, name);
    }
}

}  // namespace

void open_files() {
    open_data();
    refuse_name("KVE_LOG");  // the model parser opens it
    refuse_factor_inputs();
    open_unit(UNITS.model_text, DIRECTIVES.model.name.view());
    if (!DIRECTIVES.reduce_file.blank())
        open_unit(UNITS.reduced_ranks, DIRECTIVES.reduce_file.view());
    open_output_unit(UNITS.MODINF, "MODINF");
    if (const int status = begin_model_file(); status != 0) stop_not_opened("MODINF", status);
    open_output_unit(UNITS.PEDDATA, "PEDDATA");
    open_output_unit(UNITS.INBREED, "INBREED");
    open_output_unit(UNITS.CODE_TABLE, "CODE_TABLE");
    if (!DIRECTIVES.finfo.name.blank()) {
        open_unit(UNITS.foreign_information, DIRECTIVES.finfo.name.view());
        open_output_unit(UNITS.RC_F_INFO, "RC_F_INFO");
    }
    if (!DIRECTIVES.oldsol.name.blank()) {
        open_unit(UNITS.old_solutions, DIRECTIVES.oldsol.name.view());
        open_output_unit(UNITS.oldsol, "oldsol");
    }
    open_output_unit(UNITS.RCDATA_I, "RCDATA_I");
    open_output_unit(UNITS.RCDATA_R, "RCDATA_R");
}

}  // namespace kve
