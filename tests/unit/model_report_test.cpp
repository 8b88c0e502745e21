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

TEST_F(ModelReportTest, PedigreeTellsHowItsInverseIsFormed) {
    RMatrix& r = RMAT(1);
    r.type = "PED";
    r.rel_file = "ped.txt";
    const std::pair<int, const char*> methods[] = {
        {1, "1 (Sire, Dam - inbreeding)         \nPedigree: ped.txt\n"},
        {12,
         "2 (Sire, Dam - no inbreeding)      \nA Reduced Animal Model version of A**(-1) is "
         "also formed\nPedigree"},
        {3, "3 (Sire, MGS - inbreeding)         \n"},
        {4, "4 (Sire, MGS - no inbreeding)      \n"},
        {5, "5 (Sire, Dam - PHG - inbreeding)   \n"},
        {6, "6 (Sire, Dam - PHG - no inbreeding)\nPedigree"},
        {10, "                                   \nPedigree"},
        {7, "                                   \nPedigree"}};
    for (auto [method, words] : methods) {
        r.method = method;
        EXPECT_TRUE(
            says(std::string("Variance structure A(x)G0\nMethod to form A**(-1): ") + words))
            << method;
    }
    r.method = 6;
    r.l_ram = true;
    r.phg_random = true;
    r.ran_factor = 2.5;
    EXPECT_TRUE(
        says("also formed\nPhantom Parent Groups Random - Factor added:              2.5\n"
             "Pedigree"));
}

TEST_F(ModelReportTest, OtherStructuresNameTheirFiles) {
    RMatrix& r = RMAT(1);
    r.rel_file = "one";
    const char* structures[][2] = {{"GREL", "G(x)G0"},
                                   {"COR", "C(x)G0"},
                                   {"DOM", "D(x)G0"},
                                   {"ABS_QTL", "IBD - Effect absorbed"}};
    for (auto [type, words] : structures) {
        r.type = type;
        EXPECT_TRUE(says(std::string("Variance structure ") + words + "\nFile name : one\n\n"))
            << type;
        EXPECT_EQ(says(" R_A\n"), r.is("ABS_QTL"));
    }
    r.type = "PGMIX";
    r.method = 1;
    r.rel_file2 = "two";
    r.rel_file3 = "three";
    r.pgmix_weight = 0.25;
    const std::string files =
        "Variance structure PGMIX(x)G0\n"
        "Method to forme A**(-1): 1 (Sire, Dam - inbreeding)         \n"
        "Pedigree         : one\nTyped animals    : two\nGenomic rel.     : three\n";
    const std::string weight = "Weight used in G(w) = (1-w)G + wA11:             0.25\n";
    EXPECT_TRUE(says(files + weight));
    r.pgmix_g_adjust = true;
    EXPECT_TRUE(says(files +
                     "G-matrix adjusted: ave(diag(G)) == ave(diag(A11))\n"
                     "                   ave(off-diag(G)) == ave(off-diag(A11)\n" +
                     weight));
}

TEST_F(ModelReportTest, GeneralizedTraitShowsItsFunctions) {
    Model& m = MODEL(1);
    EXPECT_FALSE(says("GLMM specification"));
    m.trait_type = kGeneralized;
    m.l_glmm = true;
    m.var_fn = "BINOMIAL";
    m.link_fn = "LOGIT";
    m.var_f = "mu*(1-mu)";
    m.link_f = "log(mu/(1-mu))";
    m.dlink_f = "1/(mu*(1-mu))";
    m.invlink_f = "1/(1+exp(-eta))";
    m.deviance = std::string(130, 'd');
    const std::string functions =
        "GLMM specification: \nVariance function=BINOMIAL, Link function=LOGIT\n"
        "Variance: mu*(1-mu)\nLink    : log(mu/(1-mu))\nDlink   : 1/(mu*(1-mu))\n"
        "Invlink : 1/(1+exp(-eta))\nDeviance: " +
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
    RMAT(1).rank_ndt(1) = 2;
    EXPECT_FALSE(says(warning));
    DIRECTIVES.reduce_file = "KVE1.reduce";
    EXPECT_TRUE(says(warning));
    RMAT(1).rank_ndt(1) = 1;
    EXPECT_FALSE(says(warning));
}
