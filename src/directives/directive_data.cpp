#include "directives/directive_data.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>
#include <system_error>
#include <utility>

#include "base/input.h"
#include "base/state.h"
#include "base/text.h"
#include "directives/directive_faults.h"
#include "directives/directive_lines.h"
#include "directives/directives.h"
#include "directives/user_files.h"
#include "listing/int_to_text.h"
#include "listing/stop.h"

namespace kve {

WRITES(DIRECTIVES);

namespace {

constexpr int32_t kMostVariables = 10000000;  // of one kind

// More variables than these are believed when a record of them fits into the data.
constexpr int64_t kAnyVariables = 1000;

void clear_data() {
    DIRECTIVES.data_format = kNoFormat;
    DIRECTIVES.NI = 0;
    DIRECTIVES.NR = 0;
    DIRECTIVES.RMISS = 0.0F;
    DIRECTIVES.n_data_files = 0;
    DIRECTIVES.data_file[0] = DIRECTIVES.data_file[1] = FileName();
    DIRECTIVES.NAME_I.release();
    DIRECTIVES.NAME_R.release();
    DIRECTIVES.IS_MIXTURE.release();
}

// Cuts the piece of `rest` up to `separator` off, both. False without a separator.
bool cut_piece(std::string_view& rest, char separator, std::string_view& piece) {
    std::size_t end = rest.find(separator);
    if (end == std::string_view::npos) return false;
    piece = rest.substr(0, end);
    rest = left_adjusted(rest.substr(end + 1));
    return true;
}

// A count of columns that tables may be made for; any other becomes 0. False when it is negative.
bool take_count(int32_t count, int32_t& columns) {
    columns = count;
    if (count > kMostVariables)
        tell_limit("ERROR - $DATA: more than 10000000 variables of one kind: %12d", count);
    if (count < 0 || count > kMostVariables) columns = 0;
    return count >= 0;
}

// "(ni,nr,miss)". False when something is missing or negative.
bool read_shape(std::string_view& rest) {
    constexpr Keyword k = Keyword::DATA;
    std::string_view piece;
    if (!cut_piece(rest, '(', piece)) return false;
    if (!cut_piece(rest, ',', piece)) return false;
    int32_t integers = must_read<int32_t>(k, "the number of integer variables", piece);
    if (!take_count(integers, DIRECTIVES.NI)) return false;
    if (!cut_piece(rest, ',', piece)) return false;
    int32_t reals = must_read<int32_t>(k, "the number of real variables", piece);
    if (!take_count(reals, DIRECTIVES.NR)) return false;
    if (!cut_piece(rest, ')', piece)) return false;
    DIRECTIVES.RMISS = must_read<float>(k, "the code for missing values", piece);
    return true;
}

// All that is left after the first name is the second one, blanks included.
void take_data_files(std::string_view rest) {
    DIRECTIVES.data_file[0] = cut_word(rest);
    DIRECTIVES.data_file[1] = rest;
    DIRECTIVES.n_data_files = rest.empty() ? 1 : 2;
}

// In text a number takes a character and what separates it from the next one.
bool fits_into(const FileName& file, int64_t variables) {
    std::error_code absent;
    const std::uintmax_t bytes = std::filesystem::file_size(input_path(file.string()), absent);
    const int64_t most = absent ? 0 : static_cast<int64_t>(bytes) + 1;
    return variables <= most / (DIRECTIVES.data_format == kAscii ? 2 : 4);
}

// Tables are made for each variable: a count that is a slip of the pen gets none, and neither do
// many lines with large ones.
void check_record_fits() {
    int32_t &ni = DIRECTIVES.NI, &nr = DIRECTIVES.NR;
    const int64_t variables = int64_t{ni} + nr;
    if (variables <= kAnyVariables) return;
    const int64_t earlier = DIRECTIVES.n_large_variables;
    DIRECTIVES.n_large_variables += variables;
    const bool two = DIRECTIVES.n_data_files == 2;
    if (fits_into(DIRECTIVES.data_file[0], earlier + (two ? ni : variables)) &&
        (!two || fits_into(DIRECTIVES.data_file[1], earlier + nr)))
        return;
    tell_limit(
        "ERROR - $DATA: a record of %d integer and %d real variables is larger than the file", ni,
        nr);
    ni = nr = 0;
}

std::string numbered(std::string_view stem, int64_t number) {
    char digits[20];
    std::string name(stem);
    name.append(digits, static_cast<std::size_t>(int_to_text(number, digits, sizeof digits)));
    return name;
}

void set_default_names() {
    int64_t ni = DIRECTIVES.NI, nr = DIRECTIVES.NR;
    check_allocated(DIRECTIVES.NAME_I.allocate(ni + 1), "read_directives", "NAME_I", ni + 1);
    check_allocated(DIRECTIVES.NAME_R.allocate(nr), "read_directives", "NAME_R", nr);
    check_allocated(DIRECTIVES.IS_MIXTURE.allocate(nr), "read_directives", "IS_MIXTURE", nr);
    DIRECTIVES.NAME_I(0) = "Mu";
    for (int64_t i = 1; i <= ni; ++i) DIRECTIVES.NAME_I(i) = numbered("I", i);
    for (int64_t i = 1; i <= nr; ++i) DIRECTIVES.NAME_R(i) = numbered("R", i);
}

// False when the line is misspelled or incomplete; the rest of it is dropped then.
bool read_data_line(std::string_view rest) {
    DIRECTIVES.data_format = format_of(cut_word(rest));
    if (DIRECTIVES.data_format == kNoFormat || !read_shape(rest)) return false;
    take_data_files(rest);
    for (int32_t k = 0; k < DIRECTIVES.n_data_files; ++k)
        find_user_file(Keyword::DATA, DIRECTIVES.data_file[k]);
    check_record_fits();
    set_default_names();
    return true;
}

// The names of the columns in order: the integers, then the reals. Surplus names are counted only.
class NameList {
 public:
    explicit NameList(bool is_repeated) : is_repeated_(is_repeated) {}

    // A second section is refused, so its names are only counted.
    void add(std::string_view name) {
        ++found_;
        if (!is_repeated_) set(found_, name);
    }

    // stem + first, ..., stem + last. The bounds are the user's: only what fits is run through.
    void add_range(std::string_view stem, int64_t first, int64_t last) {
        int64_t stored = std::min(last - first + 1, std::max<int64_t>(columns() - found_, 0));
        if (is_repeated_) stored = 0;
        for (int64_t k = 0; k < stored; ++k) set(found_ + 1 + k, numbered(stem, first + k));
        found_ += last - first + 1;
    }

    int64_t found() const { return found_; }

 private:
    // No names exist when $DATA is missing or faulty.
    static int64_t integers() { return std::max<int64_t>(DIRECTIVES.NAME_I.size() - 1, 0); }
    static int64_t columns() { return integers() + DIRECTIVES.NAME_R.size(); }

    static void set(int64_t column, std::string_view name) {
        if (column <= integers())
            DIRECTIVES.NAME_I(column) = name;
        else if (column <= columns())
            DIRECTIVES.NAME_R(column - integers()) = name;
    }

    bool is_repeated_;
    int64_t found_ = 0;
};

[[noreturn]] void stop_open_bracket() {
    Fault fault;
    fault.line("ERROR - Reading variable names");
    fault.line("        The format XX[i:j] is used, but no closing brackets is found");
    fault.stop();
}

[[noreturn]] void stop_bracket_range() {
    Fault fault;
    fault.line("ERROR - Reading variable names");
    fault.line("        When the format XX[i:j] is used both \"i\" and \"j\" must be specified,");
    fault.line("        and separated by \":\"");
    fault.stop();
}

void tell_name_count(const char* first_line, int64_t found) {
    Fault fault;
    fault.line("%s", first_line);
    fault.line("        The DATA line sayes:");
    fault.line("        %12d integer variables and%12d real variables", DIRECTIVES.NI,
               DIRECTIVES.NR);
    fault.line("        A total of %12lld variable names found", static_cast<long long>(found));
    fault.tell();
}

void tell_mixture_variable(int32_t variable) {
    Fault fault;
    fault.line("ERROR - Real variable no. specified for Mixture Model");
    fault.line("        must be larger then 0 and less then %12d", DIRECTIVES.NR);
    fault.line("        Specified value : %12d", variable);
    fault.tell();
}

// XX[i:j]
void add_bracketed(NameList& names, std::string_view token, std::size_t bracket) {
    constexpr Keyword k = Keyword::VARIABLE;
    std::string_view inside = token.substr(bracket + 1);
    std::size_t end = inside.find(']');
    if (end == std::string_view::npos) stop_open_bracket();
    inside = inside.substr(0, end);
    std::size_t colon = inside.find(':');
    bool complete = colon != std::string_view::npos && colon > 0 && colon + 1 < inside.size();
    if (!complete) stop_bracket_range();
    int64_t first =
        must_read<int32_t>(k, "the first number in the brackets", inside.substr(0, colon));
    int64_t last =
        must_read<int32_t>(k, "the last number in the brackets", inside.substr(colon + 1));
    if (last < first) stop_bracket_range();
    names.add_range(token.substr(0, bracket), first, last);
}

}  // namespace

int32_t format_of(std::string_view word) {
    return word == "ASCII" ? kAscii : word == "BINARY" ? kBinaryFile : kNoFormat;
}

Keyword read_data_section() {
    Keyword next;
    std::string text = join_section(keyword_text(Keyword::DATA), next);
    clear_data();
    if (text.empty())
        tell_fault("ERROR - No data description found in the file with directives");
    else if (!read_data_line(text))
        tell_incomplete_line(Keyword::DATA);
    return next;
}

Keyword read_variable_section() {
    Keyword next;
    std::string text = join_section({}, next);
    NameList names(std::exchange(DIRECTIVES.names_from_user, true));
    for (std::string_view rest = left_adjusted(text); !rest.empty();) {
        std::string_view token = cut_word(rest);
        if (std::size_t bracket = token.find('['); bracket != std::string_view::npos)
            add_bracketed(names, token, bracket);
        else
            names.add(token);
    }
    int64_t columns = int64_t{DIRECTIVES.NI} + DIRECTIVES.NR;
    if (names.found() > columns)
        tell_name_count("ERROR - To many variable names specified.", names.found());
    if (names.found() < columns)
        tell_name_count("ERROR - To few variable names specified.", names.found());
    return next;
}

Keyword read_mixture_section() {
    constexpr Keyword k = Keyword::MIXTURE;
    if (DIRECTIVES.ITASK != kSampling) tell_mixture_task();
    Keyword next;
    std::string text = join_section(keyword_text(k), next);
    int32_t variable = must_read<int32_t>(k, "a real variable number", text);
    if (variable < 1 || variable > DIRECTIVES.NR)
        tell_mixture_variable(variable);
    else if (variable <= DIRECTIVES.IS_MIXTURE.size())
        DIRECTIVES.IS_MIXTURE(variable) = 1;
    return next;
}

}  // namespace kve
