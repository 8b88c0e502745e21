#include "data/recoding.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <unordered_set>

#include "base/arrays.h"
#include "base/asserted.h"
#include "base/records.h"
#include "base/state.h"
#include "base/text.h"
#include "data/factors.h"
#include "data/input_record.h"
#include "data/raw_record.h"
#include "data/recoded_data.h"
#include "data/recoding_layout.h"
#include "data/sequence_check.h"
#include "data/usability.h"
#include "directives/directives.h"
#include "listing/listing.h"
#include "listing/stop.h"
#include "listing/units.h"
#include "model/model_records.h"
#include "store/big_tables.h"
#include "store/level_code.h"
#include "store/level_index.h"

namespace kve {

READS(DIRECTIVES);
READS(MODEL);
READS(KVEINT);
READS(RSD);
WRITES(FACTORS);  // the roots of trees, through LevelColumn::root
WRITES(RECORD);
WRITES(RECODED);
WRITES(IFL);
WRITES(NMFL);
WRITES(IDL);
WRITES(NMDL);
WRITES(UNITS);

namespace {

constexpr const char* kRoutine = "KVEWDF";
constexpr float kNoWeight = -999999.0F;  // a weight at or below it counts as 1
constexpr int32_t kListedRecords = 10;

// Order of the absorbed effects, one entry a column.
struct AbsorptionGroups {
    Vec<int32_t> SABSGR;  // current group
    Vec<int32_t> N_ABGR;  // its records so far
};

// The data record that an output record comes from, since the reader is one record ahead.
struct InputCopy {
    Vec<int32_t> integers;  // NI
    Vec<float> reals;       // NR
};

struct RecodingPass {
    UsabilityPlan usability;
    RecodingLayout layout;
    LevelIndex groups;  // levels of the residual groups
    AbsorptionGroups absorption;
    SequenceCheck sequences;
    InputCopy input;
    Vec<int32_t, 0> IOUT;  // 0..NIOUT; effects without a position end in IOUT(0)
    Vec<float> FOUT;       // NFOUT
    // Which traits were usable together, per residual group: group * 2**32 + pattern.
    std::unordered_set<uint64_t> patterns_met;
    uint64_t last_pattern_met = 0;
    int64_t n_input = 0;
    OddRecords lost_ends;  // last records of a subject that are not written

    bool lists_records() const { return DIRECTIVES.ITEST >= 2; }
};

void allocate_pass(RecodingPass& pass) {
    const int64_t n_absorbed = KVEINT.MAX_N_ABSORB;
    check_allocated(pass.absorption.SABSGR.allocate(n_absorbed), kRoutine, "SABSGR", n_absorbed);
    check_allocated(pass.absorption.N_ABGR.allocate(n_absorbed), kRoutine, "N_ABGR", n_absorbed);
    check_allocated(RECODED.NABGR.allocate(n_absorbed), kRoutine, "NABGR", n_absorbed);
    check_allocated(RECODED.MN_ABGR.allocate(n_absorbed), kRoutine, "MN_ABGR", n_absorbed);
    check_allocated(pass.groups.allocate(), kRoutine, "LEVEL INDEX", 1);
    check_allocated(pass.IOUT.allocate(RECODED.NIOUT + 1), kRoutine, "IOUT", RECODED.NIOUT + 1);
    check_allocated(pass.FOUT.allocate(RECODED.NFOUT), kRoutine, "FOUT", RECODED.NFOUT);
    if (!pass.lists_records()) return;
    check_allocated(pass.input.integers.allocate(DIRECTIVES.NI), kRoutine, "IINP", DIRECTIVES.NI);
    check_allocated(pass.input.reals.allocate(DIRECTIVES.NR), kRoutine, "FINP", DIRECTIVES.NR);
}

// The level of an identity; 0 for one that is not on the factor's list.
int32_t level_of(const LevelColumn& column, int32_t key) {
    if (column.table == LevelColumn::animals)
        return IDL(enter_level(key, *column.root, 0, IDL, NMDL).row).level;
    int32_t row = column.enters_unknown ? enter_level(key, *column.root, 0, IFL, NMFL).row
                                        : find_level(key, *column.root, IFL);
    return row != 0 ? IFL(row).level : 0;
}

// Notes which levels the record under the reader needs. They are looked up when the next record has
// been read.
void note_levels(Vec<LevelColumn>& columns, TraitPattern usable) {
    for (LevelColumn& column : columns) {
        column.waits = column.always || (column.traits & usable) != 0;
        if (!column.waits) continue;
        column.key = RECORD.IINP(column.place);
    }
}

// What the levels of a later record need is fetched from the memory meanwhile.
void expect_levels(const RecodingLayout& layout, ReadMode mode) {
    const LaterIntegers later(mode);
    for (const LevelColumn& column : layout.fixed) column.index.expect(later(column.place));
    for (const LevelColumn& column : layout.random) column.index.expect(later(column.place));
}

[[noreturn]] void stop_key_without_bits(const RecodingPass& pass, const LevelColumn& column) {
    std::string place;
    append(place, "ERROR - observation %lld holds it in integer column %d, %.*s: a missing",
           static_cast<long long>(pass.n_input), column.place,
           KVE_SV(integer_name(column.place).view()));
    stop_bitstr_error(column.key, place + " identity is written 0");
}

// The level of the identity that the column holds, which is looked up once.
int32_t find_level_once(const RecodingPass& pass, LevelColumn& column) {
    if (const LevelIndex::Slot* met = column.index.find(column.key); met != nullptr)
        return met->value();
    if (column.key == kKeyWithoutBits) stop_key_without_bits(pass, column);
    const int32_t level = level_of(column, column.key);
    KVE_ASSERT(level >= 0 && level <= column.n_levels);
    check_allocated(column.index.enter(column.key, level), kRoutine, "LEVEL INDEX", NMFL);
    return level;
}

void fill_levels(RecodingPass& pass, Vec<LevelColumn>& columns) {
    for (LevelColumn& column : columns) {
        if (!column.waits) continue;
        const int32_t level = find_level_once(pass, column);
        pass.IOUT(column.position) = level;
        if (level == 0) [[unlikely]]
            column.without_level.count(pass.n_input);
    }
}

// The number of the record's residual group, 1 without groups; 0 when it has none.
int32_t residual_group(RecodingPass& pass) {
    if (pass.layout.group_place == kNotChecked) return 1;
    int32_t key = RECORD.IINP(pass.layout.group_place);
    if (key < 1) return 0;
    const LevelIndex::Slot* met = pass.groups.find(key);
    int32_t row = met == nullptr ? find_level(key, FACTORS.ROOT_GRP, IFL) : 0;
    int32_t level = met != nullptr ? met->value() : row != 0 ? IFL(row).level : 0;
    if (met == nullptr)
        check_allocated(pass.groups.enter(key, level), kRoutine, "LEVEL INDEX", NMFL);
    pass.IOUT(pass.layout.group_position) = level;
    return level;
}

std::string listed(std::span<const int32_t> values) {
    std::string line;
    for (int32_t value : values) append(line, " %11d", value);
    return line;
}

std::string listed(std::span<const float> values) {
    std::string line;
    for (float value : values) append(line, "%16.7g", static_cast<double>(value));
    return line;
}

[[noreturn]] void stop_not_sorted(const RecodingPass& pass) {
    const std::size_t n_absorbed = static_cast<std::size_t>(KVEINT.MAX_N_ABSORB);
    const std::size_t ni = static_cast<std::size_t>(DIRECTIVES.NI);
    say("Problem: Data not sorted by absorption groups");
    say("   Last absorption group=%s", listed({pass.absorption.SABSGR.data(), n_absorbed}).c_str());
    say("Current absorption group=%s", listed({&pass.IOUT(1), n_absorbed}).c_str());
    say("      Observation number= %12lld", static_cast<long long>(pass.n_input));
    say("Integer input for current observation:");
    say(" :%s", listed({RECORD.IINP.data() + 1, ni}).c_str());
    stop_run("Computations Aborted");
}

// Each absorbed column by itself must not fall from record to record.
void follow_absorption_groups(RecodingPass& pass) {
    bool sorted = true;
    for (int32_t k = KVEINT.MAX_N_ABSORB; k >= 1; --k) {
        int32_t& group = pass.absorption.SABSGR(k);
        int32_t& n_records = pass.absorption.N_ABGR(k);
        int32_t current = pass.IOUT(k);
        if (current == group) {
            ++n_records;
            continue;
        }
        ++RECODED.NABGR(k);
        RECODED.MN_ABGR(k) = std::max(RECODED.MN_ABGR(k), n_records);
        n_records = 1;
        if (current < group) sorted = false;
        if (current > group) group = current;
    }
    if (!sorted) stop_not_sorted(pass);
}

// Kept: the test for a weight that stands for 1 does not look at the missing value code, so the
// missing weight of an absent trait may pass as it stands.
void fill_weights(RecodingPass& pass) {
    for (int32_t k = 1; k <= KVEINT.N_WGT_TRAITS; ++k) {
        const Model& m = MODEL(KVEINT.TraitIdWithWeight(k));
        float& weight = pass.FOUT(m.wgt_rci);
        if (!has_weight(m) || weight <= kNoWeight) weight = 1.0F;
    }
}

void scale_dependent_variables(RecodingPass& pass, TraitPattern usable) {
    for (int32_t i = 1; i <= KVEINT.nt; ++i) {
        if ((usable & trait_bit(KVEINT.nt, i)) == 0) continue;
        float& y = pass.FOUT(KVEINT.N_REG_COLS + i);
        y = static_cast<float>(static_cast<double>(y) / RSD(i));
    }
}

void fill_reals(RecodingPass& pass, TraitPattern usable) {
    const int32_t* place = pass.layout.real_place.data();
    const float* from = RECORD.FINP.data();
    float* to = pass.FOUT.data();
    for (int32_t k = 0; k < RECODED.NFOUT; ++k) to[k] = from[place[k] - 1];
    fill_weights(pass);
    if (DIRECTIVES.ISCALE == 1) scale_dependent_variables(pass, usable);
}

void tell_about_scaling(const RecodingPass& pass) {
    if (pass.n_input != 1 || DIRECTIVES.ISCALE != 1) return;
    Block block;
    block.blank();
    block.line("Data has been Scaled by residual SD");
    block.blank();
    block.print();
}

void mark_pattern(RecodingPass& pass, int32_t group, TraitPattern usable) {
    uint64_t met = static_cast<uint64_t>(group) << 32 | usable;
    if (met == pass.last_pattern_met) return;
    pass.patterns_met.insert(met);
    pass.last_pattern_met = met;
}

// Classifies the record under the reader and composes both output records, but for the levels.
TraitPattern recode_record(RecodingPass& pass) {
    ++pass.n_input;
    pass.IOUT.fill(0);
    int32_t group = residual_group(pass);
    TraitPattern usable = present_traits(pass.usability);
    usable = group != 0 ? usable_traits(pass.usability, usable) : 0;

    for (const RawColumn& raw : pass.layout.raw) pass.IOUT(raw.position) = RECORD.IINP(raw.place);
    note_levels(pass.layout.fixed, usable);
    note_levels(pass.layout.random, usable);
    if (pass.lists_records() && pass.n_input == 1) {
        page_header();
        say_line("Listing of first 10 records on RCDATA");
    }
    if (usable != 0 && KVEINT.MAX_N_ABSORB > 0) follow_absorption_groups(pass);
    tell_about_scaling(pass);
    if (usable != 0) fill_reals(pass, usable);
    mark_pattern(pass, group != 0 ? group : 1, usable);
    return usable;
}

void copy_input(RecodingPass& pass) {
    if (!pass.lists_records() || RECODED.n_records >= kListedRecords) return;
    for (int32_t i = 1; i <= DIRECTIVES.NI; ++i) pass.input.integers(i) = RECORD.IINP(i);
    for (int32_t j = 1; j <= DIRECTIVES.NR; ++j) pass.input.reals(j) = RECORD.FINP(j);
}

void list_line(const char* heading, const std::string& line) {
    Block block;
    block.line("%s", heading);
    block.line("%s", line.c_str());
    block.print();
}

void list_record(const RecodingPass& pass) {
    std::span<const float> reals(pass.input.reals.begin(), pass.input.reals.end());
    float dependent[kMostTraits], weights[kMostTraits];
    const std::size_t nt = static_cast<std::size_t>(KVEINT.nt);
    for (std::size_t i = 0; i < nt; ++i) {
        const Model& m = MODEL(static_cast<int64_t>(i) + 1);
        bool exists = m.trait_inp_no >= 1 && m.trait_inp_no <= DIRECTIVES.NR;
        dependent[i] = exists ? pass.input.reals(m.trait_inp_no) : DIRECTIVES.RMISS;
        weights[i] = m.wgt_rci > 0 ? pass.FOUT(m.wgt_rci) : 1.0F;
    }
    Block block;
    block.line("Obs in RCDATA = %12d", RECODED.n_records);
    block.line("Obs in KVEINP = %12lld", static_cast<long long>(pass.n_input));
    block.print();
    list_line("Integer input", listed({pass.input.integers.begin(), pass.input.integers.end()}));
    list_line("Integer output", listed({pass.IOUT.begin() + 1, pass.IOUT.end()}));
    list_line("Real input", listed(reals));
    list_line("Covariables",
              listed({pass.FOUT.data(), static_cast<std::size_t>(KVEINT.N_REG_COLS)}));
    list_line("Dependent variables", listed({dependent, nt}));
    list_line("Weights", listed({weights, nt}));
}

// The pass was sized for the layout, whose counts MODINF tells.
void assert_record_fills_layout(const RecodingPass& pass) {
    KVE_ASSERT(pass.IOUT.size() == RECODED.NIOUT + 1);
    KVE_ASSERT(pass.FOUT.size() == RECODED.NFOUT);
}

void write_recoded_record(RecodingPass& pass) {
    assert_record_fills_layout(pass);
    write_record(UNITS.RCDATA_I, std::span(pass.IOUT.begin() + 1, pass.IOUT.end()));
    write_record(UNITS.RCDATA_R, pass.FOUT);
    ++RECODED.n_records;
    if (pass.lists_records() && RECODED.n_records <= kListedRecords) list_record(pass);
}

// The reader stays one record ahead, since the last record of a subject shows in the next one.
void recode_all_records(RecodingPass& pass, ReadMode mode) {
    int32_t status = kRecordRead;
    while (status == kRecordRead) {
        TraitPattern usable = recode_record(pass);
        copy_input(pass);
        status = read_raw_record(mode, false);
        expect_levels(pass.layout, mode);
        fill_levels(pass, pass.layout.fixed);
        fill_levels(pass, pass.layout.random);
        if (pass.layout.has_sequences &&
            ends_subject(pass.sequences, usable, pass.n_input, status != kRecordRead)) {
            int32_t& sequence = pass.IOUT(pass.layout.sequence_position);
            sequence = -sequence;
            if (usable == 0) pass.lost_ends.count(pass.n_input);
        }
        if (usable != 0) write_recoded_record(pass);
    }
}

void read_first_record(ReadMode mode) {
    if (read_raw_record(mode, false) == kRecordRead) return;
    tell_failed_data();
    say("ERROR - Problems reading the first data observation");
    stop_run("        Program terminates");
}

void warn_levels_0(const RecodingPass& pass) {
    int64_t c = 0;
    for (int32_t i = 1; i <= KVEINT.nt; ++i)
        for (int32_t j = 1; j <= MODEL(i).n_fixed; ++j) {
            const OddRecords& records = pass.layout.fixed(++c).without_level;
            if (records.n == 0) continue;
            Block block;
            block.line(
                "WARNING - %lld records of RCDATA have level 0 of the fixed effect %.*s of %.*s",
                static_cast<long long>(records.n), KVE_SV(MODEL(i).f_ef_name(j).view()),
                KVE_SV(MODEL(i).trait_name.view()));
            block.line(
                "          The first is observation %lld. An absorbed effect or a censoring code "
                "is",
                static_cast<long long>(records.first));
            block.line("          missing there: make the trait missing in such records");
            block.print();
        }
}

void warn_lost_ends(const OddRecords& ends) {
    if (ends.n == 0) return;
    Block block;
    block.line(
        "WARNING - the last record of %lld sequences has no usable trait and is not in RCDATA",
        static_cast<long long>(ends.n));
    block.line(
        "          The first is observation %lld. Nothing marks the end of these sequences there:",
        static_cast<long long>(ends.first));
    block.line("          take such records out of the data");
    block.print();
}

void finish_pass(RecodingPass& pass) {
    for (int32_t k = 1; k <= KVEINT.MAX_N_ABSORB; ++k)
        RECODED.MN_ABGR(k) = std::max(RECODED.MN_ABGR(k), pass.absorption.N_ABGR(k));
    if (pass.lists_records()) {
        Block block;
        block.blank();
        block.line("Different patterns of usable traits, by residual group:%12zu",
                   pass.patterns_met.size());
        block.blank(2);
        block.print();
    }
    warn_levels_0(pass);
    warn_lost_ends(pass.lost_ends);
    // Both files must be complete on disk whatever stops the run later.
    check_written(UNITS.RCDATA_I.start_closing(), UNITS.RCDATA_I.path());
    check_written(UNITS.RCDATA_R.start_closing(), UNITS.RCDATA_R.path());
    release_record();
}

}  // namespace

void KVEWDF() {
    RecodingPass pass;
    pass.usability = plan_usability(kSecondPassRules, kRoutine);
    pass.layout = lay_out_recoded_data();
    allocate_pass(pass);
    const ReadMode mode = read_mode();
    read_first_record(mode);
    if (pass.layout.has_sequences)
        pass.sequences = begin_sequences(pass.layout.subject_place, pass.layout.sequence_place);
    recode_all_records(pass, mode);
    check_second_pass(pass.n_input);
    finish_pass(pass);
}

}  // namespace kve
