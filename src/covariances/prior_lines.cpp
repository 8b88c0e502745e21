#include "covariances/prior_lines.h"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "base/freeform.h"
#include "base/input.h"
#include "base/state.h"
#include "base/text.h"
#include "directives/directives.h"
#include "directives/file_identities.h"
#include "listing/listing.h"
#include "listing/stop.h"
#include "model/model_records.h"

namespace kve {

READS(DIRECTIVES);
READS(KVEINT);
WRITES(PRIOR_LINE);
WRITES(RMAT);

namespace {

constexpr std::size_t kLongestLine = 100;
constexpr std::string_view kSeparators = " ,\t\r";

// Matrices that REPEAT lines may fill, each as often as this on the average: a short file could ask
// for hours of work on the same ones.
constexpr int64_t kMostCopies = 100;

// Numbers shown as the status of a failed read.
constexpr int kEndOfFile = -1;
constexpr int kUnreadable = 1;

struct PriorFile {
    TextInput input;
    std::string_view line;  // the last line that was not blank, left-adjusted
    int64_t matrix = 0;     // last matrix number read
    int64_t n_copied = 0;
    int32_t errors = 0;
};

std::string_view after_separators(std::string_view text) {
    return text.substr(std::min(text.find_first_not_of(kSeparators), text.size()));
}

// --- The matrices of the numbers in the file: 1..NRAMAT random, then one per residual group.

int32_t residual_groups() { return static_cast<int32_t>(residual_of(RMAT).h_cov_mat.layers()); }

bool exists(int64_t matrix) { return matrix >= 1 && matrix <= KVEINT.NRAMAT + residual_groups(); }

RMatrix& record_of(int64_t matrix) { return RMAT(std::min<int64_t>(matrix, KVEINT.NRAMAT + 1)); }

int32_t dimension_of(int64_t matrix) { return exists(matrix) ? record_of(matrix).rank : 0; }

double stored(int64_t matrix, int32_t i, int32_t j) {
    const int64_t group = matrix - KVEINT.NRAMAT;
    const RMatrix& r = record_of(matrix);
    return group > 1 ? r.h_cov_mat(i, j, group) : r.cov_mat(i, j);
}

void store(int64_t matrix, int32_t i, int32_t j, double value) {
    const int64_t group = matrix - KVEINT.NRAMAT;
    RMatrix& r = record_of(matrix);
    if (group <= 1) r.cov_mat(i, j) = r.cov_mat(j, i) = value;
    if (group > 1) r.l_grp_prior = true;
    if (group < 1) return;
    r.l_grp_pr(group) = true;
    r.h_cov_mat(i, j, group) = r.h_cov_mat(j, i, group) = value;
}

// --- Faults

// After words that name no file.
[[noreturn]] void stop_naming(const PriorFile& file) {
    say("ERROR - this is line %lld of the file %s", static_cast<long long>(PRIOR_LINE),
        file.input.path().c_str());
    stop_run();
}

[[noreturn]] void stop_at_line(int64_t number, int status) {
    if (number == 1)
        say("ERROR -  Reading 1'st line in the PRIOR section");
    else
        say("ERROR -  Reading line no.%12lld in the PRIOR section", static_cast<long long>(number));
    say("         Return status from read: %12d", status);
    stop_run();
}

[[noreturn]] void stop_without_line(const PriorFile& file) {
    say("ERROR - the file %s holds no line of numbers", file.input.path().c_str());
    stop_at_line(1, kEndOfFile);
}

[[noreturn]] void stop_showing(const PriorFile& file) {
    say("Line read:");
    say("%.*s", KVE_SV(file.line));
    stop_naming(file);
}

void refuse_place(PriorFile& file, int32_t row, int32_t column, double value) {
    log_say("ERROR: ILLEGAL VARIABLE NO IN ");
    log_say("PARAMETER FILE %12lld%12d%12d%16.7g", static_cast<long long>(file.matrix), row, column,
            value);
    ++file.errors;
}

// No line may give a residual covariance that was declared to be zero, not even as zero.
void refuse_if_fixed_at_zero(PriorFile& file, int64_t matrix, int32_t row, int32_t column,
                             double value) {
    if (matrix <= KVEINT.NRAMAT || !record_of(matrix).l_rcov_zero(row, column)) return;
    Block block;
    block.line("ERROR: Elsewhere it has been specified that");
    block.line(" the residual covariance between trait%12d and %12d", row, column);
    block.line("should be equal to 0.0 ");
    block.line("(here specified as %16.7g)", value);
    block.print();
    ++file.errors;
}

// --- Lines

// The next line that is not blank; false at the end of the file.
bool next_line(PriorFile& file) {
    for (;;) {
        std::string_view line;
        const TextInput::Line status = file.input.read_line(line, kLongestLine);
        if (status == TextInput::Line::end) return false;
        ++PRIOR_LINE;
        if (status == TextInput::Line::failed) {
            tell_not_read(file.input.path(), file.input.error());
            stop_at_line(PRIOR_LINE, file.input.error());
        }
        file.line = after_separators(line);
        if (!file.line.empty()) return true;
    }
}

void read_value(PriorFile& file) {
    int32_t matrix = 0, row = 0, column = 0;
    double value = 0.0;
    const Read status = read_free(file.line, matrix, row, column, value);
    if (status != Read::ok) {
        say("ERROR -  Reading file with prior ");
        say("(co)variance components");
        say("         Error condition (iostat from read) = %12d",
            status == Read::end ? kEndOfFile : kUnreadable);
        say("line read: %.*s", KVE_SV(file.line));
        stop_naming(file);
    }
    file.matrix = matrix;
    if (!exists(matrix)) return refuse_place(file, row, column, value);
    const int32_t dimension = dimension_of(matrix);
    const bool row_lies_outside = row < 1 || row > dimension;
    const bool column_lies_outside = column < 1 || column > dimension;
    if (row_lies_outside) refuse_place(file, row, column, value);
    if (column_lies_outside) refuse_place(file, row, column, value);
    if (row_lies_outside || column_lies_outside) return;
    refuse_if_fixed_at_zero(file, matrix, row, column, value);
    store(matrix, row, column, value);
}

void copy_matrix(PriorFile& file, int64_t from, int64_t to) {
    const int32_t dimension = dimension_of(from);
    if (!exists(from) || !exists(to) || dimension != dimension_of(to)) {
        say("ERROR -  In repeating a co-variance matrix");
        say("         dimension of the the matrix to repeat is:%12d", dimension);
        say("         dimension of the the taget matrix       :%12d", dimension_of(to));
        stop_showing(file);
    }
    for (int32_t i = 1; i <= dimension; ++i)
        for (int32_t j = 1; j <= i; ++j) {
            const double value = stored(from, i, j);
            if (value != 0.0) refuse_if_fixed_at_zero(file, to, i, j, value);
            store(to, i, j, value);
        }
}

// "REPEAT n": the last matrix stands for the n after it too.
void repeat_matrix(PriorFile& file, std::size_t word) {
    const std::string_view after = file.line.substr(word + 6);
    const std::size_t separator = std::min(after.find_first_of(kSeparators), after.size());
    int32_t times = 0;
    if (read_free(after_separators(after.substr(separator)), times) != Read::ok) {
        say("ERROR -  Reading number of times to repeat a co-varaice matrices");
        stop_showing(file);
    }
    const int64_t from = file.matrix;
    for (int32_t k = 1; k <= times; ++k) {
        if (++file.n_copied > kMostCopies * (KVEINT.NRAMAT + residual_groups())) {
            say("ERROR -  REPEAT lines fill the same matrices more than %lld times",
                static_cast<long long>(kMostCopies));
            stop_showing(file);
        }
        copy_matrix(file, from, from + k);
        file.matrix = from + k;
    }
}

// A prior for the first of several groups alone is meant for all of them.
void settle_common_prior() {
    RMatrix& residual = residual_of(RMAT);
    if (residual.l_grp_pr.size() > 1 && residual.l_grp_pr(1) &&
        std::count(residual.l_grp_pr.begin(), residual.l_grp_pr.end(), true) == 1)
        residual.l_grp_pr(1) = false;
}

}  // namespace

int read_prior_lines() {
    PriorFile file;
    PRIOR_LINE = 0;
    const std::string name = DIRECTIVES.prior.name.string();
    check_input(name);
    const SectionFile& prior = DIRECTIVES.prior;
    const int status = prior.from_user ? file.input.open_input(name) : file.input.open(name);
    if (status == ENOENT || status == ENOTDIR) return kNoPriorFile;
    if (status != 0) {
        tell_input_not_opened(name, status);
        stop_at_line(1, status);
    }
    if (!next_line(file)) stop_without_line(file);
    if (file.line.find("REPEAT") != std::string_view::npos) {
        say("ERROR -  REPEAT can not be the first line in the PRIOR section");
        stop_showing(file);
    }
    read_value(file);
    while (next_line(file)) {
        const std::size_t word = file.line.find("REPEAT");
        if (word == std::string_view::npos)
            read_value(file);
        else
            repeat_matrix(file, word);
    }
    settle_common_prior();
    return file.errors;
}

}  // namespace kve
