#include "kve/pedigree/read_pedigree.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <utility>

#include "kve/shared/failure.h"
#include "kve/tables/pedigree_columns.h"
#include "kve/tables/table_reader.h"

namespace kve::companion {

namespace {

struct Columns : PedigreeColumns {
    std::size_t family = kNoColumn;
};

Columns find_columns(const TableReader& table, const PedigreeForm& form) {
    Columns columns{find_pedigree_columns(table)};
    take_asked_column(table, form.id, columns.animal);
    take_asked_column(table, form.sire, columns.sire);
    take_asked_column(table, form.dam, columns.dam);
    take_asked_column(table, form.sex, columns.sex);
    take_asked_column(table, form.birth, columns.birth);
    take_asked_column(table, form.family, columns.family);
    for (const auto& [column, option] :
         {std::pair{columns.animal, "--id"}, {columns.sire, "--sire"}, {columns.dam, "--dam"}})
        if (column == kNoColumn)
            throw Failure(kUsage,
                          fmt::format("{}: which column is it? {} tells, by name or number; there "
                                      "are {}",
                                      table.file(), option, list_of(table.names())));
    return columns;
}

struct BirthForm {
    BirthUnit unit = BirthUnit::none;
    DateOrder order = DateOrder::year_month_day;
    std::string words;
};

const std::array<std::pair<DateOrder, const char*>, 4> kOrders{{
    {DateOrder::year_month_day, "ymd"},
    {DateOrder::day_month_year, "dmy"},
    {DateOrder::month_day_year, "mdy"},
    {DateOrder::year_only, "year"},
}};

// What most of the first births are, taken as dates, years or integers.
BirthForm guess_births(const std::vector<std::string>& texts) {
    const auto count = [&](auto is_one) {
        return std::ranges::count_if(texts, [&](const std::string& t) { return is_one(t); });
    };
    BirthForm form{BirthUnit::numbers, DateOrder::year_month_day, "number"};
    int64_t most = 0;
    for (const auto& [order, words] : kOrders) {
        const int64_t n =
            count([o = order](const std::string& t) { return parse_date(t, o).has_value(); });
        if (n <= most) continue;
        most = n;
        form = {order == DateOrder::year_only ? BirthUnit::years : BirthUnit::days, order, words};
    }
    if (count([](const std::string& t) { return parse_integer(t).has_value(); }) > most)
        return {BirthUnit::numbers, DateOrder::year_month_day, "number"};
    if (form.order == DateOrder::day_month_year &&
        count([](const std::string& t) {
            return parse_date(t, DateOrder::month_day_year).has_value();
        }) == most)
        form.words = "dmy, though mdy is possible: --dates tells";
    return form;
}

// A day of 0 is what some write for none.
bool is_zero(std::string_view text) {
    return std::ranges::all_of(text, [](char c) { return c == '0' || c == '-' || c == '.'; });
}

BirthForm find_birth_form(const PedigreeForm& form, std::size_t column,
                          const MissingSigns& missing) {
    if (column == kNoColumn) return {};
    if (form.dates == "number") return {BirthUnit::numbers, DateOrder::year_month_day, form.dates};
    for (const auto& [order, words] : kOrders)
        if (form.dates == words)
            return {order == DateOrder::year_only ? BirthUnit::years : BirthUnit::days, order,
                    words};
    constexpr std::size_t kLooked = 1000;
    std::vector<std::string> texts;
    TableReader table(form.file, form.table);
    while (texts.size() < kLooked && table.next())
        if (const std::string_view text = table.field(column); !missing(text) && !is_zero(text))
            texts.emplace_back(text);
    if (texts.empty()) return {};
    return guess_births(texts);
}

std::optional<int32_t> parse_birth(std::string_view text, const BirthForm& form) {
    if (form.unit == BirthUnit::numbers) {
        const std::optional<int64_t> value = parse_integer(text);
        constexpr int64_t kMost = 1'000'000'000;
        if (!value || *value > kMost || *value < -kMost) return {};
        return static_cast<int32_t>(*value);
    }
    const std::optional<Date> date = parse_date(text, form.order);
    if (!date) return {};
    if (form.unit == BirthUnit::years) return year_of(*date);
    constexpr Date kMonth = 100;
    const std::chrono::year_month_day day{
        std::chrono::year(year_of(*date)),
        std::chrono::month(static_cast<unsigned>(month_of(*date))),
        std::chrono::day(static_cast<unsigned>(*date % kMonth))};
    return static_cast<int32_t>(std::chrono::sys_days(day).time_since_epoch().count());
}

std::optional<Sex> parse_sex(std::string_view text) {
    std::string plain(text);
    for (char& c : plain) c = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    for (const std::string_view one : {"1", "m", "male"})
        if (plain == one) return Sex::male;
    for (const std::string_view one : {"2", "f", "female"})
        if (plain == one) return Sex::female;
    for (const std::string_view one : {"0", "u", "unknown"})
        if (plain == one) return Sex::unknown;
    return {};
}

struct Record {
    int32_t animal, sire, dam, birth;
    Sex sex;
};

struct Reading {
    const PedigreeForm& form;
    TableReader table;
    Columns columns{};
    MissingSigns missing;
    BirthForm births{};
    PedigreeTable result{};
    PedigreeFindings& findings;
    std::string family_identity{};

    int32_t line() const { return static_cast<int32_t>(table.line()); }
};

// Tables with room for this animal; they grow by a half.
void make_room(Herdbook& book, int32_t animal) {
    if (animal <= book.line.size()) return;
    const int64_t n = std::max<int64_t>(1024, int64_t{animal} + animal / 2);
    const auto grow = [n](auto& table) {
        if (table.lengthen(n) != 0) throw std::bad_alloc();
    };
    grow(book.line);
    grow(book.birth);
    grow(book.sex);
    grow(book.parents);
}

int32_t enter(Reading& at, std::string_view identity) {
    if (at.columns.family != kNoColumn) {
        at.family_identity = fmt::format("{}:{}", at.table.field(at.columns.family), identity);
        identity = at.family_identity;
    }
    const int32_t animal = at.result.names.place_of(identity);
    if (animal > at.result.book.line.size()) make_room(at.result.book, animal);
    return animal;
}

bool is_unknown(const Reading& at, std::string_view identity) {
    return is_nobody(identity) || at.missing(identity);
}

// 0 for an unknown one; the code of a phantom parent group is one of these.
int32_t enter_parent(Reading& at, std::string_view identity) {
    if (is_unknown(at, identity)) return 0;
    if (identity.front() == '-' && parse_integer(identity)) {
        at.findings.add(Kind::group_code, at.line(), 0, std::string(identity));
        return 0;
    }
    return enter(at, identity);
}

int32_t take_birth(Reading& at, int32_t animal) {
    if (at.columns.birth == kNoColumn) return kNoBirth;
    const std::string_view text = at.table.field(at.columns.birth);
    if (at.missing(text)) return kNoBirth;
    if (const std::optional<int32_t> birth = parse_birth(text, at.births)) return *birth;
    if (is_zero(text)) return kNoBirth;
    at.findings.add(Kind::unread_birth, at.line(), animal, std::string(text));
    return kNoBirth;
}

Sex take_sex(Reading& at, int32_t animal) {
    if (at.columns.sex == kNoColumn) return Sex::unknown;
    const std::string_view text = at.table.field(at.columns.sex);
    if (at.missing(text)) return Sex::unknown;
    if (const std::optional<Sex> sex = parse_sex(text)) return *sex;
    at.findings.add(Kind::unread_sex, at.line(), animal, std::string(text));
    return Sex::unknown;
}

// A parent that cannot be: itself, or the other one as well.
void settle_parents(Reading& at, Record& record) {
    const auto change = [&](const char* part) {
        at.findings.changes.push_back({at.line(), record.animal, part});
    };
    for (int32_t* parent : {&record.sire, &record.dam})
        if (*parent == record.animal) {
            at.findings.add(Kind::own_parent, at.line(), record.animal);
            change(parent == &record.sire ? "sire unknown, it is the animal itself"
                                          : "dam unknown, it is the animal itself");
            *parent = 0;
        }
    if (record.sire == 0 || record.sire != record.dam) return;
    at.findings.add(Kind::one_as_both, at.line(), record.animal, record.sire);
    change("sire and dam unknown, they are one animal");
    record.sire = record.dam = 0;
}

// A second record of an animal: what the first one lacks is taken from it, what differs is told.
void join_record(Reading& at, const Record& record) {
    Herdbook& book = at.result.book;
    const int32_t j = record.animal;
    std::string differs, taken;
    const auto join = [&](auto& own, auto other, auto none, const char* what) {
        if (other == none || other == own) return;
        std::string& words = own == none ? taken : differs;
        words.append(words.empty() ? "" : ", ").append(what);
        if (own == none) own = other;
    };
    join(book.parents(j).sire, record.sire, 0, "sire");
    join(book.parents(j).dam, record.dam, 0, "dam");
    join(book.sex(j), record.sex, Sex::unknown, "sex");
    join(book.birth(j), record.birth, kNoBirth, "birth");
    if (differs.empty())
        at.findings.add(Kind::repeated, at.line(), j, book.line(j));
    else
        at.findings.add(Kind::differs, at.line(), j,
                        fmt::format("in {}, from line {}", differs, book.line(j)));
    if (!differs.empty() || !taken.empty())
        at.findings.changes.push_back({at.line(), j,
                                       fmt::format("second record left out{}{}",
                                                   taken.empty() ? "" : ", of it taken ", taken)});
}

// What the records to come will look for is on its way while this one is taken.
void fetch_names(const Reading& at) {
    constexpr std::size_t kFar = 8, kNear = 4;
    if (at.columns.family != kNoColumn) return;
    for (const std::size_t column : {at.columns.animal, at.columns.sire, at.columns.dam}) {
        at.result.names.fetch_slot(at.table.field_ahead(kFar, column));
        at.result.names.fetch_text(at.table.field_ahead(kNear, column));
    }
}

void take_record(Reading& at) {
    ++at.result.records;
    fetch_names(at);
    const std::size_t wanted = at.table.names().size();
    const bool fits = at.table.has_all_fields();
    const std::string_view identity = at.table.field(at.columns.animal);
    if (!fits || is_unknown(at, identity)) {
        at.findings.add(fits ? Kind::no_identity : Kind::fields, at.line(), 0,
                        fmt::format("{} in place of {}", at.table.n_fields(), wanted));
        at.findings.changes.push_back({at.line(), 0, "record left out"});
        return;
    }
    Record record{};
    record.animal = enter(at, identity);
    record.sire = enter_parent(at, at.table.field(at.columns.sire));
    record.dam = enter_parent(at, at.table.field(at.columns.dam));
    record.birth = take_birth(at, record.animal);
    record.sex = take_sex(at, record.animal);
    settle_parents(at, record);
    Herdbook& book = at.result.book;
    if (book.line(record.animal) != 0) return join_record(at, record);
    book.line(record.animal) = at.line();
    book.parents(record.animal) = {record.sire, record.dam};
    book.birth(record.animal) = record.birth;
    book.sex(record.animal) = record.sex;
}

std::string describe(const Reading& at) {
    std::string words = at.table.described();
    for (const auto& [column, what] : {std::pair{at.columns.family, "family"},
                                       {at.columns.animal, "identity"},
                                       {at.columns.sire, "sire"},
                                       {at.columns.dam, "dam"},
                                       {at.columns.sex, "sex"},
                                       {at.columns.birth, "birth"}})
        if (column != kNoColumn) words += fmt::format("; {} {}", what, at.table.names()[column]);
    if (at.births.unit != BirthUnit::none) words += fmt::format(" ({})", at.births.words);
    return words;
}

// As long as there are animals; parents without a record have no birth.
void finish_book(PedigreeTable& result) {
    Herdbook& book = result.book;
    const int64_t n = result.names.size();
    Herdbook fitting;
    const auto fit = [n](auto& from, auto& to) {
        make_table(to, n);
        std::copy(from.begin(), from.begin() + n, to.begin());
        from.release();
    };
    fit(book.line, fitting.line);
    fit(book.birth, fitting.birth);
    fit(book.sex, fitting.sex);
    fit(book.parents, fitting.parents);
    fitting.unit = book.unit;
    fitting.has_sexes = book.has_sexes;
    for (int32_t j = 1; j <= n; ++j)
        if (fitting.line(j) == 0) fitting.birth(j) = kNoBirth;
    book = std::move(fitting);
}

MissingSigns signs_of(const PedigreeForm& form) {
    std::vector<std::string> signs = usual_missing_signs();
    signs.insert(signs.end(), form.missing.begin(), form.missing.end());
    return MissingSigns(signs);
}

}  // namespace

PedigreeTable read_pedigree(const PedigreeForm& form, PedigreeFindings& findings) {
    Reading at{.form = form,
               .table = TableReader(form.file, form.table),
               .missing = signs_of(form),
               .findings = findings};
    at.columns = find_columns(at.table, form);
    at.births = find_birth_form(form, at.columns.birth, at.missing);
    Herdbook& book = at.result.book;
    book.unit = at.births.unit;
    book.has_sexes = at.columns.sex != kNoColumn;
    while (at.table.next()) take_record(at);
    at.result.described = describe(at);
    finish_book(at.result);
    if (at.result.names.size() == 0)
        throw Failure(kUnreadable, form.file + ": there is no animal in it");
    return std::move(at.result);
}

}  // namespace kve::companion
