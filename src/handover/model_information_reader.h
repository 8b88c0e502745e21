// Reads MODINF again, for those who look at what a run left.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "handover/model_information_fields.h"
#include "model/model_records.h"

namespace kve {

struct ModelInformation {
    RunInformation<Owned> run{};
    std::vector<Model> traits;
    std::vector<RMatrix> matrices;  // the residual last
};

// All of MODINF out of the bytes of the file. Empty when all is well; else what is wrong, and
// `into` is good for nothing. Numbers may still be nonsense, but each array has the extents that
// the description tells, and takes no more memory than the file has bytes.
[[nodiscard]] std::string read_model_information(std::string_view bytes, ModelInformation& into);

}  // namespace kve
