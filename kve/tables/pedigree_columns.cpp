#include "kve/tables/pedigree_columns.h"

#include <algorithm>
#include <cctype>
#include <string>
#include <vector>

#include "kve/tables/values.h"

namespace kve::companion {

namespace {

// Letters and digits alone, in lower case: "Sire-ID" is "sireid".
std::string plain_name(std::string_view name) {
    std::string plain;
    for (const char c : name)
        if (std::isalnum(static_cast<unsigned char>(c)) != 0)
            plain += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return plain;
}

std::size_t find_named(const TableReader& table, const std::vector<std::string_view>& usual) {
    for (std::size_t c = 0; c < table.names().size(); ++c)
        if (std::ranges::find(usual, plain_name(table.names()[c])) != usual.end()) return c;
    return kNoColumn;
}

PedigreeColumns usual_places(const TableReader& table) {
    const std::size_t n = table.names().size();
    if (n < 3) return {};
    constexpr std::size_t kOfFamilies = 6;
    if (n >= kOfFamilies && (table.delimiter() == kBlanks || table.delimiter() == '\t'))
        return {.animal = 1, .sire = 2, .dam = 3, .sex = 4};
    return {.animal = 0, .sire = 1, .dam = 2, .birth = n > 3 ? 3 : kNoColumn};
}

}  // namespace

PedigreeColumns find_pedigree_columns(const TableReader& table) {
    if (!table.has_header()) return usual_places(table);
    return {
        .animal = find_named(
            table, {"id", "animal", "animalid", "anim", "ident", "identity", "individual", "iid",
                    "self", "tag", "code", "calf", "lamb", "piglet"}),
        .sire = find_named(table, {"sire", "sireid", "idsire", "father", "fatherid"}),
        .dam = find_named(table, {"dam", "damid", "iddam", "mother", "motherid"}),
        .sex = find_named(table, {"sex", "gender"}),
        .birth = find_named(table, {"birth", "birthdate", "dateofbirth", "birthday", "born", "dob",
                                    "bdate", "birthyear", "yearofbirth", "byear", "yob", "year"})};
}

void take_asked_column(const TableReader& table, const std::string& asked, std::size_t& column) {
    if (asked.empty()) return;
    const std::optional<int64_t> number = parse_integer(asked);
    const bool is_number = !table.find(asked) && number && *number >= 1 &&
                           *number <= static_cast<int64_t>(table.names().size());
    column = is_number ? static_cast<std::size_t>(*number - 1) : table.column(asked);
}

std::unique_ptr<TableReader> open_animals(const std::string& file, const TableForm& asked,
                                          const std::string& asked_column,
                                          const IdentityTable& known, std::size_t& column) {
    auto table = std::make_unique<TableReader>(file, asked);
    take_asked_column(*table, asked_column, column);
    if (asked.has_header || !table->has_header() || known.find(table->names()[column]) == 0)
        return table;
    TableForm without = asked;
    without.has_header = false;
    return std::make_unique<TableReader>(file, without);
}

}  // namespace kve::companion
