#include "kve/prep/guess.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <filesystem>
#include <iterator>
#include <set>
#include <utility>

#include "kve/shared/failure.h"
#include "kve/tables/pedigree_columns.h"

namespace kve::companion::prep {

namespace {

constexpr std::size_t kSampleRecords = 5000;

std::string in_lower_case(std::string text) {
    for (char& c : text)
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    return text;
}

// Of "milkYield_305d": milk, yield, 305d.
std::vector<std::string> words_in(const std::string& name) {
    std::vector<std::string> words(1);
    char before = ' ';
    for (const char c : name) {
        const bool is_part = std::isalnum(static_cast<unsigned char>(c)) != 0 || c < 0;
        const bool begins = std::isupper(static_cast<unsigned char>(c)) != 0 &&
                            std::islower(static_cast<unsigned char>(before)) != 0;
        if ((!is_part || begins) && !words.back().empty()) words.emplace_back();
        if (is_part) words.back() += c;
        before = c;
    }
    for (std::string& word : words) word = in_lower_case(word);
    return words;
}

// A word of the name is one of these, or begins with it and ends as identities do.
bool holds_one_of(const std::string& name, const std::vector<std::string_view>& wanted) {
    static const std::set<std::string_view> ends = {"",    "s",   "id",   "no",   "nr",
                                                    "tag", "num", "code", "name", "number"};
    for (const std::string& word : words_in(name))
        for (const std::string_view one : wanted)
            if (word.starts_with(one) && ends.contains(std::string_view(word).substr(one.size())))
                return true;
    return false;
}

bool names_an_animal(const std::string& name) {
    return holds_one_of(name, {"id",     "animal", "cow",      "sire",   "dam",  "bull",  "mother",
                               "father", "ident",  "identity", "eartag", "calf", "ewe",   "ram",
                               "sow",    "boar",   "horse",    "mare",   "lamb", "piglet"});
}

bool names_a_class(const std::string& name) {
    return holds_one_of(name, {"year", "herd", "farm", "flock", "breed", "sex", "season", "group",
                               "parity", "lactation", "region", "litter", "pen", "batch", "hys"});
}

// In a comment of the recipe.
std::string shown_text(std::string text) {
    const bool is_plain = is_utf8(text);
    std::ranges::replace_if(
        text,
        [&](char c) {
            return static_cast<unsigned char>(c) < ' ' || c == '\x7F' || (c < 0 && !is_plain);
        },
        '?');
    return text;
}

std::string number_of_different(std::size_t n) {
    return n == 1 ? "one value" : fmt::format("{} different values", n);
}

std::optional<DateOrder> date_order(const std::vector<std::string>& values) {
    return find_date_order(std::vector<std::string_view>(values.begin(), values.end()));
}

// How many of the values are numbers.
template <class Parse>
std::size_t count_numbers(const std::vector<std::string>& values, Parse parse) {
    return static_cast<std::size_t>(std::ranges::count_if(
        values, [&](const std::string& value) { return parse(value).has_value(); }));
}

Guess guess_number(const std::string& name, const std::vector<std::string>& values,
                   std::size_t n_different, bool are_whole) {
    constexpr std::size_t kFewLevels = 30, kLongNumber = 6;
    const bool are_long = std::ranges::all_of(
        values, [](const std::string& value) { return value.size() >= kLongNumber; });
    Column column;
    column.name = name;
    column.role = Role::real;
    if (!are_whole) return {column, "numbers with decimals"};
    const std::string words = "whole numbers, " + number_of_different(n_different);
    if (names_an_animal(name)) {
        column.role = Role::identity;
        return {column, words + ", and the name is that of an animal"};
    }
    if (n_different <= kFewLevels || names_a_class(name)) {
        column.role = Role::klass;
        return {column, words};
    }
    if (are_long) {
        column.role = Role::identity;
        return {column, words + fmt::format(" of {} digits or more", kLongNumber)};
    }
    return {column, words};
}

Guess guess_text(const std::string& name, const std::vector<std::string>& values,
                 std::size_t n_different) {
    constexpr std::size_t kManyRecords = 3;  // of a level of a class, at least, on average
    Column column;
    column.name = name;
    column.role = Role::klass;
    const std::string words = fmt::format("texts such as {}, {}", shown_text(values.front()),
                                          number_of_different(n_different));
    if (names_an_animal(name)) {
        column.role = Role::identity;
        return {column, words + ", and the name is that of an animal"};
    }
    if (std::ranges::any_of(values, [](const std::string& v) { return v.size() > 40; })) {
        column.role = Role::skip;
        return {column, words + ": remarks"};
    }
    if (!names_a_class(name) && n_different * kManyRecords > values.size() && n_different > 20) {
        column.role = Role::identity;
        return {column, words + fmt::format(" in {} records", values.size())};
    }
    return {column, words};
}

// The order in which most of them are dates.
std::optional<DateOrder> likeliest_order(const std::vector<std::string>& values,
                                         std::size_t& n_dates) {
    std::optional<DateOrder> likeliest;
    n_dates = 0;
    for (const DateOrder order : {DateOrder::year_month_day, DateOrder::day_month_year,
                                  DateOrder::month_day_year, DateOrder::year_only}) {
        const std::size_t n = count_numbers(
            values, [&](const std::string& value) { return parse_date(value, order); });
        if (n <= n_dates) continue;
        n_dates = n;
        likeliest = order;
    }
    return likeliest;
}

Guess guess_column(const std::string& name, const std::vector<std::string>& values,
                   char decimal_sign) {
    Column column;
    column.name = name;
    if (values.empty()) return {column, "no values"};
    const std::set<std::string> different(values.begin(), values.end());
    const std::optional<DateOrder> order = date_order(values);
    if (order && *order != DateOrder::year_only) {
        column.role = Role::date;
        column.order = order;
        std::string words = fmt::format("dates such as {}", shown_text(values.front()));
        if (*order == DateOrder::day_month_year &&
            find_date_order({values.front()}) != DateOrder::year_month_day &&
            std::ranges::all_of(values, [](const std::string& value) {
                return parse_date(value, DateOrder::month_day_year).has_value();
            }))
            words += "; the month may stand first just as well";
        return {column, words};
    }
    const auto real = [&](const std::string& v) { return parse_real(v, decimal_sign); };
    const std::size_t n_reals = count_numbers(values, real),
                      n_whole = count_numbers(values, parse_integer);
    // A few that are none are faults; they will be told.
    if (10 * n_reals >= 9 * values.size()) {
        Guess guess = guess_number(name, values, different.size(), 10 * n_whole >= 9 * n_reals);
        if (n_reals < values.size() && guess.column.role != Role::identity)
            guess.reason +=
                fmt::format("; {} of {} are no numbers", values.size() - n_reals, values.size());
        return guess;
    }
    std::size_t n_dates = 0;
    column.order = likeliest_order(values, n_dates);
    if (10 * n_dates < 9 * values.size()) column.order.reset();
    if (column.order) {
        column.role = Role::date;
        return {column,
                fmt::format("dates such as {}; {} of {} are none", shown_text(values.front()),
                            values.size() - n_dates, values.size())};
    }
    return guess_text(name, values, different.size());
}

std::string toml_text(const std::string& text) {
    std::string quoted = "\"";
    for (const char c : text)
        if (c == '"' || c == '\\')
            quoted += {'\\', c};
        else if (static_cast<unsigned char>(c) < ' ' || c == '\x7F')
            quoted += fmt::format("\\u{:04X}", static_cast<int>(c));
        else
            quoted += c;
    return quoted + "\"";
}

std::string toml_key(const std::string& name) {
    const bool is_bare = std::ranges::all_of(name, [](char c) {
        return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
               c == '_' || c == '-';
    });
    return is_bare && !name.empty() ? name : toml_text(name);
}

std::string sign_name(char sign) {
    return sign == '\t' ? "tab" : sign == kBlanks ? "blanks" : std::string(1, sign);
}

std::string table_entries(const TableUse& use, const std::string& described,
                          const std::string& folder) {
    std::error_code ignored;
    std::string text = fmt::format(
        "file = {}  # {}\n",
        toml_text(folder.empty() ? use.file
                                 : std::filesystem::proximate(use.file, folder, ignored).string()),
        described);
    if (use.form.delimiter)
        text += fmt::format("delimiter = {}\n", toml_text(sign_name(*use.form.delimiter)));
    if (use.form.has_header) text += fmt::format("header = {}\n", *use.form.has_header);
    if (use.form.quote != '"')
        text += fmt::format("quote = {}\n", use.form.quote == kNoQuote
                                                ? "\"\""
                                                : toml_text(std::string(1, use.form.quote)));
    if (use.decimal_sign != '.')
        text += fmt::format("decimal = {}\n", toml_text(std::string(1, use.decimal_sign)));
    text += "missing = [";
    for (std::size_t k = 0; k < use.missing.size(); ++k)
        text += (k > 0 ? ", " : "") + toml_text(use.missing[k]);
    return text + "]\n";
}

std::string column_line(const Guess& guess) {
    const Column& c = guess.column;
    const std::string role = fmt::format("\"{}\"", name_of(c.role));
    const std::string value =
        c.order ? fmt::format("{{ role = {}, order = \"{}\" }}", role, words_of(*c.order)) : role;
    return fmt::format("{} = {}  # {}\n", toml_key(c.name), value, guess.reason);
}

}  // namespace

Sample::Sample(const TableUse& use) {
    TableReader table(use.file, use.form);
    const MissingSigns missing(use.missing);
    names = table.names();
    if (!std::ranges::all_of(names, [](const std::string& name) { return is_utf8(name); }))
        throw Failure(kUnreadable, use.file +
                                       ": line 1: is not written in UTF-8; save it so, or "
                                       "convert it with iconv");
    columns.resize(names.size());
    n_missing.resize(names.size());
    while (n_records < kSampleRecords && table.next()) {
        if (!table.has_all_fields()) continue;
        ++n_records;
        for (std::size_t c = 0; c < names.size(); ++c)
            if (missing(table.field(c)))
                ++n_missing[c];
            else
                columns[c].emplace_back(table.field(c));
    }
    described = table.described();
}

char guess_decimal_sign(const Sample& sample) {
    std::size_t with_comma = 0, with_point = 0;
    for (const auto& values : sample.columns)
        for (const std::string& value : values) {
            if (value.find(',') != value.npos && parse_real(value, ',')) ++with_comma;
            if (value.find('.') != value.npos && parse_real(value)) ++with_point;
        }
    return with_comma > with_point ? ',' : '.';
}

std::vector<Guess> guess_columns(const Sample& sample, char decimal_sign) {
    std::vector<Guess> all;
    for (std::size_t c = 0; c < sample.names.size(); ++c)
        all.push_back(guess_column(sample.names[c], sample.columns[c], decimal_sign));
    return all;
}

namespace {

// A column of the pedigree, and what tells it when the recipe leaves it open.
struct OpenColumn {
    std::string& name;
    std::size_t usual;
    std::vector<const char*> words;
    std::size_t place;
};

bool is_free(const PedigreeUse& use, const std::string& name) {
    return name != use.animal && name != use.sire && name != use.dam;
}

// One that holds the first word, otherwise one that holds the next; empty when there is none.
std::string find_free_name(const PedigreeUse& use, const std::vector<std::string>& names,
                           const std::vector<const char*>& words) {
    for (const char* word : words)
        for (const std::string& name : names)
            if (is_free(use, name) && in_lower_case(name).find(word) != name.npos) return name;
    return {};
}

// Names of the columns that the recipe leaves open: by the usual names, by a word in the name, and
// at last by their places.
void complete_parents(PedigreeUse& use, const TableReader& table) {
    const PedigreeColumns usual = find_pedigree_columns(table);
    const std::vector<std::string>& names = table.names();
    const OpenColumn all[] = {{use.animal, usual.animal, {"animal", "ident"}, 0},
                              {use.sire, usual.sire, {"sire", "father"}, 1},
                              {use.dam, usual.dam, {"dam", "mother"}, 2}};
    for (const OpenColumn& one : all)
        if (one.name.empty() && one.usual != kNoColumn && is_free(use, names[one.usual]))
            one.name = names[one.usual];
    for (const OpenColumn& one : all)
        if (one.name.empty()) one.name = find_free_name(use, names, one.words);
    for (const OpenColumn& one : all)
        if (one.name.empty() && one.place < names.size() && is_free(use, names[one.place]))
            one.name = names[one.place];
    if (use.animal.empty() || use.sire.empty() || use.dam.empty())
        throw Failure(kUsage, fmt::format("{}: which columns are animal, sire and dam? The recipe "
                                          "tells; there are {}",
                                          use.file, list_of(names)));
}

// The birth, when most of what its column holds is one, or an integer to sort by.
void complete_birth(PedigreeUse& use, const TableReader& table, const Sample& sample) {
    const std::size_t column = find_pedigree_columns(table).birth;
    if (column == kNoColumn) return;
    const auto& values = sample.columns[column];
    const std::string& name = sample.names[column];
    std::size_t n_dates = 0;
    if (const auto order = likeliest_order(values, n_dates); order && 2 * n_dates > values.size()) {
        use.born = name;
        use.order = use.order ? use.order : order;
    } else if (2 * count_numbers(values, parse_integer) > values.size()) {
        use.sort = name;
    }
}

}  // namespace

void complete_pedigree(PedigreeUse& use) {
    const TableReader table(use.file, use.form);
    complete_parents(use, table);
    const Sample sample(use);
    if (use.born.empty() && use.sort.empty()) complete_birth(use, table, sample);
    if (use.born.empty() || use.order) return;
    const auto at = std::ranges::find(sample.names, use.born);
    if (at == sample.names.end()) return;
    std::size_t n_dates = 0;
    use.order = likeliest_order(sample.columns[static_cast<std::size_t>(at - sample.names.begin())],
                                n_dates);
}

void complete_dates(Recipe& recipe) {
    if (std::ranges::none_of(recipe.columns, [](const Column& column) {
            return column.role == Role::date && !column.order;
        }))
        return;
    const Sample sample(recipe.data);
    for (Column& column : recipe.columns) {
        const auto at = std::ranges::find(sample.names, column.name);
        if (column.role != Role::date || column.order || at == sample.names.end()) continue;
        const auto& values = sample.columns[static_cast<std::size_t>(at - sample.names.begin())];
        std::size_t n_dates = 0;
        column.order = likeliest_order(values, n_dates);
        if (!column.order && !values.empty())
            throw Failure(kUsage, fmt::format("{}: {} is said to be a date, and {} is no date that "
                                              "is known: give its order",
                                              recipe.data.file, column.name, values.front()));
    }
}

std::string write_template(const Recipe& of_command_line, const std::string& folder) {
    Recipe recipe = of_command_line;
    const Sample sample(recipe.data);
    if (recipe.data.decimal_sign == '.') recipe.data.decimal_sign = guess_decimal_sign(sample);
    std::string text =
        "# A recipe for kve prep. The reason for each guess stands behind it: read them all, and\n"
        "# change what is wrong. docs/kve.md tells what else a recipe can say.\n\n[data]\n";
    text += table_entries(recipe.data, sample.described, folder);
    text +=
        "# unique = [\"COLUMN\", \"COLUMN\"]   # no two records have the same values in these\n"
        "# keep = [\"COLUMN <= 3\"]           # records that stay\n\n[columns]\n";
    for (const Guess& guess : guess_columns(sample, recipe.data.decimal_sign))
        text += column_line(guess);
    text +=
        "\n# [build]\n# HYS = { interaction = [\"HERD\", \"YEAR\"] }\n"
        "# YEAR = { year = \"DATE\" }\n";
    if (recipe.pedigree) {
        PedigreeUse& use = *recipe.pedigree;
        complete_pedigree(use);
        text += "\n[pedigree]\n" + table_entries(use, Sample(use).described, folder);
        text += fmt::format("animal = {}\nsire = {}\ndam = {}\n", toml_text(use.animal),
                            toml_text(use.sire), toml_text(use.dam));
        if (!use.born.empty()) text += fmt::format("born = {}\n", toml_text(use.born));
        if (use.order) text += fmt::format("order = \"{}\"\n", words_of(*use.order));
        if (!use.sort.empty()) text += fmt::format("sort = {}\n", toml_text(use.sort));
        text += fmt::format("method = {}\nfactor = {}\n", use.method, use.factor);
    }
    if (recipe.typed)
        text +=
            "\n[typed]\n" + table_entries(*recipe.typed, Sample(*recipe.typed).described, folder);
    for (MatrixUse& use : recipe.matrices) {
        const Sample elements(use);
        if (use.decimal_sign == '.') use.decimal_sign = guess_decimal_sign(elements);
        text += "\n[[matrix]]\n" + table_entries(use, elements.described, folder) +
                fmt::format("type = {}\nfactor = {}\n", toml_text(use.type), use.factor);
    }
    text +=
        fmt::format("\n[output]\nbinary = {}\nrenumber = {}\n", recipe.is_binary, recipe.renumbers);
    return text;
}

}  // namespace kve::companion::prep
