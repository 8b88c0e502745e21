// Records of the data table become records of values: read, limited, built, kept or not. What needs
// all records, such as codes and counts, is left to the writer of the data.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "kve/prep/class_names.h"
#include "kve/prep/findings.h"
#include "kve/prep/recipe.h"
#include "kve/shared/output.h"
#include "kve/tables/identities.h"
#include "kve/tables/table_reader.h"

namespace kve::companion::prep {

class PedigreeTable;

// A column of the records, of the table or built.
struct Field {
    std::string name;      // the user's
    std::string variable;  // in the directive file, at most 8 characters
    std::string about;     // what it is, in words
    Role role = Role::skip;
    bool is_written = true;

    const Column* column = nullptr;  // of the table: at this place, written so
    std::size_t index = 0;
    std::vector<MissingSigns> missing;  // of the table, of the column
    char decimal_sign = '.';
    DateOrder order = DateOrder::year_month_day;

    const Built* built = nullptr;
    std::vector<std::size_t> sources;  // fields that it is made from
    int part = 0;                      // which of several: degree of a polynomial, spline from 0

    std::shared_ptr<ClassNames> classes;
    int slot = -1;  // in the records of the intermediate file
    int64_t n_missing_by_sign = 0, n_made_missing = 0;

    bool is_integer() const { return role != Role::real && role != Role::date; }
    // Known when all records have been read.
    bool comes_last() const {
        return built != nullptr &&
               (built->how == Building::count || built->how == Building::orthogonal);
    }
    bool is_interaction() const { return built != nullptr && built->how == Building::interaction; }
    bool is_number() const { return built != nullptr && built->how == Building::number; }
};

class RecordMaker {
 public:
    enum class Outcome { kept, rejected, left_out };

    RecordMaker(const Recipe& recipe, TableReader& table, const PedigreeTable* pedigree,
                IdentityTable& identities, Findings& findings);

    // The record that the table is at. One that is kept waits for others.
    Outcome make();
    // As many wait as may.
    bool is_full() const { return n_waiting_ == kMostWaiting; }
    // The slots of those that wait.
    void put_out(Output& out);

    std::vector<Field>& fields() { return fields_; }
    // How many records each of the conditions has left out.
    const std::vector<int64_t>& left_out_by() const { return left_out_by_; }
    std::vector<std::string> unused_columns() const;

 private:
    struct Cell {
        double number = 0.0;    // not a number: missing
        std::string_view text;  // of an identity or class of the table; empty: missing
    };
    struct Test {
        const Condition* condition;
        std::size_t field;
        std::vector<double> numbers;
    };

    void add_sources(const Recipe& recipe);
    void add_built(const Built& built);
    std::size_t find_identity(const Built& built) const;
    std::size_t field_called(const std::string& name, int line) const;
    void check_source(const Built& built, const Field& source) const;
    void name_variables();
    void add_tests(const Recipe& recipe);
    void give_slots();

    void fetch_names() const;
    bool fill_cells();
    bool read_source(Field& field, Cell& cell);
    bool is_within_limits(Field& field, Cell& cell);
    void make_missing(Field& field, Cell& cell, std::string_view text, const std::string& reason);
    void compute(Field& field, Cell& cell);
    double born_of(const Field& field) const;
    double compute_age(Field& field, Cell& cell);
    bool fulfils(const Test& test) const;
    bool has_new_key();
    void intern(Field& field, Cell& cell, Slot& slot);
    int32_t place_of(Field& field, const Cell& cell);
    void number_records(const Field& field, std::vector<int32_t>& numbers);
    void join_parts(const Field& field);
    void tell_new_name(const Field& field, std::string_view text);
    void reject(const std::string& column, std::string_view text, const std::string& reason);

    const Recipe& recipe_;
    TableReader& table_;
    const PedigreeTable* pedigree_;
    IdentityTable& identities_;
    Findings& findings_;
    std::vector<Field> fields_;
    std::vector<Cell> cells_;
    // Of each field, by record. What is found from the places of other fields is left to put_out,
    // so that the tables where it is looked up are in the cache in time.
    static constexpr std::size_t kMostWaiting = 1024;
    std::vector<std::vector<Slot>> waiting_;
    std::size_t n_waiting_ = 0;
    std::vector<Test> tests_;
    std::vector<int64_t> left_out_by_;
    std::vector<std::size_t> keys_;
    IdentityTable known_keys_;
    std::vector<std::vector<int32_t>> numbers_;  // by field and place: running numbers
};

}  // namespace kve::companion::prep
