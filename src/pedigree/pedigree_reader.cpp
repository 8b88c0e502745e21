#include "pedigree/pedigree_reader.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <system_error>

#include "base/arrays.h"
#include "base/input.h"
#include "base/reading_ahead.h"
#include "base/records.h"
#include "base/state.h"
#include "base/text.h"
#include "data/factors.h"
#include "data/input_record.h"
#include "data/level_lists.h"
#include "directives/directives.h"
#include "directives/file_identities.h"
#include "directives/user_files.h"
#include "listing/listing.h"
#include "listing/stop.h"
#include "model/model_records.h"
#include "pedigree/pedigree_record.h"
#include "store/animal_table.h"
#include "store/big_tables.h"
#include "store/level_code.h"
#include "store/level_index.h"
#include "store/level_tree.h"

namespace kve {

READS(KVEINT);
READS(RMAT);
WRITES(ANIMAL_INDEX);
WRITES(FACTORS);
WRITES(IDL);
WRITES(IFL);
READS(NMDL);
WRITES(NMFL);

namespace {

constexpr int32_t kMostReports = 100;        // lines on faulty and repeated records
constexpr int32_t kUnremarkableErrors = 10;  // up to so many bring no summary
constexpr int32_t kNoPedigreeRecord = -999999998;
constexpr int kBlock = 64;  // records or levels by which memory is fetched ahead

struct PedigreeFile {
    int32_t factor;
    bool ascii;
    TextInput text;
    RecordInput framed;
    ReadingAhead records{};
    int64_t n_read = 0;   // records, the one that fails among them
    int64_t n_taken = 0;  // records that have been judged
    bool is_announced = false;
    int64_t out_of_range[kPedigreeColumns] = {};
    int32_t errors = 0, duplicates = 0;

    bool reports() const { return int64_t{errors} + duplicates <= kMostReports; }
};

int32_t make_text_record(void* source, void* to) {
    return read_pedigree_record(static_cast<PedigreeFile*>(source)->text,
                                *static_cast<WidePedigreeRecord*>(to));
}

int32_t make_framed_record(void* source, void* to) {
    return read_pedigree_record(static_cast<PedigreeFile*>(source)->framed,
                                *static_cast<FramedPedigreeRecord*>(to));
}

void open_pedigree(PedigreeFile& file) {
    const FileName& name = RMAT(file.factor).rel_file;
    check_input(name.string());
    const int status =
        file.ascii ? file.text.open_input(name.string()) : file.framed.open_input(name.string());
    if (status != 0) stop_pedigree_not_opened(file.factor, name, status);
    check_allocated(
        file.ascii ? file.records.open(make_text_record, &file, sizeof(WidePedigreeRecord))
                   : file.records.open(make_framed_record, &file, sizeof(FramedPedigreeRecord)),
        "PEDIGREE", "RECORDS", kPedigreeColumns);
}

// About as many records as the file has, so that the index need not grow; of a file that can be no
// pedigree, not too many.
int64_t estimate_records(const PedigreeFile& file) {
    constexpr int64_t kUsualLine = 30, kFramedRecord = 24, kMost = 50'000'000;
    std::error_code unknown;
    const std::uintmax_t bytes =
        std::filesystem::file_size(input_path(RMAT(file.factor).rel_file.string()), unknown);
    if (unknown) return 0;
    const int64_t bytes_each = file.ascii ? kUsualLine : kFramedRecord;
    return std::min(static_cast<int64_t>(bytes) / bytes_each, kMost);
}

FramedPedigreeRecord bring_into_range(PedigreeFile& file, const WidePedigreeRecord& wide) {
    FramedPedigreeRecord values;
    for (std::size_t k = 0; k < kPedigreeColumns; ++k) {
        const bool fits = is_in_pedigree_range(wide[k]);
        values[k] = fits ? static_cast<int32_t>(wide[k]) : 0;
        if (!fits) ++file.out_of_range[k];
    }
    return values;
}

int32_t next_record(PedigreeFile& file, bool groups, PedigreeRecord& record) {
    const void* next = file.records.next();
    if (next == nullptr && file.records.status() == kEndOfData) return kEndOfData;
    ++file.n_read;
    if (next == nullptr) return file.records.status();
    record = pedigree_record_of(
        file.ascii ? bring_into_range(file, *static_cast<const WidePedigreeRecord*>(next))
                   : *static_cast<const FramedPedigreeRecord*>(next),
        groups);
    return kRecordRead;
}

const char* words_of(RecordFault fault) {
    switch (fault) {
        case RecordFault::identity:
            return "the ID is not within 1 to 2147483647";
        case RecordFault::own_parent:
            return "the animal is its own parent";
        default:
            return "one animal is both parents";
    }
}

// The reports of the reader name neither factor nor file: ahead of the first one.
void announce_reports(PedigreeFile& file) {
    if (file.is_announced) return;
    file.is_announced = true;
    say_row("WARNING - Check the pedigree file of random factor %d, see the lines below: %s",
            file.factor, RMAT(file.factor).rel_file.string().c_str());
}

// Animals with data alone, without papers, are an everyday thing and no warning.
void name_pedigree_file(const PedigreeFile& file) {
    if (file.is_announced) return;
    say_row("Pedigree file of random factor %d: %s", file.factor,
            RMAT(file.factor).rel_file.string().c_str());
}

void report_invalid(PedigreeFile& file, const PedigreeRecord& r, RecordFault fault) {
    if (!file.reports()) return;
    announce_reports(file);
    Block block;
    block.line("ERROR   : ID = %12d SIRE = %12d DAM/MGS = %12d S-var = %12d", r.id, r.sire, r.dam,
               r.sort);
    block.line("WARNING - record %lld is left out, correct it: %s",
               static_cast<long long>(file.n_taken), words_of(fault));
    block.print();
}

void report_duplicate(PedigreeFile& file, int32_t id) {
    if (!file.reports()) return;
    announce_reports(file);
    say_row("WARNING  : ID = %12d occurs more than one time. First record used", id);
}

// A code of 0 or below names a phantom parent group under the methods that have them.
void register_group(const PedigreeFile& file, int32_t code) {
    const int32_t k = file.factor;
    refuse_key_without_bits(code, RMAT(k).rel_file.view(), file.n_taken);
    if (code == 0) ++FACTORS.NPHNUL(k);
    if (code <= 0) enter_level(code, FACTORS.ITPPHG(k), 0, IFL, NMFL);
}

void take_record(PedigreeFile& file, bool groups, const PedigreeRecord& record) {
    const int32_t k = file.factor;
    ++file.n_taken;
    if (const RecordFault fault = fault_of(record); fault != RecordFault::none) {
        ++file.errors;
        return report_invalid(file, record, fault);
    }
    if (find_animal(ANIMAL_INDEX(k), record.id) != 0) {
        ++file.duplicates;
        return report_duplicate(file, record.id);
    }
    AnimalRow& row = IDL(append_animal(ANIMAL_INDEX(k), record.id));
    row.sort = record.sort;
    row.sire = record.sire;
    row.dam = record.dam;
    if (!groups) return;
    register_group(file, record.sire);
    register_group(file, record.dam);
}

[[noreturn]] void stop_reading_failed(const PedigreeFile& file, int32_t status) {
    const ByteInput& input = file.ascii ? static_cast<const ByteInput&>(file.text) : file.framed;
    if (input.error() != 0) tell_not_read(input.path(), input.error());
    say("ERROR - reading pedigree file for random factor %12d at observation %12lld", file.factor,
        static_cast<long long>(file.n_read));
    stop_unreadable_record(status, "        Check your pedigree file for:");
}

void read_all_records(PedigreeFile& file) {
    const bool groups = has_parent_groups(RMAT(file.factor).method);
    PedigreeRecord ring[kBlock];
    int32_t status;
    int64_t n_read = 0, n_taken = 0;
    for (;; ++n_read) {
        if (n_read == n_taken + kBlock) take_record(file, groups, ring[n_taken++ % kBlock]);
        PedigreeRecord& record = ring[n_read % kBlock];
        if ((status = next_record(file, groups, record)) != kRecordRead) break;
        ANIMAL_INDEX(file.factor).expect(record.id);
    }
    while (n_taken < n_read) take_record(file, groups, ring[n_taken++ % kBlock]);
    if (status != kEndOfData) stop_reading_failed(file, status);
}

void judge_ranges(const PedigreeFile& file) {
    constexpr const char* kNames[kPedigreeColumns] = {"     ID", "   SIRE", "DAM_MGS", "   SVAR"};
    int columns = 0;
    for (int64_t count : file.out_of_range) columns += count > 0 ? 1 : 0;
    if (columns == 0) return;
    page_if(12 + columns);
    say_line("WARNING WARNING WARNING WARNING WARNING  WARNING");
    blank_lines();
    say_line("INPUT DATA OUT OF RANGE");
    blank_lines();
    say_line("Input no.    Name     Times");
    say_line("---------  --------  --------");
    for (int k = 0; k < kPedigreeColumns; ++k)
        if (file.out_of_range[k] > 0)
            say_line("%6d      %-9s%9lld", k + 1, kNames[k],
                     static_cast<long long>(file.out_of_range[k]));
    blank_lines();
    say_line("ONE OR MORE INPUT VARIABLES IS OUT OF RANGE");
    blank_lines();
    say_line("LEGAL RANGE FOR INTEGERS : %d - %d", -kLargestInPedigree, kLargestInPedigree);
    blank_lines();
    stop_run("COMPUTATIONS TERMINATES");
}

void report_repeated_ids(const PedigreeFile& file) {
    if (file.duplicates == 0 || file.reports()) return;
    say_row(
        "WARNING - pedigree file of random factor %d: records that repeat an ID, with those not "
        "shown: %d, remove them",
        file.factor, file.duplicates);
}

void report_few_records(PedigreeFile& file) {
    const int32_t n = NMDL - FACTORS.FIRST_ANIMAL(file.factor) + 1;
    if (n > 1) return;
    announce_reports(file);
    say_row("WARNING - pedigree file of random factor %d: usable records: %d, check its form: %s",
            file.factor, n, RMAT(file.factor).rel_file.string().c_str());
}

// Counts the records of a data level on its animal; an animal that the pedigree lacks gets a row.
void take_data_level(int32_t k, const LevelRow& level) {
    int32_t row = find_animal(ANIMAL_INDEX(k), level.key);
    if (row == 0) {
        row = append_animal(ANIMAL_INDEX(k), level.key);
        IDL(row).sort = kNoPedigreeRecord;
        ++FACTORS.N_AIN(k);
    }
    IDL(row).n_obs += level.n_obs;
}

// `levels` are the rows of the list ITOPRS in its order: what a level will need is fetched from the
// memory while those before it are taken.
void count_animals_with_data(int32_t k, const Vec<int32_t>& levels) {
    const int32_t n = FACTORS.NRALEV(k);
    LevelIndex& index = ANIMAL_INDEX(k);
    for (int32_t j = 1; j <= n; ++j) {
        if (j + 3 * kBlock <= n) __builtin_prefetch(&IFL(levels(j + 3 * kBlock)));
        if (j + 2 * kBlock <= n) index.expect(IFL(levels(j + 2 * kBlock)).key);
        if (j + kBlock <= n) {
            const int32_t later = find_animal(index, IFL(levels(j + kBlock)).key);
            if (later != 0) expect_row(IDL(later));
        }
        take_data_level(k, IFL(levels(j)));
    }
    FACTORS.N_AWD(k) = n;
}

void build_animal_tree(int32_t k) {
    const int32_t first = FACTORS.FIRST_ANIMAL(k), n = FACTORS.LAST_ANIMAL(k) - first + 1;
    Vec<int32_t>& rows = FACTORS.ANIMAL_LIST(k);
    check_allocated(rows.allocate(n), "PEDIGREE", "ANIMAL LIST", n);
    for (int32_t j = 1; j <= n; ++j) rows(j) = first + j - 1;
    build_tree(IDL, rows, FACTORS.ITOPA(k));
}

void report_animals(PedigreeFile& file) {
    const int32_t k = file.factor;
    if (FACTORS.N_AIN(k) > 0) {
        name_pedigree_file(file);
        say_row("%60s%8d", "Number of animal with data not in pedigree ", FACTORS.N_AIN(k));
        say_row("%60s", "The animals has been inserted Phantom Parent: -999999998");
    }
    if (file.errors <= kUnremarkableErrors) return;
    Block block;
    block.blank();
    block.line("%60s%8d", "Number of errors in pedigree information   ", file.errors);
    block.blank();
    block.line("%60s", "COMPUTATIONS MIGHT BE OF LIMITED VALUE     ");
    block.blank();
    block.print();
}

void read_pedigree(int32_t k) {
    Vec<int32_t> levels;
    sort_random_levels(k, levels);
    FACTORS.FIRST_ANIMAL(k) = NMDL + 1;
    PedigreeFile file{.factor = k, .ascii = RMAT(k).rel_format == kAscii, .text{}, .framed{}};
    open_pedigree(file);
    const int64_t expected = estimate_records(file);
    check_allocated(ANIMAL_INDEX(k).allocate(expected), "PEDIGREE", "ANIMAL INDEX", expected);
    read_all_records(file);
    judge_ranges(file);
    report_repeated_ids(file);
    report_few_records(file);
    if (FACTORS.ITOPRS(k) == 0) {
        blank_lines();
        say_line("%60s%8d", "No animal with data for random factor      ", k);
        blank_lines();
        stop_run("                 Computations terminated                    ");
    }
    count_animals_with_data(k, levels);
    levels.release();
    FACTORS.LAST_ANIMAL(k) = NMDL;
    build_animal_tree(k);
    report_animals(file);
    // Kept: the record count of the root animal becomes a key among the levels of the data. It is
    // on no list, so no later stage meets it.
    enter_level(IDL(FACTORS.ITOPA(k)).n_obs, FACTORS.ITOPR(k), 0, IFL, NMFL);
}

}  // namespace

void read_pedigrees() {
    const int32_t n = KVEINT.NRAMAT;
    check_allocated(ANIMAL_INDEX.allocate(n), "PEDIGREE", "ANIMAL INDEX", n);
    for (int32_t k = 1; k <= n; ++k) {
        if (!has_pedigree(RMAT(k).structure)) continue;
        read_pedigree(k);
    }
}

}  // namespace kve
