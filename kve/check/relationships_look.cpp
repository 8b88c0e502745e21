// The files that tell how the levels of random factors are related: pedigrees, matrices, genomic
// relationships.
#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <optional>
#include <vector>

#include "base/input.h"
#include "base/output_file.h"
#include "base/state.h"
#include "directives/directives.h"
#include "kve/check/data_figures.h"
#include "kve/check/data_levels.h"
#include "kve/check/look.h"
#include "kve/check/matrix_look.h"
#include "kve/check/pedigree_book.h"
#include "kve/files/record_file.h"

namespace kve::companion {

READS(DIRECTIVES);

namespace {

void look_at_method(Look& look, const VAR_STR_SPEC& spec) {
    const bool is_refused = spec.method == 3 || (DIRECTIVES.ITASK != kSolveByKve5 &&
                                                 (spec.method == 5 || spec.method > 6));
    if (is_refused)
        look.findings.error("inverse-method", place_of_structure(look, spec.factor),
                            fmt::format("KVE1 has no inverse by method {}; it stops when the data "
                                        "have been read",
                                        spec.method),
                            "Sire and dam: method 1; phantom parent groups: method 6");
    else if (spec.method == 4)
        look.findings.warn("inverse-method", place_of_structure(look, spec.factor),
                           "method 4 takes the maternal grandsire for a dam: the inverse is that "
                           "of method 2, and not that of a sire and maternal grandsire model");
}

// Files that the reading of the directives does not look for. True when there is a list of typed
// animals.
bool has_typed_animals(Look& look, const VAR_STR_SPEC& spec) {
    bool has_typed = true;
    for (const int k : {1, 2}) {
        const std::string name = spec.file[k].string();
        TextInput file;
        const int status = name.empty() ? ENOENT : file.open_input(name);
        if (status == 0) continue;
        if (k == 1) has_typed = false;
        const Place line = place_of_structure(look, spec.factor);
        look.findings.error("file-missing", look.text.place_in_section(line.line, name),
                            fmt::format("{}: {}", name, kve::words_of(status)));
    }
    return has_typed;
}

struct ReadPedigree {
    PedigreeJob job;
    PedigreeBook pedigree;
};

PedigreeBook& pedigree_of(Look& look, const PedigreeJob& job, FactorLevels* levels,
                          std::vector<ReadPedigree>& read) {
    const auto known = std::ranges::find(read, job, &ReadPedigree::job);
    if (known != read.end()) return known->pedigree;
    PedigreeBook& pedigree =
        read.emplace_back(ReadPedigree{job, read_pedigree_book(look, job)}).pedigree;
    look_at_parents(look, job, pedigree, levels);
    return pedigree;
}

PedigreeJob job_of(const VAR_STR_SPEC& spec) {
    return {spec.file[0].string(), static_cast<DataFormat>(spec.format), spec.method};
}

void look_at_pedigree(Look& look, const VAR_STR_SPEC& spec, DataLevels* data,
                      std::vector<ReadPedigree>& read) {
    const Reckoning shown(spec.file[0].string());
    look_at_method(look, spec);
    const PedigreeJob job = job_of(spec);
    FactorLevels* levels = data == nullptr ? nullptr : data->of_factor(spec.factor);
    PedigreeBook& pedigree = pedigree_of(look, job, levels, read);
    if (levels != nullptr) look_at_data_animals(look, job, pedigree, *data, *levels);
    look_at_sires(look, spec.factor, pedigree);
    if (spec.structure != Structure::PGMIX || !has_typed_animals(look, spec)) return;
    const Reckoning shown_too(spec.file[2].string());
    look_at_genomic(look, spec, levels, pedigree);
}

// The pedigree of the factor that a matrix belongs to, null when it has not been read.
PedigreeBook* associated_pedigree(const VAR_STR_SPEC& spec, std::vector<ReadPedigree>& read) {
    if (spec.structure != Structure::DOM && spec.structure != Structure::ABS_QTL) return nullptr;
    for (const VAR_STR_SPEC& other : DIRECTIVES.var_str)
        if (other.factor == spec.integer_input && has_pedigree(other.structure))
            if (const auto known = std::ranges::find(read, job_of(other), &ReadPedigree::job);
                known != read.end())
                return &known->pedigree;
    return nullptr;
}

bool has_file(const VAR_STR_SPEC& spec) {
    return spec.structure != Structure::unknown && spec.structure != Structure::I &&
           spec.structure != Structure::GROUP && !spec.file[0].blank();
}

}  // namespace

void look_at_relationships(Look& look) {
    if (!look.reading.has_directives() || std::ranges::none_of(DIRECTIVES.var_str, has_file))
        return;
    std::optional<DataLevels>& data = look.data->levels;
    std::vector<ReadPedigree> read;
    for (const VAR_STR_SPEC& spec : DIRECTIVES.var_str)
        if (has_file(spec) && has_pedigree(spec.structure))
            look_at_pedigree(look, spec, data ? &*data : nullptr, read);
    for (const VAR_STR_SPEC& spec : DIRECTIVES.var_str) {
        if (!has_file(spec) || has_pedigree(spec.structure)) continue;
        const Reckoning shown(spec.file[0].string());
        look_at_inverse(look, spec, data ? data->of_factor(spec.factor) : nullptr,
                        associated_pedigree(spec, read));
    }
}

}  // namespace kve::companion
