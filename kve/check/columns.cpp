#include "kve/check/columns.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <span>
#include <vector>

#include "base/input.h"
#include "base/records.h"
#include "base/state.h"
#include "directives/directives.h"
#include "model/model_records.h"

namespace kve::companion {

READS(DIRECTIVES);
READS(MODEL);

namespace {

constexpr int64_t kSampled = 10'000;      // records
constexpr int32_t kMostColumns = 10'000;  // of a record that is looked at

RealColumns used_columns() {
    RealColumns columns;
    const auto use = [&columns](int32_t column) {
        if (column >= 1 && column <= DIRECTIVES.NR) columns[column];
    };
    for (const Model& m : MODEL) {
        use(m.trait_inp_no);
        for (const int32_t column : m.reg_inp) use(column);
    }
    return columns;
}

// One record of `n_skipped` numbers, then of the reals. False at the end and at a fault.
bool read_record(TextInput& file, int64_t n_skipped, std::vector<double>& reals) {
    double skipped = 0;
    file.begin_record();
    for (int64_t k = 0; k < n_skipped; ++k)
        if (file.read_number(skipped) != TextInput::Number::ok) return false;
    for (double& value : reals)
        if (file.read_number(value) != TextInput::Number::ok) return false;
    file.skip_line();
    return true;
}

bool read_record(RecordInput& file, int64_t n_skipped, std::vector<double>& reals) {
    std::vector<float> all(static_cast<std::size_t>(n_skipped) + reals.size());
    if (file.read_record(std::as_writable_bytes(std::span(all))) != RecordInput::Record::ok)
        return false;
    std::copy(all.begin() + n_skipped, all.end(), reals.begin());
    return true;
}

template <class File>
void sample(RealColumns& columns, const std::string& name, int64_t n_skipped) {
    File file;
    if (file.open_input(name) != 0) return;
    std::vector<double> reals(static_cast<std::size_t>(DIRECTIVES.NR));
    for (int64_t k = 0; k < kSampled && read_record(file, n_skipped, reals); ++k)
        for (auto& [column, found] : columns) {
            const double value = reals[static_cast<std::size_t>(column - 1)];
            if (value > DIRECTIVES.RMISS && std::isfinite(value)) found.add(value);
        }
}

}  // namespace

void RealColumn::add(double value) {
    ++n;
    const double deviation = value - mean;
    mean += deviation / static_cast<double>(n);
    squares += deviation * (value - mean);
    highest = n == 1 ? value : std::max(highest, value);
    is_whole = is_whole && value == std::floor(value);
    if (values.size() <= kFew) values.insert(value);
}

RealColumns sample_real_columns() {
    RealColumns columns = used_columns();
    const bool two = DIRECTIVES.n_data_files == 2;
    const int64_t n_skipped = two ? 0 : DIRECTIVES.NI;
    if (DIRECTIVES.n_data_files == 0 || n_skipped + DIRECTIVES.NR > kMostColumns) return columns;
    const std::string name = DIRECTIVES.data_file[two ? 1 : 0].string();
    if (DIRECTIVES.data_format == kAscii)
        sample<TextInput>(columns, name, n_skipped);
    else
        sample<RecordInput>(columns, name, n_skipped);
    return columns;
}

}  // namespace kve::companion
