#include "data/raw_record.h"

#include <cmath>
#include <limits>
#include <span>

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

int32_t read_one_text() {
    TextInput& file = UNITS.data_text_1;
    file.begin_record();
    int32_t status = read_list(file, &RECORD.l_IINP(0) + 1, DIRECTIVES.NI, true);
    if (status == kRecordRead)
        status = read_list(file, RECORD.L_FINP.data(), DIRECTIVES.NR, DIRECTIVES.NI == 0);
    if (status == kRecordRead) file.skip_line();
    return status;
}

int32_t read_two_texts() {
    UNITS.data_text_1.begin_record();
    int32_t status = read_list(UNITS.data_text_1, &RECORD.l_IINP(0) + 1, DIRECTIVES.NI, true);
    if (status != kRecordRead) return status;
    if (DIRECTIVES.NI > 0) UNITS.data_text_1.skip_line();
    UNITS.data_text_2.begin_record();
    status = read_list(UNITS.data_text_2, RECORD.L_FINP.data(), DIRECTIVES.NR, true);
    if (status == kRecordRead && DIRECTIVES.NR > 0) UNITS.data_text_2.skip_line();
    return status;
}

int32_t read_binary(bool two_files) {
    std::span<int32_t> integers(&RECORD.IINP(0) + 1, static_cast<std::size_t>(DIRECTIVES.NI));
    std::span<float> reals(RECORD.FINP.data(), static_cast<std::size_t>(DIRECTIVES.NR));
    if (!two_files) return read_framed(UNITS.data_records_1, integers, reals);
    int32_t status = read_framed(UNITS.data_records_1, integers, {});
    return status == kRecordRead ? read_framed(UNITS.data_records_2, {}, reals) : status;
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

int32_t read_raw_record(ReadMode mode, bool count_out_of_range) {
    // Records without a column would never end.
    if (DIRECTIVES.NI + DIRECTIVES.NR == 0) return kEndOfData;
    if (mode == ReadMode::one_binary) return read_binary(false);
    if (mode == ReadMode::two_binary) return read_binary(true);
    int32_t status = mode == ReadMode::one_text ? read_one_text() : read_two_texts();
    if (status == kRecordRead) bring_into_range(count_out_of_range);
    return status;
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
