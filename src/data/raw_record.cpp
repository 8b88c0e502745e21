#include "data/raw_record.h"

#include <cmath>
#include <cstddef>
#include <cstring>
#include <limits>

#include "base/input.h"
#include "base/records.h"
#include "base/state.h"
#include "data/input_record.h"
#include "data/intake.h"
#include "directives/directives.h"
#include "directives/file_identities.h"
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

// A text record as it is read ahead: the lines of its first and its last item; after them the
// integers and the reals of the file.
struct TextRecord {
    int64_t begin, end;

    int64_t* l_IINP() { return reinterpret_cast<int64_t*>(this + 1); }
    const int64_t* l_IINP() const { return reinterpret_cast<const int64_t*>(this + 1); }
    double* L_FINP(int32_t n_integers) {
        // From bytes: the integers end where the reals begin.
        return reinterpret_cast<double*>(reinterpret_cast<std::byte*>(l_IINP() + n_integers));
    }
};

int32_t make_text_record(void* source, void* to) {
    DataFile& from = *static_cast<DataFile*>(source);
    auto* record = static_cast<TextRecord*>(to);
    from.text.begin_record();
    record->begin = from.text.find_next_item();
    int32_t status = read_list(from.text, record->l_IINP(), from.n_integers, true);
    if (status == kRecordRead)
        status = read_list(from.text, record->L_FINP(from.n_integers), from.n_reals,
                           from.n_integers == 0);
    if (status != kRecordRead) return status;
    record->end = from.text.line_number();
    from.text.skip_line();
    return kRecordRead;
}

// A framed record: how many bytes it has, and its front.
struct FramedRecord {
    int32_t bytes;

    std::byte* front() { return reinterpret_cast<std::byte*>(this + 1); }
    const int32_t* integers() const { return reinterpret_cast<const int32_t*>(this + 1); }
};

int32_t make_framed_record(void* source, void* to) {
    RecordInput& from = static_cast<DataFile*>(source)->framed;
    auto* record = static_cast<FramedRecord*>(to);
    const std::size_t wanted = static_cast<DataFile*>(source)->used_bytes();
    const int32_t status = framed_status(from, from.read_front({record->front(), wanted}));
    record->bytes = from.record_bytes();
    return status;
}

void note_lines(int32_t file, const TextRecord& record) {
    DataFileCounts& counts = INTAKE.file[file];
    const int64_t line_ends = record.end - record.begin;
    if (INTAKE.NREC == 0) counts.line_ends = line_ends;
    if (line_ends != counts.line_ends) [[unlikely]]
        counts.other_lines.count(INTAKE.NREC + 1, record.begin);
}

// Kept: integers have no lower test, so a number below -2**31 is cut without being counted.
void take_integers(const int64_t* l_IINP, int32_t n, bool count) {
    for (int32_t i = 1; i <= n; ++i) {
        int64_t value = l_IINP[i - 1];
        if (value >= kFirstTooLarge) [[unlikely]] {
            value = 0;
            if (count) ++INTAKE.NI_OOR(i);
        }
        RECORD.IINP(i) = static_cast<int32_t>(static_cast<uint32_t>(value));
    }
}

void take_reals(const double* L_FINP, int32_t n, bool count) {
    for (int32_t j = 1; j <= n; ++j) {
        double value = L_FINP[j - 1];
        if (std::fabs(value) > kLargestReal) [[unlikely]] {
            value = static_cast<double>(DIRECTIVES.RMISS);
            if (count) ++INTAKE.NR_OOR(j);
        }
        RECORD.FINP(j) = static_cast<float>(value);
    }
}

int32_t read_text_record(int n_files, bool count) {
    TextRecord* records[2] = {};
    for (int k = 0; k < n_files; ++k) {
        DataFile& file = UNITS.data[k];
        if (file.used_bytes() == 0) continue;
        records[k] = static_cast<TextRecord*>(file.records.next());
        if (records[k] == nullptr) {
            const bool lacks_partner = k == 1 && records[0] != nullptr;
            if (lacks_partner && file.records.status() == kEndOfData) INTAKE.file[0].n_left = 1;
            return file.records.status();
        }
        if (count) note_lines(k, *records[k]);
    }
    for (int k = 0; k < n_files; ++k) {
        if (records[k] == nullptr) continue;
        const DataFile& file = UNITS.data[k];
        take_integers(records[k]->l_IINP(), file.n_integers, count);
        take_reals(records[k]->L_FINP(file.n_integers), file.n_reals, count);
    }
    return kRecordRead;
}

int32_t read_framed_record(int n_files, bool count) {
    for (int k = 0; k < n_files; ++k) {
        DataFile& file = UNITS.data[k];
        auto* record = static_cast<FramedRecord*>(file.records.next());
        if (record == nullptr) {
            if (k == 1 && file.records.status() == kEndOfData) INTAKE.file[0].n_left = 1;
            return file.records.status();
        }
        const std::size_t bytes = static_cast<std::size_t>(record->bytes);
        if (bytes < file.used_bytes()) return kUnreadableRecord;
        if (count && bytes > file.used_bytes())
            INTAKE.file[k].longer.count(INTAKE.NREC + 1, record->bytes);
        const std::size_t of_integers = static_cast<std::size_t>(file.n_integers) * sizeof(int32_t);
        std::memcpy(&RECORD.IINP(0) + 1, record->front(), of_integers);
        std::memcpy(RECORD.FINP.data(), record->front() + of_integers,
                    file.used_bytes() - of_integers);
    }
    return kRecordRead;
}

void open_records(DataFile& file, bool text, const char* array) {
    const int32_t n = file.n_integers + file.n_reals;
    const std::size_t bytes = text ? sizeof(TextRecord) + static_cast<std::size_t>(n) * 8
                                   : sizeof(FramedRecord) + file.used_bytes();
    const auto make = text ? make_text_record : make_framed_record;
    check_allocated(file.records.open(make, &file, bytes), "KVEFP1", array, n);
}

// With two files the integers stand in the first and the reals in the second.
void open_all_records(ReadMode mode) {
    const bool two = mode == ReadMode::two_text || mode == ReadMode::two_binary;
    const bool text = mode == ReadMode::one_text || mode == ReadMode::two_text;
    DataFile& first = UNITS.data[0];
    first.n_integers = DIRECTIVES.NI;
    first.n_reals = two ? 0 : DIRECTIVES.NR;
    open_records(first, text, first.n_integers > 0 ? "l_IINP" : "L_FINP");
    if (!two) return;
    DataFile& second = UNITS.data[1];
    second.n_integers = 0;
    second.n_reals = DIRECTIVES.NR;
    open_records(second, text, "L_FINP");
}

// The one that the system did not let us read, null when there is none. A file belongs to its
// thread until its records have a status.
const ByteInput* failed_data_file() {
    for (const DataFile& file : UNITS.data) {
        if (file.records.status() <= 0) continue;
        if (file.text.error() != 0) return &file.text;
        if (file.framed.error() != 0) return &file.framed;
    }
    return nullptr;
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
    check_allocated(RECORD.FINP.allocate(nr + 1), "KVEFP1", "FINP", nr + 1);
    check_allocated(RECORD.L_FINP_MIS.allocate(nr + 1), "KVEFP1", "L_FINP_MIS", nr + 1);
    open_all_records(read_mode());
    RECORD.IINP(0) = 1;
    RECORD.FINP(nr + 1) = DIRECTIVES.RMISS;
}

void release_record() {
    for (DataFile& file : UNITS.data) file.records.close();
    RECORD = DataRecord();
}

int32_t read_raw_record(ReadMode mode, bool count) {
    // Records without a column would never end.
    if (DIRECTIVES.NI + DIRECTIVES.NR == 0) return kEndOfData;
    switch (mode) {
        case ReadMode::one_text:
            return read_text_record(1, count);
        case ReadMode::two_text:
            return read_text_record(2, count);
        case ReadMode::one_binary:
            return read_framed_record(1, count);
        default:
            return read_framed_record(2, count);
    }
}

LaterIntegers::LaterIntegers(ReadMode mode) {
    constexpr std::ptrdiff_t kAhead = 8;
    const DataFile& file = UNITS.data[0];
    const void* record = file.records.later(kAhead);
    if (record == nullptr) return;
    n_ = file.n_integers;
    if (mode == ReadMode::one_text || mode == ReadMode::two_text)
        text_ = static_cast<const TextRecord*>(record)->l_IINP();
    else
        binary_ = static_cast<const FramedRecord*>(record)->integers();
}

void count_left_records(ReadMode mode) {
    if (mode != ReadMode::two_text && mode != ReadMode::two_binary) return;
    for (int k = 0; k < 2; ++k) {
        const bool is_read = mode == ReadMode::two_binary || UNITS.data[k].used_bytes() > 0;
        while (is_read && UNITS.data[k].records.next() != nullptr) ++INTAKE.file[k].n_left;
    }
}

void tell_failed_data() {
    if (const ByteInput* file = failed_data_file()) tell_not_read(file->path(), file->error());
}

void rewind_data() {
    if (const ByteInput* file = failed_data_file()) stop_if_failed(*file);
    for (DataFile& file : UNITS.data) {
        file.records.stop();
        for (ByteInput* input :
             {static_cast<ByteInput*>(&file.text), static_cast<ByteInput*>(&file.framed)}) {
            if (!input->is_open()) continue;
            check_input(input->path());
            if (const int status = input->rewind(); status != 0)
                stop_not_read(input->path(), status);
        }
    }
}

void check_second_pass(int64_t n_read) {
    if (const ByteInput* file = failed_data_file()) stop_if_failed(*file);
    for (int k = 0; k < DIRECTIVES.n_data_files; ++k) check_input(DIRECTIVES.data_file[k].string());
    check_second_reading(DIRECTIVES.data_file[0].string(), INTAKE.NREC, n_read);
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
