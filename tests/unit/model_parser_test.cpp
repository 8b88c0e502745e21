#include "model/model_parser.h"

#include "model_builder.h"

using namespace kve;

namespace {

using state::DIRECTIVES, state::UNITS;

// Two Gaussian traits; the second has a weight and a nested regression. Cases replace single lines.
enum Line { count, absorb_1, absorb_2, model_1, model_2, random_1, random_2, reg_1, reg_2, zero };
using Replaced = std::map<Line, std::string>;
const Replaced kModel = {
    {count, "2"},           {absorb_1, "0"},   {absorb_2, "0"},   {model_1, "1 0 3 1 2 3"},
    {model_2, "2 3 2 1 3"}, {random_1, "1 1"}, {random_2, "1 2"}, {reg_1, "1 6"},
    {reg_2, "2 4(1 2)"},    {zero, "0"}};
using Cases = std::vector<std::pair<std::string, std::string>>;

class ModelParser : public ModelTest {
 protected:
    ModelParser() {
        name_columns();
        DIRECTIVES.ITASK = 1;
        DIRECTIVES.NAME_I(3) = "longname";
    }

    static void parse_text(const std::string& text) {
        std::ofstream("model.txt") << text;
        ASSERT_EQ(UNITS.model_text.open("model.txt"), 0);
        state::KVEINT = ModelCounts();
        parse_model();
        ASSERT_EQ(flush_log(), 0);
    }
    static std::string text(Replaced lines) {
        lines.insert(kModel.begin(), kModel.end());
        std::string all;
        for (const auto& [line, words] : lines) all += words + "\n";
        return all;
    }
    static void parse(const Replaced& lines) { parse_text(text(lines)); }
    // Cases of one line: what it leaves in the first trait's record.
    static void parses(Line line, const Cases& cases, Replaced others = {}) {
        for (const auto& [words, fields] : cases) {
            others[line] = words;
            parse(others);
            expect_fields({"MODEL(1): " + fields}, words);
        }
    }

    static void says(const std::string& words) {
        const std::string log = std::regex_replace(content_of("KVE_LOG"), std::regex("\\s+"), " ");
        EXPECT_NE(log.find(words), log.npos) << words << "\n  in: " << log;
    }
    // The run must end with status 16 and these words in the log.
    static void refuses_text(const std::string& text, const std::string& words) {
        EXPECT_EXIT(parse_text(text), testing::ExitedWithCode(16), "") << text;
        says(words);
    }
    static void refuses(Line line, const Cases& cases) {
        for (const auto& [words, message] : cases) refuses_text(text({{line, words}}), message);
    }
};

TEST_F(ModelParser, WholeModel) {
    parse({{count, "2 2 0 0"}});  // the numbers of the classes count in other tasks
    expect_fields(
        {"KVEINT: nt 2; NGaussTraits 2; N_CONT_TRAITS 2; N_THRESH_TRAITS 0; NRAMAT 2; MAX_N_EF 3; "
         "MAX_N_FIXED 2; MAX_N_RANDOM 1; MAX_N_REG 2; MAX_N_DIF_REG 1; N_REG_TOTAL 3; "
         "ColRegInInpAllTraitsHelp 4 6",
         // Columns of the recoded real record: covariables 4 and 6, the traits, the weight.
         "MODEL(1): trait_type 1; trait_rci 3; wgt_rci 0; n_f_reg 1; n_f_o_reg 1; n_f_n_reg 0; "
         "n_r_n_reg 0; f_ef_inp 1 2; f_ef_name 'I1' 'I2'; f_ef_rci 1 2; f_ef_coeff 1 1; reg_rci 2; "
         "reg_name_n 'R6'",
         "MODEL(2): trait_name 'R2'; trait_rci 4; wgt_name 'R3'; wgt_rci 5; n_f_reg 1; "
         "n_f_o_reg 0; n_f_n_reg 1; n_r_n_reg 1; f_ef_rci 3; r_ef_no 2; r_ef_inp 3; "
         "r_ef_name 'longname'; reg_type 1 2; reg_rci 1 1; n_times 2; reg_n_inp 1 3; "
         "reg_name_n 'R4(I1)' 'R4(longname)'; reg_r_matno 0 2"});
}

TEST_F(ModelParser, RefusedNumbersOfTraits) {
    for (const char* number : {"32", "0"})
        refuses(count, {{number, "Problem:------> No of traits out of bounds."}});
    for (const char* text : {"x\n", "2.0\n", "2*1\n", ""})
        refuses_text(text, "ERROR - Reading line with number of traits");
}

TEST_F(ModelParser, TraitClassesStandInTheirOrder) {
    DIRECTIVES.ITASK = 2;
    Replaced model{{count, "2 1\n\n 0,0\n1"}, {model_2, "2 0 2 1 3"}};
    parse(model);
    says(
        "models of Gaussian traits 1 0 3 1 2 3 Trait,weight and classification "
        "effect in models of Binary traits 2 0 2 1 3");
    model[count] = "2 0 0 1 1";
    parse(model);
    says("Number of categories for Categorical Traits with 3 or more categories");
    const char* sum = "nt /= NGaussTraits+NRightCensTraits+NCatTraits+NBinTraits";
    refuses(count,
            {{"2 1 0 0 2", sum},
             {"2 2 -1 0 1", sum},
             // Only Gaussian traits take weights.
             {"2 1 1 0 0",
              "A weight variable has been assigned to trait 2 Trait 2 is a Right censored"}});
}

TEST_F(ModelParser, AbsorbedEffectsAgreeAcrossTraits) {
    DIRECTIVES.ITASK = 12;
    parse({{absorb_1, "1 2"}, {absorb_2, "3 2\n0 5"}});
    expect_fields({"KVEINT: MAX_N_ABSORB 3",
                   "MODEL(2): a_ef_inp 2 0 5; a_ef_name 'I2' 'Mu' 'I5'; a_ef_rci 1 2 3"});
    parse({{absorb_1, "1 /"}, {absorb_2, "2 4,,"}});
    expect_fields({"MODEL(1): a_ef_inp 0", "MODEL(2): a_ef_inp 4 0"});
    refuses_text(text({{absorb_1, "2 2 4"}, {absorb_2, "2 2 5"}}),
                 "ERROR - Effects to be absorbed (solved by GS) are not consistent across traits");
    for (const char* line : {"-1", "1 10", "1 -1", "1 x", "2000000000 /", "2000000000 1 1"})
        refuses(absorb_1, {{line, "ERROR - Reading line with effects to absorbe"}});
    DIRECTIVES.ITASK = 11;
    refuses(absorb_1, {{"1 2", "ABSORPTION NOT ALLOWED FOR THIS TASK"}});
}

TEST_F(ModelParser, EffectItems) {
    parses(model_1,
           {{"1 0 3 2 3[2]", "ef_inp 2 3 3; intercept T T T"},
            {"1 0 2 2(NOINT) 3", "ef_inp 2 3; intercept F T; f_intercept F T"},
            {"1 0 3 4( 0 )[2] 1", "ef_inp 4 4 1; intercept F F T"},
            {"1 0 3 4 (noint) [2]1", "ef_inp 4 4 1; intercept F F T"},
            // 25 characters of an option count.
            {"1 0 1 4(NOINT" + std::string(20, ' ') + "x)", "intercept F"},
            {"1 0 1 4(NOINT" + std::string(19, ' ') + "x)", "intercept T"},
            {"1 0 2 4(xyz) 0(0 1(x)", "ef_inp 4 0; intercept T T"},
            {"1 0 2 3 [2](0)", "ef_inp 3 3; intercept T T"},
            {"1 0 2 3[0] 4[-5] 5 6", "ef_inp 3 4; intercept T T"},
            {"\t1,0 x 2\t6 5\t7 junk\r", "ef_inp 6 5; intercept T T"},
            {"10 -4 0", "n_ef 0; trait_name ''"}},
           {{random_1, "0"}});
    expect_fields({"KVEINT: N_WGT_TRAITS 2"});
    parses(model_1, {{"1 0 3 1(0) 2 3(0)", "f_intercept F T; r_intercept F"}});
}

TEST_F(ModelParser, RefusedModelLines) {
    refuses(
        model_1,
        {{"", "ERROR - Reading model line for trait 1 Line read:"},
         {"1 0", "ERROR - Reading model line for trait 1 Line read: 1 0"},
         {"1 x 2", "ERROR - Reading model line for trait 1 Line read: 1 x 2"},
         {"1 0 1 4[2](0)", "effect: 1 spefifications in '()' must come before '[]'"},
         {"1 0 1000000000 1 2", "model line for trait 1 Integer input no. for effect: 3"},
         {"1 0 2 1 10", "Integer input no. for effect: 2 is: 10 Legal value is 0 to no."},
         {"1 0 2 1 -1", "Integer input no. for effect: 2 is: -1"},
         {"1 0 2 1(0 2", "Closing bracket not found for effect 1"},
         {"1 0 2 1[2", "\"[\" specified, but no \"]\" found"},
         {"1 0 3 1 2[3]", "Integer input no. for effect: 2"},
         {"1 0 2 1[2147483647]", "Integer input no. for effect: 1"},
         {"1 0 2147483647 1[2147483647]",
          "ERROR - Allocating memeory for level 3 of the model structure Error code from "
          "allocate is : 1"},
         {"1 0 -1", "specified no. of random effects: 1 specified no. of effects in total: -1"}});
    for (const char* line : {"1 0 2 1[x]", "1 0 2 1[]"})
        EXPECT_STOP(parse({{model_1, line}}), "\\$MODEL: cannot read the count in \\[ \\] from:");
    refuses_text("1\n0\n", "ERROR - Reading model line for trait 1 Line read:");
    // Text beyond the line buffer is lost.
    refuses(model_1, {{"1 0 2 3" + std::string(16384 - 7, ' ') + "4", "no. for effect: 2"}});
}

TEST_F(ModelParser, RandomItems) {
    parses(random_1,
           {{"2 1 2 # 3", "n_fixed 1; r_ef_coeff 1 1; merge_prev 0 0; r_ef_matno 1 2"},
            {"2 1 2 ! 3 # 4", "r_ef_matno 1 2"},
            {"2 1+2", "merge_prev 0 1; r_ef_matno 1 2"},
            {"2 + 1 2 +", "merge_prev 1 0; r_ef_matno 1 2"},
            {"2 1(0.5)2", "r_ef_coeff 0.5 1; r_ef_matno 1 2"},
            {"3 2[3]", "n_fixed 0; r_ef_coeff 1 1 1; merge_prev 0 0 0; r_ef_matno 2 2 2"},
            {"3 2 ( 0.5 ) [ 3 ,+ ]", "r_ef_coeff 0.5 0.5 0.5; merge_prev 0 1 1; r_ef_matno 2 2 2"},
            {"3 2[2](-1.5d0)1[0]", "r_ef_coeff 1 -1.5 1; merge_prev 0 0 0; r_ef_matno 2 2 1"},
            {"0 what ever", "n_fixed 3; n_random 0"},
            {"1 7", "r_ef_matno 7"}});
    expect_fields({"KVEINT: NRAMAT 7"});
    // "[n,+]" leaves its option behind for every later "[n]"; a new run begins without.
    for (const auto& [line, merge] : Cases{{"2 1[2,+]", "0 1"}, {"2 1[2]", "0 0"}}) {
        parse({{random_1, line}, {random_2, "2 2[2]"}});
        expect_fields({"MODEL(2): merge_prev " + merge});
    }
}

TEST_F(ModelParser, RefusedRandomLines) {
    refuses(
        random_1,
        {{"", "ERROR - Reading no. of random effects for trait 1 Input read:"},
         {"4 1 1 1 1", "ERROR - reading specification of randomfactores for trait no. 1"},
         {"-1", "specified no. of random effects: -1 specified no. of effects in total: 3"},
         {"2 1 2 3", "Number specified: 2 but effect specification includes: 3"},
         {"2 1", "but effect specification includes: 1 Input read: 2 1"},
         {"2 1,2", "but effect specification includes: 1"},
         {"1 1[2000000000]", "but effect specification includes: 2000000000"},
         {"2 {1:2}", "but effect specification includes: 4"},
         {"2 1 {-2000000000:2000000000}", "but effect specification includes: 4000000002"},
         {"2 1{2:1}", "but effect specification includes: 1"},
         {"1 0", "ERROR - Reading no. of random effect 1 for trait 1 Input read: 1 0"},
         {"2 1 x", "ERROR - Reading no. of random effect 2 for trait 1"},
         {"1 1(2", "Starting brackets '(' found, but no closing brackets ')' found"},
         {"1 1(x)", "specified between '(' and')' for trait 1 random effect 1"},
         {"1 (2)1", "specified between '(' and')' for trait 1 random effect 0"},
         {"2 3[2", "Starting bracket '[' found, but no closing bracket ']' found"},
         {"2 3[2,x]", "merge option ('+') for multiple random effects for trait 1 random factor 3"},
         {"2 3[x]", "Reading number of random effects in factor for trait 1 random factor 3"},
         {"2 [2]", "Reading number of random effects in factor for trait 1 random factor 0"},
         {"2 {1:2", "Starting brackets '{' found, but no closing brackets '}' found"},
         {"2 {1 2}", "No ':' as separator in list specification"},
         {"2 {a:b}", "ERROR - Reading 1'st random effect no. in list for trait 1"},
         {"2 {1:b}", "ERROR - Reading last random effect no. in list for trait 1"}});
    refuses_text("1\n0\n1 0 1 1\n", "ERROR - Reading random line for trait 1 Line read:");
}

TEST_F(ModelParser, ReducedRank) {
    auto reduce = [](const std::string& text, const Replaced& lines) {
        std::ofstream("KVE1.reduce") << text;
        ASSERT_EQ(UNITS.reduced_ranks.open("KVE1.reduce"), 0);
        parse(lines);
    };
    // Without $REDUCE a file left in the folder counts for nothing.
    reduce("1 2\n1\n", {{random_1, "2 1 1"}});
    expect_fields({"MODEL(1): reduce 0 0 0"});
    DIRECTIVES.reduce_file = "KVE1.reduce";
    reduce("1\n\n2 9 9\n3\n", {{random_1, "2 1 1"}});
    expect_fields({"MODEL(1): reduce 0 1 2", "MODEL(2): reduce 0 3"});
    reduce("0\n3\n", {{random_1, "0"}});
    expect_fields({"MODEL(2): reduce 0 3"});
    reduce("2\n", {{random_2, "0"}, {reg_2, "0"}});
    expect_fields({"MODEL(1): reduce 0 0 2"});
    EXPECT_EXIT(reduce("1\n", {{random_1, "2 1 1"}}), testing::ExitedWithCode(16), "");
    says("ERROR - reading description of rank reduction for trait 1 expect 2 integer");
}

TEST_F(ModelParser, RegressionItems) {
    parses(reg_1,
           {{"3 2(1 2 3)", "reg_inp 2 2 2; reg_n_ef_no 1 2 3; reg_n_level 0 0 0"},
            {"2 2 2(1)", "reg_inp 2 2; reg_n_ef_no 0 1; reg_n_level 0 0"},
            {"4 [3:6,1]", "reg_inp 3 4 5 6; reg_n_ef_no 1 1 1 1; reg_n_level 1 1 1 1"},
            {"4 [3:6,1,L]", "reg_inp 3 4 5 6; reg_n_ef_no 1 1 1 1; reg_n_level 1 2 3 4"},
            {"3 [1:2] 7 8() [ 3 : 4 , 0 , L ] junk",
             "reg_inp 7 3 4; reg_n_ef_no 0 0 0; reg_n_level 0 1 2"},
            {"2 1(1,2)2(0 )", "reg_inp 1 2; reg_n_ef_no 1 0; reg_n_level 0 0"},
            // A "/" at the end asks for another line; only the last of them is taken apart.
            {"1 8 /\n9 3", "reg_inp 3; reg_n_ef_no 0"},
            // Whether a third one follows is told by the echo at the length of the second one: the
            // echo is "1 8   2 3 /" and has a blank at the length of "2 3 /", 5.
            {"1 8 /\n2 3 /", "reg_inp 3"},
            // A second line as long as the echo's first "/" inside it goes on.
            {"1 /8/\n2 /\n2 5", "reg_inp 5"},
            // Nesting outside the effects only warns.
            {"3 2(-1) 3(4) 4", "n_f_reg 1; n_f_o_reg 1; reg_type 0 0 0; reg_n_ef_no -1 4 0"}});
    says(
        "ERROR : Submodel no. 1 Nesting of a regression is not within a fixed or "
        "random effect Specified effect no. for nesting : 4");
    refuses_text("1\n0\n1 0 1 1\n0\n1 8 /\n",
                 "ERROR - reading line descriping regressions for trait 1 3 IOSTATUS= -1");
    refuses_text("1\n0\n1 0 1 1\n0\n", "for trait 1 1 IOSTATUS= -1");
}

TEST_F(ModelParser, RefusedRegressionLines) {
    const char* first = "ERROR - Reading covariable input Trait 1 Regression no 1";
    refuses(
        reg_1,
        {{"-2 1", "regressions specified: -2 Number of covariables found: 0"},
         {"2 1",
          "ERROR - Reading covariable input Trait 1 Regression no 2 Input read: 2 1 ERROR - In "
          "specification of regressions Trait 1 Total number of regressions specified: 2 Number "
          "of covariables found: 1"},
         {"4 [3:6]", "specified: 4 Number of covariables found: 0"},
         {"1 3(1 2)", "specified: 1 Number of covariables found: 2"},
         {"2 [1:2000000000,1]", "Number of covariables found: 2000000000"},
         {"2147483647 [1:2147483647,1]", "Regression no 10"},
         {"1000000000 1", "Number of covariables found: 1"},
         {"2 1 10", "ERROR - Reading covariable input Trait 1 Regression no 2"},
         {"5 [7:11,1]", "ERROR - Reading covariable input Trait 1 Regression no 4"},
         {"1 0(1)", first},
         {"1 x", first},
         {"1 (1)", first},
         {"1 3(1", "No closing bracket ')' in specification of nesting"},
         {"2 3(1  2)", "ERROR - Reading effect number for nesting Trait 1 Regression no 2"},
         {"2 [1:2,1", "No closing bracket ']' in specificatio Input read: 2 [1:2,1"},
         {"2 [1,2]", "No ':' to separate 1'st and last covariable input no."},
         {"2 [a:2,1]", "ERROR - Reading 1'st covariable input no. within '[]' Trait 1"},
         {"2 [1:b,1]", "ERROR - Reading last covariable input no. within '[]' Trait 1"},
         {"2 [2:1,1]", "1'st input no. 2 > last input no. 1"},
         {"2 [1:2,e]", "ERROR - Reading effect for nesting within '[]' Trait 1"},
         {"60 3(" + std::string(100, '1') + " 1)",
          "longer than 100 characters Trait 1 It has 102;"},
         {"2 [1:2,1," + std::string(96, ' ') + "L]", "longer than 100 characters"},
         {"2 [1:2,1,LL]", "ERROR - Reading additional options for specification of nested"}});
}

TEST_F(ModelParser, OrderOfRegressions) {
    const std::string general = "A general regression for a regression variable was not specified";
    parse({{reg_1, "2 2 2(1)"}});
    EXPECT_EQ(content_of("KVE_LOG").find(general), std::string::npos);
    parse({{reg_1, "2 2(1) 2"}});
    says(general +
         " before nested regressions of trait i= 1 nreg(i), (regef(i,k),k=1,nreg(i)): 2 2 2 "
         "nreg(i), (n_regefno(i,k),k=1,nreg(i)): 2 1 0");
    // Twelve warnings.
    parse({{reg_1, "13 2 2 2 2 2 2 2 2 2 2 2 2 2"}});
    const std::string log = content_of("KVE_LOG");
    int warnings = 0;
    for (std::size_t at = 0; (at = log.find(general, at)) != log.npos; ++at) ++warnings;
    EXPECT_EQ(warnings, 12);
    // More groups than columns: each regression has its column's place all the same.
    parses(reg_1, {{"5 5 2(1) 5(1) 2(2) 2(3)", "n_dif_reg 2; reg_rci 3 1 3 1 1; n_times 1 1"}});
    expect_fields({"KVEINT: ColRegInInpAllTraitsHelp 2 4 5"});
    says(
        "For trait i= 1 you hav not fully specified nesting of at least one "
        "regression variable before another 5 5 2 5 2 2");
}

TEST_F(ModelParser, ZeroResidualCovariances) {
    const char* bounds = "ERROR-NO OF ZERO RESIDUAL COVARIANCES OUT OF BOUNDS";
    parse({{zero, "1\n\n2\n1"}});
    expect_fields(
        {"KVEINT: NORCOV(1,:) 2 0 0; NORCOV(2,:) 1 0 0; LogicalZeroEltR0(1,:) F T; "
         "LogicalZeroEltR0(2,:) T F"});
    EXPECT_EQ(content_of("KVE_LOG").find(bounds), std::string::npos);
    const Replaced third{{count, "3"},       {absorb_2, "0\n0"}, {model_2, "2 0 0\n3 0 0"},
                         {random_2, "0\n0"}, {reg_2, "0\n0"},    {zero, "2\n1 2\n3 2"}};
    parse(third);
    expect_fields(
        {"KVEINT: NORCOV(1,:) 1 3 0 0 0 0; NORCOV(2,:) 2 2 0 0 0 0; LogicalZeroEltR0(1,:) F T F; "
         "LogicalZeroEltR0(2,:) T F T; LogicalZeroEltR0(3,:) F T F"});
    // Out of bounds only warns: what the text holds is taken.
    parse({{zero, "-3"}});
    says(bounds);
    parse({{zero, "4\n1 1\n1 2\n1 2\n2 1"}});
    says(bounds);
    expect_fields({"KVEINT: NORCOV(1,:) 1 1 1 2; LogicalZeroEltR0(1,:) T T"});
    refuses(zero, {{"2000000000\n1 2", "reading line 2 with residual covariances assumed Zero"},
                   {"", "ERROR - reading line with no. of residual covariances"},
                   {"2\n1 3\n0 1", "1 3 0 1 ERROR-ILLEGAL TRAIT NO IN ZERO COVARIANCES"}});
}

TEST_F(ModelParser, BinaryTraitsOnTheLiabilityScaleAreIndependent) {
    DIRECTIVES.ITASK = 8;
    Replaced model{{count, "2 0 0 0 2"}, {model_2, "2 0 2 1 3"}, {zero, "1\n1 2"}};
    parse(model);
    expect_fields({"KVEINT: L_INDEP_BIN_RESIDUALS T"});
    model[zero] = "0";
    refuses_text(text(model), "of binary traits, ie of trait 1 and of trait 2 Not able yet");
    model[count] = "2 1 0 0 1";
    parse(model);
    expect_fields({"KVEINT: L_INDEP_BIN_RESIDUALS T"});
}

TEST_F(ModelParser, AnEchoHasFifteenNumbersALineInFiveColumnsEach) {
    DIRECTIVES.ITASK = 12;
    DIRECTIVES.NI = 123456;
    parse({{absorb_1, "17 123456 1 2 3 4 5 6 7 8 9 10 11 12 13 14 123456 6"}});
    EXPECT_NE(content_of("KVE_LOG").find("\n    17 123456    1    2    3    4    5    6    7    8"
                                         "    9   10   11   12   13\n    14 123456    6\n"),
              std::string::npos);
}

}  // namespace
