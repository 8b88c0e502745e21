// Fills the shared tables by hand, a different value in every place, writes them and compares what
// the decoder finds. An item that is left out, swapped or written in another width shows. Then a
// whole run, whose files are read as an analysis program would read them.
#include "modinf.h"

#include "data/factors.h"
#include "data/intake.h"
#include "data/recoded_data.h"
#include "directives/directives.h"
#include "handover/model_information.h"
#include "handover/old_solution_head.h"
#include "listing/listing.h"
#include "listing/units.h"
#include "model/model_records.h"
#include "run.h"
#include "store/big_tables.h"

using namespace kve;
using namespace kve::state;

namespace {

// Gives numbers and texts that do not occur twice; logicals in a pattern that does not repeat soon.
struct Distinct {
    template <class... Items>
    void operator()(std::string_view, Items&... items) {
        (set(items), ...);
    }
    template <class Item>
    void set(Item& item) {
        ++n;
        if constexpr (requires { item.data(); })
            for (int64_t k = 0; k < item.size(); ++k) set(item.data()[k]);
        else if constexpr (requires { item.raw; })
            item = random() % 7 > 3;
        else if constexpr (requires { item.padded(); })
            item = std::to_string(n);
        else if constexpr (std::is_floating_point_v<Item>)
            item = static_cast<Item>(n + 0.1);
        else if constexpr (std::is_same_v<Item, Structure>)
            item = static_cast<Structure>(n % (kStructures + 1));
        else
            item = static_cast<Item>(sizeof item == 8 ? int64_t{n} << 32 : n);
    }
    int32_t n = 1000;
    std::minstd_rand random{4};  // no two logicals of a table alike in all traits or matrices
};
Distinct distinct;

// What the file has to hold, by name. What stands there already stays.
struct Expected {
    template <class... Items>
    void operator()(std::string_view names, const Items&... items) {
        (add(names, printed(items)), ...);
    }
    // Cuts the first name off, of which the last word counts: a field of the table.
    void add(std::string_view& names, const std::string& value) {
        const std::string_view name = names.substr(0, names.find(", "));
        names.remove_prefix(std::min(name.size() + 2, names.size()));
        fields.emplace(name.substr(name.rfind('.') + 1), value);
    }
    Fields fields;
};

#define NAMED(...) #__VA_ARGS__, __VA_ARGS__

void describe(auto& visitor, auto& m, bool) requires requires { m.trait_type; }
{ describe_trait(visitor, m); }
void describe(auto& visitor, auto& r, bool is_random) requires requires { r.rank; }
{ describe_matrix(visitor, r, is_random); }

// Fills all fields that a description shows but those that a test has set.
struct Fill {
    const std::set<std::string_view> set{"n_absorb",    "n_fixed",   "n_random", "n_ef",
                                         "n_reg",       "n_dif_reg", "l_cens",   "n_cont",
                                         "n_rc",        "rank",      "n_traits", "n_r_eff",
                                         "n_random_id", "m_n_rr",    "grp_nlev"};
    template <class... Parts>
    void record(const Parts&... parts) {
        (for_each_field(parts,
                        [this](std::string_view name, const Extents&, auto& item) {
                            if (set.count(name) == 0) distinct.set(item);
                        }),
         ...);
    }
};

// Head and tail.
void visit_run(auto&& given, auto&& others) {
    ModelCounts& c = KVEINT;
    Directives& d = DIRECTIVES;
    TrendRequest& t = d.td_ptd;
    RMatrix& residual = RMAT(RMAT.size());
    auto& [MFL, MDL, MAXNRM, MAXZHZ, IFSPWSP, unused] = DIMENSIONS;
    given(NAMED(c.nt, c.NRAMAT, c.MAX_N_ABSORB, c.MAX_N_FIXED, c.MAX_N_REG, c.N_REG_TOTAL,
                d.n_sol_cov, t.factor, t.pedigree_exists, INTAKE.L_INTERVAL, residual.grp_nlev,
                residual.grp_code, residual.niegr));
    others(NAMED(c.NGaussTraits, c.NRightCensTraits, c.NCatTraits, c.NBinTraits, c.N_CONT_TRAITS,
                 c.N_THRESH_TRAITS, c.N_WGT_TRAITS, c.TraitIdWithWeight, c.N_RAMAT_NOT_ABS,
                 c.N_REG_COLS, c.N_ZERO_RCOV, c.SPRE, RSD, OLDSOL_H2, RUN_DATE, d.ITASK, d.IMETHOD,
                 d.ISCALE, d.ITEST, d.data_format, d.NI, d.NR, d.residual_format, d.glmm_iterations,
                 d.glmm_criterion, t.model_type, t.option_1, t.option_2, d.sol_cov, FACTORS.NLEV,
                 FACTORS.NRALEV, FACTORS.NBEGREG, FACTORS.NBEGF, FACTORS.NBEGRA, FACTORS.NBEGRAT,
                 INTAKE.NREC, RECODED.n_records, RECODED.NIOUT, RECODED.NFOUT,
                 RECODED.n_fixed_positions, RECODED.n_subjects, RECODED.largest_sequence,
                 RECODED.NABGR, RECODED.MN_ABGR));
    others("kve4, kve5, kveai, kvemgp, kvegs", d.kve4.name, d.kve5.name, d.kveai.name,
           d.kvemgp.name, d.kvegs.name);
    others("MFL, MDL, MAXNRM, MAXZHZ, IFSPWSP", MFL.now, MDL.now, MAXNRM.now, MAXZHZ.now,
           IFSPWSP.now);
}

constexpr auto nothing = [](auto&&...) {};

constexpr void (*kArraysOfTrait[])(Model&) = {allocate_absorbed_effects, allocate_class_effects,
                                              allocate_fixed_and_random_effects,
                                              allocate_regressions, allocate_different_covariables};
constexpr void (*kArraysOfMatrix[])(RMatrix&) = {
    allocate_members,        allocate_identifiers,
    allocate_contributions,  allocate_random_regressions,
    allocate_rows,           allocate_zero_covariances,
    allocate_residual_groups};

// A table for each row of extents, of which the last may be the residual.
template <class Table>
void build(Vec<Table>& all, const auto& arrays, const std::vector<int32_t Table::*>& extents,
           const std::vector<Ints>& rows) {
    ASSERT_EQ(all.allocate(static_cast<int64_t>(rows.size())), 0);
    Fill fill;
    for (int64_t k = 1; k <= all.size(); ++k) {
        Table& table = all(k);
        for (std::size_t j = 0; j < extents.size(); ++j)
            table.*extents[j] = rows[static_cast<std::size_t>(k) - 1][j];
        if constexpr (requires { table.l_cens; }) table.l_cens = true;
        for (auto* allocate : arrays) allocate(table);
        describe(fill, table, k < all.size());
    }
}
const std::vector<int32_t Model::*> kTraitExtents = {&Model::n_absorb, &Model::n_fixed,
                                                     &Model::n_random, &Model::n_ef,
                                                     &Model::n_reg,    &Model::n_dif_reg};
const std::vector<int32_t RMatrix::*> kMatrixExtents = {
    &RMatrix::n_cont,  &RMatrix::n_rc,        &RMatrix::rank,   &RMatrix::n_traits,
    &RMatrix::n_r_eff, &RMatrix::n_random_id, &RMatrix::m_n_rr, &RMatrix::grp_nlev};

// What the traits and matrices decide in the other tables. The first trait has the most of all.
void build_run() {
    ModelCounts& c = KVEINT;
    c.nt = static_cast<int32_t>(MODEL.size());
    c.NRAMAT = static_cast<int32_t>(RMAT.size() - 1);
    c.MAX_N_ABSORB = MODEL(1).n_absorb;
    c.MAX_N_FIXED = MODEL(1).n_fixed;
    c.MAX_N_REG = c.N_REG_TOTAL = MODEL(1).n_reg;
    distinct("", c.N_RANDOM_COV);
    allocate_factors();
    ASSERT_EQ(c.TraitIdWithWeight.allocate(c.nt) + c.SPRE.allocate(c.nt) + RSD.allocate(c.nt) +
                  INTAKE.NS.allocate(c.nt) + RECODED.NABGR.allocate(c.MAX_N_ABSORB) +
                  RECODED.MN_ABGR.allocate(c.MAX_N_ABSORB) +
                  DIRECTIVES.sol_cov.allocate(DIRECTIVES.n_sol_cov),
              0);
    visit_run(nothing, distinct);
    distinct("", FACTORS.NFINFO, INTAKE.NS);
}

// Two traits: the first with every kind of effect, the second bare. Three random factors, the last
// without members, and residual groups.
void build_rich_model() {
    // n_absorb, n_fixed, n_random, n_ef, n_reg, n_dif_reg
    build(MODEL, kArraysOfTrait, kTraitExtents, {{2, 3, 2, 5, 4, 3}, {0, 0, 0, 0, 0, 0}});
    MODEL(2).l_cens = false;
    // n_cont, n_rc, rank, n_traits, n_r_eff, n_random_id, m_n_rr, grp_nlev
    build(RMAT, kArraysOfMatrix, kMatrixExtents,
          {{6, 5, 5, 2, 3, 1, 4, 0},
           {1, 1, 1, 1, 1, 1, 0, 0},
           {0, 0, 0, 0, 0, 0, 0, 0},
           {0, 2, 2, 2, 0, 0, 0, 3}});
    RMAT(1).structure = Structure::PED;
    RMAT(2).structure = Structure::COR;
    RMAT(3).structure = Structure::DOM;
    RMAT(4).structure = Structure::GROUP;
    ASSERT_EQ(KVEINT.NORCOV.allocate(2, 7), 0);  // more room than there are pairs of traits
    INTAKE.L_INTERVAL = true;
    DIRECTIVES.td_ptd.factor = 9;
    DIRECTIVES.td_ptd.pedigree_exists = true;
    DIRECTIVES.n_sol_cov = 3;
    build_run();
    distinct.set(KVEINT.NORCOV);
}

// One trait with one random effect of so many members and nothing else.
void build_smallest_model(int members = 1, int groups = 1) {
    build(MODEL, kArraysOfTrait, kTraitExtents, {{0, 0, 1, 1, 0, 0}});
    build(RMAT, kArraysOfMatrix, kMatrixExtents,
          {{members, members, members, members, 1, members, 0, 0}, {0, 1, 1, 1, 0, 0, 0, groups}});
    RMAT(1).structure = Structure::I;
    build_run();
}

void compare(const Fields& block, const Expected& expected) {
    for (const auto& [name, value] : block) EXPECT_EQ(value, expected.fields.at(name)) << name;
}

// Each item of the file is what `special` says of it, else what its table holds.
void expect_file(Expected special) {
    special("version, release", Text<1>("6"), Text<3>("5.1"));
    Scratch scratch;
    ASSERT_EQ(UNITS.MODINF.open(scratch.folder() / "MODINF"), 0);
    KVEPFL();
    const Modinf file = decode_as_documented(scratch.read("MODINF"));
    Expected run = special;
    visit_run(run, run);
    compare(file.head, run);
    compare(file.tail, run);
    auto expect_blocks = [](const std::vector<Fields>& blocks, const auto& tables) {
        for (int64_t k = 1; k <= tables.size(); ++k) {
            Fields expected;
            FieldsOf visitor{expected};
            describe(visitor, tables(k), k < tables.size());
            EXPECT_EQ(blocks.at(static_cast<std::size_t>(k) - 1), expected);
        }
    };
    expect_blocks(file.traits, MODEL);
    expect_blocks(file.matrices, RMAT);
    const Modinf read = decode_modinf(scratch.read("MODINF"));
    EXPECT_TRUE(read.head == file.head && read.tail == file.tail);
    EXPECT_TRUE(read.traits == file.traits && read.matrices == file.matrices);
}

// For the smallest model no pair was declared, so that the parser made no room for NORCOV.
void expect_smallest(Expected special = {}) {
    special("total_observations, any_covariable, n_foreign_records", INTAKE.NS(1, 1), false, 0);
    special("n_fixed_covariables, n_random_covariables, NORCOV",
            KVEINT.N_REG_TOTAL - KVEINT.N_RANDOM_COV, KVEINT.N_RANDOM_COV, Ints{0, 0});
    expect_file(special);
}

}  // namespace

TEST(ModelInformation, HoldsEveryItemOfARichModel) {
    build_rich_model();
    Expected special;
    special("n_foreign_records", FACTORS.NFINFO(1));         // of the type PED
    special("total_observations, any_covariable", 0, true);  // only a run of one trait has a total
    special("n_fixed_covariables", KVEINT.N_REG_TOTAL - KVEINT.N_RANDOM_COV);
    special("n_random_covariables", KVEINT.N_RANDOM_COV);
    special("NORCOV", std::span(KVEINT.NORCOV.data(), 6));
    expect_file(special);
}

TEST(ModelInformation, LeavesOutWhatTheSmallestModelDoesNotHave) {
    build_smallest_model();
    expect_smallest();
    DIRECTIVES.n_sol_cov = -1;  // asked for, without numbers
    expect_smallest();
}

// A random factor whose only effect is merged into one that does not exist has no member, yet its
// table of equations has room for one. A GROUP residual without usable records has no group, yet
// its arrays have room for one.
TEST(ModelInformation, WritesNoMemberAndNoGroupWhereThereIsNone) {
    build_smallest_model(0, 0);
    RMAT(2).structure = Structure::GROUP;
    Expected special;
    for (const char* empty : {"NBEGRAT", "grp_code", "niegr", "h_cov_mat", "l_grp_pr"})
        special(empty, Ints());
    expect_smallest(special);
}

// What an analysis program does: it finds the data again from the files alone.
TEST(HandOver, LevelsOfTheRecodedDataLeadBackToTheIdentities) {
    Scratch scratch;
    // Herd, animal, group, age, two traits. The first record has no animal, the third no trait
    // value, the fourth only the first one. A residual group needs ten records.
    std::string data;
    for (int n = 0; n < 10; ++n)
        data +=
            "30 -5 9 1.5 10 20\n30 700 9 2.5 11 21\n30 800 9 3.5 -999 -999\n"
            "7 700 2 4.5 12 -999\n12 1 5 5.5 13 23\n7 2000000000 2 6.5 14 24\n";
    scratch.write("data", data);
    scratch.write("KVEDIM", "&kvedim MFL=77 /");
    const Outcome outcome = scratch.run(
        "$ANALYSE 2 0 0 0\n$DATA ASCII (3,3,-999.0) data\n$VARIABLE\nHERD ANIMAL GROUP AGE Y1 Y2\n"
        "$MODEL\n2 2 0 0 0\n0\n0\n2 0 2 1 2\n3 0 2 1 2\n1 1\n1 1\n1 1\n0\n0\n$VAR_STR 2 GROUP 3\n"
        "$PRIOR\n1 1 1 1.0\n1 2 2 2.0\n2 1 1 3.0\n2 2 2 4.0\n");
    ASSERT_EQ(outcome.status, 0) << outcome.listing;
    const Modinf model = decode_modinf(scratch.read("MODINF"));
    const Fields &first = model.traits.at(0), &second = model.traits.at(1),
                 &random = model.matrices.at(0), &residual = model.matrices.at(1);
    const std::string positions[] = {first.at("f_ef_rci"), second.at("f_ef_rci"),
                                     random.at("r_id_rci"), residual.at("grp_rci")};
    // Identities by level, a list behind each other: herds of both traits, animals, groups. How
    // often they were met stands beside them.
    std::vector<Ints> lists(1);
    Ints met;
    for (const std::string& record : framed_records(scratch.read("CODE_TABLE"))) {
        const Ints row = numbers<int32_t>(record);
        lists.back().push_back(row.at(1));
        met.push_back(row.at(2));
        EXPECT_EQ(row.at(3), static_cast<int>(lists.back().size()));
        if (row.at(0) == 0) lists.emplace_back();
    }
    EXPECT_EQ(lists,
              (std::vector<Ints>{{7, 12, 30}, {7, 12, 30}, {1, 700, 2000000000}, {2, 5, 9}, {}}));
    EXPECT_EQ(met, (Ints{20, 10, 10, 10, 10, 10, 10, 20, 10, 20, 10, 10}));

    const auto integers = framed_records(scratch.read("RCDATA_I"));
    const auto reals = framed_records(scratch.read("RCDATA_R"));
    ASSERT_TRUE(integers.size() == 40 && reals.size() == 40);
    const char* rows[] = {"30 30 700 9 2.5", "7 0 700 2 4.5", "12 12 1 5 5.5",
                          "7 7 2000000000 2 6.5"};
    const auto word = [](auto& words, const auto& position) {
        return words.at(std::stoul(position) - 1);
    };
    for (std::size_t n = 0; n < 40; ++n) {
        const Ints levels = numbers<int32_t>(integers[n]);
        const Floats values = numbers<float>(reals[n]);
        EXPECT_EQ(printed(levels.size()), model.tail.at("NIOUT"));
        EXPECT_EQ(printed(values.size()), model.tail.at("NFOUT"));
        std::string found;
        for (std::size_t list = 0; list < 4; ++list) {
            const int level = word(levels, positions[list]);
            found += printed(level == 0 ? 0 : word(lists[list], printed(level))) + " ";
        }
        EXPECT_EQ(found + printed(word(values, first.at("reg_rci"))), rows[n % 4]);
    }

    // One regression, then two herd effects of three levels, then animals with two rows each.
    const Fields expected = {
        {"NREC", "60"},        {"n_records", "40"},     {"NLEV", "3 3"},
        {"NRALEV", "3"},       {"grp_nlev", "3"},       {"grp_code", "2 5 9"},
        {"niegr", "20 10 10"}, {"MFL", "77"},           {"NBEGREG", "0 0"},
        {"NBEGF", "1 4"},      {"NBEGRA", "7 6"},       {"NBEGRAT", "7 8"},
        {"type", "'GROUP'"},   {"grp_name", "'GROUP'"}, {"h_cov_mat", "3 0 0 4 3 0 0 4 3 0 0 4"}};
    Fields learned = residual;
    for (const Fields& block : {model.head, model.tail}) learned.insert(block.begin(), block.end());
    for (const auto& [name, value] : expected) EXPECT_EQ(learned[name], value) << name;
}
