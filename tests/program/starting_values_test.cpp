#include <gtest/gtest.h>

#include "run.h"

namespace {

// One trait, one fixed and one random effect.
std::string directives(const std::string& analyse, const std::string& priors) {
    return "$ANALYSE " + analyse +
           "\n$DATA ASCII (2,1,-99.0) data\n$VARIABLE\nherd sire\nweight\n"
           "$MODEL\n1\n0\n1 0 2 1 2\n1 1\n0\n0\n$PRIOR\n" +
           priors;
}

Outcome run(const std::string& analyse, const std::string& priors) {
    Scratch scratch;
    scratch.write("data", "1 1 5.0\n1 2 6.0\n2 1 7.0\n2 2 4.0\n1 1 6.5\n2 2 5.5\n");
    return scratch.run(directives(analyse, priors));
}

}  // namespace

TEST(StartingValues, AreListedAndListedAgainAfterScaling) {
    const Outcome plain = run("1 1 0 0", "1 1 1 2.0\n2 1 1 8.0\n");
    EXPECT_TRUE(plain.says("Starting parameters for model"));
    EXPECT_TRUE(plain.says("Covariance matrix for random effect no: 1 1 1 2.0000000"));
    EXPECT_TRUE(plain.says("Residual co-variance matrix 1 1 8.0000000"));
    EXPECT_TRUE(plain.says("Trait Correlation SD-R1 SD-Total 1 0.20000 1.414214 3.162278"));
    EXPECT_FALSE(plain.says("Scaled parameters"));

    const Outcome scaled = run("1 1 1 0", "1 1 1 2.0\n2 1 1 8.0\n");
    EXPECT_EQ(scaled.times("Scaling of prior (co)-variances performed"), 1);
    EXPECT_EQ(scaled.times("Scaled parameters for model"), 1);
    EXPECT_TRUE(scaled.says("Covariance matrix for random effect no: 1 1 1 0.2500000"));
    EXPECT_TRUE(scaled.says("Residual co-variance matrix 1 1 1.0000000"));
    EXPECT_EQ(scaled.times("Covariance matrix for random effect"), 2);
}

TEST(StartingValues, AFaultyPriorStopsBeforeTheListing) {
    const Outcome outside = run("1 1 0 0", "1 1 1 2.0\n2 1 1 8.0\n3 1 1 1.0\n");
    EXPECT_EQ(outside.status, 16);
    EXPECT_TRUE(outside.says("ERROR: ILLEGAL VARIABLE NO IN PARAMETER FILE 3 1 1 1"));
    EXPECT_TRUE(outside.says("Program terminated"));
    EXPECT_FALSE(outside.says("Starting parameters"));

    const Outcome letters = run("1 1 0 0", "1 1 1 2.0\n2 1 1 eight\n");
    EXPECT_EQ(letters.status, 16);
    EXPECT_TRUE(letters.says("line read: 2 1 1 eight Program terminates"));
}
