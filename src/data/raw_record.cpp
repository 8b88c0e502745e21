#include "data/raw_record.h"

#include <cmath>
#include <cstddef>
#include <limits>
#include <span>

#include "base/input.h"
#include "base/records.h"
#include "base/state.h"
#include "data/input_record.h"
#include "data/intake.h"
#include "directives/directives.h"
#include "listing/listing.h"
#include "listing/stop.h"
#include "listing/units.h"

namespace kve {

READS(DIRECTIVES);
WRITES(RECORD);
WRITES(INTAKE);
WRITES(UNITS);

namespace {

constexpr int64_t kFirstTooLarge = int64_t{1} << 31;
constexpr double kLargestReal = std::numeric_limits<float>::max();

// A text record that begins on line `begin` and ends on the one under the reader.
void note_lines(int32_t file, int64_t begin, int64_t end) {
    DataFileCounts& counts = INTAKE.file[file];
    if (INTAKE.NREC == 0) counts.line_ends = end - begin;
    if (end - begin != counts.line_ends) [[unlikely]]
        counts.other_lines.count(INTAKE.NREC + 1, begin);
}

int32_t read_one_text(bool count) {
    TextInput& file = UNITS.data_text_1;
    file.begin_record();
    const int64_t begin = file.find_next_item();
    int32_t status = read_list(file, &RECORD.l_IINP(0) + 1, DIRECTIVES.NI, true);
    if (status == kRecordRead)
        status = read_list(file, RECORD.L_FINP.data(), DIRECTIVES.NR, DIRECTIVES.NI == 0);
    if (status != kRecordRead) return status;
    if (count) note_lines(0, begin, file.line_number());
    file.skip_line();
    return status;
}

// The part of a record that stands in one of two text files.
template <class Number>
int32_t read_part(TextInput& file, Number* into, int32_t n, int32_t number, bool count) {
    if (n == 0) return kRecordRead;
    file.begin_record();
    const int64_t begin = file.find_next_item();
    const int32_t status = read_list(file, into, n, true);
    if (status != kRecordRead) return status;
    if (count) note_lines(number, begin, file.line_number());
    file.skip_line();
    return status;
}

int32_t read_integers(bool count) {
    return read_part(UNITS.data_text_1, &RECORD.l_IINP(0) + 1, DIRECTIVES.NI, 0, count);
}

int32_t read_reals(bool count) {
    return read_part(UNITS.data_text_2, RECORD.L_FINP.data(), DIRECTIVES.NR, 1, count);
}

int32_t read_two_texts(bool count) {
    int32_t status = read_integers(count);
    if (status != kRecordRead) return status;
    status = read_reals(count);
    if (status == kEndOfData && DIRECTIVES.NI > 0) INTAKE.file[0].n_left = 1;
    return status;
}

int32_t read_frame(RecordInput& file, std::span<int32_t> integers, std::span<float> reals,
                   int32_t number, bool count) {
    const int32_t status = read_framed(file, integers, reals);
    const std::size_t used = integers.size_bytes() + reals.size_bytes();
    if (count && status == kRecordRead && static_cast<std::size_t>(file.record_bytes()) > used)
        INTAKE.file[number].longer.count(INTAKE.NREC + 1, file.record_bytes());
    return status;
}

int32_t read_binary(bool two_files, bool count) {
    std::span<int32_t> integers(&RECORD.IINP(0) + 1, static_cast<std::size_t>(DIRECTIVES.NI));
    std::span<float> reals(RECORD.FINP.data(), static_cast<std::size_t>(DIRECTIVES.NR));
    if (!two_files) return read_frame(UNITS.data_records_1, integers, reals, 0, count);
    int32_t status = read_frame(UNITS.data_records_1, integers, {}, 0, count);
    if (status != kRecordRead) return status;
    status = read_frame(UNITS.data_records_2, {}, reals, 1, count);
    if (status == kEndOfData) INTAKE.file[0].n_left = 1;
    return status;
}

// Kept: integers have no lower test, so a number below -2**31 is cut without being counted.
void bring_into_range(bool count) {
    for (int32_t i = 1; i <= DIRECTIVES.NI; ++i) {
        int64_t value = RECORD.l_IINP(i);
        if (value >= kFirstTooLarge) [[unlikely]] {
            value = 0;
            if (count) ++INTAKE.NI_OOR(i);
        }
        RECORD.IINP(i) = static_cast<int32_t>(static_cast<uint32_t>(value));
    }
    for (int32_t j = 1; j <= DIRECTIVES.NR; ++j) {
        double value = RECORD.L_FINP(j);
        if (std::fabs(value) > kLargestReal) [[unlikely]] {
            value = static_cast<double>(DIRECTIVES.RMISS);
            if (count) ++INTAKE.NR_OOR(j);
        }
        RECORD.FINP(j) = static_cast<float>(value);
    }
}

}  // namespace

ReadMode read_mode() {
    bool text = DIRECTIVES.data_format == kAscii;
    if (DIRECTIVES.n_data_files == 2) return text ? ReadMode::two_text : ReadMode::two_binary;
    return text ? ReadMode::one_text : ReadMode::one_binary;
}

void allocate_record() {
    int64_t ni = DIRECTIVES.NI, nr = DIRECTIVES.NR;
    // One place more than the data have columns, for the columns that they lack.
    check_allocated(RECORD.IINP.allocate(ni + 2), "KVEFP1", "IINP", ni + 2);
    check_allocated(RECORD.l_IINP.allocate(ni + 1), "KVEFP1", "l_IINP", ni + 1);
    check_allocated(RECORD.FINP.allocate(nr + 1), "KVEFP1", "FINP", nr + 1);
    check_allocated(RECORD.L_FINP.allocate(nr), "KVEFP1", "L_FINP", nr);
    check_allocated(RECORD.L_FINP_MIS.allocate(nr + 1), "KVEFP1", "L_FINP_MIS", nr + 1);
    RECORD.IINP(0) = 1;
    RECORD.l_IINP(0) = 1;
    RECORD.FINP(nr + 1) = DIRECTIVES.RMISS;
}

int32_t read_raw_record(ReadMode mode, bool count) {
    // Records without a column would never end.
    if (DIRECTIVES.NI + DIRECTIVES.NR == 0) return kEndOfData;
    if (mode == ReadMode::one_binary) return read_binary(false, count);
    if (mode == ReadMode::two_binary) return read_binary(true, count);
    int32_t status = mode == ReadMode::one_text ? read_one_text(count) : read_two_texts(count);
    if (status == kRecordRead) bring_into_range(count);
    return status;
}

void count_left_records(ReadMode mode) {
    int64_t& first = INTAKE.file[0].n_left;
    int64_t& second = INTAKE.file[1].n_left;
    if (mode == ReadMode::two_text) {
        while (DIRECTIVES.NI > 0 && read_integers(false) == kRecordRead) ++first;
        while (DIRECTIVES.NR > 0 && read_reals(false) == kRecordRead) ++second;
    }
    if (mode == ReadMode::two_binary) {
        while (read_framed(UNITS.data_records_1, {}, {}) == kRecordRead) ++first;
        while (read_framed(UNITS.data_records_2, {}, {}) == kRecordRead) ++second;
    }
}

void rewind_data() {
    int status = 0;
    for (TextInput* file : {&UNITS.data_text_1, &UNITS.data_text_2})
        if (file->is_open() && status == 0) status = file->rewind();
    for (RecordInput* file : {&UNITS.data_records_1, &UNITS.data_records_2})
        if (file->is_open() && status == 0) status = file->rewind();
    if (status == 0) return;
    say("ERROR - The data file cannot be read a second time, status:%12d", status);
    stop_run();
}

int32_t integer_place(int64_t column) {
    bool exists = column >= 0 && column <= DIRECTIVES.NI;
    return exists ? static_cast<int32_t>(column) : DIRECTIVES.NI + 1;
}

int32_t real_place(int64_t column) {
    bool exists = column >= 1 && column <= DIRECTIVES.NR;
    return exists ? static_cast<int32_t>(column) : DIRECTIVES.NR + 1;
}

}  // namespace kve
