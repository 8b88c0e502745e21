// Words on a model that several commands show.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "kve/files/run_folder.h"

namespace kve::companion {

const char* trait_type_name(int32_t type);

// Records in which each trait is usable, as its first fixed class effect counts them. Of a trait
// without one MODINF tells the number when it is the first.
std::vector<std::optional<int64_t>> count_records(const RunFolder& run);

// The covariables of a trait, with what they are nested in.
std::string regressions_of(const Model& m);

// What is fixed of a matrix, by rows and columns: by $VAR_REST, and of the residual as zero; empty
// when nothing is.
std::string restrictions_of(const RMatrix& r);

}  // namespace kve::companion
