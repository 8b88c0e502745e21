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
using Cases = std::vector<std::string>;  // "line -> what follows from it"

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
        ASSERT_EQ(state::UNITS.KVE_LOG.flush(), 0);
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
        for (const std::string& one : cases) {
            others[line] = one.substr(0, one.find(" -> "));
            parses(others, {"MODEL(1): " + one.substr(one.find(" -> ") + 4)});
        }
    }
    static void parses(const Replaced& lines, const std::vector<std::string>& fields) {
        parse(lines);
        expect_fields(fields, text(lines));
    }

    static bool logged(const std::string& words) {
        return folded(content_of("KVE_LOG")).find(words) != words.npos;
    }
    static void says(const std::string& words) {
        EXPECT_TRUE(logged(words)) << words << "\n  in: " << content_of("KVE_LOG");
    }
    // The run must end with status 16 and these words in the log.
    static void refuses_text(const std::string& text, const std::string& words) {
        EXPECT_EXIT(parse_text(text), testing::ExitedWithCode(16), "") << text;
        says(words);
    }
    static void refuses(const Replaced& lines, const std::string& words) {
        refuses_text(text(lines), words);
    }
    // What follows from a line stands after `words`.
    static void refuses(Line line, const std::string& words, const Cases& cases) {
        for (const std::string& one : cases) {
            const std::size_t end = std::min(one.find(" -> "), one.size());
            refuses({{line, one.substr(0, end)}},
                    words + one.substr(std::min(end + 4, one.size())));
        }
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

TEST_F(ModelParser, NumbersAndClassesOfTraits) {
    refuses(count, "Problem:------> No of traits out of bounds.", {"32", "0"});
    for (const char* text : {"x\n", "2.0\n", "2*1\n", ""})
        refuses_text(text, "ERROR - Reading line with number of traits");
    DIRECTIVES.ITASK = 2;
    parse({{count, "2 1\n\n 0,0\n1"}, {model_2, "2 0 2 1 3"}});
    says("models of Gaussian traits 1 0 3 1 2 3 Trait,weight and classification effect in models");
    says("of Binary traits 2 0 2 1 3");
    parse({{count, "2 0 0 1 1"}, {model_2, "2 0 2 1 3"}});
    says("Number of categories for Categorical Traits with 3 or more categories");
    refuses(count, "",
            {"2 1 0 0 2 -> nt /= NGaussTraits+NRightCensTraits+NCatTraits+NBinTraits",
             "2 2 -1 0 1 -> nt /= NGaussTraits", "2 1 1 0 0 -> A weight variable"});
}

TEST_F(ModelParser, AbsorbedEffectsAgreeAcrossTraits) {
    DIRECTIVES.ITASK = 12;
    parses({{absorb_1, "1 2"}, {absorb_2, "3 2\n0 5"}},
           {"KVEINT: MAX_N_ABSORB 3",
            "MODEL(2): a_ef_inp 2 0 5; a_ef_name 'I2' 'Mu' 'I5'; a_ef_rci 1 2 3"});
    parses({{absorb_1, "1 /"}, {absorb_2, "2 4,,"}},
           {"MODEL(1): a_ef_inp 0", "MODEL(2): a_ef_inp 4 0"});
    refuses({{absorb_1, "2 2 4"}, {absorb_2, "2 2 5"}}, "are not consistent across traits");
    refuses(absorb_1, "ERROR - Reading line with effects to absorbe",
            {"-1", "1 10", "1 -1", "1 x", "2000000000 /", "2000000000 1 1"});
    // The log echoes 15 numbers a line in five columns each.
    DIRECTIVES.NI = 123456;
    parse({{absorb_1, "17 123456 1 2 3 4 5 6 7 8 9 10 11 12 13 14 123456 6"}});
    const std::string echo = "\n    17 123456    1    2    3    4    5    6    7    8    9   10";
    EXPECT_NE(content_of("KVE_LOG").find(echo + "   11   12   13\n    14 123456    6\n"),
              echo.npos);
    DIRECTIVES.ITASK = 11;
    refuses(absorb_1, "ABSORPTION NOT ALLOWED FOR THIS TASK", {"1 2"});
}

TEST_F(ModelParser, EffectItems) {
    const std::string gap(19, ' ');  // 25 characters of an option count
    parses(model_1,
           {"1 0 3 2 3[2] -> ef_inp 2 3 3; intercept T T T",
            "1 0 2 2(NOINT) 3 -> ef_inp 2 3; intercept F T; f_intercept F T",
            "1 0 3 4( 0 )[2] 1 -> ef_inp 4 4 1; intercept F F T",
            "1 0 3 4 (noint) [2]1 -> ef_inp 4 4 1; intercept F F T",
            "1 0 2 4(xyz) 0(0 1(x) -> ef_inp 4 0; intercept T T",
            "1 0 2 3 [2](0) -> ef_inp 3 3; intercept T T",
            "1 0 2 3[0] 4[-5] 5 6 -> ef_inp 3 4; intercept T T",
            "\t1,0 x 2\t6 5\t7 junk\r -> ef_inp 6 5; intercept T T",
            "10 -4 0 -> n_ef 0; trait_name ''"},
           {{random_1, "0"}});
    expect_fields({"KVEINT: N_WGT_TRAITS 2"});
    parses(model_1, {"1 0 3 1(0) 2 3(0) -> f_intercept F T; r_intercept F",
                     "1 0 1 4(NOINT " + gap + "x) -> intercept F",
                     "1 0 1 4(NOINT" + gap + "x) -> intercept T"});
}

TEST_F(ModelParser, RandomItems) {
    parses(random_1,
           {"2 1 2 # 3 -> n_fixed 1; r_ef_coeff 1 1; merge_prev 0 0; r_ef_matno 1 2",
            "2 1 2 ! 3 # 4 -> r_ef_matno 1 2", "2 1+2 -> merge_prev 0 1; r_ef_matno 1 2",
            "2 + 1 2 + -> merge_prev 1 0; r_ef_matno 1 2",
            "2 1(0.5)2 -> r_ef_coeff 0.5 1; r_ef_matno 1 2",
            "3 2[3] -> n_fixed 0; r_ef_coeff 1 1 1; merge_prev 0 0 0; r_ef_matno 2 2 2",
            "3 2 ( 0.5 ) [ 3 ,+ ] -> r_ef_coeff 0.5 0.5 0.5; merge_prev 0 1 1; r_ef_matno 2 2 2",
            "3 2[2](-1.5d0)1[0] -> r_ef_coeff 1 -1.5 1; merge_prev 0 0 0; r_ef_matno 2 2 1",
            "0 what ever -> n_fixed 3; n_random 0", "1 7 -> r_ef_matno 7"});
    expect_fields({"KVEINT: NRAMAT 7"});
    // "[n,+]" leaves its option behind for every later "[n]"; a new run begins without.
    parses({{random_1, "2 1[2,+]"}, {random_2, "2 2[2]"}}, {"MODEL(2): merge_prev 0 1"});
    parses({{random_1, "2 1[2]"}, {random_2, "2 2[2]"}}, {"MODEL(2): merge_prev 0 0"});
}

TEST_F(ModelParser, ReducedRank) {
    auto reduces = [](const char* text, const Replaced& lines,
                      const std::vector<std::string>& fields) {
        std::ofstream("KVE1.reduce") << text;
        ASSERT_EQ(UNITS.reduced_ranks.open("KVE1.reduce"), 0);
        parses(lines, fields);
    };
    // Without $REDUCE a file left in the folder counts for nothing.
    reduces("1 2\n1\n", {{random_1, "2 1 1"}}, {"MODEL(1): reduce 0 0 0"});
    DIRECTIVES.reduce_file = "KVE1.reduce";
    reduces("1\n\n2 9 9\n3\n", {{random_1, "2 1 1"}},
            {"MODEL(1): reduce 0 1 2", "MODEL(2): reduce 0 3"});
    reduces("0\n3\n", {{random_1, "0"}}, {"MODEL(2): reduce 0 3"});
    reduces("2\n", {{random_2, "0"}, {reg_2, "0"}}, {"MODEL(1): reduce 0 0 2"});
    EXPECT_EXIT(reduces("1\n", {{random_1, "2 1 1"}}, {}), testing::ExitedWithCode(16), "");
    says("ERROR - reading description of rank reduction for trait 1 expect 2 integer");
}

TEST_F(ModelParser, RegressionItems) {
    // A "/" at the end asks for another line; only the last of them is taken apart. Whether a third
    // one follows is told by the echo at the length of the second one: that of the first case is
    // "1 8   2 3 /" and has a blank at the length of "2 3 /", 5. Nesting outside the effects, in
    // the last case, only warns.
    parses(reg_1, {"1 8 /\n2 3 / -> reg_inp 3", "1 8 /\n9 3 -> reg_inp 3; reg_n_ef_no 0",
                   "1 /8/\n2 /\n2 5 -> reg_inp 5",
                   "3 2(1 2 3) -> reg_inp 2 2 2; reg_n_ef_no 1 2 3; reg_n_level 0 0 0",
                   "2 2 2(1) -> reg_inp 2 2; reg_n_ef_no 0 1; reg_n_level 0 0",
                   "4 [3:6,1] -> reg_inp 3 4 5 6; reg_n_ef_no 1 1 1 1; reg_n_level 1 1 1 1",
                   "4 [3:6,1,L] -> reg_inp 3 4 5 6; reg_n_ef_no 1 1 1 1; reg_n_level 1 2 3 4",
                   "3 [1:2] 7 8() [ 3 : 4 , 0 , L ] junk -> reg_inp 7 3 4; reg_n_level 0 1 2",
                   "2 1(1,2)2(0 ) -> reg_inp 1 2; reg_n_ef_no 1 0; reg_n_level 0 0",
                   "3 2(-1) 3(4) 4 -> n_f_reg 1; n_f_o_reg 1; reg_type 0 0 0; reg_n_ef_no -1 4 0"});
    says("Submodel no. 1 Nesting of a regression is not within a fixed or random effect");
    says("Specified effect no. for nesting : 4");
    // More groups than columns: each regression has its column's place all the same.
    parses(reg_1, {"5 5 2(1) 5(1) 2(2) 2(3) -> n_dif_reg 2; reg_rci 3 1 3 1 1; n_times 1 1"});
    expect_fields({"KVEINT: ColRegInInpAllTraitsHelp 2 4 5"});
    says("For trait i= 1 you hav not fully specified nesting of at least one");
    says("regression variable before another 5 5 2 5 2 2");
    const std::string general = "A general regression for a regression variable was not specified";
    parse({{reg_1, "2 2 2(1)"}});
    EXPECT_FALSE(logged(general));
    parse({{reg_1, "3 2 2 2"}});
    says(general);
    parse({{reg_1, "2 2(1) 2"}});
    says(general + " before nested regressions of trait i= 1");
    says("(n_regefno(i,k),k=1,nreg(i)): 2 1 0");
}

TEST_F(ModelParser, RefusedLines) {
    const char* line_read = "ERROR - Reading model line for trait 1 Line read:";
    refuses(model_1, line_read, {"", "1 0 ->  1 0", "1 x 2 ->  1 x 2"});
    refuses_text("1\n0\n", line_read);
    refuses(model_1, "effect: ",
            {"1 0 1 4[2](0) -> 1 spefifications in '()' must come before '[]'",
             "1 0 1000000000 1 2 -> 3", "1 0 2 1 -1 -> 2 is: -1",
             "1 0 2 1 10 -> 2 is: 10 Legal value is 0 to no.", "1 0 3 1 2[3] -> 2",
             "1 0 2 1[2147483647] -> 1",
             // text beyond the line buffer is lost
             "1 0 2 3" + std::string(16384 - 7, ' ') + "4 -> 2"});
    refuses(model_1, "",
            {"1 0 2 1(0 2 -> Closing bracket not found for effect 1",
             "1 0 2 1[2 -> \"[\" specified, but no \"]\" found",
             "1 0 2000 1[1000] 2 3[3] -> [ ] add more than 1000 effects to the lines of all traits",
             "1 0 -1 -> random effects: 1 specified no. of effects in total: -1"});
    for (const char* line : {"1 0 2 1[x]", "1 0 2 1[]"})
        EXPECT_STOP(parse({{model_1, line}}), "\\$MODEL: cannot read the count in \\[ \\] from:");

    refuses(random_1, "but effect specification includes: ",
            {"2 1 -> 1 Input read: 2 1", "2 1 2 3 -> 3", "2 1,2 -> 1", "2 1{2:1} -> 1",
             "1 1[2000000000] -> 2000000000", "2 {1:2} -> 4",
             "2 1 {-2000000000:2000000000} -> 4000000002"});
    refuses(random_1, "Reading ",
            {" -> no. of random effects for trait 1", "2 {b:2} -> 1'st random effect no. in list",
             "2 1 x -> no. of random effect 2 for trait 1", "2 {1:b} -> last random effect no. in",
             "1 0 -> no. of random effect 1 for trait 1 Input read: 1 0",
             "2 3[x] -> number of random effects in factor for trait 1 random factor 3",
             "2 [2] -> number of random effects in factor for trait 1 random factor 0"});
    refuses(random_1, "",
            {"4 1 1 1 1 -> specification of randomfactores for trait no. 1",
             "-1 -> random effects: -1 specified no. of effects in total: 3",
             "1 1(2 -> no closing brackets ')'", "2 3[2 -> no closing bracket ']'",
             "2 {1:2 -> effects for trait no. 1 Starting brackets '{' found, but no closing "
             "brackets '}' found Input read: 2 {1:2",
             "2 {1 2} -> effects for trait no. 1 No ':' as separator in list specification Input "
             "read: 2 {1 2}",
             "1 1(x) -> between '(' and')' for trait 1 random effect 1",
             "1 (2)1 -> between '(' and')' for trait 1 random effect 0",
             "1 1001 -> trait 1 Number of a random matrix: 1001, at most: 1000",
             "2 3[2,x] -> merge option ('+') for multiple random effects"});
    refuses_text("1\n0\n1 0 1 1\n", "ERROR - Reading random line for trait 1 Line read:");

    refuses(reg_1, "Number of covariables found: ",
            {"-2 1 -> 0", "2 1 -> 1", "4 [3:6] -> 0", "1 3(1 2) -> 2", "1000000000 1 -> 1",
             "2 [1:2000000000,1] -> 2000000000"});
    refuses(reg_1, "ERROR - Reading covariable input Trait 1 Regression no ",
            {"2 1 -> 2 Input read: 2 1", "2147483647 [1:2147483647,1] -> 10", "2 1 10 -> 2",
             "5 [7:11,1] -> 4", "1 0(1) -> 1", "1 x -> 1", "1 (1) -> 1"});
    refuses(
        reg_1, "",
        {"2 1 -> Trait 1 Total number of regressions specified: 2 Number of",
         "2 3(1  2) -> effect number for nesting Trait 1 Regression no 2",
         "1 3(1 -> No closing bracket ')'", "2 [1:2,1 -> No closing bracket ']'",
         "2 [1,2] -> No ':' to separate", "2 [a:2,1] -> Reading 1'st covariable",
         "2 [1:b,1] -> Reading last covariable", "2 [2:1,1] -> 1'st input no. 2 > last input no. 1",
         "60 3(" + std::string(100, '1') + " 1) -> longer than 100 characters Trait 1 It has 102;",
         "2 [1:2,1," + std::string(96, ' ') + "L] -> longer than 100 characters",
         "2 [1:2,e] -> Reading effect for nesting within '[]' Trait 1",
         "2 [1:2,1,LL] -> additional options for specification of nested"});
    refuses_text("1\n0\n1 0 1 1\n0\n1 8 /\n", "regressions for trait 1 3 IOSTATUS= -1");
    refuses_text("1\n0\n1 0 1 1\n0\n", "regressions for trait 1 1 IOSTATUS= -1");
}

TEST_F(ModelParser, ZeroResidualCovariances) {
    const char* bounds = "ERROR-NO OF ZERO RESIDUAL COVARIANCES OUT OF BOUNDS";
    parses({{zero, "1\n\n2\n1"}},
           {"KVEINT: NORCOV(1,:) 2 0 0; NORCOV(2,:) 1 0 0; LogicalZeroEltR0(1,:) F T; "
            "LogicalZeroEltR0(2,:) T F"});
    EXPECT_FALSE(logged(bounds));
    Replaced third{{count, "3"}, {model_2, "2 0 0\n3 0 0"}, {zero, "2\n1 2\n3 2"}};
    third[absorb_2] = third[random_2] = third[reg_2] = "0\n0";
    parses(third,
           {"KVEINT: NORCOV(1,:) 1 3 0 0 0 0; NORCOV(2,:) 2 2 0 0 0 0; LogicalZeroEltR0(1,:) F T "
            "F; LogicalZeroEltR0(2,:) T F T; LogicalZeroEltR0(3,:) F T F"});
    // Out of bounds only warns: what the text holds is taken.
    parse({{zero, "-3"}});
    says(bounds);
    parses({{zero, "4\n1 1\n1 2\n1 2\n2 1"}},
           {"KVEINT: NORCOV(1,:) 1 1 1 2; LogicalZeroEltR0(1,:) T T"});
    says(bounds);
    refuses(zero, "",
            {"2000000000\n1 2 -> reading line 2 with residual covariances assumed Zero",
             " -> ERROR - reading line with no. of residual covariances",
             "2\n1 3\n0 1 -> 1 3 0 1 ERROR-ILLEGAL TRAIT NO IN ZERO COVARIANCES"});
    // Binary traits on the liability scale are independent.
    DIRECTIVES.ITASK = 8;
    const char *two = "2 0 0 0 2", *independent = "KVEINT: L_INDEP_BIN_RESIDUALS T";
    const Replaced::value_type plain{model_2, "2 0 2 1 3"};
    parses({{count, two}, plain, {zero, "1\n1 2"}}, {independent});
    refuses({{count, two}, plain}, "of binary traits, ie of trait 1 and of trait 2 Not able yet");
    parses({{count, "2 1 0 0 1"}, plain}, {independent});
}

}  // namespace
