// Directive files, mostly faulty ones, through the built program. The faults end the run before the
// data are opened, so no data are needed.
#include <gtest/gtest.h>

#include <string>

#include "run.h"

namespace {

const char* kRefused = "ERROR(S) FOUND IN DIRECTIVE FILE COMPUTATIONS TERMINATED";

// A directive file with the three required keywords and `more` behind them.
std::string directives(const std::string& more, const std::string& analyse = "1 1 0 0") {
    return "$ANALYSE " + analyse + "\n$DATA ASCII (3,2,-9) d.dat\n$MODEL\nm\n" + more;
}

class Directives : public testing::Test {
 protected:
    Directives() { scratch.write("d.dat", ""); }

    // A run that is refused in `words`, each once; what else is wrong is wrong as well.
    void refused(const std::string& text, std::initializer_list<const char*> words) {
        Outcome outcome = scratch.run(text);
        EXPECT_EQ(outcome.status, 16) << text;
        EXPECT_TRUE(outcome.says(kRefused)) << text;
        for (const char* each : words)
            EXPECT_EQ(outcome.times(each), 1) << each << "\nin the run of\n" << text;
        int faults = outcome.times("ERROR - ") + outcome.times("Error - ");
        EXPECT_EQ(faults, static_cast<int>(words.size())) << text << outcome.listing;
    }

    // A run that stops at once in `words`, before anything is echoed.
    void stopped(const std::string& text, const std::string& words) {
        Outcome outcome = scratch.run(text);
        EXPECT_EQ(outcome.status, 16) << text;
        EXPECT_TRUE(outcome.says(words + " Program terminates")) << text << outcome.listing;
        EXPECT_FALSE(outcome.says("User specified files")) << text;
    }

    // A run whose directives are accepted; what comes behind them is not looked at.
    Outcome accepted(const std::string& text) {
        Outcome outcome = scratch.run(text);
        EXPECT_FALSE(outcome.says(kRefused)) << text << outcome.listing;
        EXPECT_FALSE(outcome.says("ERROR - $")) << text << outcome.listing;
        EXPECT_TRUE(outcome.says("Variable names (")) << text << outcome.listing;
        return outcome;
    }

    Scratch scratch;
};

const char* kNoModel = "ERROR - Required KEYWORD line MODEL not found";

}  // namespace

TEST_F(Directives, FilesThatHoldNoDirectives) {
    const char* eof = "ERROR - Unexpected EOF for file with directives";
    stopped("", eof);
    stopped("# a\n\n\t\n#b", eof);
    stopped("text\n$ANALYSE 1 1 0 0\n",
            "ERROR - No lines with key words found in the file with directives");
    stopped("\t$ANALYSE 1 1 0 0\n",
            "ERROR - No lines with key words found in the file with directives");
}

TEST_F(Directives, LinesThatStopTheRun) {
    Outcome outcome = scratch.run("$analyse 1 1 0 0\n");
    EXPECT_EQ(outcome.status, 16);
    EXPECT_TRUE(
        outcome.says("ERROR - unknown key word in direvtives to KVE Key word read : analyse "
                     "Legal key words are: COMMENT ANALYSE DATA"));
    EXPECT_TRUE(outcome.says("GLMM_PRED SOL_COV CENS Program terminates"));
    for (const char* line : {"$\n", "$ DATA\n"})
        EXPECT_TRUE(scratch.run(line).says("Key word read : Legal key words are:")) << line;
    EXPECT_TRUE(scratch.run("$VAR_STRUCTURE 1\n").says("Key word read : VAR_STRUCTURE Legal"));
    for (const char* line : {"# comment\r\n", "text\r", "\r\n", "$COMMENT\r \t\n"}) {
        outcome = scratch.run(std::string("$COMMENT\n") + line);
        EXPECT_EQ(outcome.status, 16) << line;
        EXPECT_TRUE(outcome.says("CR (carriage return) followed by LF.")) << line;
    }
}

TEST_F(Directives, AnalyseLine) {
    for (const char* line : {"1 1 0", "1 1 0 x", "1.0 1 0 0", "", "3000000000 1 0 0"})
        refused("$ANALYSE " + std::string(line) + "\nskipped text\n$DATA ASCII (0,0,0) d.dat\n" +
                    "$MODEL\nm\n",
                {"ERROR - wrong format or missing informations on the $ANALYSE keyword line."});
    for (const char* line : {"0 1 0 0", "3 0 0 0", "13 1 0 0", "-2147483648 1 0 0"}) {
        refused(directives("$PRIOR\n", line), {"ERROR - On $ANALYSE keyword line: Task= "});
        EXPECT_FALSE(scratch.run(directives("", line)).says("Type of analyse"));
    }
    for (const char* line : {"1 0 0 0", "2 1 0 0", "1 -1 0 0", "1 2147483647 0 0"})
        refused(directives("", line), {"ERROR - On $ANALYSE keyword line: Task   = "});
    Outcome outcome = scratch.run(directives("$PRIOR\n1 1 1 1\n", "12 3 0 0"));
    EXPECT_TRUE(
        outcome.says("Method = 3 Legal methods for TASK 12 (BLUE & BLUP - KVE5) are: "
                     "1: GAUSS-SEIDEL - 2. order JACOBI 2: PRECOND. CONJUGATE GRADIENT"));
    refused(directives("", "11 101 0 0"), {"ERROR - On $ANALYSE keyword line: Task   = ",
                                           "ERROR - Required KEYWORD line PRIOR not found"});
}

TEST_F(Directives, AnalyseIsEchoedWithLabelsOf42Characters) {
    Outcome outcome = accepted(directives("$PRIOR\n1 1 1 1\n", "11,11,1,2"));
    EXPECT_TRUE(outcome.says("(FSPAK - METIS SE/SP calculated element by)"));
    EXPECT_TRUE(outcome.says("Scaling to residual SD = 1 during computations Extensive amount"));
    EXPECT_TRUE(accepted(directives("", "2 0 /")).says("0 (MCMC)"));
    EXPECT_TRUE(accepted(directives("$PRIOR\n", "11 100 0 0")).says("100 (STORE MME ON FILE)"));
}

TEST_F(Directives, DataLine) {
    std::string rest = "$ANALYSE 1 1 0 0\n$MODEL\nm\n";
    refused(rest + "$DATA\n", {"ERROR - No data description found in the file with directives"});
    const char* incomplete =
        "ERROR - Specification on keyword line DATA is misspelled or incomplete";
    for (const char* line :
         {"ascii (1,1,0) x", "ASCII 1,1,0 x", "ASCII (1,1 0) x", "ASCII (1,1,0 x", "ASCII(1,1,0) x",
          "ASCII (-1,1,0) x", "ASCII (1,-2147483648,0) x"})
        refused(rest + "$DATA " + line + "\n", {incomplete});
    refused(rest + "$DATA ASCII (10000001,0,0) d.dat\n",
            {"ERROR - $DATA: more than 10000000 variables of one kind: 10000001"});
    refused(rest + "$DATA BINARY (1,2147483647,0)\n",
            {"ERROR - $DATA: more than 10000000 variables of one kind: 2147483647",
             "Error - DATA file : not found"});
    refused(rest + "$DATA ASCII (1,1,0) d.dat my data/\n",
            {"Error - DATA file :my data/ not found"});
    stopped(rest + "$DATA ASCII (1,y,0) d.dat\n",
            "ERROR - $DATA: cannot read the number of real variables from: y");
    stopped(rest + "$DATA ASCII (,1,0) d.dat\n",
            "ERROR - $DATA: cannot read the number of integer variables from:");
    stopped(rest + "$DATA ASCII (99999999999,1,0) d.dat\n",
            "ERROR - $DATA: cannot read the number of integer variables from: 99999999999");
    scratch.write("other.dat", "");
    EXPECT_TRUE(accepted(rest + "$DATA\nASCII\n(1, 1,\n 0) d.dat\nother.dat\n")
                    .says("DATA : d.dat : other"));
}

TEST_F(Directives, NamesOfVariables) {
    auto names = [](const std::string& list) { return directives("$VARIABLE\n" + list + "\n"); };
    refused(names("a b c d"), {"ERROR - To few variable names specified."});
    Outcome outcome = scratch.run(names("a[-2147483648:2147483647] b[1:2147483647]"));
    EXPECT_TRUE(
        outcome.says("ERROR - To many variable names specified. The DATA line sayes: "
                     "3 integer variables and 2 real variables A total of 6442450943 "
                     "variable names found"));
    EXPECT_TRUE(outcome.says("a-214748 a-214748 a-214748"));
    const char* bracket = "The format XX[i:j] is used, but no closing brackets is found";
    stopped(names("]x[1:2"), bracket);
    stopped(names("x[1: 3]"), bracket);
    const char* range =
        "When the format XX[i:j] is used both \"i\" and \"j\" must be specified, and separated by "
        "\":\"";
    for (const char* list : {"x[12]", "x[:2]", "x[1:]", "x[3:2]", "x[1]:2"})
        stopped(names(list), range);
    stopped(names("x[a:2]"),
            "ERROR - $VARIABLE: cannot read the first number in the brackets from: a");
    stopped(names("x[1:9999999999]"),
            "ERROR - $VARIABLE: cannot read the last number in the brackets from: 9999999999");
    // Ahead of $DATA there is nothing to name; a $DATA line behind gives default names.
    outcome = scratch.run("$VARIABLE\na\n" + directives(""));
    EXPECT_TRUE(outcome.says("0 integer variables and 0 real variables A total of 1 variable"));
    EXPECT_TRUE(outcome.says("Variable names (user specified) INTEGERS : I1 I2 I3 REALS : R1 R2"));
    // A faulty $DATA line leaves counts without tables.
    refused("$ANALYSE 2 0 0 0\n$MODEL\nm\n$DATA ASCII (3,2,0\n$VARIABLE\na b c d e\n$MIXTURE 2\n",
            {"ERROR - Specification on keyword line DATA is misspelled or incomplete"});
}

TEST_F(Directives, ListsOfMoreThan80NamesAreShortened) {
    auto listing = [&](const char* shape) {
        return accepted("$ANALYSE 1 1 0 0\n$MODEL\nm\n$DATA ASCII " + std::string(shape) +
                        " d.dat\n");
    };
    Outcome outcome = listing("(80,81,0)");
    EXPECT_TRUE(outcome.says("INTEGERS : I1 I2 I3 I4 I5 I6 I7 I8 I9"));
    EXPECT_TRUE(outcome.says("I79 I80 Name of the first 24 real variables R1"));
    EXPECT_TRUE(outcome.says("R24 Name of the last 24 real variables R58"));
    EXPECT_FALSE(outcome.says("R25"));
    EXPECT_TRUE(listing("(0,0,0)").says("INTEGERS : REALS :"));
    // The columns of the names.
    EXPECT_NE(outcome.listing.find("\n         INTEGERS :   I1       I2       I3"),
              std::string::npos);
    EXPECT_NE(outcome.listing.find("\n                      I9       I10"), std::string::npos);
}

TEST_F(Directives, SectionsBecomeFiles) {
    scratch.write("PARIN", "left by an earlier run\n");
    accepted("$PRIOR\nfirst\n$KVE4\n$KVEMGP\n \t #kept   inside  \n# dropped\n\na /\nb\n" +
             directives("$PRIOR\n  second\n$REDUCE\n1\n$VAR_REST one\n two\n$VAR_REST\n three\n"));
    EXPECT_EQ(scratch.read("PARIN"), "second\n");
    EXPECT_TRUE(scratch.has("KVE4.dir"));
    EXPECT_EQ(scratch.read("KVE4.dir"), "");
    EXPECT_EQ(scratch.read("KVEMGP.dir"), "#kept   inside\na b\n");
    EXPECT_EQ(scratch.read("KVE1.dir"), "m\n");
    EXPECT_EQ(scratch.read("KVE1.reduce"), "1\n");
    EXPECT_EQ(scratch.read("CVREST.DIR"), "one\ntwo\nthree\n");
    std::string line = std::string(1999, 'x') + "yyyy";
    accepted("$KVE5\n" + line + "\n" + directives(""));
    EXPECT_EQ(scratch.read("KVE5.dir"), line.substr(0, 2000) + "\n");
}

TEST_F(Directives, EmptySectionsAndNamedFiles) {
    scratch.write("KVE1.dir", "left by an earlier run\n");
    refused(
        "$ANALYSE 1 1 0 0\n$DATA ASCII (1,1,0) d.dat\n$MODEL\n$REDUCE\n$OLDSOL\n$FINFO\n"
        "$KVEGS no such\n$PRIOR gone\n",
        {"ERROR - No model description or file name with model description specifiec",
         "ERROR - No reduce description specified One description line per trait is expected",
         "ERROR - OLDSOL keyword specified, but no file name given",
         "ERROR - FINFO keyword specified, but no file name given",
         "Error - KVEGS file :no such not found", "Error - PRIOR file :gone not found"});
    EXPECT_EQ(scratch.read("KVE1.dir"), "");
    Outcome outcome = accepted(directives("$PRIOR d.dat\n$KVEMGP d.dat\n$KVE4 d.dat\n$KVE4\nx\n"));
    EXPECT_TRUE(outcome.says("PRIOR (CO)VARIANCES : d.dat OPTIONAL INPUT KVEMGP : d.dat Variable"));
    EXPECT_FALSE(scratch.has("PARIN"));
    // A longer name is cut and then that of no file.
    refused(directives("$KVE5 " + std::string(300, 'n') + "\n"),
            {("Error - KVE5 file :" + std::string(200, 'n') + " not found").c_str()});
}

TEST_F(Directives, SectionFilesThatCannotBeWritten) {
    std::filesystem::create_directory(scratch.folder() / "KVE1.dir");
    stopped(directives(""), "ERROR - $MODEL: cannot write KVE1.dir");
    std::filesystem::remove(scratch.folder() / "KVE1.dir");
    std::filesystem::create_symlink("/dev/full", scratch.folder() / "KVEAI.dir");
    stopped(directives("$KVEAI\nx\n"), "ERROR - $KVEAI: cannot write KVEAI.dir");
    std::filesystem::create_symlink("/dev/full", scratch.folder() / "CVREST.DIR");
    const std::string restricted = directives("$VAR_REST x\n");
    stopped(restricted, "ERROR - $VAR_REST: cannot write CVREST.DIR");
    EXPECT_EQ(scratch.run(restricted).times("CVREST.DIR"), 1);
}

TEST_F(Directives, AStopInsideASectionKeepsWhatWasCopied) {
    scratch.write("KVE5.dir", "left by an earlier run\n");
    scratch.run("$KVE4\na\nb\r\n");
    EXPECT_EQ(scratch.read("KVE4.dir"), "a\n");
    scratch.run(directives("$VAR_REST a\nb\n$KVE5\n$no\n"));
    EXPECT_EQ(scratch.read("CVREST.DIR"), "a\nb\n");
    EXPECT_EQ(scratch.read("KVE5.dir"), "left by an earlier run\n");
}

TEST_F(Directives, RepeatedAndMissingKeywords) {
    auto repeated = [](const std::string& name) {
        return "ERROR - " + name + " keyword must only appear once";
    };
    refused(directives("$MODEL\nn\n$ANALYSE 1 1 0 0\n$COMMENT\n$COMMENT\n"),
            {repeated("MODEL").c_str(), repeated("ANALYSE").c_str(), repeated("COMMENT").c_str()});
    EXPECT_EQ(scratch.read("KVE1.dir"), "n\n");
    refused("$COMMENT\n", {"ERROR - Required KEYWORD line ANALYSE not found",
                           "ERROR - Required KEYWORD line DATA not found", kNoModel});
    // A text line behind a section that has none ends the reading.
    refused("$ANALYSE 1 1 0 0\n$DATA ASCII (1,1,0) d.dat\n$OLDSOL d.dat\ntext\n$MODEL\nm\n",
            {kNoModel});
    accepted(directives("$RESIDUALS ASCII\n$RESIDUALS BINARY\n$FINFO d.dat\n$FINFO d.dat\n"));
}

TEST_F(Directives, CommentBox) {
    std::string text = "$COMMENT\n";
    for (int k = 1; k <= 11; ++k) text += "line\t" + std::to_string(k) + "\n# gone\n";
    Outcome outcome = accepted(text + directives(""));
    EXPECT_TRUE(outcome.says("| line 10 |"));
    EXPECT_FALSE(outcome.says("line 11"));
    EXPECT_TRUE(outcome.says("WARNING - more then 10 lines with user comments."));
    EXPECT_FALSE(outcome.says("longer than 80 characters"));
    std::string wide = std::string(80, 'w');
    outcome = accepted("$COMMENT\n" + wide + "v\n" + directives(""));
    EXPECT_NE(outcome.listing.find("\n         | " + wide + " |\n"), std::string::npos);
    EXPECT_TRUE(outcome.says("WARNING - at least one line with user comments is longer than 80"));
}

TEST_F(Directives, StructuresThatAreRefused) {
    const char* incomplete =
        "ERROR - Specification on keyword line VAR_STR is misspelled or incomplete";
    const char* no_name = "Error - VAR_STR file : not found";
    auto structure = [](const std::string& line) { return directives("$VAR_STR " + line + "\n"); };
    refused(structure("0 COR ASCII d.dat"),
            {"ERROR - Random efffect no. on the VAR_STR keyword line must be > 0"});
    refused(
        structure("1 PEDIGREE 1 ASCII d.dat"),
        {"ERROR - On $VAR_STR keyword line for random factor : 1 Specified variance structure "
         "type : PEDIGREE Legal type of variance structure are: PED GROUP ABS_QTL DOM COR PGMIX "
         "GREL"});
    refused(structure("1 PED 101 ASCII d.dat"),
            {"ERROR - On $VAR_STR keyword line for random factor : 1 Type of variance structure "
             "specified : PED Method specified : 101 Legal methods are: 1: Sire Dam - inbreed"});
    refused(structure("1 PGMIX 6 ASCII a b c"),
            {"Method specified : 6 Legal methods for variance structure PGMIX is 1"});
    refused(structure("1 PGMIX 7 ASCII a b"),
            {"ERROR - Reading file name for the file with typed animals"});
    refused(structure("1 PGMIX 1 ASCII a b c 0.5 g-adjust"),
            {"Looking for option G-ADJUST, but found : g-adjust"});
    for (const char* line : {"1 PED 1 d.dat", "1 PED 1 ascii d.dat", "1 PED 1 ASCII", "1 PED 6 R",
                             "1 PED 3 RAM ASCII d.dat", "2 DOM 1", "1 GREL"})
        refused(structure(line), {incomplete, no_name});
    refused(structure("1 GROUP 4"),
            {"Interger input no. : 4 Legal integer input no. ; 1 - 3",
             "ERROR - Variance structure GROUP is only legal for Itask = 2 (KVEGS)"});
    stopped(structure("1 PED 2 RAM ASCII d.dat"),
            "ERROR - Method specified for computation of A**(-) for random factor 1 is: 2 This is "
            "for setting up an additional A**(-1) for a Reduced Animal Model This feature is only "
            "implemented in KVEGS (task = 2) The task specified areAI-REML");
    stopped(structure("x1 COR ASCII d.dat"),
            "ERROR - $VAR_STR: cannot read a random factor number from: x1");
    stopped(structure("1 PED 6 ram ASCII d.dat"),
            "ERROR - $VAR_STR: cannot read the value behind R from: ASCII");
    stopped(structure("1 GROUP"), "ERROR - $VAR_STR: cannot read an integer column from:");
}

TEST_F(Directives, GroupsOfStructures) {
    // Lines of one group, one factor twice; a missing file is told again by the next group.
    Outcome outcome = scratch.run(directives(
        "$VAR_STR 2147483647 COR ASCII gone\n-------- 1 COR ASCII d.dat\n-------- 1 PED 5 ASCII "
        "d.dat\n$VAR_STR 3 GREL BINARY d.dat\n$VAR_STR 2147483647 COR ASCII d.dat\n"));
    EXPECT_EQ(outcome.status, 16);
    EXPECT_EQ(outcome.times("Error - VAR_STR file :gone not found"), 3);
    EXPECT_TRUE(
        outcome.says("ERROR - Variance structure for random factor : 1 specified 2 times "
                     "ERROR - Variance structure for random factor : 2147483647 specified 2"));
    EXPECT_NE(outcome.listing.find("\n         VAR. STRUC. random factor   3 : d.dat\n"),
              std::string::npos);
    stopped(directives("$VAR_STR 1 COR ASCII d.dat\n$REDUCE\n1\n"),
            "ERROR - $VAR_STR: cannot read a random factor number from: $REDUCE must not follow "
            "$VAR_STR directly");
}

TEST_F(Directives, KeywordsOfOtherTasks) {
    const char* mixture = "ERROR - Mixture models only implemented for KVEGS (task = 2)";
    refused(directives("$MIXTURE 1\n"), {mixture});
    refused(directives("$CURE 1 2 3 4\n"), {mixture});
    refused(directives("$CENS 1 CENS = 1\n"),
            {"ERROR - Censoring is only implemented for KVEGS (task = 2)"});
    refused(directives("$TD_PTD 1 AM\n"),
            {"ERROR - Computation of trait deviation is not implemented in KVEAI (task = 1)"});
    refused(directives("$GLMM_PRED 5 0.1\n"),
            {"ERROR - Keyword GLMM_PRED is only legal for ITASK=11 (KVE4)"});
    refused(directives("$GLMM 1 VARF=A LINK=B\n$VAR_REST a\nb\n$RESIDUALS ASCII\n", "2 0 0 0"),
            {"ERROR - GLMM is only implemented for KVEAI (task = 1) and KVE4 (itaks = 11)",
             "ERROR - Restriction on co-variance components only implemented for KVEAI (task = 1)",
             "ERROR - Computation of residuals is only implemented for KVEAI (task = 1) and KVE4 "
             "(itaks = 11) using solver method 8, 9, 10, 30 or 31"});
    EXPECT_FALSE(scratch.has("CVREST.DIR"));
    refused(directives("$PRIOR\n$SOL_COV 2 1 1\n$RESIDUALS ASCII\n", "11 1 0 0"),
            {"ERROR - Keyword SOL_COV is only legal for ITASK=1 (KVEAI) and 2 /KVEGS)",
             "ERROR - Computation of residuals is only implemented for KVEAI (task = 1)"});
    accepted(directives("$PRIOR\n$RESIDUALS BINARY\n$GLMM_PRED 5 0.1\n", "11 31 0 0"));
    // Ahead of $ANALYSE there is no task.
    refused("$MIXTURE 1\n" + directives(""),
            {mixture, "must be larger then 0 and less then 0 Specified value : 1"});
}

TEST_F(Directives, OptionsThatAreRefused) {
    auto sampling = [](const std::string& line) { return directives(line + "\n", "2 0 0 0"); };
    refused(sampling("$MIXTURE 3"), {"less then 2 Specified value : 3"});
    stopped(sampling("$MIXTURE"), "ERROR - $MIXTURE: cannot read a real variable number from:");
    stopped(sampling("$CURE 1 2 3"), "ERROR - $CURE: cannot read four integers from: 1 2 3");
    std::string many;
    for (int k = 1; k <= 33; ++k) many += "$CURE 1 2 3 4\n";
    EXPECT_EQ(scratch.run(sampling(many)).times("ERROR - $CURE: more than 31 specifications"), 2);
    refused(
        sampling("$CENS 7 CEN = 1"),
        {"ERROR - On $CENS directive line for trait 7 Positional parameter \"CENS\" not found"});
    refused(sampling("$CENS 7 CENS 1"),
            {"ERROR - On $CENS directive line for trait 7 Expected \"=\" afterCENS not found"});
    refused(sampling("$CENS 7 CENS = 1 MAX = 2"),
            {"Expected postitional parameter \"INT_MAX\", but cinp(1:lng)found"});
    refused(sampling("$CENS 7 CENS = 1 INT_MAX 2"), {"Expected \"=\" afterINT_MAX not found"});
    stopped(sampling("$CENS x CENS = 1"), "ERROR - $CENS: cannot read a trait number from: x");
    stopped(sampling("$CENS 1 CENS ="), "ERROR - $CENS: cannot read a value behind CENS from:");
    const char* type =
        "ERROR - Wrong model type or model type not specified - legal types are AM or SM";
    const char* parameter = "ERROR - Wrong value for optional parameter - must be an integer value";
    refused(sampling("$TD_PTD"), {"ERROR - Reading random factor number", type});
    refused(sampling("$TD_PTD 1 A"), {type});
    refused(sampling("$TD_PTD x ZZ"), {"ERROR - Reading random factor number", parameter});
    refused(sampling("$TD_PTD 1 AMX"), {parameter});
    refused(sampling("$TD_PTD 1 SM 1 1.5"),
            {"ERROR - Keyword GLMM_PRED is only legal for ITASK=11 (KVE4)"});
    refused(directives("$PRIOR\n$GLMM_PRED 0 1.0\n", "11 8 0 0"),
            {"ERROR - Reading max. no. of GLMM iterations - must be an integer > 0",
             "ERROR - Reading GLMM convergence criterion - must be a real < 1.0"});
    stopped(directives("$GLMM VARF=A LINK=B\n"),
            "ERROR - $GLMM: cannot read a trait number from: VARF=A");
    stopped(directives("$GLMM 1 VARF=A LINK=B CF = x\n"),
            "ERROR - $GLMM: cannot read a value behind CF= from: X");
}

TEST_F(Directives, EquationsOfSolutionCovariances) {
    auto line = [](const std::string& rest) { return directives("$SOL_COV " + rest + "\n"); };
    const char* few = "ERROR - In itask=1, number of equations on the $SOL_COV must be >=2";
    for (const char* rest : {"", "5", "1 7", "-3 1 2"}) refused(line(rest), {few});
    refused(directives("$SOL_COV 1 7\n", "2 0 0 0"), {few});
    EXPECT_TRUE(scratch.run(line("5")).says("must be >=2 Here it is: 5"));
    refused(line("two 1 2"), {"should be an integer number Here it is: two"});
    const char* numbers = "Here the specification numbers after number of equations is:";
    refused(line("2 1 x"), {numbers});
    refused(line("3 x 2"), {numbers});
    refused(line("2147483647 1 2"), {numbers});
    const char* surplus = "Additional equation number specification is: 3 4";
    refused(line("2 1 2 3 4"), {surplus});
    EXPECT_TRUE(scratch.run(line("2 y 2 3 4")).says(surplus));
}

TEST_F(Directives, ContinuationsWithoutAContinuation) {
    Outcome outcome = accepted("$COMMENT\nlost /\n" + directives("$KVE4\nkept\nlost as well /\n"));
    EXPECT_EQ(outcome.times("WARNING - a keyword line follows a continued line that has no "
                            "continuation; the continued line is not used"),
              1);
    EXPECT_EQ(outcome.times("WARNING - the directive file ends in a continued line that has no "
                            "continuation; the line is not used"),
              1);
    EXPECT_EQ(scratch.read("KVE4.dir"), "kept\n");
    EXPECT_FALSE(outcome.says("| lost"));
}
