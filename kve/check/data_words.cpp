#include "kve/check/data_words.h"

#include <fmt/format.h>

#include <algorithm>

#include "base/state.h"
#include "directives/directives.h"
#include "model/model_records.h"

namespace kve::companion {

READS(DIRECTIVES);
READS(MODEL);

bool has_lines() { return DIRECTIVES.data_format == kAscii; }

Place in_data(const ColumnRef& column, int64_t line) {
    return {DIRECTIVES.data_file[column.is_real && DIRECTIVES.n_data_files == 2 ? 1 : 0].string(),
            has_lines() ? line : 0, 0};
}

std::string record_words(int64_t number) {
    return has_lines() ? std::string() : fmt::format("record {}: ", number);
}

std::string line_range(int64_t first, int64_t last) {
    return fmt::format("{}s {} to {}", has_lines() ? "line" : "record", first, last);
}

bool is_trait(int32_t column) {
    return std::ranges::any_of(MODEL,
                               [column](const Model& m) { return m.trait_inp_no == column; });
}

Place place_of_use(const Look& look, const ColumnRef& column) {
    const std::string word = std::to_string(column.column);
    for (const Model& m : MODEL) {
        const bool in_effects =
            column.is_real ? m.trait_inp_no == column.column || m.wgt_inp_no == column.column
                           : std::ranges::count(m.ef_inp, column.column) > 0;
        if (in_effects) return place_in_model(look, m.lines.effects, word);
        if (column.is_real && std::ranges::count(m.reg_inp, column.column) > 0)
            return place_in_model(look, m.lines.regressions, word);
    }
    return place_in_model(look, 1);
}

}  // namespace kve::companion
