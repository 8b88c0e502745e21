// What follows the derivation of the covariance structure: checks, classes of traits, the dump, and
// what relationship structures and generalized traits add to the description of the model.
#include "model/censoring.h"
#include "model/structure_checks.h"
#include "model/trait_classes.h"
#include "model_builder.h"
#include "reports/dump.h"
#include "reports/model_report.h"

using namespace kve;
using state::DIRECTIVES, state::MODEL, state::RMAT;

namespace {

using ModelChecks = ModelTest;

void check(const std::vector<Submodel>& traits) {
    derive_model(traits);
    check_structures();
}

bool report_says(const std::string& words) {
    return folded(listing_of(report_model)).find(words) != words.npos;
}

}  // namespace

TEST_F(ModelChecks, StructuresThatDoNotFitStop) {
    derive_model({{"2 1 2", "2 1 2"}});
    RMAT(2).structure = Structure::PGMIX;
    RMAT(2).method = 7;
    EXPECT_STOP(check_structures(), "PGMIX requiers\n +method 1 for");

    // Deviations need a plain model and know their pedigree.
    DIRECTIVES.ITASK = 11;
    DIRECTIVES.td_ptd.asked = true;
    DIRECTIVES.td_ptd.factor = 2;
    const std::vector<Submodel> plain = {{"3 1 2 3", "2 1 2", "1 3(1)"}, {"2 1 2", "2 1 2"}};
    check(plain);
    EXPECT_FALSE(DIRECTIVES.td_ptd.pedigree_exists);
    RMAT(2).structure = Structure::PED;
    check_structures();
    EXPECT_TRUE(DIRECTIVES.td_ptd.pedigree_exists);
    for (int factor : {0, 3}) {
        DIRECTIVES.td_ptd.factor = factor;
        EXPECT_STOP(check(plain), "TD and PTD: +[03]\n +Must be between 1 and +2\n");
    }
    DIRECTIVES.ITASK = 2;
    DIRECTIVES.td_ptd.factor = 1;
    const char* words = "Trait Deviations and Progeny Trait Deviations\n";
    EXPECT_STOP(check({{"1 1", "1 1", "1 3(1)"}}), words);  // random regression
    EXPECT_STOP(check({{"3 1 2 3", "3 1 2 1"}}), words);    // two in one matrix
    EXPECT_STOP(check({{"2 1 2", "2 1 + 1"}}), words);      // also when merged
    EXPECT_STOP(check({{"1 1", "1 1", "0", "1"}}), words);  // reduced rank
    DIRECTIVES.ITASK = 3;
    check({{"2 1 2", "2 1 1"}});
}

TEST_F(ModelChecks, CensoredTraitsAreMarkedOrCounted) {
    build_model({{"1 1"}, {"1 1"}, {"1 1"}});
    int faults = 0;
    DIRECTIVES.cens = {{1, 0, 0, false},  {2, 9, 9, true}, {2, 1, 0, false},
                       {3, 10, 0, false}, {3, 1, 0, true}, {4, 1, 0, false}};
    EXPECT_EQ(listing_of([&] { faults = mark_censored_traits(); }),
              "ERROR - Repeated CENS specification for trait no.:            2\n"
              "ERROR - CENS column out of range for trait no.:            3           10\n"
              "ERROR - CENS column out of range for trait no.:            3            0\n"
              "ERROR - CENS specification for trait no.:                     4\n"
              "        Number of traits in this analysis:                    3\n");
    EXPECT_EQ(faults, 4);
    expect_fields({"MODEL(1): l_cens T; cens_inp 0", "MODEL(3): l_cens F",
                   "MODEL(2): l_cens T; cens_inp 9; int_max_inp 9"});
}

TEST_F(ModelChecks, LaterTraitClassesWin) {
    build_model({{"1 1"}, {"1 1"}, {"1 1"}, {"1 1"}});
    DIRECTIVES.IS_MIXTURE(1) = DIRECTIVES.IS_MIXTURE(2) = 1;
    MODEL(2).l_glmm = true;
    MODEL(3).l_glmm = true;
    MODEL(4).trait_inp_no = 10;
    DIRECTIVES.cure = {{3, 1, 4, 5}};
    settle_trait_classes();
    const int32_t types[] = {kSequentialLinear, kGeneralized, kSequentialBinary, kGaussian};
    for (int i : {1, 2, 3, 4}) EXPECT_EQ(MODEL(i).trait_type, types[i - 1]) << i;
    expect_fields({"MODEL(1): seq_t_inp_no 3; l_cure F",
                   "MODEL(3): mix_t_inp_no 1; subject 4; seq 5; l_cure T"});
    EXPECT_EQ(DIRECTIVES.glmm_iterations, 2);
    EXPECT_EQ(DIRECTIVES.glmm_criterion, 9.9999997473787516e-06);

    for (CURE_SPEC pair : {CURE_SPEC{5, 6, 0, 1}, CURE_SPEC{5, 6, 1, 10}}) {
        DIRECTIVES.cure = {pair};
        EXPECT_STOP(settle_trait_classes(), "variable for subject or sequence: +(0|10)\n");
    }
}

TEST_F(ModelChecks, DumpShowsAllRecordsAndCutsLongLists) {
    derive_model({{"2 4 2", "1 1", "1 3(2)"}});
    RMAT(1).cov_mat(2, 1) = -0.5;
    ASSERT_EQ(RMAT(1).ad.allocate(1000000), 0);
    const std::string listing = listing_of(dump_model_records);
    EXPECT_NE(listing.find("\n  cov_mat(2,:)               -0.5 0\n"), std::string::npos);
    EXPECT_NE(listing.find("... of 1000000\n"), std::string::npos);
    EXPECT_LT(listing.size(), 30000U);
    expect_fields(
        {"MODEL(1): reg_name 'R3'", "RMAT(1): n_cont 2; t_r_id_rci 1", "RMAT(2): rank 1"});
}

// The traits of a matrix and what the listing says of it.
TEST_F(ModelChecks, RowsThatAreNotThoseAskedForAreToldOnTheListing) {
    const struct {
        std::vector<Submodel> traits;
        const char* words;  // "" when all is well
    } cases[] = {
        {{{"2 1 2", "2 1 1", "2 3(1) 3(2)"}}, ""},
        {{{"3 4 2(0) 6(0)", "2 1 + 1", "3 [3:4,2,L] 5(3)"}, {"1 2", "1 1"}}, ""},
        {{{"3 4 2 6", "2 1 + 1", "2 [3:4,2,L]"}},
         "matrix 1: the + before effect I6 of trait R1 puts all its rows\n"
         "          into the last row of effect I2\n"},
        {{{"2 1 2", "2 1+1", "1 3(2)"}}, "into the last row of effect I1\n"},
        {{{"2 1 2", "2 1+1", "2 3(1) 3(2)"}}, "into the last row of effect I1\n"},
        {{{"2 1 2", "2 1 1", "1 3(2)"}}, "effect I2 of trait R1 has not the 1 rows from 2 on"},
        // Three rows less and three more: the rank is the number of rows all the same.
        {{{"2 1 2", "2 1 1", "1 3(1)"}, {"2 1 2", "2 1 1", "1 3(2)"}},
         "effect I2 of trait R1 has not the 2 rows from 3 on"},
        {{{"1 1", "1 1", "0", "1"}, {"1 1", "1 1", "0", "2"}, {"1 1", "1 1", "0", "3"}}, ""},
        {{{"3 1 2 3", "3 1 1 1", "0", "1 1 1"}}, ""},
        {{{"2 1 2", "2 1 1", "2 3(1) 3(2)", "1 1"}}, ""},
        {{{"3 1 2 3", "3 1 1 1", "0", "1 2 2"}}, "I2 of trait R1 has not the 1 rows from 2 on"},
        {{{"3 1 2 3", "3 1 1 1", "0", "1 1 2"}}, "I3 of trait R1 has not the 1 rows from 2 on"},
        {{{"4 1 2 3 4", "4 1 1 1 1", "0", "1 1 2 2"}}, "I3 of trait R1 has not"},
        {{{"3 1 2 3", "3 1 1 1", "3 3(1) 3(2) 3(3)", "1 1 1"}}, "I3 of trait R1 has not the 2"},
        {{{"2 1 2", "2 1 + 1", "0", "1 1"}, {"1 1", "1 1", "0", "1"}}, "I1 of trait R2 has not"},
        {{{"3 1 2 3", "3 1 1 1", "0", "1 2 1"}, {"1 1", "1 1", "0", "2"}},
         "effects I1 and I3 of trait R1 share no rows,\n"},
        {{{"2 1 2", "2 1 1", "0", "1 2"}, {"2 1 2", "2 1 1", "0", "1 2"}}, ""},
        {{{"2 1 2", "2 1 1", "0", "0 0"}}, "matrix 1: effects with the position 0 in $REDUCE"},
        {{{"2 1 2", "2 2 + 2"}, {"1 3", "1 + 2"}},
         "matrix 2: the + before effect I3 of trait R2 merges it with\n"
         "          an effect of trait R1\n"},
        {{{"2 1 2", "2 1 + 2"}}, "merges it with\n          nothing, its row is 0\n"},
    };
    for (const auto& c : cases) {
        derive_model(c.traits);
        const std::string listing = listing_of(check_structures);
        const std::string found = listing.find(c.words) == listing.npos ? "" : c.words;
        EXPECT_EQ(listing.empty(), *c.words == 0) << listing;
        EXPECT_EQ(found, c.words) << listing;
    }
}

TEST_F(ModelChecks, StructuresTellTheirMethodAndNameTheirFiles) {
    derive_model({{"2 1 2", "1 1"}});
    RMatrix& r = RMAT(1);
    r.rel_file = "one";
    r.rel_file2 = "two";
    r.rel_file3 = "three";
    r.pgmix_weight = 0.25;
    r.ran_factor = 2.5;
    const auto tells = [&r](Structure structure, int method, bool options,
                            const std::string& words) {
        r.structure = structure;
        r.method = method;
        r.l_ram = r.phg_random = r.pgmix_g_adjust = options;
        EXPECT_TRUE(report_says("Variance structure " + words))
            << words << listing_of(report_model);
        EXPECT_EQ(report_says(" R_A "), structure == Structure::ABS_QTL);
    };
    const std::string reduced = " A Reduced Animal Model version of A**(-1) is also formed";
    const std::pair<int, std::string> methods[] = {
        {1, "1 (Sire, Dam - inbreeding)"},       {12, "2 (Sire, Dam - no inbreeding)" + reduced},
        {3, "3 (Sire, MGS - inbreeding)"},       {4, "4 (Sire, MGS - no inbreeding)"},
        {5, "5 (Sire, Dam - PHG - inbreeding)"}, {6, "6 (Sire, Dam - PHG - no inbreeding)"}};
    const std::string form = "A(x)G0 Method to form A**(-1): ";
    for (const auto& [method, words] : methods)
        tells(Structure::PED, method, false, form + words + " Pedigree: one ");
    tells(Structure::PED, 10, false, form + "Pedigree: one ");
    tells(Structure::PED, 7, true,
          form + reduced.substr(1) + " Phantom Parent Groups Random - Factor added: 2.5 Pedigree:");
    tells(Structure::GREL, 0, false, "G(x)G0 File name : one ");
    tells(Structure::COR, 0, false, "C(x)G0 File name : one ");
    tells(Structure::DOM, 0, false, "D(x)G0 File name : one ");
    tells(Structure::ABS_QTL, 0, false, "IBD - Effect absorbed File name : one ");
    const std::string mixed =
        "PGMIX(x)G0 Method to forme A**(-1): 1 (Sire, Dam - inbreeding) Pedigree : one Typed "
        "animals : two Genomic rel. : three ";
    const std::string weight = "Weight used in G(w) = (1-w)G + wA11: 0.25 ";
    tells(Structure::PGMIX, 1, false, mixed + weight);
    tells(Structure::PGMIX, 1, true,
          mixed +
              "G-matrix adjusted: ave(diag(G)) == ave(diag(A11)) "
              "ave(off-diag(G)) == ave(off-diag(A11) " +
              weight);
}

TEST_F(ModelChecks, GeneralizedTraitsAndSharedComponentsAreToldInTheReport) {
    derive_model({{"2 1 2", "1 1"}});
    Model& m = MODEL(1);
    EXPECT_FALSE(report_says("GLMM specification"));
    m.trait_type = kGeneralized;
    m.l_glmm = true;
    m.var_fn = "V";
    m.link_fn = "L";
    m.deviance = std::string(130, 'd');
    EXPECT_TRUE(report_says("GLMM specification: Variance function=V, Link function=L Variance: "));
    const std::string functions = "Deviance: " + std::string(120, 'd') + " dddddddddd ";
    EXPECT_TRUE(report_says(functions + "Trait Model"));
    EXPECT_TRUE(report_says("Type : GLMM R W"));
    m.offset_inp = 3;
    EXPECT_TRUE(report_says(functions + "Offset real input number : 3 Real variable name R3 "));

    const std::string warning =
        "WARNING WARNING WARNING Scaling can not be used in models reduced rank models where "
        "different traits contributes to the same variance component The analysis will be ";
    for (const char* reduced : {"", "KVE1.reduce"})
        for (int32_t traits : {1, 2}) {
            RMAT(1).rank_ndt(1) = traits;
            DIRECTIVES.reduce_file = reduced;
            EXPECT_EQ(report_says(warning), *reduced != 0 && traits == 2);
        }
}
