// Runs with generalized traits: what they leave for the analysis programs, and what is refused.

#include "modinf.h"
#include "run.h"

namespace {

// HERD is random in three traits, the first weighted by W.
Outcome run_glmm(const Scratch& scratch, const std::string& lines) {
    scratch.write("data", "1 0.5 2 0.25 21 31\n2 -9 3 1 22 32\n");
    return scratch.run(
        "$ANALYSE 11 1 0 0\n$DATA ASCII (1,5,-9.0) data\n$VARIABLE\nHERD OFF W Y1 Y2 Y3\n" + lines +
        "\n$MODEL\n3\n0\n0\n0\n3 2 1 1\n4 0 1 1\n5 0 1 1\n1 1\n1 1\n1 1\n0\n0\n0\n0\n$PRIOR\n"
        "1 1 1 1\n1 2 2 1\n1 3 3 1\n2 1 1 1\n2 2 2 1\n2 3 3 1\n");
}

TEST(GeneralizedTraits, ReachTheAnalysisPrograms) {
    Scratch scratch;
    const Outcome outcome =
        run_glmm(scratch,
                 "$GLMM 3 VARF=user(mu**2,2*(y-mu)) LINK = PROBIT\n CF=0.25\n"
                 "$GLMM 1 LINK=USER(3,1,ETA) VARF=BINOMIAL OFFSET=1\n$GLMM_PRED 7 0.25\n");
    ASSERT_EQ(outcome.status, 0) << outcome.listing;
    const Modinf model = decode_modinf(scratch.read("MODINF"));
    const std::string fields[] = {"trait_type", "l_glmm",  "corr_fact", "offset_inp", "offset_rci",
                                  "wgt_rci",    "var_fn",  "var_f",     "deviance",   "link_fn",
                                  "link_f",     "dlink_f", "invlink_f"};
    std::string found;
    for (const Fields& trait : model.traits)
        for (const std::string& field : fields) found += trait.at(field) + " ";
    EXPECT_EQ(found,
              "6 T 0.5 1 6 4 'BINOMIAL' 'MU*(1-MU)' '2*(Y*LOG(Y/MU)+(1-Y)*LOG((1-Y)/(1-MU)))'"
              " 'USER' '3' '1' 'ETA' 1 F 0 0 0 0 '' '1' '(Y-MU)**2' '' 'MU' '1' 'ETA' 6 T 0.25 0 0 "
              "5 'USER' 'MU**2' '2*(Y-MU)' 'PROBIT' 'PROBIT(MU)'"
              " '(PROBIT(MU+NUMDER)-PROBIT(MU-NUMDER)/(2*NUMDER)' 'PROBNORM(ETA)' ");
    EXPECT_EQ(model.tail.at("glmm_iterations") + model.tail.at("glmm_criterion"), "70.25");
    // The traits, the weights of two, the offset, which may be missing.
    const auto reals = framed_records(scratch.read("RCDATA_R"));
    EXPECT_EQ(numbers<float>(reals.at(0) + reals.at(1)),
              (Floats{0.25, 21, 31, 2, 1, 0.5, 1, 22, 32, 3, 1, -9}));
}

TEST(GeneralizedTraits, FamiliesAndLinksAreWrittenOut) {
    // Each link with its function, derivative and inverse; each family with variance and deviance.
    const std::string links[][4] = {
        {"LOG", "LOG(MU)", "1/MU", "EXP(ETA)"},
        {"EXPONENTIAL", "EXP(MU)", "EXP(MU)", "LOG(ETA)"},
        {"RECIPROCAL", "1/MU", "-1/(MU**2)", "1/ETA"},
        {"LOGIT", "LOG(MU/(1-MU))", "1/(MU*(1-MU))", "EXP(ETA)/(1+EXP(ETA))"},
        {"COMPLOG", "LOG(-LOG(1-MU))", "-1/((1-MU)*LOG(1-MU))", "EXP(-EXP(ETA))"},
        {"LOGLOG", "-LOG(-LOG(MU))", "-1/(MU*LOG(MU))", "EXP(-EXP(ETA))"}};
    const std::string families[][3] = {{"NORMAL", "1", "(Y-MU)**2"},
                                       {"POISSON", "MU", "2*(Y*LOG(Y/MU)-(Y-MU))"},
                                       {"GAMMA", "MU**2", "2*(Y/MU-1+LOG(MU/Y))"},
                                       {"INVGAUSSIAN", "MU**3", "((Y-MU)**2)/((MU**2)*Y)"}};
    for (std::size_t k = 0; k < std::size(links); ++k) {
        const auto& link = links[k];
        const auto& family = families[k % std::size(families)];
        EXPECT_TRUE(run_glmm(Scratch(), "$GLMM 1 VARF=" + family[0] + " LINK=" + link[0])
                        .says("Variance function=" + family[0] + ", Link function=" + link[0] +
                              " Variance: " + family[1] + " Link : " + link[1] +
                              " Dlink : " + link[2] + " Invlink : " + link[3] +
                              " Deviance: " + family[2] + " Trait / effect"))
            << link[0];
    }
}

TEST(GeneralizedTraits, EveryErrorIsToldBeforeTheRunStops) {
    const std::string log = " VARF=NORMAL LINK=LOG ", user = "In user specified ",
                      trait = " function for trait no.           2\n",
                      parser = "*** Error in syntax of function string: Invalid element: ",
                      column = "Illegal OFFSET real variable for trait no.:            2 value: ";
    const std::pair<std::string, std::string> cases[] = {
        {"0" + log,
         "GLMM specification for trait no.:                     0\n"
         " Number of traits in this analysis:                           3\n"},
        {"4" + log, "GLMM specification for trait no.:                     4\n"},
        {"1" + log + "\n$GLMM 1" + log,
         "Repeated GLMM specification for trait no.:            1\n"},
        {"2 LINK=LOG VARF=USER(MU(,Y)", user + "Variance" + trait + parser + "MU(\nMU(\n?\n"},
        {"2 LINK=LOG VARF=USER(1,2-Q)", user + "Deviance" + trait + parser + "Q\n2-Q\n  ?\n"},
        {"2 VARF=GAMMA LINK=USER(Y,1,1)", user + "link" + trait + parser + "Y\nY\n?\n"},
        {"2 VARF=GAMMA LINK=USER(1,Y,1)", user + "1st derivative of link" + trait + parser},
        {"2 VARF=GAMMA LINK=USER(1,1)", user + "inverse link" + trait},
        {"2 OFFSET=6" + log, column + "           6\n"},
        {"2 OFFSET=-1" + log, column + "          -1\n"},
        {"2 LINK=LOG VARF=NORMA",
         "Specified variance function NORMA for trait            2 is not implemented. "
         "Try to specify the variance function as a\n USER defined function\n"},
        {"2 VARF=NORMAL",
         "Specified link function  for trait            2 is not implemented.\n"
         " Try to specify the link function as a\n USER defined function\n"}};
    const Scratch scratch;
    for (const auto& [line, words] : cases) {
        const Outcome outcome = run_glmm(scratch, "$GLMM " + line);
        EXPECT_EQ(outcome.status, 16) << line;
        EXPECT_TRUE(outcome.prints("\nERROR - " + words)) << line << outcome.listing;
        EXPECT_TRUE(outcome.says("Structure of (co)variance matrices"));
    }
}

}  // namespace
