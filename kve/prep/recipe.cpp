#include "kve/prep/recipe.h"

#include <fmt/format.h>
#include <toml++/toml.h>

#include <algorithm>
#include <array>
#include <cfloat>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <type_traits>
#include <utility>

#include "kve/shared/failure.h"

namespace kve::companion::prep {

namespace {

constexpr std::array<std::pair<const char*, Role>, 6> kRoles = {{{"identity", Role::identity},
                                                                 {"class", Role::klass},
                                                                 {"real", Role::real},
                                                                 {"integer", Role::integer},
                                                                 {"date", Role::date},
                                                                 {"skip", Role::skip}}};

[[noreturn]] void refuse(const toml::source_region& where, const std::string& words) {
    throw Failure(kUsage, fmt::format("{}: line {}: {}", where.path ? *where.path : "recipe",
                                      where.begin.line, words));
}

int line_of(const toml::node& node) { return static_cast<int>(node.source().begin.line); }

// The entries of a table of the recipe. An entry that nobody has asked for is refused at the end,
// since it is a slip of the pen.
class Entries {
 public:
    Entries(const toml::table& table, std::string name) : table_(table), name_(std::move(name)) {}

    const toml::node* find(const char* key) {
        asked_.insert(key);
        return table_.get(key);
    }
    const toml::node& expect(const char* key) {
        const toml::node* node = find(key);
        if (node == nullptr) refuse(table_.source(), fmt::format("{} lacks {}", name_, key));
        return *node;
    }
    template <class T>
    void take(const char* key, T& value) {
        if (const toml::node* node = find(key)) value = as<T>(*node, key);
    }
    template <class T>
    void take(const char* key, std::optional<T>& value) {
        if (const toml::node* node = find(key)) value = as<T>(*node, key);
    }
    template <class T>
    void take(const char* key, std::vector<T>& values) {
        if (const toml::node* node = find(key)) values = list<T>(*node, key);
    }
    // A text alone counts as a list of one.
    template <class T>
    std::vector<T> list(const toml::node& node, const char* key) const {
        if (!node.is_array()) return {as<T>(node, key)};
        std::vector<T> all;
        for (const toml::node& item : *node.as_array()) all.push_back(as<T>(item, key));
        return all;
    }
    template <class T>
    T as(const toml::node& node, const char* key) const {
        std::optional<T> value = node.value<T>();
        if (std::is_same_v<T, bool> && !node.is_boolean()) value.reset();  // 3 is not true
        if (!value)
            refuse(node.source(), fmt::format("{} in {} must be {}", key, name_, kind_of(T())));
        return *value;
    }
    void finish() const {
        for (const auto& [key, node] : table_)
            if (!asked_.contains(std::string_view(key.str())))
                refuse(key.source(), fmt::format("{} has no entry {}; there are: {}", name_,
                                                 key.str(), fmt::join(asked_, ", ")));
    }

 private:
    static const char* kind_of(const std::string&) { return "a text"; }
    static const char* kind_of(bool) { return "true or false"; }
    static const char* kind_of(int64_t) { return "a whole number"; }
    static const char* kind_of(double) { return "a number"; }

    const toml::table& table_;
    std::string name_;
    std::set<std::string, std::less<>> asked_;
};

template <class Value>
std::vector<std::pair<std::string, const Value*>> in_file_order(const toml::table& table) {
    std::vector<std::pair<std::string, const Value*>> all;
    std::vector<std::pair<toml::source_position, std::size_t>> places;
    for (const auto& [key, node] : table) {
        places.emplace_back(key.source().begin, all.size());
        all.emplace_back(std::string(key.str()), &node);
    }
    std::ranges::sort(places, [](const auto& a, const auto& b) { return a.first < b.first; });
    std::vector<std::pair<std::string, const Value*>> ordered;
    ordered.reserve(all.size());
    for (const auto& [position, k] : places) ordered.push_back(all[k]);
    return ordered;
}

char sign_of(const toml::node& node, const std::string& text) {
    const std::optional<char> sign = sign_called(text);
    if (!sign) refuse(node.source(), fmt::format("\"{}\" is no sign", text));
    return *sign;
}

constexpr std::array<std::pair<const char*, DateOrder>, 4> kOrders = {
    {{"year month day", DateOrder::year_month_day},
     {"day month year", DateOrder::day_month_year},
     {"month day year", DateOrder::month_day_year},
     {"year", DateOrder::year_only}}};

DateOrder order_of(const toml::node& node, const std::string& words) {
    for (const auto& [name, order] : kOrders)
        if (words == name) return order;
    refuse(node.source(),
           "order must be \"year month day\", \"day month year\", \"month day year\" or \"year\"");
}

void read_table(Entries& entries, const std::filesystem::path& folder, TableUse& use) {
    use.file = (folder / entries.as<std::string>(entries.expect("file"), "file"))
                   .lexically_normal()
                   .string();
    std::string text;
    if (const toml::node* node = entries.find("delimiter"))
        use.form.delimiter = sign_of(*node, entries.as<std::string>(*node, "delimiter"));
    if (const toml::node* node = entries.find("quote")) {
        text = entries.as<std::string>(*node, "quote");
        use.form.quote = text.empty() ? kNoQuote : sign_of(*node, text);
    }
    if (const toml::node* node = entries.find("decimal"))
        use.decimal_sign = sign_of(*node, entries.as<std::string>(*node, "decimal"));
    entries.take("header", use.form.has_header);
    entries.take("names", use.form.names);
    entries.take("missing", use.missing);
}

Role role_of(const toml::node& node, const std::string& text) {
    for (const auto& [name, role] : kRoles)
        if (text == name) return role;
    refuse(node.source(), fmt::format("\"{}\" is no role of a column; there are: identity, class, "
                                      "real, integer, date, skip",
                                      text));
}

// A number, or a date as 20200131.
double limit_of(const toml::node& node) {
    if (const auto number = node.value<double>()) return *number;
    if (const toml::value<toml::date>* date = node.as_date())
        return date->get().year * 10000 + date->get().month * 100 + date->get().day;
    refuse(node.source(), "a limit must be a number or a date such as 2020-01-31");
}

void read_limits(Entries& entries, Limits& into) {
    if (const toml::node* limits = entries.find("limits")) {
        const toml::array* both = limits->as_array();
        if (both == nullptr || both->size() != 2)
            refuse(limits->source(), "limits must be two numbers or dates: [lowest, highest]");
        into.lowest = limit_of((*both)[0]);
        into.highest = limit_of((*both)[1]);
        if (!(*into.lowest <= *into.highest))
            refuse(limits->source(),
                   "limits must be [lowest, highest], and nothing is within "
                   "these");
    }
    if (const toml::node* beyond = entries.find("beyond")) {
        if (!into.lowest) refuse(beyond->source(), "beyond is for limits, and there are none");
        const auto what = entries.as<std::string>(*beyond, "beyond");
        if (what != "missing" && what != "reject")
            refuse(beyond->source(), "beyond must be \"missing\" or \"reject\"");
        into.rejects = what == "reject";
    }
}

Column read_column(const std::string& name, const toml::node& node) {
    Column column;
    column.name = name;
    column.line = line_of(node);
    if (!node.is_table()) {
        column.role = role_of(node, node.value<std::string>().value_or(""));
        return column;
    }
    Entries entries(*node.as_table(), fmt::format("column {}", name));
    const toml::node& role = entries.expect("role");
    column.role = role_of(role, entries.as<std::string>(role, "role"));
    entries.take("missing", column.missing);
    if (const toml::node* sign = entries.find("decimal"))
        column.decimal_sign = sign_of(*sign, entries.as<std::string>(*sign, "decimal"));
    if (const toml::node* order = entries.find("order")) {
        if (column.role != Role::date) refuse(order->source(), "order is for dates");
        column.order = order_of(*order, entries.as<std::string>(*order, "order"));
    }
    read_limits(entries, column.limits);
    if (column.limits.lowest && (column.role == Role::identity || column.role == Role::skip))
        refuse(node.source(),
               fmt::format("limits are for numbers and dates, and {} is none", name));
    entries.take("required", column.is_required);
    entries.take("write", column.is_written);
    entries.finish();
    return column;
}

constexpr std::array<std::pair<const char*, Building>, 12> kBuildings = {
    {{"year", Building::year},
     {"month", Building::month},
     {"season", Building::season},
     {"year_season", Building::year_season},
     {"age", Building::age},
     {"cut", Building::cut},
     {"interaction", Building::interaction},
     {"legendre", Building::legendre},
     {"orthogonal", Building::orthogonal},
     {"spline", Building::spline},
     {"count", Building::count},
     {"number", Building::number}}};

void read_seasons(Entries& entries, Built& built) {
    built.months = {{12, 1, 2}, {3, 4, 5}, {6, 7, 8}, {9, 10, 11}};
    const toml::node* node = entries.find("seasons");
    if (node == nullptr) return;
    built.months.clear();
    std::set<int32_t> met;
    if (const toml::array* seasons = node->as_array())
        for (const toml::node& season : *seasons) {
            built.months.emplace_back();
            for (const auto month : entries.list<int64_t>(season, "seasons")) {
                if (month < 1 || month > 12 || !met.insert(static_cast<int32_t>(month)).second)
                    refuse(season.source(), "seasons must hold each month once");
                built.months.back().push_back(static_cast<int32_t>(month));
            }
        }
    if (met.size() != 12) refuse(node->source(), "seasons must hold each month once");
}

void read_numbers(Entries& entries, Built& built, const toml::node& where) {
    const bool is_range = built.how == Building::legendre;
    const char* key = is_range                        ? "range"
                      : built.how == Building::cut    ? "at"
                      : built.how == Building::spline ? "knots"
                                                      : nullptr;
    if (key == nullptr) return;
    built.numbers = entries.list<double>(entries.expect(key), key);
    if (!std::ranges::is_sorted(built.numbers, std::less_equal<>()) ||
        (is_range && built.numbers.size() != 2) ||
        (built.how == Building::spline && built.numbers.size() < 2))
        refuse(where.source(), fmt::format("{} of {} must be {}, each above the one before", key,
                                           built.name, is_range ? "two numbers" : "numbers"));
}

// The key that tells how a column is built; its value are the sources.
const std::pair<const char*, Building>& find_building(const std::string& name,
                                                      const toml::node& node) {
    const toml::table& table = *node.as_table();
    const auto* how = std::ranges::find_if(
        kBuildings, [&](const auto& known) { return table.contains(known.first); });
    if (how == kBuildings.end())
        refuse(node.source(), fmt::format("{} does not tell how it is built: year, month, season, "
                                          "year_season, age, cut, interaction, legendre, "
                                          "orthogonal, spline, count or number",
                                          name));
    return *how;
}

void read_age(Entries& entries, Built& built, const toml::node& where) {
    built.sources.push_back(entries.as<std::string>(entries.expect("born"), "born"));
    entries.take("unit", built.unit);
    if (built.unit != "days" && built.unit != "months" && built.unit != "years")
        refuse(where.source(), "unit must be \"days\", \"months\" or \"years\"");
    read_limits(entries, built.limits);
}

void read_degree(Entries& entries, Built& built, const toml::node& where) {
    const bool is_polynomial = built.how == Building::legendre || built.how == Building::orthogonal;
    if (!is_polynomial && built.how != Building::spline) return;
    int64_t degree = 1;
    entries.take(is_polynomial ? "order" : "degree", degree);
    if (degree < 1 || degree > (is_polynomial ? 20 : 3))
        refuse(where.source(), is_polynomial ? "order must be 1 to 20" : "degree must be 1 to 3");
    built.degree = static_cast<int>(degree);
}

void check_number_of_sources(const Built& built, const toml::node& where) {
    if (built.sources.empty())
        refuse(where.source(), fmt::format("{} is an interaction of no class", built.name));
    if (built.how != Building::interaction &&
        built.sources.size() != (built.how == Building::age ? 2U : 1U))
        refuse(where.source(), fmt::format("{} is built from one column", built.name));
}

Built read_built(const std::string& name, const toml::node& node) {
    Built built;
    built.name = name;
    built.line = line_of(node);
    if (!node.is_table()) refuse(node.source(), fmt::format("{} must be {{ ... }}", name));
    Entries entries(*node.as_table(), fmt::format("built column {}", name));
    const auto& [key, how] = find_building(name, node);
    built.how = how;
    built.sources = entries.list<std::string>(entries.expect(key), key);
    if (how == Building::age) read_age(entries, built, node);
    if (how == Building::season || how == Building::year_season) read_seasons(entries, built);
    read_numbers(entries, built, node);
    read_degree(entries, built, node);
    if (how == Building::legendre) entries.take("constant", built.has_constant);
    entries.take("write", built.is_written);
    entries.finish();
    check_number_of_sources(built, node);
    return built;
}

std::string_view trimmed(std::string_view text) {
    while (text.starts_with(' ')) text.remove_prefix(1);
    while (text.ends_with(' ')) text.remove_suffix(1);
    return text;
}

Condition read_condition(const std::string& words, int line, const toml::node& node) {
    constexpr std::array<std::pair<std::string_view, Condition::Kind>, 8> kSigns = {
        {{" not in ", Condition::not_in},
         {" in ", Condition::in},
         {"!=", Condition::not_in},
         {"<=", Condition::at_most},
         {">=", Condition::at_least},
         {"<", Condition::below},
         {">", Condition::above},
         {"=", Condition::in}}};
    for (const auto& [sign, kind] : kSigns) {
        const std::size_t at = words.find(sign);
        if (at == words.npos) continue;
        Condition condition{
            words, std::string(trimmed(std::string_view(words).substr(0, at))), kind, {}, line};
        std::string_view rest = std::string_view(words).substr(at + sign.size());
        for (bool is_last = false; !is_last;) {
            const std::size_t end = std::min(rest.find(','), rest.size());
            condition.values.emplace_back(trimmed(rest.substr(0, end)));
            is_last = end == rest.size();
            if (!is_last) rest.remove_prefix(end + 1);
        }
        return condition;
    }
    refuse(node.source(),
           fmt::format("\"{}\" is no condition: write COLUMN, then = != < <= > >= in "
                       "or not in, then the value, or values with commas between",
                       words));
}

void read_data(const toml::table& all, const std::filesystem::path& folder, Recipe& recipe) {
    const toml::table* table = all["data"].as_table();
    if (table == nullptr) refuse(all.source(), "there is no [data]");
    Entries entries(*table, "[data]");
    read_table(entries, folder, recipe.data);
    entries.take("unique", recipe.unique);
    if (const toml::node* unique = entries.find("unique")) recipe.unique_line = line_of(*unique);
    if (const toml::node* keep = entries.find("keep"))
        for (const std::string& words : entries.list<std::string>(*keep, "keep"))
            recipe.keep.push_back(read_condition(words, line_of(*keep), *keep));
    entries.finish();
    const toml::table* columns = all["columns"].as_table();
    if (columns == nullptr) refuse(all.source(), "there is no [columns]");
    for (const auto& [name, node] : in_file_order<toml::node>(*columns))
        recipe.columns.push_back(read_column(name, *node));
    if (const toml::table* built = all["build"].as_table())
        for (const auto& [name, node] : in_file_order<toml::node>(*built))
            recipe.built.push_back(read_built(name, *node));
}

void take_small(Entries& entries, const char* key, int& value) {
    int64_t number = value;
    entries.take(key, number);
    if (number < 1 || number > 1000)
        refuse(entries.expect(key).source(), fmt::format("{} must be 1 to 1000", key));
    value = static_cast<int>(number);
}

PedigreeUse read_pedigree(const toml::table& table, const std::filesystem::path& folder) {
    PedigreeUse use;
    Entries entries(table, "[pedigree]");
    read_table(entries, folder, use);
    entries.take("animal", use.animal);
    entries.take("sire", use.sire);
    entries.take("dam", use.dam);
    entries.take("born", use.born);
    entries.take("sort", use.sort);
    if (const toml::node* order = entries.find("order"))
        use.order = order_of(*order, entries.as<std::string>(*order, "order"));
    take_small(entries, "method", use.method);
    take_small(entries, "factor", use.factor);
    entries.finish();
    if (!use.born.empty() && !use.sort.empty())
        refuse(table.source(), "[pedigree] has born or sort, not both");
    return use;
}

MatrixUse read_matrix(const toml::table& table, const std::filesystem::path& folder) {
    MatrixUse use;
    Entries entries(table, "[[matrix]]");
    read_table(entries, folder, use);
    entries.take("row", use.row);
    entries.take("column", use.column);
    entries.take("value", use.value);
    entries.take("of", use.of);
    entries.take("type", use.type);
    take_small(entries, "factor", use.factor);
    take_small(entries, "pedigree", use.pedigree);
    entries.take("weight", use.weight);
    entries.take("adjust", use.adjusts);
    entries.finish();
    if (!std::set<std::string>{"PGMIX", "COR", "GREL", "DOM", "ABS_QTL"}.contains(use.type))
        refuse(table.source(), "type must be PGMIX, COR, GREL, DOM or ABS_QTL");
    return use;
}

void read_others(const toml::table& all, const std::filesystem::path& folder, Recipe& recipe) {
    if (const toml::table* table = all["pedigree"].as_table())
        recipe.pedigree = read_pedigree(*table, folder);
    if (const toml::table* table = all["typed"].as_table()) {
        recipe.typed.emplace();
        Entries entries(*table, "[typed]");
        read_table(entries, folder, *recipe.typed);
        entries.take("animal", recipe.typed->animal);
        entries.finish();
    }
    if (const toml::array* matrices = all["matrix"].as_array())
        for (const toml::node& node : *matrices)
            if (const toml::table* table = node.as_table())
                recipe.matrices.push_back(read_matrix(*table, folder));
    if (const toml::table* table = all["output"].as_table()) {
        Entries entries(*table, "[output]");
        entries.take("binary", recipe.is_binary);
        entries.take("renumber", recipe.renumbers);
        entries.take("missing_code", recipe.missing_code);
        if (!(std::fabs(recipe.missing_code) <= FLT_MAX))
            refuse(table->source(), "missing_code is beyond what the data can hold");
        entries.finish();
    }
    if (const toml::table* table = all["directives"].as_table()) {
        Entries entries(*table, "[directives]");
        entries.take("comment", recipe.comment);
        entries.take("analyse", recipe.analyse);
        entries.take("model", recipe.model);
        entries.take("prior", recipe.prior);
        entries.finish();
    }
}

}  // namespace

const char* words_of(DateOrder order) {
    return std::ranges::find(kOrders, order, &std::pair<const char*, DateOrder>::second)->first;
}

const char* name_of(Role role) {
    return std::ranges::find(kRoles, role, &std::pair<const char*, Role>::second)->first;
}

Recipe parse_recipe(const std::string& text, const std::string& file) {
    Recipe recipe;
    recipe.file = file;
    try {
        const toml::table all = toml::parse(text, file);
        Entries entries(all, "the recipe");
        for (const char* key :
             {"data", "columns", "build", "pedigree", "typed", "matrix", "output", "directives"})
            static_cast<void>(entries.find(key));
        entries.finish();
        const std::filesystem::path folder = std::filesystem::path(file).parent_path();
        read_data(all, folder, recipe);
        read_others(all, folder, recipe);
    } catch (const toml::parse_error& fault) {
        refuse(fault.source(), std::string(fault.description()));
    }
    return recipe;
}

Recipe read_recipe(const std::string& file) {
    std::ifstream in(file, std::ios::binary);
    const std::string text{std::istreambuf_iterator<char>(in), {}};
    if (!in.is_open() || in.bad()) throw Failure(kUnreadable, file + ": cannot be read");
    return parse_recipe(text, file);
}

}  // namespace kve::companion::prep
