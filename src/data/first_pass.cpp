#include "data/first_pass.h"

#include <algorithm>
#include <cstdint>
#include <utility>

#include "base/arrays.h"
#include "base/state.h"
#include "data/covariables.h"
#include "data/factors.h"
#include "data/input_record.h"
#include "data/intake.h"
#include "data/raw_record.h"
#include "data/usability.h"
#include "directives/directives.h"
#include "listing/listing.h"
#include "listing/stop.h"
#include "model/model_records.h"
#include "store/big_tables.h"
#include "store/growth.h"
#include "store/level_index.h"
#include "store/level_tree.h"

namespace kve {

READS(DIRECTIVES);
READS(RMAT);
READS(KVEINT);
WRITES(RECORD);
WRITES(INTAKE);
WRITES(FACTORS);
WRITES(IFL);
WRITES(NMFL);
WRITES(MODEL);

namespace {

constexpr const char* kRoutine = "KVEFP1";

// The levels of one factor. They are found by the index while the records are read, and become a
// tree after the last one; until then column `mark` of a row holds the number of its tree.
struct LevelTree {
    int32_t* root;
    CountingIndex rows;
    int32_t n_rows;
};

// A column whose values are levels of one tree, for records in which one of the traits is usable.
struct LevelSource {
    TraitPattern traits;
    int32_t place;  // in IINP
    int32_t tree;
};

// Where the statistics of one trait come from: places in RECORD.
struct TraitSources {
    int32_t weight;  // 0 none
    int32_t covariables_begin, covariables_end;
    int32_t censoring_code;  // of a right censored trait, else kNotChecked
};

// The model as the loop over the records needs it.
struct FirstPass {
    UsabilityPlan usability;
    TraitPattern all_traits = 0;
    TraitPattern zero_one_traits = 0;  // the dependent variable must lie in 0..1
    int32_t group = kNotChecked;       // place of the residual group, for a GROUP residual
    Vec<LevelTree> trees;
    Vec<LevelSource> levels;
    Vec<TraitSources> traits;
    Vec<int32_t> covariables;  // places in FINP, one a run of equal columns
};

void allocate_counters() {
    const int64_t ni = DIRECTIVES.NI, nr = DIRECTIVES.NR, nt = KVEINT.nt;
    int64_t most_covariables = 0;
    bool right_censored = false;
    for (const Model& m : MODEL) {
        most_covariables = std::max<int64_t>(most_covariables, count_covariables(m));
        right_censored = right_censored || m.trait_type == kRightCensored;
    }
    check_allocated(INTAKE.NI_OOR.allocate(ni + 1), kRoutine, "NI_OOR", ni + 1);
    check_allocated(INTAKE.NR_OOR.allocate(nr), kRoutine, "NR_OOR", nr);
    const int64_t n_bin = std::max(nt, nr);
    check_allocated(INTAKE.N_BIN_ERR.allocate(n_bin), kRoutine, "N_BIN_ERR", n_bin);
    check_allocated(INTAKE.LI_USED.allocate(ni + 1), kRoutine, "LI_USED", ni + 1);
    check_allocated(INTAKE.LR_USED.allocate(nr), kRoutine, "LR_USED", nr);
    check_allocated(INTAKE.NDEL.allocate(nt), kRoutine, "NDEL", nt);
    check_allocated(INTAKE.NS.allocate(nt), kRoutine, "NS", nt * (nt + 1) / 2);
    check_allocated(INTAKE.Y.allocate(nt), kRoutine, "Y_SUM", nt);
    check_allocated(INTAKE.W.allocate(nt), kRoutine, "W_SUM", nt);
    check_allocated(INTAKE.X.allocate(nt, most_covariables), kRoutine, "X_SUM",
                    nt * most_covariables);
    if (right_censored)
        check_allocated(INTAKE.CENS_COUNT.allocate(4, nt), kRoutine, "CENS_COUNT", 4 * nt);
}

// Columns outside the record have no mark.
void mark_integer(int32_t column) {
    if (column >= 0 && column <= DIRECTIVES.NI) INTAKE.LI_USED(column) = 1;
}
void mark_real(int32_t column) {
    if (column >= 1 && column <= DIRECTIVES.NR) INTAKE.LR_USED(column) = 1;
}

void mark_used_variables() {
    for (const Model& m : MODEL) {
        for (int32_t column : m.a_ef_inp) mark_integer(column);
        for (int32_t column : m.ef_inp) mark_integer(column);
        mark_real(m.trait_inp_no);
        mark_real(m.wgt_inp_no);
        for (int32_t column : m.reg_inp) mark_real(column);
    }
}

bool is_zero_one_trait(const Model& m) {
    return m.trait_type == kBinary || m.trait_type == kMixtureLinear ||
           (m.trait_type == kGeneralized && m.family == VarianceFamily::BINOMIAL);
}

void add_tree(FirstPass& pass, int32_t tree, int32_t& root) {
    pass.trees(tree).root = &root;
    check_allocated(pass.trees(tree).rows.allocate(), kRoutine, "LEVEL INDEX", 1);
}

void plan_levels(FirstPass& pass) {
    const RMatrix& residual = residual_of(RMAT);
    const bool grouped = residual.structure == Structure::GROUP;
    int64_t n_fixed = grouped ? 1 : 0, n_random = 0;
    for (const Model& m : MODEL) n_fixed += m.n_fixed;
    for (int32_t k = 1; k <= KVEINT.NRAMAT; ++k) n_random += RMAT(k).n_random_id;
    const int64_t n_trees = n_fixed + KVEINT.NRAMAT, n = n_fixed + n_random;
    check_allocated(pass.trees.allocate(n_trees), kRoutine, "LEVEL TREES", n_trees);
    check_allocated(pass.levels.allocate(n), kRoutine, "LEVEL SOURCES", n);

    int32_t source = 0, tree = 0;
    if (grouped) {
        pass.group = integer_place(residual.grp_inp);
        add_tree(pass, ++tree, FACTORS.ROOT_GRP);
        pass.levels(++source) = {pass.all_traits, pass.group, tree};
    }
    for (int32_t i = 1; i <= KVEINT.nt; ++i)
        for (int32_t j = 1; j <= MODEL(i).n_fixed; ++j) {
            add_tree(pass, ++tree, FACTORS.ROOT_EF(i, j));
            pass.levels(++source) = {trait_bit(KVEINT.nt, i), integer_place(MODEL(i).ef_inp(j)),
                                     tree};
        }
    for (int32_t k = 1; k <= KVEINT.NRAMAT; ++k) {
        add_tree(pass, ++tree, FACTORS.ITOPR(k));
        for (int32_t column : RMAT(k).random_id_inp)
            pass.levels(++source) = {traits_of_matrix(k), integer_place(column), tree};
    }
}

void plan_statistics(FirstPass& pass) {
    int64_t n = 0;
    for (const Model& m : MODEL) n += count_covariables(m);
    check_allocated(pass.traits.allocate(KVEINT.nt), kRoutine, "TRAIT SOURCES", KVEINT.nt);
    check_allocated(pass.covariables.allocate(n), kRoutine, "COVARIABLES", n);
    int32_t last = 0;
    for (int32_t i = 1; i <= KVEINT.nt; ++i) {
        const Model& m = MODEL(i);
        TraitSources& sources = pass.traits(i);
        sources.weight = has_weight(m) ? real_place(m.wgt_inp_no) : 0;
        sources.covariables_begin = last + 1;
        for (int32_t j = 1; j <= m.n_reg; ++j)
            if (begins_covariable(m, j)) pass.covariables(++last) = real_place(m.reg_inp(j));
        sources.covariables_end = last + 1;
        // Without $CENS the column is 0, the constant 1: right censored throughout.
        sources.censoring_code =
            m.trait_type == kRightCensored ? integer_place(m.cens_inp) : kNotChecked;
    }
}

FirstPass plan_first_pass() {
    FirstPass pass;
    pass.usability = plan_usability(kFirstPassRules, kRoutine);
    for (int32_t i = 1; i <= KVEINT.nt; ++i) {
        pass.all_traits |= trait_bit(KVEINT.nt, i);
        if (is_zero_one_trait(MODEL(i))) pass.zero_one_traits |= trait_bit(KVEINT.nt, i);
    }
    plan_levels(pass);
    plan_statistics(pass);
    return pass;
}

void count_dropped(TraitPattern dropped) {
    for (int32_t i = 1; dropped != 0 && i <= KVEINT.nt; ++i)
        if ((dropped & trait_bit(KVEINT.nt, i)) != 0) ++INTAKE.NDEL(i);
}

// A value outside 0..1 is counted and becomes missing in the record itself, so a second trait on
// the same column meets the missing value code. L_FINP_MIS keeps what was read.
TraitPattern drop_values_outside_0_1(const FirstPass& pass, TraitPattern present) {
    if ((present & pass.zero_one_traits) == 0) return present;
    for (int32_t i = 1; i <= KVEINT.nt; ++i) {
        TraitPattern bit = trait_bit(KVEINT.nt, i);
        if ((present & pass.zero_one_traits & bit) == 0) continue;
        float& value = RECORD.FINP(pass.usability.traits(i).dependent);
        if (value >= 0.0F && value <= 1.0F) continue;
        value = DIRECTIVES.RMISS;
        ++INTAKE.N_BIN_ERR(i);
        present &= ~bit;
    }
    return present;
}

// Classifies the record under the reader and counts what is dropped.
TraitPattern classify(const FirstPass& pass) {
    TraitPattern present = present_traits(pass.usability);
    present = drop_values_outside_0_1(pass, present);
    if (present == 0) return 0;
    if (pass.group != kNotChecked && RECORD.IINP(pass.group) < 1) {
        // Kept: a record without a group counts as dropped for every trait, absent ones included.
        count_dropped(pass.all_traits);
        present = 0;
    }
    TraitPattern usable = usable_traits(pass.usability, present);
    if (usable != present) count_dropped(present & ~usable);
    return usable;
}

// A key that was met before is counted beside it in the index.
void register_level(FirstPass& pass, int32_t tree_number, int32_t key) {
    LevelTree& tree = pass.trees(tree_number);
    if (CountingIndex::Slot* met = tree.rows.find(key); met != nullptr) {
        ++met->n_met;
        return;
    }
    if (NMFL >= IFL.size()) grow_levels();
    const int32_t row = ++NMFL;
    IFL(row) = LevelRow{};
    IFL(row).key = key;
    IFL(row).n_obs = 1;
    IFL(row).mark = tree_number;
    ++tree.n_rows;
    check_allocated(tree.rows.enter(key, row), kRoutine, "LEVEL INDEX", NMFL);
}

// What the levels of a later record need is fetched from the memory meanwhile.
void expect_levels(const FirstPass& pass, ReadMode mode) {
    const LaterIntegers later(mode);
    for (const LevelSource& source : pass.levels)
        pass.trees(source.tree).rows.expect(later(source.place));
}

void count_levels(FirstPass& pass) {
    for (LevelTree& tree : pass.trees) {
        for (const CountingIndex::Slot& slot : tree.rows.slots())
            if (!slot.is_empty()) IFL(slot.value()).n_obs += slot.n_met;
        tree.rows = CountingIndex();
    }
}

void build_trees(FirstPass& pass) {
    Vec<Vec<int32_t>> rows;
    check_allocated(rows.allocate(pass.trees.size()), kRoutine, "LEVEL ROWS", pass.trees.size());
    for (int64_t t = 1; t <= pass.trees.size(); ++t)
        check_allocated(rows(t).allocate(pass.trees(t).n_rows), kRoutine, "LEVEL ROWS",
                        pass.trees(t).n_rows);
    for (LevelTree& tree : pass.trees) tree.n_rows = 0;
    for (int32_t row = 1; row <= NMFL; ++row) {
        const int32_t t = std::exchange(IFL(row).mark, 0);
        rows(t)(++pass.trees(t).n_rows) = row;
    }
    for (int64_t t = 1; t <= pass.trees.size(); ++t) build_tree(IFL, rows(t), *pass.trees(t).root);
}

void register_levels(FirstPass& pass, TraitPattern usable) {
    for (const LevelSource& source : pass.levels) {
        if ((source.traits & usable) == 0) continue;
        int32_t key = RECORD.IINP(source.place);
        if (key < 1) continue;  // an effect of a trait that is absent here
        register_level(pass, source.tree, key);
    }
}

void add_to(Statistics& s, float value) {
    double wide = static_cast<double>(value);
    if (s.min > s.max) s.origin = wide;
    const double distance = wide - s.origin;
    s.sum += wide;
    s.ssq += distance * distance;
    s.min = std::min(s.min, wide);
    s.max = std::max(s.max, wide);
}

void add_trait(const FirstPass& pass, int32_t trait, TraitPattern usable) {
    const TraitSources& sources = pass.traits(trait);
    add_to(INTAKE.Y(trait), RECORD.FINP(pass.usability.traits(trait).dependent));
    if (sources.weight != 0) add_to(INTAKE.W(trait), RECORD.FINP(sources.weight));
    for (int32_t k = sources.covariables_begin; k < sources.covariables_end; ++k)
        add_to(INTAKE.X(trait, k - sources.covariables_begin + 1),
               RECORD.FINP(pass.covariables(k)));
    for (int32_t j = 1; j <= trait; ++j)
        if ((usable & trait_bit(KVEINT.nt, j)) != 0) ++INTAKE.NS(trait, j);
}

void add_statistics(const FirstPass& pass, TraitPattern usable) {
    for (int32_t i = 1; i <= KVEINT.nt; ++i) {
        if ((usable & trait_bit(KVEINT.nt, i)) != 0) add_trait(pass, i, usable);
        if (pass.traits(i).censoring_code == kNotChecked) continue;
        int32_t code = RECORD.IINP(pass.traits(i).censoring_code);
        if (code >= -1 && code <= 2) ++INTAKE.CENS_COUNT(code + 2, i);
    }
}

// Kept: entry k of the packed triangle goes to trait k, so with several traits n_obs holds counts
// of trait pairs.
void copy_observation_counts() {
    for (int32_t k = 1; k <= KVEINT.nt; ++k) MODEL(k).n_obs = INTAKE.NS.data()[k - 1];
}

[[noreturn]] void stop_reading_failed(int32_t status) {
    tell_failed_data();
    say("ERROR - Reading data file at observation:%12lld", static_cast<long long>(INTAKE.NREC));
    stop_unreadable_record(status, "        Check your data for:");
}

void read_all_records(FirstPass& pass) {
    const ReadMode mode = read_mode();
    for (;;) {
        int32_t status = read_raw_record(mode, true);
        if (status == kEndOfData) return count_left_records(mode);
        ++INTAKE.NREC;
        if (status != kRecordRead) stop_reading_failed(status);
        expect_levels(pass, mode);
        TraitPattern usable = classify(pass);
        if (usable == 0) continue;
        register_levels(pass, usable);
        add_statistics(pass, usable);
    }
}

}  // namespace

void KVEFP1() {
    allocate_record();
    allocate_counters();
    allocate_factors();
    mark_used_variables();
    FirstPass pass = plan_first_pass();
    read_all_records(pass);
    count_levels(pass);
    build_trees(pass);
    copy_observation_counts();
    if (INTAKE.NREC < 1) {
        page_above(57);
        blank(2);
        say("ERROR: NO INPUT DATA FOUND");
        stop_run();
    }
    rewind_data();
}

}  // namespace kve
