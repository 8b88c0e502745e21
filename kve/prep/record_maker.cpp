#include "kve/prep/record_maker.h"

#include <fmt/format.h>

#include <algorithm>
#include <cfloat>
#include <charconv>
#include <cmath>
#include <limits>
#include <set>

#include "kve/prep/polynomials.h"
#include "kve/prep/relatives.h"
#include "kve/shared/failure.h"

namespace kve::companion::prep {

namespace {

constexpr double kMissing = std::numeric_limits<double>::quiet_NaN();

[[noreturn]] void refuse(const Recipe& recipe, int line, const std::string& words) {
    const std::string& file = recipe.file.empty() ? recipe.data.file : recipe.file;
    throw Failure(kUsage, line > 0 ? fmt::format("{}: line {}: {}", file, line, words)
                                   : fmt::format("{}: {}", file, words));
}

bool has_names(Role role) { return role == Role::identity || role == Role::klass; }

// As KVE1 takes it, which reads the code with the precision of the data.
bool means_missing(const Recipe& recipe, double value) {
    return static_cast<float>(value) <= static_cast<float>(recipe.missing_code);
}

// Letters, digits and low lines, so that nothing in a name means anything to KVE1.
std::string plain_name(const std::string& name) {
    std::string plain;
    for (const char c : name)
        if ((c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_')
            plain += c;
    if (plain.empty() || (plain.front() >= '0' && plain.front() <= '9')) plain = "V" + plain;
    return plain;
}

// In 8 characters with this at the end.
std::string short_name(const std::string& plain, const std::string& end) {
    constexpr std::size_t kLength = 8;
    return plain.substr(0, kLength - std::min(end.size(), kLength)) + end;
}

// The values of a built column: how many there are, and what each is.
struct Parts {
    int first, n;
};

Parts parts_of(const Built& built) {
    switch (built.how) {
        case Building::legendre:
            return {built.has_constant ? 0 : 1, built.degree + (built.has_constant ? 1 : 0)};
        case Building::orthogonal:
            return {1, built.degree};
        case Building::spline:
            return {1, n_splines(built.numbers.size(), built.degree)};
        default:
            return {0, 1};
    }
}

bool is_curve(Building how) {
    return how == Building::legendre || how == Building::orthogonal || how == Building::spline;
}

Role role_of(Building how) {
    if (is_curve(how) || how == Building::age || how == Building::count) return Role::real;
    return how == Building::number ? Role::integer : Role::klass;
}

std::string interval_name(const std::vector<double>& at, int32_t code) {
    if (at.empty()) return "all";
    const auto k = static_cast<std::size_t>(code);
    if (k == 1) return fmt::format("<{}", at.front());
    return k > at.size() ? fmt::format(">={}", at.back())
                         : fmt::format("{}-<{}", at[k - 2], at[k - 1]);
}

// A value of a condition; a date is a number, too.
std::optional<double> number_of(const std::string& value, Role role) {
    if (role == Role::date)
        if (const auto date = parse_date(value, DateOrder::year_month_day)) return *date;
    return parse_real(value);
}

// The values of a condition; missing is what is no number where names are compared as texts.
std::vector<double> numbers_of(const Recipe& recipe, const Condition& condition,
                               const Field& field) {
    const bool by_text = field.column != nullptr && !field.column->name.empty() &&
                         has_names(field.role) && condition.kind <= Condition::not_in;
    std::vector<double> numbers;
    for (const std::string& value : condition.values) {
        const std::optional<double> number = number_of(value, field.role);
        if (!number && !by_text)
            refuse(recipe, condition.line,
                   fmt::format("keep: \"{}\" is no {}", value,
                               field.role == Role::date ? "date such as 2020-01-31" : "number"));
        numbers.push_back(number.value_or(kMissing));
    }
    return numbers;
}

bool is_sign_of_missing(const Field& field, std::string_view text) {
    return field.missing[0](text) || field.missing[1](text) ||
           (has_names(field.role) && text.empty()) ||
           (field.role == Role::identity && is_nobody(text));
}

// These set the number, or tell what is wrong with the text.
const char* read_real(const Recipe& recipe, char decimal_sign, std::string_view text,
                      double& number) {
    const std::optional<double> value = parse_real(text, decimal_sign);
    if (!value) return "no number";
    if (std::fabs(*value) > FLT_MAX || means_missing(recipe, *value))
        return "beyond what the data can hold";
    number = *value;
    return nullptr;
}

const char* read_date(DateOrder order, std::string_view text, double& number) {
    const std::optional<Date> value = parse_date(text, order);
    if (!value) return "no date";
    number = *value;
    return nullptr;
}

const char* read_integer(std::string_view text, double& number) {
    const std::optional<int64_t> value = parse_integer(text);
    if (!value) return "no whole number";
    if (*value < INT32_MIN + 1 || *value > INT32_MAX) return "beyond 31 bits";
    number = static_cast<double>(*value);
    return nullptr;
}

const char* read_number(const Recipe& recipe, const Field& field, std::string_view text,
                        double& number) {
    if (field.role == Role::real) return read_real(recipe, field.decimal_sign, text, number);
    if (field.role == Role::date) return read_date(field.order, text, number);
    return read_integer(text, number);
}

}  // namespace

RecordMaker::RecordMaker(const Recipe& recipe, TableReader& table, const PedigreeTable* pedigree,
                         IdentityTable& identities, Findings& findings)
    : recipe_(recipe),
      table_(table),
      pedigree_(pedigree),
      identities_(identities),
      findings_(findings) {
    add_sources(recipe);
    for (const Built& built : recipe.built) add_built(built);
    name_variables();
    add_tests(recipe);
    for (const std::string& name : recipe.unique) {
        keys_.push_back(field_called(name, recipe.unique_line));
        if (fields_[keys_.back()].column == nullptr)
            refuse(recipe, recipe.unique_line,
                   fmt::format("unique: {} is no column of the data", name));
    }
    give_slots();
    cells_.resize(fields_.size());
    waiting_.assign(fields_.size(), std::vector<Slot>(kMostWaiting));
    numbers_.resize(fields_.size());
}

void RecordMaker::add_sources(const Recipe& recipe) {
    const MissingSigns of_table(recipe.data.missing);
    for (const Column& column : recipe.columns) {
        const std::optional<std::size_t> index = table_.find(column.name);
        if (!index)
            refuse(recipe, column.line,
                   fmt::format("{} has no column {}; there are: {}", recipe.data.file, column.name,
                               list_of(table_.names())));
        if (column.role == Role::skip) continue;
        Field field;
        field.name = column.name;
        field.role = column.role;
        field.is_written = column.is_written && column.role != Role::date;
        field.column = &column;
        field.index = *index;
        field.missing = {of_table, MissingSigns(column.missing)};
        field.decimal_sign = column.decimal_sign.value_or(recipe.data.decimal_sign);
        field.order = column.order.value_or(DateOrder::year_month_day);
        field.about = fmt::format("{} of the data, {}", column.name, name_of(column.role));
        if (column.role == Role::date) field.about += fmt::format(", {}", words_of(field.order));
        if (column.role == Role::klass) field.classes = std::make_shared<ClassNames>();
        fields_.push_back(std::move(field));
    }
}

std::size_t RecordMaker::field_called(const std::string& name, int line) const {
    const auto found = std::ranges::find(fields_, name, &Field::name);
    if (found == fields_.end()) {
        std::vector<std::string> known;
        for (const Field& field : fields_) known.push_back(field.name);
        refuse(recipe_, line, fmt::format("no column {}; there are: {}", name, list_of(known)));
    }
    return static_cast<std::size_t>(found - fields_.begin());
}

void RecordMaker::check_source(const Built& built, const Field& source) const {
    const bool is_date = source.role == Role::date,
               is_number = source.role == Role::real || source.role == Role::integer,
               has_levels = source.role == Role::identity || source.role == Role::klass;
    bool is_right = has_levels;
    const char* wanted = "a class or identity";
    switch (built.how) {
        case Building::year:
        case Building::month:
        case Building::season:
        case Building::year_season:
        case Building::age:
            is_right = is_date;
            wanted = "a date";
            break;
        case Building::cut:
        case Building::legendre:
        case Building::orthogonal:
        case Building::spline:
            is_right = is_number && !source.comes_last();
            wanted = "a real or integer column that does not need all records itself";
            break;
        case Building::interaction:
            is_right = source.role == Role::klass;
            wanted = "a class";
            break;
        case Building::count:
        case Building::number:
            break;
    }
    if (!is_right)
        refuse(recipe_, built.line,
               fmt::format("{} is built from {}, and {} is none", built.name, wanted, source.name));
}

// The column by whose identities the pedigree tells dates of birth.
std::size_t RecordMaker::find_identity(const Built& built) const {
    if (pedigree_ == nullptr || !pedigree_->has_dates())
        refuse(recipe_, built.line, "the pedigree has no dates of birth");
    const auto found = std::ranges::find(fields_, Role::identity, &Field::role);
    if (found == fields_.end()) refuse(recipe_, built.line, "no column of the data is an identity");
    return static_cast<std::size_t>(found - fields_.begin());
}

void RecordMaker::add_built(const Built& built) {
    Field field;
    field.built = &built;
    field.role = role_of(built.how);
    field.is_written = built.is_written;
    std::vector<const ClassNames*> parts;
    for (std::size_t k = 0; k < built.sources.size(); ++k) {
        if (built.how == Building::age && k == 1 && built.sources[1] == "pedigree") {
            field.sources.push_back(find_identity(built));
            continue;
        }
        const std::size_t source = field_called(built.sources[k], built.line);
        check_source(built, fields_[source]);
        field.sources.push_back(source);
        parts.push_back(fields_[source].classes.get());
    }
    if (std::ranges::find(fields_, built.name, &Field::name) != fields_.end())
        refuse(recipe_, built.line, fmt::format("there are two columns {}", built.name));
    if (field.role == Role::klass) field.classes = std::make_shared<ClassNames>();
    if (built.how == Building::interaction) field.classes->set_parts(parts);
    if (built.how == Building::cut)
        field.classes->set_label(
            [&built](int32_t code) { return interval_name(built.numbers, code); });
    if (built.how == Building::year_season)
        field.classes->set_label(
            [](int32_t code) { return fmt::format("{}-{}", code / 100, code % 100); });
    const Parts all = parts_of(built);
    for (field.part = all.first; field.part < all.first + all.n; ++field.part) {
        field.name = is_curve(built.how) ? fmt::format("{}{}", built.name, field.part) : built.name;
        field.about = fmt::format("built from {}", fmt::join(built.sources, ", "));
        fields_.push_back(field);
    }
}

void RecordMaker::name_variables() {
    std::set<std::string> met;
    for (Field& field : fields_) {
        if (!field.is_written) continue;
        const bool is_part = field.built != nullptr && is_curve(field.built->how);
        const std::string plain = plain_name(is_part ? field.built->name : field.name);
        field.variable = short_name(plain, is_part ? std::to_string(field.part) : "");
        for (int k = 2; !met.insert(field.variable).second; ++k)
            field.variable = short_name(plain, std::to_string(k));
    }
}

void RecordMaker::add_tests(const Recipe& recipe) {
    left_out_by_.resize(recipe.keep.size());
    for (const Condition& condition : recipe.keep) {
        const std::size_t at = field_called(condition.column, condition.line);
        const Field& field = fields_[at];
        if (field.comes_last() || field.is_interaction() || field.is_number())
            refuse(recipe, condition.line,
                   fmt::format("keep: {} is only known of records that are kept", field.name));
        tests_.push_back({&condition, at, numbers_of(recipe, condition, field)});
    }
}

void RecordMaker::give_slots() {
    std::vector<bool> is_needed(fields_.size());
    for (std::size_t k = 0; k < fields_.size(); ++k) {
        if (fields_[k].is_written && !fields_[k].comes_last()) is_needed[k] = true;
        if (fields_[k].is_written && fields_[k].comes_last())
            for (const std::size_t source : fields_[k].sources) is_needed[source] = true;
    }
    int n = 0;
    for (std::size_t k = 0; k < fields_.size(); ++k)
        if (is_needed[k]) fields_[k].slot = n++;
}

std::vector<std::string> RecordMaker::unused_columns() const {
    std::set<std::string_view> used;
    for (const Column& column : recipe_.columns) used.insert(column.name);
    std::vector<std::string> unused;
    for (const std::string& name : table_.names())
        if (!used.contains(name)) unused.push_back(name);
    return unused;
}

void RecordMaker::reject(const std::string& column, std::string_view text,
                         const std::string& reason) {
    findings_.add(Consequence::record_rejected, table_.file(), table_.line(), column, text, reason);
}

void RecordMaker::make_missing(Field& field, Cell& cell, std::string_view text,
                               const std::string& reason) {
    findings_.add(Consequence::value_missing, table_.file(), table_.line(), field.name, text,
                  reason);
    ++field.n_made_missing;
    cell.number = kMissing;
    cell.text = {};
}

// Large tables of names lie in no cache: those of the next records are on their way while this one
// is made.
void RecordMaker::fetch_names() const {
    constexpr std::size_t kFar = 8, kNear = 4;
    for (const Field& field : fields_) {
        if (field.column == nullptr || !has_names(field.role)) continue;
        const IdentityTable& names = field.classes ? field.classes->table() : identities_;
        names.fetch_slot(table_.field_ahead(kFar, field.index));
        names.fetch_text(table_.field_ahead(kNear, field.index));
    }
}

// False when the record is rejected.
bool RecordMaker::fill_cells() {
    for (std::size_t k = 0; k < fields_.size(); ++k) {
        Field& field = fields_[k];
        Cell& cell = cells_[k];
        if (field.column != nullptr) {
            if (!read_source(field, cell)) return false;
        } else if (!field.comes_last() && !field.is_interaction()) {
            compute(field, cell);
            if (field.built->limits.lowest && !is_within_limits(field, cell)) return false;
        }
    }
    return true;
}

RecordMaker::Outcome RecordMaker::make() {
    fetch_names();
    if (!table_.has_all_fields()) {
        reject("", fmt::format("{} of {}", table_.n_fields(), table_.names().size()),
               "another number of fields");
        return Outcome::rejected;
    }
    if (!fill_cells()) return Outcome::rejected;
    for (std::size_t k = 0; k < tests_.size(); ++k)
        if (!fulfils(tests_[k])) {
            ++left_out_by_[k];
            return Outcome::left_out;
        }
    if (!keys_.empty() && !has_new_key()) return Outcome::rejected;
    for (std::size_t k = 0; k < fields_.size(); ++k)
        intern(fields_[k], cells_[k], waiting_[k][n_waiting_]);
    ++n_waiting_;
    return Outcome::kept;
}

bool RecordMaker::read_source(Field& field, Cell& cell) {
    const std::string_view text = table_.field(field.index);
    cell.number = kMissing;
    cell.text = {};
    if (is_sign_of_missing(field, text))
        ++field.n_missing_by_sign;
    else if (has_names(field.role))
        cell.text = text;
    else if (const char* fault = read_number(recipe_, field, text, cell.number); fault != nullptr)
        make_missing(field, cell, text, fault);
    if (field.column->limits.lowest && !is_within_limits(field, cell)) return false;
    const bool is_missing = has_names(field.role) ? cell.text.empty() : std::isnan(cell.number);
    if (is_missing && field.column->is_required) {
        reject(field.name, text, "is missing");
        return false;
    }
    return true;
}

// False when the record is rejected.
bool RecordMaker::is_within_limits(Field& field, Cell& cell) {
    const Limits& limits = field.column != nullptr ? field.column->limits : field.built->limits;
    double value = cell.number;
    if (!cell.text.empty()) value = parse_real(cell.text, field.decimal_sign).value_or(kMissing);
    const bool is_below = value<*limits.lowest, is_above = value> * limits.highest,
               is_none = std::isnan(value) && !cell.text.empty();
    if (!is_below && !is_above && !is_none) return true;
    const std::string reason = is_none    ? "no number, and there are limits"
                               : is_below ? fmt::format("below {}", *limits.lowest)
                                          : fmt::format("above {}", *limits.highest);
    const std::string text = field.column != nullptr ? std::string(table_.field(field.index))
                                                     : fmt::format("{:.6g}", value);
    if (limits.rejects)
        reject(field.name, text, reason);
    else
        make_missing(field, cell, text, reason);
    return !limits.rejects;
}

double RecordMaker::born_of(const Field& field) const {
    const Field& source = fields_[field.sources[1]];
    const Cell& cell = cells_[field.sources[1]];
    if (source.role == Role::date) return cell.number;
    if (cell.text.empty()) return kMissing;
    const int32_t date = pedigree_->animal(identities_.find(cell.text)).sort;
    return date > 0 ? date : kMissing;
}

double RecordMaker::compute_age(Field& field, Cell& cell) {
    constexpr double kDaysOfMonth = 365.25 / 12.0, kDaysOfYear = 365.25;
    const double at = cells_[field.sources[0]].number, born = born_of(field);
    if (std::isnan(at) || std::isnan(born)) return kMissing;
    const int32_t days = days_between(static_cast<Date>(born), static_cast<Date>(at));
    if (days < 0) {
        make_missing(field, cell, fmt::format("{} days", days), "a date before that of birth");
        return kMissing;
    }
    return field.built->unit == "days"     ? days
           : field.built->unit == "months" ? days / kDaysOfMonth
                                           : days / kDaysOfYear;
}

void RecordMaker::compute(Field& field, Cell& cell) {
    const Built& built = *field.built;
    const double x = cells_[field.sources[0]].number;
    cell.number = kMissing;
    cell.text = {};
    if (built.how == Building::age) {
        cell.number = compute_age(field, cell);
        return;
    }
    if (std::isnan(x) || built.how == Building::number) return;
    const bool has_range = built.how == Building::legendre || built.how == Building::spline;
    if (has_range && (x < built.numbers.front() || x > built.numbers.back())) {
        // Told once, and not for each of the polynomials.
        if (field.part == parts_of(built).first)
            make_missing(field, cell, fmt::format("{:.6g}", x), "outside of the range");
        return;
    }
    const auto season = [&] {
        const int32_t month = month_of(static_cast<Date>(x));
        int32_t k = 1;
        for (const std::vector<int32_t>& months : built.months) {
            if (std::ranges::find(months, month) != months.end()) break;
            ++k;
        }
        return k;
    };
    switch (built.how) {
        case Building::year:
            cell.number = year_of(static_cast<Date>(x));
            break;
        case Building::month:
            cell.number = month_of(static_cast<Date>(x));
            break;
        case Building::season:
            cell.number = season();
            break;
        case Building::year_season:
            cell.number = year_of(static_cast<Date>(x)) * 100 + season();
            break;
        case Building::cut:
            cell.number = static_cast<double>(std::ranges::upper_bound(built.numbers, x) -
                                              built.numbers.begin() + 1);
            break;
        case Building::legendre:
            cell.number = legendre(
                field.part,
                2.0 * (x - built.numbers[0]) / (built.numbers[1] - built.numbers[0]) - 1.0);
            break;
        case Building::spline:
            cell.number = b_spline(built.numbers, built.degree, field.part - 1, x);
            break;
        default:
            break;
    }
}

bool RecordMaker::fulfils(const Test& test) const {
    const Condition& condition = *test.condition;
    const Cell& cell = cells_[test.field];
    double value = cell.number;
    if (!cell.text.empty()) {
        if (condition.kind <= Condition::not_in)
            return (std::ranges::find(condition.values, cell.text) != condition.values.end()) ==
                   (condition.kind == Condition::in);
        value = parse_real(cell.text, fields_[test.field].decimal_sign).value_or(kMissing);
    }
    if (std::isnan(value)) return false;  // a missing value fulfils nothing
    const double first = test.numbers.front();
    switch (condition.kind) {
        case Condition::in:
        case Condition::not_in:
            return (std::ranges::find(test.numbers, value) != test.numbers.end()) ==
                   (condition.kind == Condition::in);
        case Condition::below:
            return value < first;
        case Condition::at_most:
            return value <= first;
        case Condition::above:
            return value > first;
        case Condition::at_least:
            return value >= first;
    }
    return false;
}

// A record whose key another one has is rejected; the first one stays.
bool RecordMaker::has_new_key() {
    std::string key, names, shown;
    for (const std::size_t k : keys_) {
        const std::string_view text = table_.field(fields_[k].index);
        key.append(text) += '\0';
        names += (names.empty() ? "" : "+") + fields_[k].name;
        shown.append(shown.empty() ? "" : " ").append(text);
    }
    const int32_t n = known_keys_.size();
    if (known_keys_.place_of(key) > n) return true;
    reject(names, shown, "an earlier record has the same key");
    return false;
}

void RecordMaker::tell_new_name(const Field& field, std::string_view text) {
    const char* reason = nullptr;
    if (text.find('\n') != text.npos)
        reason = "a name with a line end: a quote that is not closed?";
    else if (text.front() == ' ' || text.back() == ' ')
        reason = "a name with blanks at its ends";
    else if (!is_utf8(text))
        reason = "a name that is not UTF-8";
    else if (const auto digits = text.find_first_not_of("0123456789");
             field.role == Role::klass && digits == text.npos && text.front() != '0' &&
             !integer_identity(text))
        reason = "a class beyond 31 bits: the levels are numbered";
    if (reason != nullptr)
        findings_.add(Consequence::only_told, table_.file(), table_.line(), field.name, text,
                      reason);
}

int32_t RecordMaker::place_of(Field& field, const Cell& cell) {
    if (field.role == Role::integer)
        return std::isnan(cell.number) ? 0 : static_cast<int32_t>(cell.number);
    if (field.built != nullptr) {
        if (std::isnan(cell.number)) return 0;
        char text[16];
        const char* end =
            std::to_chars(text, text + sizeof text, static_cast<int32_t>(cell.number)).ptr;
        return field.classes->place_of({text, end});
    }
    if (cell.text.empty()) return 0;
    const bool is_class = field.role == Role::klass;
    const int32_t n = is_class ? field.classes->size() : identities_.size(),
                  place = is_class ? field.classes->place_of(cell.text)
                                   : identities_.place_of(cell.text);
    if (place > n) tell_new_name(field, cell.text);
    return place;
}

void RecordMaker::intern(Field& field, Cell& cell, Slot& slot) {
    if (field.comes_last() || field.role == Role::date || field.is_interaction() ||
        field.is_number())
        return;
    if (field.role != Role::real) {
        slot.place = place_of(field, cell);
        return;
    }
    if (field.slot < 0) return;
    if (field.built != nullptr && means_missing(recipe_, cell.number))
        make_missing(field, cell, fmt::format("{:.6g}", cell.number),
                     "at or below the code of missing values");
    slot.real = static_cast<float>(cell.number);
}

void RecordMaker::number_records(const Field& field, std::vector<int32_t>& numbers) {
    constexpr std::size_t kAhead = 16;
    const std::size_t own = static_cast<std::size_t>(&field - fields_.data());
    const std::vector<Slot>& source = waiting_[field.sources[0]];
    for (std::size_t k = 0; k < n_waiting_; ++k) {
        const auto place = static_cast<std::size_t>(source[k].place);
        if (place >= numbers.size()) numbers.resize(2 * place + 1);
        __builtin_prefetch(numbers.data() + source[std::min(k + kAhead, n_waiting_ - 1)].place);
        waiting_[own][k].place = place > 0 ? ++numbers[place] : 0;
    }
}

void RecordMaker::join_parts(const Field& field) {
    std::vector<Slot>& own = waiting_[static_cast<std::size_t>(&field - fields_.data())];
    own = waiting_[field.sources[0]];
    for (std::size_t part = 1; part < field.sources.size(); ++part)
        field.classes->add_part(part, waiting_[field.sources[part]],
                                std::span(own).first(n_waiting_));
}

void RecordMaker::put_out(Output& out) {
    std::vector<const Slot*> columns;
    for (std::size_t k = 0; k < fields_.size(); ++k) {
        if (fields_[k].is_interaction()) join_parts(fields_[k]);
        if (fields_[k].is_number()) number_records(fields_[k], numbers_[k]);
        if (fields_[k].slot >= 0) columns.push_back(waiting_[k].data());
    }
    std::vector<Slot> record(columns.size());
    for (std::size_t k = 0; k < n_waiting_; ++k) {
        std::ranges::transform(columns, record.begin(),
                               [k](const Slot* column) { return column[k]; });
        out.put(std::string_view(reinterpret_cast<const char*>(record.data()),
                                 record.size() * sizeof(Slot)));
    }
    n_waiting_ = 0;
}

}  // namespace kve::companion::prep
