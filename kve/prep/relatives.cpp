#include "kve/prep/relatives.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <memory>
#include <set>
#include <utility>

#include "kve/shared/failure.h"
#include "kve/shared/output.h"
#include "kve/tables/pedigree_columns.h"
#include "kve/tables/table_reader.h"

namespace kve::companion::prep {

namespace {

bool is_unknown(const MissingSigns& missing, std::string_view identity) {
    return is_nobody(identity) || missing(identity);
}

// Lets `take` look at each record that has the right number of fields, and counts. It returns false
// when it has rejected the record.
template <class Take>
void read_records(TableReader& table, Findings& findings, TableCounts& counts, Take take) {
    counts.file = table.file();
    counts.table = findings.begin_table();
    while (table.next()) {
        ++counts.n_read;
        bool is_kept = table.has_all_fields();
        if (!is_kept)
            findings.add(Consequence::record_rejected, table.file(), table.line(), "",
                         fmt::format("{} of {}", table.n_fields(), table.names().size()),
                         "another number of fields");
        else
            is_kept = take();
        ++(is_kept ? counts.n_kept : counts.n_rejected);
    }
    counts.described = table.described();
}

}  // namespace

PedigreeTable::PedigreeTable(const PedigreeUse& use, IdentityTable& identities, Findings& findings)
    : use_(use), missing_(use.missing), identities_(identities), findings_(findings) {
    TableReader table(use.file, use.form);
    animal_ = table.column(use.animal);
    sire_ = table.column(use.sire);
    dam_ = table.column(use.dam);
    const std::string& sort = use.born.empty() ? use.sort : use.born;
    if (!sort.empty()) sort_ = table.column(sort);
    read_records(table, findings, counts_, [&] {
        const std::string_view text = table.field(animal_);
        const auto reject = [&](const char* reason) {
            findings_.add(Consequence::record_rejected, table.file(), table.line(), use_.animal,
                          text, reason);
            return false;
        };
        if (is_unknown(missing_, text)) return reject("is missing");
        if (at(identities_.place_of(text)).has_record())
            return reject("an earlier record is of the same animal");
        take_record(table);
        return true;
    });
    counts_.described += fmt::format("; animal {}, sire {}, dam {}", use.animal, use.sire, use.dam);
    if (!use.born.empty())
        counts_.described += fmt::format(", born {}, {}", use.born,
                                         words_of(use.order.value_or(DateOrder::year_month_day)));
    if (!use.sort.empty()) counts_.described += fmt::format(", sort {}", use.sort);
    if (sort.empty()) number_generations();
    tell_wrong_parents();
}

PedigreeTable::Animal& PedigreeTable::at(int32_t place) {
    if (static_cast<std::size_t>(place) >= animals_.size())
        animals_.resize(std::max<std::size_t>(static_cast<std::size_t>(place) + 1,
                                              animals_.size() + animals_.size() / 2));
    return animals_[static_cast<std::size_t>(place)];
}

void PedigreeTable::take_record(const TableReader& table) {
    const int32_t animal = identities_.find(table.field(animal_));
    const Animal record{parent_of(table, use_.sire), parent_of(table, use_.dam), sort_of(table),
                        static_cast<int32_t>(table.line())};
    at(animal) = record;
    order_.push_back(animal);
}

int32_t PedigreeTable::parent_of(const TableReader& table, const std::string& column) {
    constexpr int kGroups = 5;  // the methods from here on take groups for parents
    const std::string_view text = table.field(column == use_.sire ? sire_ : dam_);
    if (is_unknown(missing_, text)) return 0;
    const std::optional<int64_t> number = parse_integer(text);
    if (!number || *number >= 0) return identities_.place_of(text);
    if (use_.method >= kGroups && *number >= INT32_MIN + 1) return static_cast<int32_t>(*number);
    findings_.add(Consequence::value_missing, table.file(), table.line(), column, text,
                  "a phantom group, which the method of the pedigree does not take");
    return 0;
}

int32_t PedigreeTable::sort_of(const TableReader& table) {
    if (use_.born.empty() && use_.sort.empty()) return 0;
    const std::string_view text = table.field(sort_);
    if (missing_(text) || text.empty()) return 0;
    const char* reason = "no date";
    if (!use_.born.empty()) {
        if (const auto date = parse_date(text, use_.order.value_or(DateOrder::year_month_day)))
            return *date;
    } else {
        const std::optional<int64_t> number = parse_integer(text);
        if (number && *number > INT32_MIN && *number <= INT32_MAX)
            return static_cast<int32_t>(*number);
        reason = number ? "beyond 31 bits" : "no whole number";
    }
    findings_.add(Consequence::value_missing, table.file(), table.line(),
                  use_.born.empty() ? use_.sort : use_.born, text, reason);
    return 0;
}

// 0 when it waits for parents: they are put on the road.
int32_t PedigreeTable::generation_of(int32_t place, std::vector<int32_t>& road) {
    const Animal own = at(place);
    int32_t generation = 1;
    bool waits = false;
    for (const int32_t parent : {own.sire, own.dam}) {
        if (parent <= 0) continue;
        const int32_t of_parent = at(parent).sort;
        if (of_parent == 0) {
            road.push_back(parent);
            waits = true;
        }
        generation = std::max(generation, of_parent + 1);
    }
    return waits ? 0 : generation;
}

void PedigreeTable::number_generations() {
    constexpr int32_t kUnderWay = -1;
    std::vector<int32_t> road;
    for (const int32_t first : order_) {
        road.push_back(first);
        while (!road.empty()) {
            const int32_t place = road.back();
            if (at(place).sort > 0) {
                road.pop_back();
                continue;
            }
            const int32_t generation = generation_of(place, road);
            at(place).sort = generation > 0 ? generation : kUnderWay;
            if (generation > 0) road.pop_back();
        }
    }
}

// Of these KVE1 would take the one or the other; kve ped mends them.
void PedigreeTable::tell_wrong_parents() {
    for (const int32_t place : order_) {
        const Animal& own = animal(place);
        const auto tell = [&](int32_t parent, const std::string& column, const char* reason) {
            findings_.add(Consequence::only_told, counts_.file, own.line, column,
                          identities_.text(parent), reason);
        };
        for (const auto& [parent, column] : {std::pair{own.sire, &use_.sire}, {own.dam, &use_.dam}})
            if (parent == place)
                tell(parent, *column, "an animal that is its own parent");
            else if (parent > 0 && own.sort > 0 && animal(parent).sort >= own.sort)
                tell(parent, *column, "a parent that is not older");
        if (own.sire > 0 && own.sire == own.dam && own.sire != place)
            tell(own.dam, use_.dam, "one animal as both parents");
    }
}

int64_t PedigreeTable::n_without_sort() const {
    return std::ranges::count_if(order_, [&](int32_t place) { return animal(place).sort <= 0; });
}

std::vector<int32_t> read_typed(const TypedUse& use, IdentityTable& identities, Findings& findings,
                                TableCounts& counts) {
    std::size_t column = 0;
    const std::unique_ptr<TableReader> opened =
        open_animals(use.file, use.form, use.animal, identities, column);
    TableReader& table = *opened;
    const MissingSigns missing(use.missing);
    std::vector<int32_t> typed;
    std::set<int32_t> met;
    read_records(table, findings, counts, [&] {
        const std::string_view text = table.field(column);
        const char* reason = nullptr;
        if (is_unknown(missing, text))
            reason = "is missing";
        else if (!met.insert(identities.place_of(text)).second)
            reason = "an earlier record is of the same animal";
        if (reason != nullptr) {
            findings.add(Consequence::record_rejected, table.file(), table.line(),
                         table.names()[column], text, reason);
            return false;
        }
        typed.push_back(identities.find(text));
        return true;
    });
    return typed;
}

namespace {

// Row, column and value: those that the recipe names, otherwise the first three.
std::array<std::size_t, 3> columns_of_matrix(const MatrixUse& use, const TableReader& table) {
    if (table.names().size() < 3)
        throw Failure(kUnreadable,
                      fmt::format("{}: {} columns; a matrix has three: row, column, value",
                                  use.file, table.names().size()));
    const auto column = [&](const std::string& name, std::size_t otherwise) {
        return name.empty() ? otherwise : table.column(name);
    };
    return {column(use.row, 0), column(use.column, 1), column(use.value, 2)};
}

// Of an identity, or of a level of the class when that is given; 0 when it is missing.
int32_t place_in(IdentityTable& identities, ClassNames* classes, const MissingSigns& missing,
                 std::string_view text) {
    if (classes == nullptr) return is_unknown(missing, text) ? 0 : identities.place_of(text);
    return missing(text) || text.empty() ? 0 : classes->place_of(text);
}

}  // namespace

TableCounts read_matrix(const MatrixUse& use, IdentityTable& identities, ClassNames* classes,
                        Findings& findings, const std::string& intermediate) {
    TableReader table(use.file, use.form);
    const MissingSigns missing(use.missing);
    const std::array<std::size_t, 3> columns = columns_of_matrix(use, table);
    Output out(intermediate);
    TableCounts counts;
    read_records(table, findings, counts, [&] {
        MatrixElement element{};
        const auto reject = [&](std::size_t at, const char* reason) {
            findings.add(Consequence::record_rejected, table.file(), table.line(),
                         table.names()[at], table.field(at), reason);
            return false;
        };
        const std::optional<double> value = parse_real(table.field(columns[2]), use.decimal_sign);
        if (!value) return reject(columns[2], "no number");
        element.value = *value;
        // The logarithm of the determinant may stand first.
        const bool is_determinant =
            counts.n_read == 1 && table.field(columns[0]) == "0" && table.field(columns[1]) == "0";
        for (std::size_t k = 0; k < 2 && !is_determinant; ++k) {
            int32_t& place = k == 0 ? element.row : element.column;
            place = place_in(identities, classes, missing, table.field(columns[k]));
            if (place == 0) return reject(columns[k], "is missing");
        }
        out.put(std::string_view(reinterpret_cast<const char*>(&element), sizeof element));
        return true;
    });
    out.finish();
    return counts;
}

}  // namespace kve::companion::prep
