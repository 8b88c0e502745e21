#include "matrices/user_matrix_ids.h"

#include <string>

#include "base/state.h"
#include "base/text.h"
#include "data/factors.h"
#include "directives/catalogue.h"
#include "directives/directives.h"
#include "directives/file_identities.h"
#include "listing/listing.h"
#include "listing/stop.h"
#include "listing/units.h"
#include "model/model_records.h"
#include "store/big_tables.h"
#include "store/level_code.h"

namespace kve {

READS(FACTORS);
READS(IDL);
WRITES(IFL);
WRITES(NMFL);
WRITES(RMAT);

namespace {

constexpr const char* kRoutine = "cor_check";
constexpr int32_t kLastFactor = 999;
constexpr int32_t kMostMissingListed = 50;

[[noreturn]] void stop_not_opened(int32_t k, int code) {
    tell_input_not_opened(RMAT(k).rel_file.view(), code);
    blank();
    say("ERROR opening file with the %-12.*s matrix for random effect%4d",
        KVE_SV(structure_name(RMAT(k).structure)), k);
    blank();
    stop_run();
}

[[noreturn]] void stop_first_record(int32_t k, UserMatrixFile& from) {
    tell_first_record(from.name, from.answer, from.file);
    blank();
    say("ERROR reading the first record of the file with the %-12.*s matrix for random effect%4d",
        KVE_SV(structure_name(RMAT(k).structure)), k);
    blank();
    stop_run();
}

void start_index(LevelIndex& index) {
    check_allocated(index.allocate(), kRoutine, "LEVEL INDEX", 1);
}

void remember_value(LevelIndex& index, int32_t id, int32_t value) {
    check_allocated(index.enter(id, value), kRoutine, "LEVEL INDEX", NMFL);
}

// `rows` are those that were found before.
int32_t row_of(int32_t id, int32_t& root, LevelIndex& rows) {
    if (const LevelIndex::Slot* met = rows.find(id); met != nullptr) return met->value();
    const int32_t row = enter_level(id, root, 0, IFL, NMFL).row;
    remember_value(rows, id, row);
    return row;
}

void say_missing_heading(int32_t k) {
    page_if(5);
    say_line("ERROR ERROR ERROR");
    say_line("ID's in data, but not in the variance structure file");
    say_line("The missing ID's are stored in a file named MISS_ID%d", k);
    blank_lines();
}

void say_missing_count(int32_t n_missing) {
    page_if(3);
    blank_lines();
    say_line("%-55s%18d", "No. of missing ID's: ", n_missing);
    if (n_missing > kMostMissingListed) say_line("Only the first 50 printed above");
}

void log_unreadable_record(int32_t k, UserMatrixFile& from) {
    log_warning("WARNING - matrix file of random factor %d: %s", k,
                RMAT(k).rel_file.string().c_str());
    log_say("          record %lld cannot be read and ends the file, correct it: %s",
            static_cast<long long>(from.file.n_read()), from.file.offending().c_str());
}

struct IdCounts {
    int64_t n_records = 0, n_diagonal = 0;
};

void say_counts(const IdCounts& counts) {
    Block block;
    block.line("%-59s%9lld", "No. of records processed", static_cast<long long>(counts.n_records));
    block.line("%-59s%9lld", "No. of diagonal elements", static_cast<long long>(counts.n_diagonal));
    block.blank();
    block.print();
}

}  // namespace

void UserMatrixFile::next() {
    answer = file.read(element);
    // Not the end of the matrix: there may be more of it.
    if (file.system_error() != 0) stop_not_read(name.view(), file.system_error());
    refuse_ids_without_bits();
}

void UserMatrixFile::refuse_ids_without_bits() const {
    if (!has_element()) return;
    refuse_key_without_bits(element.id_1, name.view(), file.n_read());
    refuse_key_without_bits(element.id_2, name.view(), file.n_read());
}

void tell_first_record(const FileName& name, FileAnswer answer, ElementFile& file) {
    if (file.system_error() != 0) return tell_not_read(name.view(), file.system_error());
    const std::string offending =
        answer == FileAnswer::end ? "the file holds no record" : file.offending();
    say("ERROR - %.*s: cannot read record 1: %s", KVE_SV(name.view()), offending.c_str());
}

void open_user_matrix(int32_t k, UserMatrixFile& from) {
    const RMatrix& r = RMAT(k);
    const auto format = static_cast<DataFormat>(r.rel_format);
    from.name = r.rel_file;
    check_input(r.rel_file.string());
    if (const int code = from.file.open(r.rel_file.string(), format); code != 0)
        stop_not_opened(k, code);
    from.answer = from.file.read(from.element);
    if (!from.has_element()) stop_first_record(k, from);
    from.refuse_ids_without_bits();
}

void take_determinant(int32_t k, UserMatrixFile& from) {
    if (!from.element.is_determinant()) return;
    RMAT(k).log_det = from.element.value;
    RMAT(k).l_log_det = true;
    from.next();
}

void warn_of_decimal_commas(int32_t k, const FileName& name, DecimalCommas commas) {
    if (commas.n == 0) return;
    Block block;
    block.line("WARNING - matrix file of random factor %d: %s", k, name.string().c_str());
    block.line(
        "          a comma and a digit follow the value in %lld records, first in record %lld:",
        static_cast<long long>(commas.n), static_cast<long long>(commas.first));
    block.line("          1,25 is read as 1, write 1.25");
    block.print();
}

void check_factor_number(int32_t k) {
    if (k >= 1 && k <= kLastFactor) return;
    blank();
    say("ERROR in COR_RECODE");
    say("called with i_raf= %12d", k);
    say("Legal values for i_raf is between 1 and 999");
    blank();
    stop_run("Computations terminated");
}

void enter_ids(int32_t k, int32_t& root) {
    UserMatrixFile from;
    open_user_matrix(k, from);
    take_determinant(k, from);
    // Two structures can share a tree, and each has to have all the diagonal elements.
    for (int32_t row = 1; row <= NMFL; ++row) IFL(row).mark = 0;
    LevelIndex rows;
    start_index(rows);
    IdCounts counts;
    for (; from.has_element(); from.next()) {
        ++counts.n_records;
        const int32_t row = row_of(from.element.id_1, root, rows);
        if (from.element.id_1 == from.element.id_2) {
            ++counts.n_diagonal;
            IFL(row).mark = 1;
        } else {
            row_of(from.element.id_2, root, rows);
        }
    }
    say_counts(counts);
    warn_of_decimal_commas(k, RMAT(k).rel_file, from.file.decimal_commas());
    if (from.answer == FileAnswer::failure) log_unreadable_record(k, from);
    RMAT(k).n_rel_records = from.file.n_read();
}

void check_second_matrix_reading(int32_t k, const UserMatrixFile& from) {
    check_second_reading(from.name.string(), RMAT(k).n_rel_records, from.file.n_read());
}

void report_missing_ids(int32_t k, int32_t row, int32_t& status) {
    const std::string name = factor_file_name("MISS_ID", k);
    TextOutput file;
    int32_t n_missing = 0;
    for (; row != 0; row = IFL(row).next) {
        if (IFL(row).mark != 0) continue;
        if (++n_missing == 1) {
            say_missing_heading(k);
            check_written(file.open(name), name);
        }
        if (n_missing <= kMostMissingListed) say_row("%17s%18d", "", IFL(row).key);
        file.print("%d", IFL(row).key);
    }
    if (n_missing == 0) return;
    say_missing_count(n_missing);
    check_written(file.close(), name);
    status = 1;
}

ElementLevels::ElementLevels(int32_t k)
    : root_(RMAT(k).ass_rf != 0 ? FACTORS.ITOPA(RMAT(k).ass_rf) : FACTORS.ITOPR(k)),
      are_animals_(RMAT(k).ass_rf != 0) {
    start_index(met_);
}

int32_t ElementLevels::look_up(int32_t id) const {
    if (are_animals_) {
        const int32_t row = find_level(id, root_, IDL);
        return row != 0 ? IDL(row).level : kUnknown;
    }
    const int32_t row = find_level(id, root_, IFL);
    return row != 0 ? IFL(row).level : 0;
}

int32_t ElementLevels::level_of(int32_t id) {
    if (const LevelIndex::Slot* met = met_.find(id); met != nullptr) return met->value();
    const int32_t level = look_up(id);
    if (level >= 0) remember_value(met_, id, level);
    return level;
}

}  // namespace kve
