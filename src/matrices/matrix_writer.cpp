#include "matrices/matrix_writer.h"

#include <cstddef>
#include <iterator>
#include <string>

#include "base/state.h"
#include "directives/directives.h"
#include "listing/listing.h"
#include "listing/stop.h"
#include "listing/units.h"
#include "matrices/matrix_record.h"
#include "model/model_records.h"
#include "store/sparse_store.h"

namespace kve {

READS(DIRECTIVES);
READS(N_SPARSE);
READS(RMAT);

namespace {

constexpr int32_t kAhead = 16;    // rows by which memory is fetched ahead
constexpr int64_t kListed = 250;  // one element fewer is listed

// Kept: no caller has another code; the message is part of the interface.
const char* prefix_of(MatrixFile i_code) {
    constexpr const char* kPrefixes[] = {"AINV", "AINV_RAM", "PGMIX", "COR", "DOM", "IBD"};
    const auto code = static_cast<std::size_t>(i_code);
    if (code >= 1 && code <= std::size(kPrefixes)) return kPrefixes[code - 1];
    blank();
    say("ERROR - kvewai called with illegal argument for i_code%12d", static_cast<int32_t>(i_code));
    say("        Leagal codes are 1 or 2");
    blank();
    stop_run("program terminates");
}

void say_heading(const char* prefix, int32_t k) {
    page_header();
    blank_lines();
    say_line("Max first 250 elements in Varinace structure %s for random factor %12d", prefix, k);
    blank_lines();
    say_line("%30sRow     Col          Element", "");
}

struct Writing {
    RecordOutput file;
    bool lists = false;
    int64_t n_written = 0;
};

// False once a write has failed.
bool write_row(Writing& to, int32_t row, std::span<const SparseElement> elements) {
    for (const SparseElement& element : elements) {
        ++to.n_written;
        write_matrix_record(to.file, {element.column, row, element.value});
        if (to.file.error() != 0) return false;
        if (to.lists && to.n_written < kListed)
            say_row("%26s%8d%8d%21.8f", "", row, element.column, element.value);
    }
    return true;
}

[[noreturn]] void stop_cut_inverse(int32_t k, int64_t n_written, int status) {
    say("ERROR writing A**(-1) for random factor%12d", k);
    say("      Elements written:%12lld", static_cast<long long>(n_written));
    say("      Elements in A**(-1):%12d", N_SPARSE);
    say("      IOSTAT             :%12d", status);
    blank();
    stop_run("Computations terminates");
}

}  // namespace

void write_matrix_file(int32_t k, int32_t n, MatrixFile i_code, const RowSource& row_source) {
    const char* prefix = prefix_of(i_code);
    const std::string name = factor_file_name(prefix, k);
    Writing to;
    to.lists = DIRECTIVES.ITEST > 1;
    if (to.lists) say_heading(prefix, k);
    int status = to.file.open(name);
    for (int32_t row = 1; status == 0 && row <= n; ++row) {
        if (!write_row(to, row, row_source(row))) status = to.file.error();
    }
    if (to.lists) blank_lines(2);
    if (const int closed = to.file.close(); status == 0) status = closed;
    if (status == 0) return;
    if (RMAT(k).structure != Structure::PED) return note_cut_file(name, status);
    tell_not_written(name, status);
    stop_cut_inverse(k, to.n_written, status);
}

void kvewai(int32_t k, int32_t n, MatrixFile i_code) {
    write_matrix_file(k, n, i_code, [](int32_t row) {
        expect_sparse_element(row + 2 * kAhead);
        expect_sparse_mate(row + kAhead);
        return sparse_row(row);
    });
}

}  // namespace kve
