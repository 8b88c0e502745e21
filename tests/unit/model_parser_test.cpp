#include "model/model_parser.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "model/records.h"
#include "run/directives.h"
#include "run/listing.h"
#include "run/units.h"

using namespace kve;

namespace {

READS(MODEL);
READS(KVEINT);
WRITES(DIRECTIVES);
WRITES(UNITS);

using Ints = std::vector<int32_t>;

template <class T>
std::vector<T> values(const Vec<T>& array) {
    return std::vector<T>(array.begin(), array.end());
}

Ints flags(const auto& array) {
    Ints all;
    for (auto flag : array) all.push_back(flag ? 1 : 0);
    return all;
}

std::string folded(const std::string& text) {
    std::istringstream words(text);
    std::string all, word;
    while (words >> word) all += (all.empty() ? "" : " ") + word;
    return all;
}

// Two Gaussian traits; the second has a weight and a nested regression. Cases replace single lines.
struct ModelText {
    std::string count = "2";
    std::string absorb_1 = "0", absorb_2 = "0";
    std::string model_1 = "1 0 3 1 2 3", model_2 = "2 3 2 1 3";
    std::string random_1 = "1 1", random_2 = "1 2";
    std::string regression_1 = "1 6", regression_2 = "2 4(1 2)";
    std::string zero = "0";

    std::string text() const {
        std::string all;
        for (auto* line : {&count, &absorb_1, &absorb_2, &model_1, &model_2, &random_1, &random_2,
                           &regression_1, &regression_2, &zero})
            all += *line + "\n";
        return all;
    }
};

class ModelParser : public testing::Test {
 protected:
    ModelParser()
        : folder_(std::filesystem::temp_directory_path() /
                  ("model_parser_" + std::to_string(getpid()))) {
        std::filesystem::create_directories(folder_);
        std::filesystem::current_path(folder_);
        DIRECTIVES.ITASK = 1;
        DIRECTIVES.reduce_file = "";
        DIRECTIVES.NI = 6;
        DIRECTIVES.NR = 8;
        static_cast<void>(DIRECTIVES.NAME_I.allocate(7));
        static_cast<void>(DIRECTIVES.NAME_R.allocate(8));
        DIRECTIVES.NAME_I(0) = "Mu";
        const char* digits = "012345678";
        for (int k = 1; k <= 6; ++k) DIRECTIVES.NAME_I(k) = std::string{'i', digits[k]};
        for (int k = 1; k <= 8; ++k) DIRECTIVES.NAME_R(k) = std::string{'r', digits[k]};
        DIRECTIVES.NAME_I(3) = "longname";
    }
    ~ModelParser() override {
        std::filesystem::current_path("/");
        std::filesystem::remove_all(folder_);
    }

    void parse_text(const std::string& text) {
        std::ofstream("model.txt") << text;
        ASSERT_EQ(UNITS.unit_15.open("model.txt"), 0);
        state::KVEINT = ModelCounts();
        parse_model();
        ASSERT_EQ(flush_log(), 0);
    }
    void parse(const ModelText& model) { parse_text(model.text()); }

    // The run must end with status 16; gives the log.
    std::string refused_text(const std::string& text) {
        EXPECT_EXIT(parse_text(text), testing::ExitedWithCode(16), "") << text;
        return log();
    }
    std::string refused(const ModelText& model) { return refused_text(model.text()); }

    static std::string raw_log() {
        std::ostringstream all;
        all << std::ifstream("KVE_LOG").rdbuf();
        return all.str();
    }
    static std::string log() { return folded(raw_log()); }

 private:
    std::filesystem::path folder_;
};

void expect_holds(const std::string& log, const std::string& text) {
    EXPECT_NE(log.find(text), std::string::npos) << text << "\n  in: " << log;
}

void expect_says(const std::string& log, const std::string& text) {
    expect_holds(log, folded(text));
}

TEST_F(ModelParser, WholeModel) {
    parse({});
    const Model &first = MODEL(1), &second = MODEL(2);
    EXPECT_EQ(KVEINT.nt, 2);
    EXPECT_EQ(KVEINT.NGaussTraits, 2);
    EXPECT_EQ(KVEINT.N_CONT_TRAITS, 2);
    EXPECT_EQ(KVEINT.N_THRESH_TRAITS, 0);
    EXPECT_EQ(KVEINT.MAX_N_EF, 3);
    EXPECT_EQ(KVEINT.MAX_N_FIXED, 2);
    EXPECT_EQ(KVEINT.MAX_N_RANDOM, 1);
    EXPECT_EQ(KVEINT.NRAMAT, 2);
    EXPECT_EQ(KVEINT.N_REG_TOTAL, 3);
    EXPECT_EQ(KVEINT.MAX_N_REG, 2);
    EXPECT_EQ(KVEINT.MAX_N_DIF_REG, 1);

    EXPECT_EQ(first.trait_type, kGaussian);
    EXPECT_EQ(values(first.f_ef_inp), (Ints{1, 2}));
    EXPECT_EQ(values(first.f_ef_rci), (Ints{1, 2}));
    EXPECT_EQ(values(second.f_ef_rci), (Ints{3}));
    EXPECT_EQ(first.f_ef_name(2).view(), "i2");
    EXPECT_EQ(first.f_ef_coeff(2), 1.0F);
    EXPECT_EQ(values(second.r_ef_inp), (Ints{3}));
    EXPECT_EQ(second.r_ef_no(1), 2);
    EXPECT_EQ(second.r_ef_name(1).view(), "longname");

    // Columns of the recoded real record: covariables 4 and 6, the traits, the weight.
    EXPECT_EQ(values(KVEINT.ColRegInInpAllTraitsHelp), (Ints{4, 6}));
    EXPECT_EQ(values(first.reg_rci), (Ints{2}));
    EXPECT_EQ(values(second.reg_rci), (Ints{1, 1}));
    EXPECT_EQ(first.trait_rci, 3);
    EXPECT_EQ(second.trait_rci, 4);
    EXPECT_EQ(first.wgt_rci, 0);
    EXPECT_EQ(second.wgt_rci, 5);
    EXPECT_EQ(second.wgt_name.view(), "r3");
    EXPECT_EQ(second.trait_name.view(), "r2");

    EXPECT_EQ(values(second.reg_type), (Ints{kNestedInFixed, kNestedInRandom}));
    EXPECT_EQ(values(second.reg_n_inp), (Ints{1, 3}));
    EXPECT_EQ(values(second.reg_r_matno), (Ints{0, 2}));
    EXPECT_EQ(values(second.n_times), (Ints{2}));
    EXPECT_EQ(first.reg_name_n(1).view(), "r6");
    EXPECT_EQ(second.reg_name_n(2).view(), "r4(longname)");
    EXPECT_EQ(Ints({first.n_f_reg, first.n_f_o_reg, first.n_f_n_reg, first.n_r_n_reg}),
              (Ints{1, 1, 0, 0}));
    EXPECT_EQ(Ints({second.n_f_reg, second.n_f_o_reg, second.n_f_n_reg, second.n_r_n_reg}),
              (Ints{1, 0, 1, 1}));
}

TEST_F(ModelParser, NumberOfTraits) {
    std::string body;
    for (const char* line : {"0\n", "1 0 0\n", "0\n", "0\n"})
        for (int i = 1; i <= 31; ++i) body += line;
    parse_text("31\n" + body + "0\n");
    EXPECT_EQ(KVEINT.nt, 31);
    parse_text("31 31 0 0\n" + body + "0\n");
    EXPECT_EQ(KVEINT.nt, 31);
    for (const char* count : {"32", "0", "-1"})
        expect_says(refused({.count = count}), "Problem:------> No of traits out of bounds.");
    for (const char* count : {"x", "2.0", "2*1"})
        expect_says(refused({.count = count}), "ERROR - Reading line with number of traits");
    expect_says(refused_text(""), "ERROR - Reading line with number of traits");
}

TEST_F(ModelParser, TraitClassesStandInTheirOrder) {
    DIRECTIVES.ITASK = 2;
    ModelText model{.count = "2 1\n\n 0,0\n1", .model_2 = "2 0 2 1 3"};
    parse(model);
    EXPECT_EQ(MODEL(1).trait_type, kGaussian);
    EXPECT_EQ(MODEL(2).trait_type, kBinary);
    expect_says(log(),
                "models of Gaussian traits 1 0 3 1 2 3 Trait,weight and classification "
                "effect in models of Binary traits 2 0 2 1 3");
    model.count = "2 0 0 1 1";
    parse(model);
    EXPECT_EQ(MODEL(1).trait_type, kCategorical);
    expect_says(log(), "Number of categories for Categorical Traits with 3 or more categories");
    for (const char* count : {"2 1 0 0 2", "2 2 -1 0 1"})
        expect_says(refused({.count = count}),
                    "nt /= NGaussTraits+NRightCensTraits+NCatTraits+NBinTraits");
    // Only Gaussian traits take weights.
    expect_says(refused({.count = "2 1 1 0 0"}),
                "A weight variable has been assigned to trait 2 Trait 2 is a Right censored");
}

TEST_F(ModelParser, AbsorbedEffectsAgreeAcrossTraits) {
    DIRECTIVES.ITASK = 12;
    parse({.absorb_1 = "1 2", .absorb_2 = "3 2\n0 5"});
    EXPECT_EQ(KVEINT.MAX_N_ABSORB, 3);
    EXPECT_EQ(values(MODEL(2).a_ef_inp), (Ints{2, 0, 5}));
    EXPECT_EQ(values(MODEL(2).a_ef_rci), (Ints{1, 2, 3}));
    EXPECT_EQ(MODEL(2).a_ef_name(2).view(), "Mu");
    parse({.absorb_1 = "1 /", .absorb_2 = "2 4,,"});
    EXPECT_EQ(values(MODEL(1).a_ef_inp), (Ints{0}));
    EXPECT_EQ(values(MODEL(2).a_ef_inp), (Ints{4, 0}));
    expect_says(refused({.absorb_1 = "2 2 4", .absorb_2 = "2 2 5"}),
                "ERROR - Effects to be absorbed (solved by GS) are not consistent across traits");
    for (const char* line : {"-1", "1 7", "1 -1", "1 x", "2000000000 /", "2000000000 1 1"})
        expect_says(refused({.absorb_1 = line}), "ERROR - Reading line with effects to absorbe");
    DIRECTIVES.ITASK = 11;
    expect_says(refused({.absorb_1 = "1 2"}), "ABSORPTION NOT ALLOWED FOR THIS TASK");
}

TEST_F(ModelParser, EffectItems) {
    struct Case {
        const char* line;
        Ints ef_inp, intercept;
    };
    for (const Case& c : std::vector<Case>{
             {"1 0 3 2 3[2]", {2, 3, 3}, {1, 1, 1}},
             {"1 0 2 2(NOINT) 3", {2, 3}, {0, 1}},
             {"1 0 3 4( 0 )[2] 1", {4, 4, 1}, {0, 0, 1}},
             {"1 0 3 4 (noint) [2]1", {4, 4, 1}, {0, 0, 1}},
             {"1 0 2 4(xyz) 0(0 1(x)", {4, 0}, {1, 1}},
             {"1 0 2 3 [2](0)", {3, 3}, {1, 1}},
             {"1 0 2 3[0] 4[-5] 5 6", {3, 4}, {1, 1}},
             {"\t1,0 x 2\t6 5\t7 junk\r", {6, 5}, {1, 1}},
         }) {
        parse({.model_1 = c.line, .random_1 = "0"});
        EXPECT_EQ(values(MODEL(1).ef_inp), c.ef_inp) << c.line;
        EXPECT_EQ(flags(MODEL(1).intercept), c.intercept) << c.line;
        EXPECT_EQ(flags(MODEL(1).f_intercept), c.intercept) << c.line;
    }
    parse({.model_1 = "9 -4 0", .random_1 = "0"});
    EXPECT_EQ(MODEL(1).n_ef, 0);
    EXPECT_TRUE(MODEL(1).trait_name.blank());
    EXPECT_EQ(KVEINT.N_WGT_TRAITS, 2);
}

TEST_F(ModelParser, RefusedModelLines) {
    struct Case {
        const char *line, *message;
    };
    for (const Case& c : std::vector<Case>{
             {"", "ERROR - Reading model line for trait 1 Line read:"},
             {"1", "ERROR - Reading model line for trait 1 Line read: 1"},
             {"1 0", "ERROR - Reading model line for trait 1 Line read: 1 0"},
             {"1 x 2", "ERROR - Reading model line for trait 1 Line read: 1 x 2"},
             {"1 0 1 4[2](0)", "effect: 1 spefifications in '()' must come before '[]'"},
             {"1 0 3 1 2",
              "ERROR - Reading model line for trait 1 Integer input no. for effect: 3"},
             {"1 0 1000000000 1 2", "Integer input no. for effect: 3"},
             {"1 0 2 (0) 2", "Integer input no. for effect: 1"},
             {"1 0 2 1 7", "Integer input no. for effect: 2 is: 7 Legal value is 0 to no."},
             {"1 0 2 1 -1", "Integer input no. for effect: 2 is: -1"},
             {"1 0 2 1(0 2", "Closing bracket not found for effect 1"},
             {"1 0 2 1[2", "\"[\" specified, but no \"]\" found"},
             {"1 0 3 1 2[3]",
              "ERROR - Reading model line for trait 1 Integer input no. for effect: 2"},
             {"1 0 2 1[2147483647]", "Integer input no. for effect: 1"},
             {"1 0 2147483647 1[2147483647]",
              "ERROR - Allocating memeory for level 3 of the model structure Error code from "
              "allocate is : 1"},
             {"1 0 -1", "specified no. of random effects: 1 specified no. of effects in total: -1"},
         })
        expect_says(refused({.model_1 = c.line}), c.message);
    for (const char* line : {"1 0 2 1[x]", "1 0 2 1[]"})
        EXPECT_EXIT(parse({.model_1 = line}), testing::ExitedWithCode(16), "");
    expect_says(refused_text("1\n0\n"), "ERROR - Reading model line for trait 1 Line read:");
}

TEST_F(ModelParser, RandomItems) {
    struct Case {
        const char* line;
        Ints matno;
        std::vector<float> coeff;
        Ints merge;
    };
    for (const Case& c : std::vector<Case>{
             {"2 1 2 # 3", {1, 2}, {1, 1}, {0, 0}},
             {"2 1 2 ! 3 # 4", {1, 2}, {1, 1}, {0, 0}},
             {"2 1+2", {1, 2}, {1, 1}, {0, 1}},
             {"2 + 1 2 +", {1, 2}, {1, 1}, {1, 0}},
             {"2 1(0.5)2", {1, 2}, {0.5F, 1}, {0, 0}},
             {"3 2[3]", {2, 2, 2}, {1, 1, 1}, {0, 0, 0}},
             {"3 2 ( 0.1 ) [ 3 ,+ ]", {2, 2, 2}, {0.1F, 0.1F, 0.1F}, {0, 1, 1}},
             {"3 2[2](-1.5d0)1[0]", {2, 2, 1}, {1, -1.5F, 1}, {0, 0, 0}},
             {"1 7", {7}, {1}, {0}},
             {"0 what ever", {}, {}, {}},
         }) {
        parse({.random_1 = c.line});
        const Model& m = MODEL(1);
        EXPECT_EQ(values(m.r_ef_matno), c.matno) << c.line;
        EXPECT_EQ(values(m.r_ef_coeff), c.coeff) << c.line;
        EXPECT_EQ(flags(m.merge_prev), c.merge) << c.line;
        EXPECT_EQ(m.n_fixed, 3 - m.n_random) << c.line;
        EXPECT_EQ(KVEINT.NRAMAT, std::max(m.n_random > 0 ? c.matno[0] : 0, 2)) << c.line;
    }
    parse({.model_1 = "1 0 3 1(0) 2 3(0)", .random_1 = "1 1"});
    EXPECT_EQ(flags(MODEL(1).f_intercept), (Ints{0, 1}));
    EXPECT_EQ(flags(MODEL(1).r_intercept), (Ints{0}));
}

// "[n,+]" leaves its option behind for every later "[n]"; a new run begins without.
TEST_F(ModelParser, MergeOptionStays) {
    parse({.random_1 = "2 1[2,+]", .random_2 = "2 2[2]"});
    EXPECT_EQ(flags(MODEL(2).merge_prev), (Ints{0, 1}));
    parse({.random_1 = "2 1[2]", .random_2 = "2 2[2]"});
    EXPECT_EQ(flags(MODEL(2).merge_prev), (Ints{0, 0}));
}

TEST_F(ModelParser, RefusedRandomLines) {
    struct Case {
        const char *line, *message;
    };
    for (const Case& c : std::vector<Case>{
             {"", "ERROR - Reading no. of random effects for trait 1 Input read:"},
             {"4 1 1 1 1", "ERROR - reading specification of randomfactores for trait no. 1"},
             {"-1", "specified no. of random effects: -1 specified no. of effects in total: 3"},
             {"2 1 2 3", "Number specified: 2 but effect specification includes: 3"},
             {"2 1", "but effect specification includes: 1 Input read: 2 1"},
             {"2 1,2", "but effect specification includes: 1"},
             {"1 1[2000000000]", "but effect specification includes: 2000000000"},
             {"2 {1:2}", "but effect specification includes: 4"},
             {"1 {1:1}", "but effect specification includes: 2"},
             {"2 1 {-2000000000:2000000000}", "but effect specification includes: 4000000002"},
             {"2 1{2:1}", "but effect specification includes: 1"},
             {"1 0", "ERROR - Reading no. of random effect 1 for trait 1 Input read: 1 0"},
             {"2 1 x", "ERROR - Reading no. of random effect 2 for trait 1"},
             {"1 1(2", "Starting brackets '(' found, but no closing brackets ')' found"},
             {"1 1(x)", "specified between '(' and')' for trait 1 random effect 1"},
             {"1 (2)1", "specified between '(' and')' for trait 1 random effect 0"},
             {"2 3[2", "Starting bracket '[' found, but no closing bracket ']' found"},
             {"2 3[2,x]",
              "ERROR - Reading merge option ('+') for multiple random effects for "
              "trait 1 random factor 3"},
             {"2 3[x]",
              "ERROR - Reading number of random effects in factor for trait 1 random "
              "factor 3"},
             {"2 [2]",
              "ERROR - Reading number of random effects in factor for trait 1 random "
              "factor 0"},
             {"2 {1:2", "Starting brackets '{' found, but no closing brackets '}' found"},
             {"2 {1 2}", "No ':' as separator in list specification"},
             {"2 {a:b}", "ERROR - Reading 1'st random effect no. in list for trait 1"},
             {"2 {1:b}", "ERROR - Reading last random effect no. in list for trait 1"},
         })
        expect_says(refused({.random_1 = c.line}), c.message);
    expect_says(refused_text("1\n0\n1 0 1 1\n"),
                "ERROR - Reading random line for trait 1 Line read:");
}

TEST_F(ModelParser, ReducedRank) {
    auto reduce = [&](const std::string& text, const ModelText& model) {
        std::ofstream("KVE1.reduce") << text;
        ASSERT_EQ(UNITS.unit_16.open("KVE1.reduce"), 0);
        parse(model);
    };
    // Without $REDUCE a file left in the folder counts for nothing.
    reduce("1 2\n1\n", {.random_1 = "2 1 1"});
    EXPECT_EQ(values(MODEL(1).reduce), (Ints{0, 0, 0}));
    DIRECTIVES.reduce_file = "KVE1.reduce";
    reduce("1\n\n2 9 9\n3\n", {.random_1 = "2 1 1"});
    EXPECT_EQ(values(MODEL(1).reduce), (Ints{0, 1, 2}));
    EXPECT_EQ(values(MODEL(2).reduce), (Ints{0, 3}));
    reduce("0\n3\n", {.random_1 = "0"});
    EXPECT_EQ(values(MODEL(2).reduce), (Ints{0, 3}));
    reduce("2\n", {.random_2 = "0", .regression_2 = "0"});
    EXPECT_EQ(values(MODEL(1).reduce), (Ints{0, 0, 2}));
    EXPECT_EXIT(reduce("1\n", {.random_1 = "2 1 1"}), testing::ExitedWithCode(16), "");
    expect_says(log(),
                "ERROR - reading description of rank reduction for trait 1 expect 2 integer");
}

TEST_F(ModelParser, RegressionItems) {
    struct Case {
        const char* line;
        Ints reg_inp, effect, level;
    };
    for (const Case& c : std::vector<Case>{
             {"3 2(1 2 3)", {2, 2, 2}, {1, 2, 3}, {0, 0, 0}},
             {"2 2 2(1)", {2, 2}, {0, 1}, {0, 0}},
             {"4 [3:6,1]", {3, 4, 5, 6}, {1, 1, 1, 1}, {1, 1, 1, 1}},
             {"4 [3:6,1,L]", {3, 4, 5, 6}, {1, 1, 1, 1}, {1, 2, 3, 4}},
             {"3 [1:2] 7 8() [ 3 : 4 , 0 , L ] junk", {7, 3, 4}, {0, 0, 0}, {0, 1, 2}},
             {"2 1(1,2)2(0 )", {1, 2}, {1, 0}, {0, 0}},
             {"1 3/", {3}, {0}, {0}},
         }) {
        std::string line = c.line;
        // A "/" at the end asks for another line; of the two only the last one is taken apart.
        if (line.ends_with('/')) line = "1 8 /\n9 3";
        parse({.regression_1 = line});
        EXPECT_EQ(values(MODEL(1).reg_inp), c.reg_inp) << c.line;
        EXPECT_EQ(values(MODEL(1).reg_n_ef_no), c.effect) << c.line;
        EXPECT_EQ(values(MODEL(1).reg_n_level), c.level) << c.line;
    }
}

// Whether a third line follows is told by the echo at the length of the second one.
TEST_F(ModelParser, ContinuedRegressionLine) {
    // The echo is "1 8   2 3 /"; at the length of "2 3 /", 5, it has a blank.
    parse({.regression_1 = "1 8 /\n2 3 /"});
    EXPECT_EQ(values(MODEL(1).reg_inp), (Ints{3}));
    // A second line as long as the echo's first "/" inside it goes on.
    parse({.regression_1 = "1 /8/\n2 /\n2 5"});
    EXPECT_EQ(values(MODEL(1).reg_inp), (Ints{5}));
    expect_says(refused_text("1\n0\n1 0 1 1\n0\n1 8 /\n"),
                "ERROR - reading line descriping regressions for trait 1 3 IOSTATUS= -1");
    expect_says(refused_text("1\n0\n1 0 1 1\n0\n"), "for trait 1 1 IOSTATUS= -1");
}

TEST_F(ModelParser, RefusedRegressionLines) {
    struct Case {
        const char *line, *message;
    };
    for (const Case& c : std::vector<Case>{
             {"-2 1", "regressions specified: -2 Number of covariables found: 0"},
             {"2 1",
              "ERROR - Reading covariable input Trait 1 Regression no 2 Input read: 2 1 ERROR "
              "- In specification of regressions Trait 1 Total number of regressions "
              "specified: 2 Number of covariables found: 1"},
             {"4 [3:6]", "specified: 4 Number of covariables found: 0"},
             {"1 3(1 2)", "specified: 1 Number of covariables found: 2"},
             {"2 [1:2000000000,1]", "Number of covariables found: 2000000000"},
             {"2147483647 [1:2147483647,1]", "Regression no 9"},
             {"1000000000 1", "Number of covariables found: 1"},
             {"2 1 9", "ERROR - Reading covariable input Trait 1 Regression no 2"},
             {"1 0(1)", "ERROR - Reading covariable input Trait 1 Regression no 1"},
             {"5 [6:10,1]", "ERROR - Reading covariable input Trait 1 Regression no 4"},
             {"1 [-1:-1,1]", "ERROR - Reading covariable input Trait 1 Regression no 1"},
             {"1 x", "ERROR - Reading covariable input Trait 1 Regression no 1"},
             {"1 (1)", "ERROR - Reading covariable input Trait 1 Regression no 1"},
             {"1 3(1", "No closing bracket ')' in specification of nesting"},
             {"2 3(1  2)", "ERROR - Reading effect number for nesting Trait 1 Regression no 2"},
             {"2 3( 1)", "ERROR - Reading effect number for nesting Trait 1 Regression no 1"},
             {"2 [1:2,1", "No closing bracket ']' in specificatio Input read: 2 [1:2,1"},
             {"2 [1,2]", "No ':' to separate 1'st and last covariable input no."},
             {"2 [a:2,1]", "ERROR - Reading 1'st covariable input no. within '[]' Trait 1"},
             {"2 [1:b,1]", "ERROR - Reading last covariable input no. within '[]' Trait 1"},
             {"2 [2:1,1]", "1'st input no. 2 > last input no. 1"},
             {"2 [1:2,e]", "ERROR - Reading effect for nesting within '[]' Trait 1"},
             {"2 [1:2,1,l]", "ERROR - Reading additional options for specification of nested"},
             {"2 [1:2,1,LL]", "ERROR - Reading additional options for specification of nested"},
         })
        expect_says(refused({.regression_1 = c.line}), c.message);
}

TEST_F(ModelParser, NestingOutsideTheEffectsOnlyWarns) {
    parse({.regression_1 = "3 2(4) 3(-1) 4"});
    expect_says(log(),
                "ERROR : Submodel no. 1 Nesting of a regression is not within a fixed or "
                "random effect Specified effect no. for nesting : 4");
    EXPECT_EQ(values(MODEL(1).reg_n_ef_no), (Ints{4, -1, 0}));
    EXPECT_EQ(values(MODEL(1).reg_type), (Ints{0, 0, 0}));
    EXPECT_EQ(MODEL(1).n_f_reg, 1);
    EXPECT_EQ(MODEL(1).n_f_o_reg, 1);
}

TEST_F(ModelParser, OrderOfRegressions) {
    parse({.regression_1 = "2 2 2(1)"});
    EXPECT_EQ(log().find("A general regression"), std::string::npos);
    parse({.regression_1 = "2 2(1) 2"});
    expect_says(log(),
                "A general regression for a regression variable was not specified before "
                "nested regressions of trait i= 1 nreg(i), (regef(i,k),k=1,nreg(i)): 2 2 2 "
                "nreg(i), (n_regefno(i,k),k=1,nreg(i)): 2 1 0");
    parse({.regression_1 = "13 2 2 2 2 2 2 2 2 2 2 2 2 2"});
    int warnings = 0;
    std::string told = log();
    for (std::size_t at = 0; (at = told.find("A general regression", at)) != told.npos; ++at)
        ++warnings;
    EXPECT_EQ(warnings, 12);
    // More groups than columns: each regression has its column's place all the same.
    parse({.regression_1 = "5 5 2(1) 5(1) 2(2) 2(3)"});
    expect_says(log(),
                "For trait i= 1 you hav not fully specified nesting of at least one "
                "regression variable before another 5 5 2 5 2 2");
    EXPECT_EQ(MODEL(1).n_dif_reg, 2);
    EXPECT_EQ(values(MODEL(1).n_times), (Ints{1, 1}));
    EXPECT_EQ(values(KVEINT.ColRegInInpAllTraitsHelp), (Ints{2, 4, 5}));
    EXPECT_EQ(values(MODEL(1).reg_rci), (Ints{3, 1, 3, 1, 1}));
}

TEST_F(ModelParser, ZeroResidualCovariances) {
    parse({.zero = "1\n\n2\n1"});
    EXPECT_TRUE(KVEINT.LogicalZeroEltR0(1, 2) && KVEINT.LogicalZeroEltR0(2, 1));
    EXPECT_FALSE(KVEINT.LogicalZeroEltR0(1, 1));
    EXPECT_EQ(KVEINT.NORCOV(1, 1), 2);
    EXPECT_EQ(KVEINT.NORCOV(2, 1), 1);
    EXPECT_EQ(KVEINT.NORCOV.columns(), 3);
    EXPECT_EQ(log().find("OUT OF BOUNDS"), std::string::npos);
    // Out of bounds only warns: what the text holds is taken.
    parse({.zero = "4\n1 1\n1 2\n1 2\n2 1"});
    expect_says(log(), "ERROR-NO OF ZERO RESIDUAL COVARIANCES OUT OF BOUNDS");
    EXPECT_TRUE(KVEINT.LogicalZeroEltR0(1, 1));
    EXPECT_EQ(KVEINT.NORCOV(1, 4), 2);
    parse({.zero = "-3"});
    expect_says(log(), "ERROR-NO OF ZERO RESIDUAL COVARIANCES OUT OF BOUNDS");

    expect_says(refused({.zero = "2000000000\n1 2"}),
                "ERROR - reading line 2 with residual covariances assumed Zero");
    expect_says(refused({.zero = ""}), "ERROR - reading line with no. of residual covariances");
    expect_says(refused({.zero = "2\n1 3\n0 1"}),
                "1 3 0 1 ERROR-ILLEGAL TRAIT NO IN ZERO COVARIANCES");
}

TEST_F(ModelParser, BinaryTraitsOnTheLiabilityScaleAreIndependent) {
    DIRECTIVES.ITASK = 8;
    ModelText model{.count = "2 0 0 0 2", .model_2 = "2 0 2 1 3", .zero = "1\n1 2"};
    parse(model);
    EXPECT_TRUE(KVEINT.L_INDEP_BIN_RESIDUALS);
    model.zero = "0";
    expect_says(refused(model), "of binary traits, ie of trait 1 and of trait 2 Not able yet");
    model.count = "2 1 0 0 1";
    parse(model);
    EXPECT_TRUE(KVEINT.L_INDEP_BIN_RESIDUALS);
}

// Text beyond the line buffer is lost; an echo has fifteen numbers a line, five columns each.
TEST_F(ModelParser, LongLinesAndEchoes) {
    DIRECTIVES.ITASK = 12;
    std::string blanks(16384 - 7, ' ');
    expect_says(refused({.model_1 = "1 0 2 3" + blanks + "4"}), "no. for effect: 2");
    DIRECTIVES.NI = 123456;
    parse({.absorb_1 = "17 123456 1 2 3 4 5 6 7 8 9 10 11 12 13 14 123456 6"});
    std::string first = "\n    17 123456";
    for (const char* k : {"1", "2", "3", "4", "5", "6", "7", "8", "9"})
        first += std::string("    ") + k;
    expect_holds(raw_log(), first + "   10   11   12   13\n    14 123456    6\n");
}

}  // namespace
