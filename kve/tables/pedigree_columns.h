// Which columns of a pedigree are which, by the names that people give them.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "kve/tables/identities.h"
#include "kve/tables/table_reader.h"

namespace kve::companion {

inline constexpr std::size_t kNoColumn = SIZE_MAX;

struct PedigreeColumns {
    std::size_t animal = kNoColumn, sire = kNoColumn, dam = kNoColumn, sex = kNoColumn,
                birth = kNoColumn;
};

// By the header. Without one they are identity, sire, dam and birth; in tables of six columns or
// more with blanks or tabs between them family, identity, sire, dam and sex. What is not found
// stays open.
PedigreeColumns find_pedigree_columns(const TableReader& table);

// Another column than the usual one, by its name or its number from 1; nothing asked, nothing done.
// Failure tells which columns there are.
void take_asked_column(const TableReader& table, const std::string& asked, std::size_t& column);

// A table that is a list of animals, its first column unless another is asked for. Texts alone may
// be a header or not; the name of an animal that is known is none.
std::unique_ptr<TableReader> open_animals(const std::string& file, const TableForm& asked,
                                          const std::string& asked_column,
                                          const IdentityTable& known, std::size_t& column);

}  // namespace kve::companion
