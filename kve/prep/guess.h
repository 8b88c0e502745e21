// What a table probably is, for those who have no recipe yet.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "kve/prep/recipe.h"

namespace kve::companion::prep {

// The first records of a table.
struct Sample {
    explicit Sample(const TableUse& use);

    std::string described;
    std::vector<std::string> names;
    std::vector<std::vector<std::string>> columns;  // the values that are not missing
    std::vector<std::size_t> n_missing;
    std::size_t n_records = 0;
};

struct Guess {
    Column column;
    std::string reason;
};

std::vector<Guess> guess_columns(const Sample& sample, char decimal_sign);
char guess_decimal_sign(const Sample& sample);

// What a recipe has left open: columns of the pedigree, orders of dates.
void complete_pedigree(PedigreeUse& use);
void complete_dates(Recipe& recipe);

// A recipe for these tables as text, each line with its reason. File names count from the folder.
std::string write_template(const Recipe& of_command_line, const std::string& folder);

}  // namespace kve::companion::prep
