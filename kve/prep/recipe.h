// What a user wants to be made of his tables: docs/kve.md describes the file.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "kve/tables/table_reader.h"
#include "kve/tables/values.h"

namespace kve::companion::prep {

enum class Role { identity, klass, real, integer, date, skip };
const char* name_of(Role role);
// "day month year"
const char* words_of(DateOrder order);

struct TableUse {
    std::string file;
    TableForm form;
    std::vector<std::string> missing = usual_missing_signs();
    char decimal_sign = '.';
};

// Beyond them a value is missing or the record is rejected.
struct Limits {
    std::optional<double> lowest, highest;
    bool rejects = false;
};

// A column of the data.
struct Column {
    std::string name;
    Role role = Role::skip;
    std::vector<std::string> missing;  // besides those of the table
    std::optional<char> decimal_sign;
    std::optional<DateOrder> order;
    Limits limits;
    bool is_required = false;
    bool is_written = true;
    int line = 0;  // of the recipe
};

enum class Building {
    year,
    month,
    season,
    year_season,
    age,
    cut,
    interaction,
    legendre,
    orthogonal,
    spline,
    count,
    number,
};

// A column that is made from others; of polynomials and splines several.
struct Built {
    std::string name;
    Building how = Building::year;
    std::vector<std::string> sources;
    std::string unit = "days";                 // age
    Limits limits;                             // of it
    std::vector<std::vector<int32_t>> months;  // of each season
    std::vector<double> numbers;  // where a real is cut, knots, the two ends of a range
    int degree = 1;               // of polynomials, the highest; of splines
    bool has_constant = false;    // legendre: degree 0, too
    bool is_written = true;
    int line = 0;
};

// A record is kept when the value is one of these, or is not, or is below the first, and so on.
struct Condition {
    enum Kind { in, not_in, below, at_most, above, at_least };
    std::string words;  // as in the recipe
    std::string column;
    Kind kind = in;
    std::vector<std::string> values;
    int line = 0;
};

struct PedigreeUse : TableUse {
    std::string animal, sire, dam;
    std::string born;  // or
    std::string sort;
    std::optional<DateOrder> order;
    int method = 1, factor = 1;
};

struct TypedUse : TableUse {
    std::string animal;
};

struct MatrixUse : TableUse {
    std::string row, column, value;
    std::string of;                // a class; empty: identities
    std::string type = "PGMIX";    // COR, GREL, DOM, ABS_QTL
    int factor = 1, pedigree = 1;  // pedigree: factor of DOM and ABS_QTL
    std::optional<double> weight;
    bool adjusts = false;
};

struct Recipe {
    std::string file;  // empty: made from the tables
    TableUse data;
    std::vector<Column> columns;
    std::vector<Built> built;
    std::vector<std::string> unique;
    int unique_line = 0;
    std::vector<Condition> keep;
    std::optional<PedigreeUse> pedigree;
    std::optional<TypedUse> typed;
    std::vector<MatrixUse> matrices;
    bool renumbers = false;
    bool is_binary = false;
    double missing_code = -999999.0;
    std::string comment, analyse = "1 1 0 0", model, prior;
};

// Failure tells file, line and what is wrong. File names count from the folder of the recipe.
Recipe read_recipe(const std::string& file);
Recipe parse_recipe(const std::string& text, const std::string& file);

}  // namespace kve::companion::prep
