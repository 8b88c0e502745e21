#include "data/recoding_layout.h"

#include "base/state.h"
#include "base/text.h"
#include "data/factors.h"
#include "data/raw_record.h"
#include "data/recoded_data.h"
#include "directives/catalogue.h"
#include "directives/directives.h"
#include "listing/listing.h"
#include "listing/stop.h"
#include "model/model_records.h"
#include "store/big_tables.h"

namespace kve {

WRITES(MODEL);
WRITES(KVEINT);
READS(RMAT);
READS(IDL);
READS(IFL);
WRITES(FACTORS);
WRITES(RECODED);

namespace {

constexpr const char* kRoutine = "KVEWDF";

// A trait of a generalized model always has a weight position.
void extend_weight_list() {
    int32_t listed = 0;
    for (int32_t i = 1; i <= KVEINT.nt; ++i)
        if (has_weight(MODEL(i)) || MODEL(i).l_glmm) KVEINT.TraitIdWithWeight(++listed) = i;
    KVEINT.N_WGT_TRAITS = listed;
}

void place_column(LevelColumn& column, int32_t input, int32_t position) {
    column.place = integer_place(input);
    column.position = position;
}

// Walking the list once is cheaper than a descent for each identity.
void remember_levels(LevelColumn& column, int32_t head, int32_t n_levels) {
    column.n_levels = n_levels;
    int status = column.index.allocate(n_levels);
    for (int32_t row = head; row != 0 && status == 0; row = IFL(row).next)
        status = column.index.enter(IFL(row).key, IFL(row).level);
    check_allocated(status, kRoutine, "LEVEL INDEX", n_levels);
}

// The animals with data, along the rows that the pedigree reader filled; the others are not looked
// up as a rule.
void remember_animals(LevelColumn& column, int32_t pedigree) {
    column.n_levels = FACTORS.NRALEV(pedigree);
    int status = column.index.allocate(FACTORS.N_AWD(pedigree));
    const int32_t last = FACTORS.LAST_ANIMAL(pedigree);
    constexpr int32_t kAhead = 32;  // rows by which the places in the index are fetched ahead
    for (int32_t row = FACTORS.FIRST_ANIMAL(pedigree); row <= last && status == 0; ++row) {
        if (row + kAhead <= last) column.index.expect(IDL(row + kAhead).key);
        if (IDL(row).n_obs > 0) status = column.index.enter(IDL(row).key, IDL(row).level);
    }
    check_allocated(status, kRoutine, "LEVEL INDEX", FACTORS.N_AWD(pedigree));
}

void place_fixed_effects(RecodingLayout& layout) {
    int64_t n = 0;
    for (const Model& m : MODEL) n += m.n_fixed;
    check_allocated(layout.fixed.allocate(n), kRoutine, "FIXED COLUMNS", n);
    int32_t last = 0;
    for (int32_t i = 1; i <= KVEINT.nt; ++i)
        for (int32_t j = 1; j <= MODEL(i).n_fixed; ++j) {
            LevelColumn& column = layout.fixed(++last);
            column.traits = trait_bit(KVEINT.nt, i);
            column.always = column.enters_unknown = false;
            column.table = LevelColumn::levels;
            column.root = &FACTORS.ROOT_EF(i, j);
            place_column(column, MODEL(i).f_ef_inp(j), MODEL(i).f_ef_rci(j));
            remember_levels(column, FACTORS.HEAD_EF(i, j), FACTORS.NLEV(i, j));
        }
}

[[noreturn]] void stop_unknown_structure(const RMatrix& r) {
    say("ERROR - Unknown variance structure type: %.*s", KVE_SV(structure_name(r.structure)));
    say("        Known types are: I, PED, COR, DOM, ABS_QTL, PGMIX and GREL");
    stop_run("        Program terminates");
}

// How the levels of matrix k are looked up, and those that are known beforehand.
void choose_table(LevelColumn& column, int32_t k) {
    const RMatrix& r = RMAT(k);
    column.traits = traits_of_matrix(k);
    column.always = r.structure != Structure::I;
    column.enters_unknown = true;
    column.table = LevelColumn::levels;
    column.root = &FACTORS.ITOPR(k);
    if (r.structure == Structure::I || r.structure == Structure::COR ||
        r.structure == Structure::GREL)
        return remember_levels(column, FACTORS.ITOPRS(k), FACTORS.NRALEV(k));

    bool linked = r.structure == Structure::DOM || r.structure == Structure::ABS_QTL;
    int32_t pedigree = linked ? r.ass_rf : k;
    bool known = linked || has_pedigree(r.structure);
    if (!known || pedigree < 1 || pedigree > KVEINT.NRAMAT) stop_unknown_structure(r);
    column.table = LevelColumn::animals;
    column.root = &FACTORS.ITOPA(pedigree);
    remember_animals(column, pedigree);
}

void place_random_effects(RecodingLayout& layout) {
    int64_t n = 0;
    for (int32_t k = 1; k <= KVEINT.NRAMAT; ++k) n += RMAT(k).n_random_id;
    check_allocated(layout.random.allocate(n), kRoutine, "RANDOM COLUMNS", n);
    int32_t last = 0;
    for (int32_t k = 1; k <= KVEINT.NRAMAT; ++k)
        for (int32_t j = 1; j <= RMAT(k).n_random_id; ++j) {
            LevelColumn& column = layout.random(++last);
            choose_table(column, k);
            place_column(column, RMAT(k).random_id_inp(j), RMAT(k).r_id_rci(j));
        }
}

// Absorbed effects come from a trait that has all of them; the last one wins.
void place_absorbed_effects(RecodingLayout& layout, int32_t& n_raw) {
    const int32_t n_absorbed = KVEINT.MAX_N_ABSORB;
    const Model* source = nullptr;
    for (const Model& m : MODEL)
        if (m.n_absorb == n_absorbed) source = &m;
    for (int32_t k = 1; k <= n_absorbed; ++k)
        layout.raw(++n_raw) = {integer_place(source->a_ef_inp(k)), k};
}

void allocate_raw_columns(RecodingLayout& layout) {
    int64_t n = KVEINT.MAX_N_ABSORB + (layout.has_sequences ? 2 : 0);
    for (const Model& m : MODEL) n += m.l_cens ? 1 : 0;
    check_allocated(layout.raw.allocate(n), kRoutine, "RAW COLUMNS", n);
}

// The last sequential binary trait names the columns.
void find_sequence_columns(RecodingLayout& layout) {
    for (const Model& m : MODEL)
        if (m.trait_type == kSequentialBinary) {
            layout.has_sequences = true;
            layout.subject_place = integer_place(m.subject);
            layout.sequence_place = integer_place(m.seq);
        }
}

// What follows the class effects, and the absorbed effects in front of them; returns the last
// position used.
int32_t place_raw_columns(RecodingLayout& layout) {
    find_sequence_columns(layout);
    allocate_raw_columns(layout);
    int32_t n_raw = 0;
    place_absorbed_effects(layout, n_raw);

    int32_t last = KVEINT.MAX_N_ABSORB + RECODED.n_fixed_positions;
    for (int32_t k = 1; k <= KVEINT.NRAMAT; ++k) last += RMAT(k).n_random_id;
    const RMatrix& residual = residual_of(RMAT);
    if (residual.structure == Structure::GROUP) {
        layout.group_place = integer_place(residual.grp_inp);
        layout.group_position = ++last;
    }
    if (layout.has_sequences) {
        layout.raw(++n_raw) = {layout.subject_place, ++last};
        layout.raw(++n_raw) = {layout.sequence_place, ++last};
        layout.sequence_position = last;
    }
    for (Model& m : MODEL)
        if (m.l_cens) {
            m.cens_rci = ++last;
            layout.raw(++n_raw) = {integer_place(m.cens_inp), last};
        }
    return last;
}

// Covariables, dependent variables, weights, offsets, interval limits.
void place_reals(RecodingLayout& layout) {
    const int64_t most = int64_t{KVEINT.N_REG_COLS} + 4 * int64_t{KVEINT.nt};
    Vec<int32_t>& place = layout.real_place;
    check_allocated(place.allocate(most), kRoutine, "REAL COLUMNS", most);
    int32_t last = 0;
    for (int32_t k = 1; k <= KVEINT.N_REG_COLS; ++k)
        place(++last) = real_place(KVEINT.ColRegInInpAllTraitsHelp(k));
    for (const Model& m : MODEL) place(++last) = real_place(m.trait_inp_no);
    for (int32_t k = 1; k <= KVEINT.N_WGT_TRAITS; ++k) {
        Model& m = MODEL(KVEINT.TraitIdWithWeight(k));
        place(++last) = real_place(m.wgt_inp_no);
        m.wgt_rci = last;
    }
    for (Model& m : MODEL)
        if (m.l_glmm && m.offset_inp > 0) {
            place(++last) = real_place(m.offset_inp);
            m.offset_rci = last;
        }
    for (Model& m : MODEL)
        if (m.l_cens && m.int_max_inp > 0) {
            place(++last) = real_place(m.int_max_inp);
            m.int_max_rci = last;
        }
    RECODED.NFOUT = last;
}

}  // namespace

RecodingLayout lay_out_recoded_data() {
    RecodingLayout layout;
    extend_weight_list();
    place_fixed_effects(layout);
    place_random_effects(layout);
    RECODED.NIOUT = place_raw_columns(layout) + 2;  // the last two words are 0
    place_reals(layout);
    return layout;
}

}  // namespace kve
