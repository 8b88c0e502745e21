// The tables beside the data: pedigree, typed animals, matrices.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "kve/prep/class_names.h"
#include "kve/prep/findings.h"
#include "kve/prep/recipe.h"
#include "kve/tables/identities.h"

namespace kve::companion::prep {

struct TableCounts {
    std::string file, described;
    int table = 0;  // of the findings
    int64_t n_read = 0, n_kept = 0, n_rejected = 0;
};

// In memory, as large as the identities are.
class PedigreeTable {
 public:
    PedigreeTable(const PedigreeUse& use, IdentityTable& identities, Findings& findings);

    struct Animal {
        int32_t sire = 0, dam = 0;  // places; below 0 phantom groups
        int32_t sort = 0;
        int32_t line = 0;  // of the record
        bool has_record() const { return line > 0; }
    };
    // Of any place; one that is not in the table has no record.
    const Animal& animal(int32_t place) const {
        static const Animal nobody;
        const auto at = static_cast<std::size_t>(place);
        return at < animals_.size() ? animals_[at] : nobody;
    }
    bool has_dates() const { return !use_.born.empty(); }
    const TableCounts& counts() const { return counts_; }
    const std::vector<int32_t>& in_file_order() const { return order_; }
    int64_t n_without_sort() const;

 private:
    Animal& at(int32_t place);
    void take_record(const TableReader& table);
    int32_t parent_of(const TableReader& table, const std::string& column);
    int32_t sort_of(const TableReader& table);
    // Where the user has neither dates nor a sort variable: from the founders on. In a loop some
    // animal does not come after its parent.
    void number_generations();
    int32_t generation_of(int32_t place, std::vector<int32_t>& road);
    void tell_wrong_parents();

    const PedigreeUse& use_;
    MissingSigns missing_;
    IdentityTable& identities_;
    Findings& findings_;
    TableCounts counts_;
    std::vector<Animal> animals_;  // by place
    std::vector<int32_t> order_;
    std::size_t animal_ = 0, sire_ = 0, dam_ = 0, sort_ = 0;  // columns
};

// Which places of `identities` are typed, in the order of the table.
std::vector<int32_t> read_typed(const TypedUse& use, IdentityTable& identities, Findings& findings,
                                TableCounts& counts);

// The elements of a matrix by places, into an intermediate file.
struct MatrixElement {
    double value;
    int32_t row, column;
};
// Of the identities, or of the levels of a class when that is given.
TableCounts read_matrix(const MatrixUse& use, IdentityTable& identities, ClassNames* classes,
                        Findings& findings, const std::string& intermediate);

}  // namespace kve::companion::prep
