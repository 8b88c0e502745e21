#include "pedigree/foreign_information.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <span>
#include <string>
#include <string_view>

#include "base/arrays.h"
#include "base/field_line.h"
#include "base/input.h"
#include "base/records.h"
#include "base/state.h"
#include "base/text.h"
#include "data/factors.h"
#include "data/input_record.h"
#include "data/level_lists.h"
#include "directives/directives.h"
#include "directives/file_identities.h"
#include "listing/listing.h"
#include "listing/stop.h"
#include "listing/units.h"
#include "model/model_records.h"
#include "store/big_tables.h"
#include "store/level_code.h"

namespace kve {

READS(KVEINT);
READS(LINES_ON_PAGE);
READS(MODEL);
READS(RMAT);
WRITES(FACTORS);
READS(IDL);
WRITES(IFL);
WRITES(NMFL);
WRITES(UNITS);

namespace {

using Number = TextInput::Number;

constexpr float kMissing = -999999.0F;  // a value at or below it
constexpr float kLargestReliability = 0.991F;
constexpr int64_t kMostDeleted = 1000;  // one more is listed, and stops the run
constexpr int kLastLine = 59;           // of a page of deleted records
constexpr int kHeadLines = 8;           // of the table of deleted records
constexpr std::size_t kTableWidth = 98;

// The animal, then its two parents.
struct ForeignRecord {
    int32_t id[3] = {};       // animal, phantom parent group, trait
    float value[2 * 3] = {};  // breeding value and reliability of each

    int32_t animal() const { return id[0]; }
    int32_t group() const { return id[1]; }
    int32_t trait() const { return id[2]; }
    float ebv(int64_t i) const { return value[2 * i]; }
    float reliability(int64_t i) const { return value[2 * i + 1]; }
    // A value that is no number is missing, too.
    bool lacks_ebv(int64_t i) const { return !(ebv(i) > kMissing); }
    bool lacks_reliability(int64_t i) const { return !(reliability(i) > 0.0F); }
    bool lacks_both(int64_t i) const { return lacks_ebv(i) && lacks_reliability(i); }
    bool lacks_one(int64_t i) const { return lacks_ebv(i) != lacks_reliability(i); }
    bool too_reliable(int64_t i) const { return reliability(i) > kLargestReliability; }
    // A missing reliability of a parent counts as 0, a missing breeding value does not matter.
    float parent_reliability(int64_t i) const {
        return lacks_reliability(i) ? 0.0F : reliability(i);
    }
};

// Not `usable` when the trait has no variance to convert with.
struct TraitWeights {
    float LAMDA = 0.0F, C = 0.0F;
    bool usable = false;
};

struct Levels {
    int32_t animal, group;
};

struct Conversion {
    int32_t factor;
    Vec<TraitWeights> weights;
    int64_t n_read = 0, n_deleted = 0;
    bool table_open = false;
};

int32_t capped(int64_t n) {
    constexpr int64_t most = std::numeric_limits<int32_t>::max();
    return static_cast<int32_t>(std::min(n, most));
}

Number read_foreign_record(ForeignRecord& record) {
    record = ForeignRecord();
    const Number status = read_record_of(UNITS.foreign_information, std::span<int32_t>(record.id),
                                         std::span<float>(record.value));
    if (status == Number::bad) stop_if_failed(UNITS.foreign_information);
    return status;
}

// The variance of a trait: of its first row, 0 without one.
double variance_of(const RMatrix& r, int32_t trait) {
    for (int32_t row = 1; row <= r.rank; ++row)
        if (r.rank_tn(row) == trait) return r.cov_mat(row, row);
    return 0.0;
}

// Kept: the variance is that of the last factor, also where another one has the pedigree.
TraitWeights weights_of(int32_t trait) {
    const double sa = variance_of(RMAT(KVEINT.NRAMAT), trait);
    const double se = residual_of(RMAT).cov_mat(trait, trait);
    if (sa == 0.0 || se == 0.0) return {};
    const double D = MODEL(trait).n_random == 1
                         ? 3.0 * sa + 4.0 * se
                         : 4.0 * (variance_of(RMAT(1), trait) + se) + 3.0 * sa;
    return {static_cast<float>(D / sa), static_cast<float>(se / D), true};
}

int32_t level_of(int32_t factor, int32_t code) {
    const int32_t row = find_level(code, FACTORS.ITOPA(factor), IDL);
    return row != 0 ? IDL(row).level : 0;
}

bool is_usable_trait(const Conversion& c, int32_t trait) {
    return trait >= 1 && trait <= KVEINT.nt && c.weights(trait).usable;
}

// Six characters, "x" for a fault.
std::string marks_of(const Conversion& c, const ForeignRecord& r, Levels levels) {
    const float parents = (r.parent_reliability(1) + r.parent_reliability(2)) / 4.0F;
    const bool faults[] = {
        levels.animal <= 0 || levels.group <= 0 || !is_usable_trait(c, r.trait()),
        r.lacks_ebv(0) || r.lacks_reliability(0),
        r.lacks_one(1),
        r.lacks_one(2),
        r.too_reliable(0) || r.too_reliable(1) || r.too_reliable(2),
        r.reliability(0) < parents,
    };
    std::string marks;
    for (bool fault : faults) marks += fault ? 'x' : ' ';
    return marks;
}

std::string make_dashes() { return std::string(kTableWidth, '-'); }
void say_dashes() { say_line("%s", make_dashes().c_str()); }

void say_table_head() {
    const char* individual = "-------------------";
    const char* values = "    EBV       R**2";
    blank_lines();
    say_line("%15sError in foreign information for the following animals - record excluded", "");
    say_line("%s", std::string(72, '-').c_str());
    blank_lines();
    say_line("%27s%-22s%-22s%-22s%s", "", "        Animal", "     Relative 1", "     Relative 2",
             "Error");
    say_line("%27s%-22s%-22s%-22s%s", "", individual, individual, individual, "------");
    say_line("%-27s%-22s%-22s%-22s%s", "Animal ID       PHG Trait", values, values, values,
             "123456");
    say_dashes();
}

// A page ends with a line of dashes, and the next one begins with the head.
void list_deleted(Conversion& c, std::string_view row) {
    if (!c.table_open) {
        page_above(kLastLine - kHeadLines - 1);
        say_table_head();
    }
    say_line("%.*s", KVE_SV(row));
    c.table_open = LINES_ON_PAGE < kLastLine;
    if (!c.table_open) say_dashes();
}

void delete_record(Conversion& c, const ForeignRecord& r, const std::string& marks) {
    if (++c.n_deleted > kMostDeleted + 1) return;
    FieldLine line;
    line.put(r.animal(), 10);
    line.put(r.group(), 10);
    line.put(r.trait(), 4);
    for (float value : r.value) line.put(static_cast<double>(value), 11, 2);
    line.put("   ");
    line.put(marks);
    list_deleted(c, line.view());
}

void delete_unreadable(Conversion& c) {
    if (++c.n_deleted > kMostDeleted + 1) return;
    std::string line;
    append(line, "ERROR - foreign information file: cannot read record no.: %12lld",
           static_cast<long long>(c.n_read));
    list_deleted(c, line);
}

// In 32-bit reals, in this order. An animal that is no better known than by its parents gives n = 0
// and a z2 that is not a number.
void write_converted(const Conversion& c, const ForeignRecord& record, Levels levels) {
    ForeignRecord r = record;
    int known = 0;
    for (int64_t i : {1, 2})
        if (r.lacks_both(i))
            r.value[2 * i] = r.value[2 * i + 1] = 0.0F;
        else
            ++known;
    constexpr float kWeights[] = {1.0F, 4.0F / 3.0F, 2.0F};  // by known parents
    const float LAMDA = c.weights(r.trait()).LAMDA, C = c.weights(r.trait()).C;
    const float own = r.reliability(0), e = r.ebv(0), W = kWeights[known];
    const float rp = (r.reliability(1) + r.reliability(2)) / 4.0F;
    const float pa = (r.ebv(1) + r.ebv(2)) / 2.0F;
    const float n = (own / (1.0F - own) - rp / (1.0F - rp)) * LAMDA;
    const float z1 = C * n;
    const float z2 = n * 2.0F * (pa + (e - pa) * ((W / n) * LAMDA + 1.0F)) * 0.5F * C;
    write_record(UNITS.RC_F_INFO, levels.animal, levels.group, r.trait(), z1, z2);
}

void convert_all_records(Conversion& c) {
    ForeignRecord r;
    Number status;
    while ((status = read_foreign_record(r)) != Number::end) {
        ++c.n_read;
        if (status == Number::bad) {
            delete_unreadable(c);
            continue;
        }
        for (int32_t id : {r.animal(), r.group()})
            refuse_key_without_bits(id, UNITS.foreign_information.path(), c.n_read);
        const Levels levels{level_of(c.factor, r.animal()), level_of(c.factor, r.group())};
        const std::string marks = marks_of(c, r, levels);
        if (marks.find('x') == marks.npos)
            write_converted(c, r, levels);
        else
            delete_record(c, r, marks);
    }
}

void say_error_codes() {
    Block block;
    block.line("%s", make_dashes().c_str());
    block.line("ERROR CODES : 1 = Animal not in data");
    block.line("              2 = EBV missing or R**2 null or missing for Animal");
    block.line("              3 = Either EBV missing or R**2 null or missing for Relative 1");
    block.line("              4 = Either EBV missing or R**2 null or missing for Relative 2");
    block.line("              5 = At least one R**2 > .99");
    block.line("              6 = R**2 < (sum of R**2 for parents)/4");
    block.line("%s", make_dashes().c_str());
    block.print();
}

void say_counts(const Conversion& c) {
    if (c.n_read == 0) return;
    page_if(3);
    say_line("No of records with foreign information in total. %12lld",
             static_cast<long long>(c.n_read));
    say_line("No of records with foreign information included. %12lld",
             static_cast<long long>(c.n_read - c.n_deleted));
    if (c.n_deleted > 0)
        say_line("No of records with foreign information deleted.. %12lld",
                 static_cast<long long>(c.n_deleted));
}

void say_groups(int32_t k) {
    if (FACTORS.NFPHG(k) <= 0) return;
    page_if(4);
    say_line("No of phantom parent groups for foreign info. .. %12d", FACTORS.NFPHG(k));
    say_line("Code for and no. of virtual progeny groups per phantom parent group");
    say_line("                        Code       No");
    for (int32_t row = FACTORS.ITP_FPHGS(k); row != 0; row = IFL(row).next)
        say_row("%28d%9d", IFL(row).key, IFL(row).n_obs);
}

void say_too_many() {
    Block block;
    block.blank();
    block.line("More than 1000 records with foreign information deleted due to errors");
    block.line("CHECK YOUR INPUT DATA");
    block.blank();
    block.print();
}

// False when more than 1000 records were deleted.
bool KVE_FINFO2(int32_t k) {
    Block block;
    block.blank();
    block.line("INCORPORATING FOREIGN INFORMATION");
    block.line("(expressed as converted EBV's)");
    block.blank();
    block.print();
    Conversion c{.factor = k, .weights{}};
    check_allocated(c.weights.allocate(KVEINT.nt), "KVE_FINFO2", "LAMDA", KVEINT.nt);
    for (int32_t t = 1; t <= KVEINT.nt; ++t) c.weights(t) = weights_of(t);
    convert_all_records(c);
    check_second_reading(UNITS.foreign_information.path(), FACTORS.NFINFO(k), capped(c.n_read));
    if (c.n_deleted > 0) say_error_codes();
    say_counts(c);
    say_groups(k);
    if (c.n_deleted > kMostDeleted) say_too_many();
    return c.n_deleted <= kMostDeleted;
}

int32_t last_pedigree_factor() {
    int32_t k = KVEINT.NRAMAT;
    while (k > 0 && RMAT(k).structure != Structure::PED) --k;
    return k;
}

}  // namespace

void count_foreign_records() {
    const int32_t k = last_pedigree_factor();
    if (!UNITS.foreign_information.is_open() || k == 0) return;
    int64_t n_read = 0;
    ForeignRecord r;
    Number status;
    while ((status = read_foreign_record(r)) != Number::end) {
        ++n_read;
        if (status != Number::ok || r.group() >= 1) continue;
        refuse_key_without_bits(r.group(), UNITS.foreign_information.path(), n_read);
        enter_level(r.group(), FACTORS.ITP_FPHG(k), 1, IFL, NMFL);
    }
    FACTORS.NFINFO(k) = capped(n_read);
    sort_foreign_groups(k);
    const std::string& name = UNITS.foreign_information.path();
    check_input(name);
    if (const int code = UNITS.foreign_information.rewind(); code != 0) stop_not_read(name, code);
}

void convert_foreign_records() {
    const int32_t k = last_pedigree_factor();
    if (k == 0 || FACTORS.NFINFO(k) == 0) return;
    const bool good = KVE_FINFO2(k);
    UNITS.foreign_information.close();
    check_written(UNITS.RC_F_INFO.close(), "RC_F_INFO");
    if (good) return;
    say("KVE_FINFO2 terminated with an error");
    say("ERROR - correct the records above in the file %s",
        UNITS.foreign_information.path().c_str());
    stop_run();
}

}  // namespace kve
