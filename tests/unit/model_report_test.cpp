// What relationship structures and generalized traits add to the description of the model, from
// tables filled here.
#include "model/model_report.h"

#include <gtest/gtest.h>

#include "model/covariance_structure.h"
#include "model_builder.h"
#include "run/directives.h"

using namespace kve;
using state::DIRECTIVES, state::MODEL, state::RMAT;

namespace {

class ModelReportTest : public ModelTest {
 protected:
    // One trait with a fixed and a random effect.
    ModelReportTest() {
        build_model({{.effects = {1, 2}, .matrices = {1}}});
        derive_covariance_structure();
    }
    static bool says(const std::string& words) {
        return listing_of(report_model).find(words) != std::string::npos;
    }
};

}  // namespace

TEST_F(ModelReportTest, StructuresTellTheirMethodAndNameTheirFiles) {
    RMatrix& r = RMAT(1);
    r.rel_file = "one";
    r.rel_file2 = "two";
    r.rel_file3 = "three";
    r.pgmix_weight = 0.25;
    r.ran_factor = 2.5;
    struct Case {
        const char* type;
        int method;
        bool options;
        std::string words;
    };
    const std::string pedigree = "A(x)G0\nMethod to form A**(-1): ", nothing(35, ' ');
    const std::string file = "\nPedigree: one\n";
    const std::string also = "\nA Reduced Animal Model version of A**(-1) is also formed";
    const std::string mixed =
        "PGMIX(x)G0\nMethod to forme A**(-1): 1 (Sire, Dam - inbreeding)         \n"
        "Pedigree         : one\nTyped animals    : two\nGenomic rel.     : three\n";
    const std::string weight = "Weight used in G(w) = (1-w)G + wA11:             0.25\n";
    const Case cases[] = {
        {"PED", 1, false, pedigree + "1 (Sire, Dam - inbreeding)         " + file},
        {"PED", 12, false, pedigree + "2 (Sire, Dam - no inbreeding)      " + also + file},
        {"PED", 3, false, pedigree + "3 (Sire, MGS - inbreeding)         " + file},
        {"PED", 4, false, pedigree + "4 (Sire, MGS - no inbreeding)      " + file},
        {"PED", 5, false, pedigree + "5 (Sire, Dam - PHG - inbreeding)   " + file},
        {"PED", 6, false, pedigree + "6 (Sire, Dam - PHG - no inbreeding)" + file},
        {"PED", 10, false, pedigree + nothing + file},
        {"PED", 7, true,
         pedigree + nothing + also +
             "\nPhantom Parent Groups Random - Factor added:              2.5" + file},
        {"GREL", 0, false, "G(x)G0\nFile name : one\n\n"},
        {"COR", 0, false, "C(x)G0\nFile name : one\n\n"},
        {"DOM", 0, false, "D(x)G0\nFile name : one\n\n"},
        {"ABS_QTL", 0, false, "IBD - Effect absorbed\nFile name : one\n\n"},
        {"PGMIX", 1, false, mixed + weight},
        {"PGMIX", 1, true,
         mixed + "G-matrix adjusted: ave(diag(G)) == ave(diag(A11))\n" +
             "                   ave(off-diag(G)) == ave(off-diag(A11)\n" + weight},
    };
    for (const Case& c : cases) {
        r.type = c.type;
        r.method = c.method;
        r.l_ram = r.phg_random = r.pgmix_g_adjust = c.options;
        EXPECT_TRUE(says("Variance structure " + c.words)) << c.words;
        EXPECT_EQ(says(" R_A\n"), r.is("ABS_QTL"));
    }
}

TEST_F(ModelReportTest, GeneralizedTraitShowsItsFunctions) {
    Model& m = MODEL(1);
    EXPECT_FALSE(says("GLMM specification"));
    m.trait_type = kGeneralized;
    m.l_glmm = true;
    m.var_fn = "V";
    m.link_fn = "L";
    m.var_f = "v(mu)";
    m.link_f = "l(mu)";
    m.dlink_f = "d(mu)";
    m.invlink_f = "i(eta)";
    m.deviance = std::string(130, 'd');
    const std::string functions =
        "GLMM specification: \nVariance function=V, Link function=L\nVariance: v(mu)\n"
        "Link    : l(mu)\nDlink   : d(mu)\nInvlink : i(eta)\nDeviance: " +
        std::string(120, 'd') + "\n          dddddddddd\n";
    EXPECT_TRUE(says(functions + "\nTrait      Model"));
    EXPECT_TRUE(says("Type           :  GLMM   R   W"));
    m.offset_inp = 3;
    EXPECT_TRUE(
        says(functions + "Offset real input number :            3  Real variable name R3\n"));
}

TEST_F(ModelReportTest, TraitsThatShareAVarianceComponentBringAWarning) {
    const std::string warning =
        "WARNING WARNING WARNING\nScaling can not be used in models reduced rank models\n"
        "where different traits contributes to the same variance component\n"
        "The analysis will be performed without scaling\n";
    for (bool reduced : {false, true})
        for (int32_t traits : {1, 2}) {
            RMAT(1).rank_ndt(1) = traits;
            DIRECTIVES.reduce_file = reduced ? "KVE1.reduce" : "";
            EXPECT_EQ(says(warning), reduced && traits == 2);
        }
}
