// Columns and lines of the data, as findings name them.
#pragma once

#include <cstdint>
#include <string>

#include "kve/check/look.h"
#include "kve/check/words.h"

namespace kve::companion {

// Data in binary have records, and no lines.
bool has_lines();
Place in_data(const ColumnRef& column, int64_t line);
std::string record_words(int64_t number);  // in front of a message
std::string line_range(int64_t first, int64_t last);

bool is_trait(int32_t column);

// Where the model uses the column first.
Place place_of_use(const Look& look, const ColumnRef& column);

}  // namespace kve::companion
