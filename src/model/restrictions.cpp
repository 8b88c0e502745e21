#include "model/restrictions.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <set>
#include <string>
#include <string_view>
#include <utility>

#include "base/arrays.h"
#include "base/freeform.h"
#include "base/input.h"
#include "base/state.h"
#include "base/text.h"
#include "listing/listing.h"
#include "listing/stop.h"
#include "model/model_records.h"

namespace kve {

READS(KVEINT);
WRITES(RMAT);

namespace {

const char* const kFile = "CVREST.DIR";
constexpr std::size_t kLongestLine = 200;
constexpr int32_t kColumnsOfBlock = 15;
constexpr int kMostUnequal = 5;  // told of each matrix of a ratio

// --- Items of a line

// Matrices of which all elements have been restricted by an option: a further line that does so
// has nothing to add.
using WholeMatrices = std::set<std::pair<const void*, int32_t>>;

struct RestrictionLine {
    std::string_view rest;  // what is not yet read, left-adjusted
    WholeMatrices& whole;
    int32_t errors = 0;
};

bool next_number(RestrictionLine& line, int32_t& value) {
    return parse_number(cut_word(line.rest), value);
}

// A pair is one word, "i,j".
bool next_pair(RestrictionLine& line, int32_t& i, int32_t& j) {
    const std::string_view word = cut_word(line.rest);
    const std::size_t comma = std::min(word.find(','), word.size());
    return comma < word.size() && parse_number(word.substr(0, comma), i) &&
           parse_number(word.substr(comma + 1), j);
}

// The residual is the last of them.
int32_t count_matrices() { return KVEINT.NRAMAT + 1; }

bool is_matrix(int32_t k) { return k >= 1 && k <= count_matrices(); }

bool is_row(const RMatrix& r, int32_t row) { return row >= 1 && row <= r.rank; }

// --- Faults

// Room for one fault, which is counted.
void begin_fault(int32_t& errors, const char* first_line, int lines) {
    ++errors;
    page_if(lines);
    say_line("%s", first_line);
}

void say_bounds(int32_t value) {
    say_line(" The number must be between 1 and %12d", count_matrices());
    say_line(" The value specified: %12d", value);
}

[[noreturn]] void stop_for_errors() {
    Block block;
    block.line("ERRORS - Processing of informations on restriction on (co)-variance components");
    block.line("The program terminates");
    block.print();
    terminate_run();
}

// --- VAR, COV and COR: single elements of a matrix

struct ElementOption {
    bool on_diagonal;  // an element is given by one number, not by a pair
    bool equal_is_fault;
    Matrix<logical4> RMatrix::*flags;
    const char *fault, *unreadable_matrix, *illegal_element;
};

constexpr ElementOption kVariances = {
    true,
    false,
    &RMatrix::l_cv_rest,
    "ERROR - In specification of restriction on variances",
    " Illegal argument for (co)-variance matrix number",
    " Illegal argument for variance no.",
};
constexpr ElementOption kCovariances = {
    false,
    false,
    &RMatrix::l_cv_rest,
    "ERROR - In specification of restriction on co-variances",
    " Illegal argument for (co)-variance matrix number",
    " Reading co-variance number (i,j) to restrict",
};
constexpr ElementOption kCorrelations = {
    false,
    true,
    &RMatrix::l_cor_rest,
    "ERROR - In specification of restriction on correlations",
    " Illegal argument for random factor no.",
    " Illegal argument for co-variance no.",
};

bool read_matrix(RestrictionLine& line, const ElementOption& option, int32_t& k) {
    const bool readable = next_number(line, k);
    if (readable && is_matrix(k)) return true;
    begin_fault(line.errors, option.fault, 4);
    if (!readable) {
        say_line("%s", option.unreadable_matrix);
        return false;
    }
    say_line(" Illegal specification of (co)-variance matrix number");
    say_bounds(k);
    return false;
}

void read_element(RestrictionLine& line, const ElementOption& option, RMatrix& r) {
    int32_t i = 0, j = 0;
    const bool readable = option.on_diagonal ? next_number(line, i) : next_pair(line, i, j);
    if (option.on_diagonal) j = i;
    const bool equal = readable && i == j && option.equal_is_fault;
    if (readable && !equal && is_row(r, i) && is_row(r, j)) {
        (r.*option.flags)(i, j) = (r.*option.flags)(j, i) = true;
        return;
    }
    begin_fault(line.errors, option.fault, 3);
    say_line("%s", option.illegal_element);
    if (equal)
        say_line(" specified row: %12d col: %12d        Row and Column  most be different", i, j);
}

void restrict_elements(RestrictionLine& line, const ElementOption& option) {
    int32_t k = 0;
    if (!read_matrix(line, option, k)) return;
    RMatrix& r = RMAT(k);
    if (line.rest.empty() && line.whole.insert({&option, k}).second)
        for (int32_t i = 1; i <= r.rank; ++i)
            for (int32_t j = 1; j <= r.rank; ++j)
                if ((i == j) == option.on_diagonal) (r.*option.flags)(i, j) = true;
    while (!line.rest.empty()) read_element(line, option, r);
}

// --- V_R: a matrix tied to others by a ratio

struct RatioSide {
    logical4 RMatrix::*flag;
    const char *unreadable_count, *illegal_count, *unreadable_matrix, *illegal_matrix;
};

constexpr RatioSide kNumerator = {
    &RMatrix::l_vratio_nom,
    "ERROR - reading number of co-variances matrices in the numerator of a ratio",
    "ERROR - Illegal specification of number of (co)-variance matrices in the numerator",
    "ERROR - reading (co)-variance matrix number to be used as numerator",
    "ERROR - Illegal specification of (co)-variance matrix number",
};
constexpr RatioSide kDenominator = {
    &RMatrix::l_vratio_denon,
    "ERROR - reading number of (co)-variance matrix in the denumerator of a ratio",
    "ERROR - Illegal specification of number of (co)-variance matrix in the denumerator of a ratio",
    "ERROR - reading identification for denumerator (co)-variance matrix no.",
    "ERROR - Illegal identification for denumerator (co)-variance matrix no.",
};

bool read_restricted_matrix(RestrictionLine& line, int32_t& k) {
    if (!next_number(line, k)) {
        begin_fault(line.errors,
                    "ERROR - reading co-variance matrix number to restrict as part of a ratio", 2);
        say_line(" Illegal argument for random factor no.");
        return false;
    }
    if (is_matrix(k)) return true;
    begin_fault(line.errors, "ERROR - Illegal specification of (co)-variance matrix to restrict",
                3);
    say_bounds(k);
    return false;
}

// False when what follows on the line has no meaning.
bool read_side(RestrictionLine& line, const RatioSide& side) {
    int32_t count = 0;
    const bool readable = next_number(line, count);
    if (!readable || !is_matrix(count)) {
        begin_fault(line.errors, readable ? side.illegal_count : side.unreadable_count, 1);
        return false;
    }
    for (int32_t number = 1; number <= count; ++number) {
        const bool missing = line.rest.empty();
        int32_t m = 0;
        if (!next_number(line, m))
            begin_fault(line.errors, side.unreadable_matrix, 1);
        else if (!is_matrix(m))
            begin_fault(line.errors, side.illegal_matrix, 1);
        else
            RMAT(m).*side.flag = true;
        if (missing) return false;
    }
    return true;
}

// The flags of the two sides belong to the matrices, so several lines make one ratio.
void restrict_ratio(RestrictionLine& line) {
    int32_t k = 0;
    if (!read_restricted_matrix(line, k)) return;
    RMatrix& r = RMAT(k);
    r.l_vratio_mat_rest = true;
    if (!read_side(line, kNumerator) || !read_side(line, kDenominator)) return;
    if (line.rest.empty())
        for (logical4& element : r.l_vratio_elem) element = true;
    while (!line.rest.empty()) {
        int32_t row = 0;
        if (next_number(line, row) && is_row(r, row)) {
            r.l_vratio_elem(row) = true;
            continue;
        }
        begin_fault(line.errors, "ERROR - In specification of elements to restrict", 2);
        say_line(" Expected input: row/col no.");
    }
}

// --- The file

void apply_option(RestrictionLine& line) {
    std::string option(cut_word(line.rest).substr(0, 3));
    for (char& c : option) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    if (option == "VAR") return restrict_elements(line, kVariances);
    if (option == "COV") return restrict_elements(line, kCovariances);
    if (option == "COR") return restrict_elements(line, kCorrelations);
    if (option == "V_R") return restrict_ratio(line);
    begin_fault(line.errors, "ERROR - Wrong option specified on $VAR_REST line", 3);
    blank_lines();
}

// The number of errors in the line. A faulty line is shown after its messages.
int32_t apply_line(std::string_view text, WholeMatrices& whole) {
    RestrictionLine line{trimmed(text), whole};
    const std::string_view shown = line.rest.substr(0, kLongestLine);
    if (text.size() > kLongestLine)
        begin_fault(line.errors, "ERROR - A $VAR_REST line is longer than 200 characters", 2);
    else if (!line.rest.empty())
        apply_option(line);
    if (line.errors > 0) say_row("$VAR_REST %.*s", KVE_SV(shown));
    return line.errors;
}

int32_t apply_lines(TextInput& input) {
    int32_t errors = 0;
    WholeMatrices whole;
    std::string_view text;
    TextInput::Line status;
    while ((status = input.read_line(text, kLongestLine + 1)) == TextInput::Line::ok)
        errors += apply_line(text, whole);
    if (status == TextInput::Line::failed) stop_not_read(kFile, input.error());
    return errors;
}

// --- Elements restricted in more than one way

void refuse_mixture(int32_t& errors, int32_t k, const char* kinds) {
    begin_fault(errors, "ERROR - In specification of restrictions on (co)-variance components", 3);
    say_line(" for (co)-variance matrix no.%12d", k);
    say_line("%s", kinds);
}

int32_t check_elements(int32_t k) {
    const RMatrix& r = RMAT(k);
    bool correlation_too = false, ratio_too = false, all_three = false;
    for (int32_t i = 1; i <= r.rank; ++i)
        for (int32_t j = 1; j <= i; ++j) {
            if (!r.l_cv_rest(i, j)) continue;
            const bool correlation = r.l_cor_rest(i, j);
            const bool ratio = i == j && r.l_vratio_elem(i);
            all_three |= correlation && ratio;
            correlation_too |= correlation && !ratio;
            ratio_too |= ratio && !correlation;
        }
    int32_t errors = 0;
    if (correlation_too)
        refuse_mixture(errors, k,
                       " For some elements, restriction as components and correlations is "
                       "specified");
    if (ratio_too)
        refuse_mixture(errors, k,
                       " For some elements, restriction as components and ratio is specified");
    // Kept: ratios lie on the diagonal and correlations off it, so this is never said.
    if (all_three)
        refuse_mixture(errors, k,
                       " For some elements, restriction as components, correlations and ratio is "
                       "specified");
    return errors;
}

// --- Reports

bool any_set(const Matrix<logical4>& flags) {
    return std::any_of(flags.data(), flags.data() + flags.size(),
                       [](logical4 flag) { return flag; });
}

// The lower triangle, so many columns at a time.
void report_flags(const Matrix<logical4>& flags) {
    const int32_t rank = static_cast<int32_t>(flags.rows());
    for (int32_t first = 1; first <= rank; first += kColumnsOfBlock) {
        const int32_t last = std::min(first + kColumnsOfBlock - 1, rank);
        std::string text = "     ";
        for (int32_t j = first; j <= last; ++j) append(text, "%5d", j);
        page_if(2);
        say_line("%s", text.c_str());
        for (int32_t i = first; i <= rank; ++i) {
            text.clear();
            append(text, "%5d", i);
            for (int32_t j = first; j <= std::min(i, last); ++j)
                append(text, "%5d", flags(i, j) ? 1 : 0);
            say_row("%s", text.c_str());
        }
    }
}

void report_elements(Matrix<logical4> RMatrix::*flags, const char* title, const char* rule) {
    for (int32_t k = 1; k <= count_matrices(); ++k) {
        if (!any_set(RMAT(k).*flags)) continue;
        page_if(6);
        blank_lines();
        say_line("%s", title);
        say_line("%s", rule);
        say_line("Matrix no. %12d", k);
        report_flags(RMAT(k).*flags);
    }
}

// --- Ratios

bool in_ratio(const RMatrix& r) { return r.l_vratio_nom || r.l_vratio_denon; }

bool has_side(const RatioSide& side) {
    return std::any_of(RMAT.begin(), RMAT.end(),
                       [&side](const RMatrix& r) { return r.*side.flag; });
}

int32_t check_ratio(int32_t k) {
    int32_t errors = 0;
    if (!in_ratio(RMAT(k)))
        begin_fault(errors, "ERROR - Co-variance matricx to restrict is not included in the ratio",
                    1);
    // Kept: a line without faults names a matrix for each side, so neither is ever said.
    if (!has_side(kNumerator))
        begin_fault(errors, "ERROR - no co-variance matrix is specified as part of the numerator",
                    1);
    if (!has_side(kDenominator))
        begin_fault(errors, "ERROR - no co-variance matrix is specified as part of the denumerator",
                    1);
    int unequal = 0;
    for (int32_t m = 1; m <= count_matrices() && unequal < kMostUnequal; ++m) {
        if (!in_ratio(RMAT(m)) || RMAT(m).rank == RMAT(k).rank) continue;
        ++unequal;
        begin_fault(errors,
                    "ERROR - Co-variance matrices in restriction on variance ratios must be of "
                    "equal size",
                    3);
        say_line(" Co-variance matrix to restrict (%12d) has dim=%12d", k, RMAT(k).rank);
        say_line(" Co-variance matrix %12d has dim=%12d", m, RMAT(m).rank);
    }
    return errors;
}

std::string matrices_of(const RatioSide& side) {
    std::string sum;
    for (int32_t m = 1; m <= count_matrices(); ++m)
        if (RMAT(m).*side.flag) append(sum, sum.empty() ? "%12d" : "+%d", m);
    return sum;
}

void report_ratios() {
    const auto restricted = [](const RMatrix& r) { return r.l_vratio_mat_rest; };
    if (std::none_of(RMAT.begin(), RMAT.end(), restricted)) return;
    page_if(6);
    blank_lines();
    say_line("Restrictions on variance ratios");
    say_line("-------------------------------");
    int32_t errors = 0;
    for (int32_t k = 1; k <= count_matrices(); ++k)
        if (restricted(RMAT(k))) errors += check_ratio(k);
    if (errors > 0) stop_for_errors();
    for (int32_t k = 1; k <= count_matrices(); ++k) {
        if (!restricted(RMAT(k))) continue;
        Block block;
        block.line(" Restricted matrix no.: %12d", k);
        block.line(" Nominator            : %s", matrices_of(kNumerator).c_str());
        block.line(" Denumerator          : %s", matrices_of(kDenominator).c_str());
        block.print();
    }
}

void report_restrictions() {
    const bool restricted = std::any_of(RMAT.begin(), RMAT.end(), [](const RMatrix& r) {
        return any_set(r.l_cv_rest) || any_set(r.l_cor_rest) || r.l_vratio_mat_rest;
    });
    if (!restricted) return;
    page_header();
    blank_lines();
    report_elements(&RMatrix::l_cv_rest, "Restrictions on (co)variance components",
                    "---------------------------------------");
    report_elements(&RMatrix::l_cor_rest, "Restrictions on correlations",
                    "----------------------------");
    report_ratios();
}

}  // namespace

void apply_restrictions() {
    TextInput input;
    const int status = input.open(kFile);
    if (status == ENOENT) return;
    if (status != 0) stop_not_read(kFile, status);
    Block block;
    block.blank();
    block.line("Restrictions are read from the file CVREST.DIR");
    block.print();
    int32_t errors = apply_lines(input);
    for (int32_t k = 1; k <= count_matrices(); ++k) errors += check_elements(k);
    if (errors > 0) stop_for_errors();
    report_restrictions();
    if (std::remove(kFile) != 0) say_row("Error - closing work file for CV-resriction");
}

}  // namespace kve
