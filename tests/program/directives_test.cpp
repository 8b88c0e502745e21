// Directive files, mostly faulty ones, through the built program. The faults end the run before the
// data are opened, so no data are needed.

#include <sys/resource.h>

#include "run.h"

namespace {

using Words = std::vector<std::string>;

const char* const kRefused = "ERROR(S) FOUND IN DIRECTIVE FILE COMPUTATIONS TERMINATED";

// A directive file with the three required keywords and `more` behind them.
std::string directives(const std::string& more, const std::string& analyse = "1 1 0 0") {
    return "$ANALYSE " + analyse + "\n$DATA ASCII (3,2,-9) d.dat\n$MODEL\nm\n" + more + "\n";
}

class Directives : public testing::Test {
 protected:
    Directives() { scratch.write("d.dat", ""); }

    // A run that is refused for as many faults as are given with its lines, told in this order.
    Outcome refused(const std::vector<std::pair<std::string, Words>>& lines,
                    const std::string& first = "") {
        std::string text = first;
        for (const auto& [line, faults] : lines) text += line + "\n";
        Outcome outcome = scratch.run(text);
        int faults_left = outcome.times("ERROR -") + outcome.times("Error -");
        std::size_t at = 0;
        for (const auto& [line, faults] : lines)
            for (const std::string& each : faults) {
                at = outcome.words.find(each, at) + 1;
                EXPECT_TRUE(at > 0 && faults_left-- > 0) << each << text << outcome.listing;
            }
        EXPECT_TRUE(faults_left == 0 && outcome.status == 16 && outcome.words.ends_with(kRefused))
            << text << outcome.listing;
        return outcome;
    }

    // A run that stops at once in `words`, before anything is echoed.
    void stopped(const std::string& text, const std::string& words) {
        Outcome outcome = scratch.run(text);
        EXPECT_TRUE(outcome.status == 16 && outcome.words.ends_with(words + " Program terminates"))
            << text << outcome.listing;
        EXPECT_FALSE(outcome.says("User specified files")) << text;
    }

    // A run whose directives are accepted; what comes behind them is not looked at.
    Outcome accepted(const std::string& text) {
        Outcome outcome = scratch.run(text);
        EXPECT_TRUE(outcome.says("Variable names (") && !outcome.says(kRefused))
            << text << outcome.listing;
        return outcome;
    }

    Scratch scratch;
};

}  // namespace

TEST_F(Directives, FilesThatStopTheRun) {
    for (const char* text : {"", "# a\n\n\t\n#b"})
        stopped(text, "ERROR - Unexpected EOF for file with directives");
    for (const char* text : {"text\n$ANALYSE 1 1 0 0\n", "\t$ANALYSE 1 1 0 0\n"})
        stopped(text, "ERROR - No lines with key words found in the file with directives");
    for (std::string name : {"analyse", "", "VAR_STRUCTURE"})
        stopped("$" + name + " DATA\n",
                "ERROR - unknown key word in direvtives to KVE Key word read : " +
                    folded(name + " Legal key words are: COMMENT ANALYSE DATA VARIABLE MODEL REDUCE"
                                  " VAR_STR PRIOR OLDSOL FINFO KVE4 KVE5 KVEAI KVEMGP KVEGS MIXTURE"
                                  " VAR_REST GLMM CURE RESIDUALS TD_PTD GLMM_PRED SOL_COV CENS"));
    for (std::string line : {"# comment\r\n", "text\r", "\r\n", "$COMMENT\r \t\n"})
        stopped("$COMMENT\n" + line,
                "The CR could have been generated while moving the file from one computer "
                "environment to another.");
}

TEST_F(Directives, ValuesThatCannotBeRead) {
    const std::pair<std::string, std::string> cases[] = {
        {"DATA ASCII (,1,0) d.dat", "the number of integer variables from:"},
        {"DATA ASCII (9,99999999999,0)", "the number of real variables from: 99999999999"},
        {"VARIABLE \nx[a:2]", "the first number in the brackets from: a"},
        {"VARIABLE \nx[1:9999999999]", "the last number in the brackets from: 9999999999"},
        {"VAR_STR x1 COR ASCII d.dat", "a random factor number from: x1"},
        {"VAR_STR 1 PED 6 ram ASCII d.dat", "the value behind R from: ASCII"},
        {"VAR_STR 1 GROUP", "an integer column from:"},
        {"VAR_STR 1 COR ASCII d.dat\n$REDUCE",
         "a random factor number from: $REDUCE must not follow $VAR_STR directly"},
        {"CURE 1 2 3", "four integers from: 1 2 3"},
        {"CENS 1 CENS =", "a value behind CENS from:"},
        {"GLMM VARF=A LINK=B", "a trait number from: VARF=A"},
        {"GLMM 1 VARF=A LINK=B CF = x", "a value behind CF= from: X"}};
    for (const auto& [line, words] : cases)
        stopped(directives("$" + line, "2 0 0 0"),
                "ERROR - $" + line.substr(0, line.find(' ')) + ": cannot read " + words);
    for (const char* list : {"]x[1:2", "x[1: 3]"})
        stopped(directives(std::string("$VARIABLE\n") + list),
                "The format XX[i:j] is used, but no closing brackets is found");
    for (const char* list : {"x[12]", "x[:2]", "x[1:]", "x[3:2]", "x[1]:2"})
        stopped(directives(std::string("$VARIABLE\n") + list),
                "both \"i\" and \"j\" must be specified, and separated by \":\"");
    stopped(directives("$VAR_STR 1 PED 2 RAM ASCII d.dat"),
            "for random factor 1 is: 2 This is for setting up an additional A**(-1) for a Reduced "
            "Animal Model This feature is only implemented in KVEGS (task = 2) The task specified "
            "areAI-REML");
}

TEST_F(Directives, AnalyseLine) {
    const std::pair<Words, std::string> cases[] = {
        {{"1 1 0", "1 1 0 x", "1.0 1 0 0", "+-1 1 0 0", "", "3000000000 1 0 0\nskipped text"},
         "wrong format or missing informations on the $ANALYSE keyword line."},
        {{"0 1 0 0", "3 0 0 0", "13 1 0 0\n$PRIOR", "-2147483648 1 0 0"},
         "On $ANALYSE keyword line: Task= "},
        {{"1 0 0 0", "2 1 0 0", "1 -1 0 0", "1 2147483647 0 0"},
         "On $ANALYSE keyword line: Task = "},
        {{"12 3 0 0\n$PRIOR"},
         "Method = 3 Legal methods for TASK 12 (BLUE & BLUP - KVE5) are: "
         "1: GAUSS-SEIDEL - 2. order JACOBI 2: PRECOND. CONJUGATE GRADIENT"}};
    for (const auto& [lines, words] : cases)
        for (const std::string& line : lines)
            EXPECT_FALSE(refused({{directives("", line), {words}}}).says("Type of analyse"));
    // A label is cut to 42 characters.
    Outcome outcome = accepted(directives("$PRIOR", "11,11,1,2"));
    EXPECT_TRUE(outcome.says("(FSPAK - METIS SE/SP calculated element by)"));
    EXPECT_TRUE(outcome.says("Scaling to residual SD = 1 during computations Extensive amount"));
    EXPECT_TRUE(accepted(directives("", "2 0 /")).says("0 (MCMC)"));
    EXPECT_TRUE(accepted(directives("$PRIOR", "11 100 0 0")).says("100 (STORE MME ON FILE)"));
}

TEST_F(Directives, LinesThatAreRefused) {
    const std::string mixture = "Mixture models only implemented for KVEGS (task = 2)";
    const std::string residuals =
        "Computation of residuals is only implemented for KVEAI (task = 1) and KVE4 (itaks = 11) "
        "using solver method 8, 9, 10, 30 or 31";
    const std::string glmm_pred = "Keyword GLMM_PRED is only legal for ITASK=11 (KVE4)";
    const std::string incomplete = "keyword line VAR_STR is misspelled or incomplete";
    const std::string no_name = "VAR_STR file : not found", once = "keyword must only appear once";
    const std::string few = "In itask=1, number of equations on the $SOL_COV must be >=2 Here it ";
    const std::string numbers = "the specification numbers after number of equations is: ";
    refused(
        {{"$MIXTURE 1", {mixture}},
         {"$CURE 1 2 3 4", {mixture}},
         {"$CENS 1 CENS = 1", {"Censoring is only implemented for KVEGS (task = 2)"}},
         {"$TD_PTD 1 AM", {"trait deviation is not implemented in KVEAI (task = 1)"}},
         {"$GLMM_PRED 5 0.1", {glmm_pred}},
         {"$SOL_COV 5", {few + "is: 5"}},
         {"$SOL_COV 1 7", {once, few + "is: 1"}},
         {"$SOL_COV two 1 2", {once, "should be an integer number Here it is: two"}},
         {"$SOL_COV 2147483647 1 2",
          {once, numbers + "1 2 Expected equations numbers is: 2147483647"}},
         {"$SOL_COV 2 y 2 3 4", {once, numbers + "y 2 3 4", "specification is: 3 4"}},
         {"$VARIABLE\na b c d", {"To few variable names specified."}},
         {"$VAR_STR 0 COR ASCII d.dat", {"Random efffect no. on the VAR_STR"}},
         {"-------- 1 PEDIGREE 1 ASCII d.dat",
          {"factor : 1 Specified variance structure type : PEDIGREE Legal type of variance "
           "structure are: PED GROUP ABS_QTL DOM COR PGMIX GREL"}},
         {"-------- 2 PED 101 ASCII d.dat",
          {"factor : 2 Type of variance structure specified : PED Method specified : 101 Legal "
           "methods are: 1: Sire Dam - inbreed"}},
         {"-------- 3 PGMIX 6 ASCII a b c", {"Legal methods for variance structure PGMIX is 1"}},
         {"-------- 4 PGMIX 7 ASCII a b", {"Reading file name for the file with typed animals"}},
         {"-------- 5 PGMIX 1 ASCII a b c 0.5 g-adjust",
          {"Looking for option G-ADJUST, but found : g-adjust"}},
         {"-------- 6 GROUP 4",
          {"Interger input no. : 4 Legal integer input no. ; 1 - 3",
           "Variance structure GROUP is only legal for Itask = 2 (KVEGS)"}},
         {"-------- 7 PED 1 d.dat\n-------- 8 PED 1 ascii d.dat\n-------- 9 PED 1 ASCII\n"
          "-------- 10 PED 6 R\n-------- 11 PED 3 RAM ASCII d.dat\n-------- 12 DOM 1\n"
          "-------- 13 GREL",
          Words(7, incomplete)},
         {"", Words(7, no_name)},
         {"$COMMENT\n$COMMENT\n$ANALYSE 1 1 0 0", {"COMMENT " + once, "ANALYSE " + once}},
         {"$OLDSOL", {"OLDSOL keyword specified, but no file name given"}},
         {"$KVEGS no such", {"KVEGS file :no such not found"}},
         // A longer name is cut and then that of no file.
         {"$KVE5 " + std::string(300, 'n'), {"KVE5 file :" + std::string(200, 'n') + " not found"}},
         {"$REDUCE", {"No reduce description specified One description line per trait"}},
         {"$MODEL", {"MODEL " + once, "No model description or file name"}}},
        directives(""));
    EXPECT_EQ(scratch.read("KVE1.dir"), "");

    const std::string factor = "Reading random factor number";
    const std::string type = "model type not specified - legal types are AM or SM";
    const std::string parameter = "Wrong value for optional parameter - must be an integer value";
    refused(
        {{times(32, "$CURE 1 2 3 4\n"), {"$CURE: more than 31 pairs of traits"}},
         {"$GLMM 1 VARF=A LINK=B", {"GLMM is only implemented for KVEAI (task = 1) and KVE4"}},
         {"$VAR_REST a\nb", {"Restriction on co-variance components only implemented for KVEAI"}},
         {"$RESIDUALS ASCII", {residuals}},
         {"$SOL_COV 1 7", {few}},
         {"$MIXTURE 3", {"less then 2 Specified value : 3"}},
         {"$CENS 7 CEN = 1", {"line for trait 7 Positional parameter \"CENS\" not found"}},
         {"$CENS 7 CENS 1", {"trait 7 Expected \"=\" afterCENS not found"}},
         {"$CENS 7 CENS = 1 MAX = 2", {"parameter \"INT_MAX\", but cinp(1:lng)found"}},
         {"$CENS 7 CENS = 1 INT_MAX 2", {"Expected \"=\" afterINT_MAX not found"}},
         {"$TD_PTD", {factor, type}},
         {"$TD_PTD 1 A", {once, type}},
         {"$TD_PTD x ZZ", {once, factor, parameter}},
         {"$TD_PTD 1 AMX", {once, parameter}},
         {"$TD_PTD 1 SM 1 1.5", {once, glmm_pred}}},
        directives("", "2 0 0 0"));
    EXPECT_FALSE(scratch.has("CVREST.DIR"));
    refused(
        {{"$SOL_COV 2 1 1", {"Keyword SOL_COV is only legal for ITASK=1 (KVEAI) and 2 /KVEGS)"}},
         {"$RESIDUALS ASCII", {residuals}},
         {"$GLMM_PRED 0 1.0",
          {"Reading max. no. of GLMM iterations - must be an integer > 0",
           "Reading GLMM convergence criterion - must be a real < 1.0"}},
         {"", {"Required KEYWORD line PRIOR not found"}}},
        directives("", "11 1 0 0"));
    // Ahead of $ANALYSE there is no task.
    refused({{"$MIXTURE 1\n" + directives(""), {mixture, "less then 0 Specified value : 1"}}});
    accepted(directives("$PRIOR\n$RESIDUALS BINARY\n$GLMM_PRED 5 0.1", "11 31 0 0"));
}

TEST_F(Directives, DataAndVariableNames) {
    const std::string incomplete = "keyword line DATA is misspelled or incomplete";
    refused(
        {{"$DATA", {"No data description found in the file with directives"}},
         {"$DATA ascii (1,1,0) x\n$DATA ASCII 1,1,0 x\n$DATA ASCII (1,1 0) x\n"
          "$DATA ASCII (1,1,0 x\n$DATA ASCII(1,1,0) x\n$DATA ASCII (-1,1,0) x\n"
          "$DATA ASCII (1,-2147483648,0) x",
          Words(7, incomplete)},
         {"$DATA ASCII (10000001,0,0) d.dat",
          {"$DATA: more than 10000000 variables of one kind: 10000001"}},
         {"$DATA BINARY (1,2147483647,0)",
          {"$DATA: more than 10000000 variables of one kind: 2147483647", "DATA file : not found"}},
         {"$DATA ASCII (1000,1,0) d.dat\n$DATA BINARY (0,1001,0) d.dat d.dat",
          Words(2, "real variables is larger than the file")},
         {"$DATA ASCII (1,1,0) d.dat my data/", {"DATA file :my data/ not found"}},
         {"$DATA ASCII (3,2,0\n$VARIABLE\na b c d e\n$MIXTURE 2",  // counts without tables
          {incomplete, "Mixture models only"}}},
        directives(""));
    scratch.write("other.dat", "");
    EXPECT_TRUE(accepted(directives("$DATA\nASCII\n(3, 2,\n 0) d.dat\nother.dat"))
                    .says("DATA : d.dat : other"));
    EXPECT_TRUE(refused({{directives("$VARIABLE\na[-2147483648:2147483647] b[1:2147483647]"),
                          {"To many variable names specified. The DATA line sayes: 3 integer "
                           "variables and 2 real variables A total of 6442450943 variable names"}}})
                    .says("a-214748 a-214748 a-214748"));
    // Ahead of $DATA there is nothing to name; a $DATA line behind gives default names.
    EXPECT_TRUE(refused({{"$VARIABLE\na\n" + directives(""),
                          {"0 integer variables and 0 real variables A total of 1 variable"}}})
                    .says("Variable names (user specified) INTEGERS : I1 I2 I3 REALS : R1 R2"));
    // Of more than 80 names the first and the last are shown.
    Outcome outcome = accepted(directives("$DATA ASCII (80,81,0) d.dat"));
    for (const char* words : {"INTEGERS : I1 I2", "I79 I80 Name of the first 24 real variables R1",
                              "R23 R24 Name of the last 24 real variables R58"})
        EXPECT_TRUE(outcome.says(words)) << outcome.listing;
    EXPECT_TRUE(accepted(directives("$DATA ASCII (0,0,0) d.dat")).says("INTEGERS : REALS :"));
}

TEST_F(Directives, MissingAndRepeatedLines) {
    // Lines of one group, one factor twice; a missing file is told once, where its group ends.
    const char* gone = "VAR_STR file :gone not found";
    const std::string twice = "Variance structure for random factor : ";
    refused({{"$VAR_STR 2147483647 COR ASCII gone\n-------- 1 COR ASCII d.dat", {}},
             {"-------- 1 PED 5 ASCII d.dat", {gone}},
             {"$VAR_STR 3 GREL BINARY d.dat", {}},
             {"$VAR_STR 2147483647 COR ASCII d.dat",
              {twice + "1 specified 2 times", twice + "2147483647 specified 2"}}},
            directives(""));
    refused({{"$COMMENT",
              {"Required KEYWORD line ANALYSE not found", "line DATA not", "line MODEL not"}}});
    refused({{directives("", "11 101 0 0"), {"Task = 11", "line PRIOR not"}}});
    // A text line behind a section that has none ends the reading.
    refused({{"$ANALYSE 1 1 0 0\n$DATA ASCII (1,1,0) d.dat\n$OLDSOL d.dat\ntext\n$MODEL\nm",
              {"line MODEL not"}}});
    refused({{directives("$MODEL\nn"), {"MODEL keyword must only appear once"}}});
    EXPECT_EQ(scratch.read("KVE1.dir"), "n\n");
    accepted(directives("$RESIDUALS ASCII\n$RESIDUALS BINARY\n$FINFO d.dat\n$FINFO d.dat"));
}

TEST_F(Directives, SectionsBecomeFiles) {
    Outcome outcome = accepted(directives("$PRIOR d.dat\n$KVEMGP d.dat\n$KVE4 d.dat\n$KVE4\nx"));
    EXPECT_TRUE(outcome.says("PRIOR (CO)VARIANCES : d.dat OPTIONAL INPUT KVEMGP : d.dat Variable"));
    EXPECT_FALSE(scratch.has("PARIN"));
    scratch.write("PARIN", "left by an earlier run\n");
    accepted("$PRIOR\nfirst\n$KVE4\n  $KVEMGP\t\n \t #kept   inside  \n# dropped\n\n\t$DATA\n" +
             directives("$PRIOR\n  second\n$REDUCE\n1\n$VAR_REST one\n two\n$VAR_REST\n three"));
    const std::pair<const char*, const char*> files[] = {
        {"PARIN", "second\n"}, {"KVE4.dir", ""},       {"KVEMGP.dir", "#kept   inside\n$DATA\n"},
        {"KVE1.dir", "m\n"},   {"KVE1.reduce", "1\n"}, {"CVREST.DIR", "one\ntwo\nthree\n"}};
    for (const auto& [name, content] : files) EXPECT_EQ(scratch.read(name), content) << name;
    // A stop inside a section keeps what was copied.
    scratch.run(directives("$VAR_REST a\nb\n$KVE4\na\nb\r\n"));
    EXPECT_EQ(scratch.read("KVE4.dir") + scratch.read("CVREST.DIR"), "a\na\nb\n");
    // Those that cannot be written.
    const std::string fault = ": it is a folder: remove it";
    for (std::string name : {"KVE1.dir", "CVREST.DIR", "KVEAI.dir"}) {
        std::filesystem::remove(scratch.folder() / name);
        std::filesystem::create_directory(scratch.folder() / name);
    }
    stopped(directives(""), "ERROR - $MODEL: cannot write KVE1.dir" + fault);
    std::filesystem::remove(scratch.folder() / "KVE1.dir");
    stopped(directives("$KVEAI\nx"), "ERROR - $KVEAI: cannot write KVEAI.dir" + fault);
    stopped(directives("$VAR_REST x"), "ERROR - $VAR_REST: cannot write CVREST.DIR" + fault);
    EXPECT_EQ(scratch.run(directives("$VAR_REST x")).times("CVREST.DIR"), 1);
}

TEST_F(Directives, InlineTextsReplaceNoInput) {
    const std::string priors = "$PRIOR\n1 1 1 1\n";
    const std::string data = "$ANALYSE 1 1 0 0\n$DATA ASCII (3,2,-9) PARIN\n$MODEL\nm\n";
    const std::pair<const char*, std::string> cases[] = {
        {"PARIN", data + priors},
        {"PARIN", priors + data},
        {"PARIN", directives(priors + "$PRIOR ./PARIN")},
        {"PARIN", directives("$OLDSOL PARIN\n$OLDSOL d.dat\n" + priors)},
        {"KVE4.dir", directives("$KVE4\nx\n$VAR_STR 1 PGMIX 1 ASCII d.dat d.dat KVE4.dir")},
        {"KVE1.reduce", directives("$REDUCE\n1\n$VAR_STR 1 PED 1 ASCII link")},
        {"CVREST.DIR", directives("$VAR_REST\nx\n$FINFO CVREST.DIR")},
        {"KVE1.dir", directives("$KVEGS KVE1.dir")},
        {"KVEDIM", directives("$KVE5\nx")}};
    for (const auto& [file, text] : cases) {
        SCOPED_TRACE(text);
        const std::filesystem::path& folder = scratch.folder();
        scratch.write(file, "&kvedim /\n");
        std::filesystem::remove(folder / "link");
        std::filesystem::create_hard_link(folder / file, folder / "link");
        if (std::string_view(file) == "KVEDIM")
            std::filesystem::create_symlink(file, folder / "KVE5.dir");
        const Outcome outcome = scratch.run(text);
        EXPECT_TRUE(outcome.status == 16 && outcome.words.ends_with(kRefused)) << outcome.listing;
        EXPECT_EQ(outcome.times("which is an input of this run too"), 1);
        EXPECT_EQ(scratch.read(file), "&kvedim /\n");
        // Nobody knows at a stop what the rest of the lines would have named.
        const std::size_t end = text.find("$MODEL");
        scratch.run(text.substr(0, end) + "$no\n" + text.substr(end));
        EXPECT_EQ(scratch.read(file), "&kvedim /\n");
        std::filesystem::remove(folder / file);
    }
    // The directive file itself; a file that exists since this run has made it.
    std::filesystem::create_symlink("directives.in", scratch.folder() / "KVE4.dir");
    scratch.run(directives("$KVE4\nx"));
    EXPECT_EQ(scratch.read("directives.in"), directives("$KVE4\nx"));
    EXPECT_TRUE(
        refused({{directives("$VAR_STR 1 PGMIX 1 ASCII d.dat PARIN d.dat\n" + priors), {"PARIN"}}})
            .says("$PRIOR: the text below it goes to the file PARIN"));
}

TEST_F(Directives, LogicalLines) {
    const std::string x(1999, 'x'), xx = x + "x";
    const std::pair<std::string, std::string> cases[] = {
        // Two pieces are joined by one blank. A third begins behind the length of the second alone,
        // whatever stands there and behind, or behind a gap.
        {"abc  /\ndef", "abc def"},
        {"abcdefgh /\nijkl/\nmn", "abcdemn"},
        {"a /\nbcdefghij /\nk", "a bcdefghik"},
        {"/\nx y /\nz", "x yz"},
        // Comments and empty lines leave a chain pending.
        {"\n   \n\t \n# no /\n  a /\n#x\n\n b", "a b"},
        // Lines are cut; a carriage return behind the last column is not seen.
        {xx + "yz/", xx},
        {xx + "\r", xx},
        {x + "/\n" + x + "/\n" + x + "/\nend", x + " end"}};
    std::string text = directives("$KVE5"), expected;
    for (const auto& [lines, logical] : cases) text += lines + "\n", expected += logical + "\n";
    // What is still pending at a keyword line and at the end is lost.
    Outcome outcome = accepted("$COMMENT\nlost /\n" + text + "lost /\n$KVE4\nkept\nlost /\n");
    EXPECT_EQ(scratch.read("KVE5.dir"), expected);
    EXPECT_EQ(scratch.read("KVE4.dir"), "kept\n");
    EXPECT_EQ(outcome.times("WARNING - a keyword line follows a continued line that has no "), 2);
    EXPECT_EQ(outcome.times("WARNING - the directive file ends in a continued line that has"), 1);
    EXPECT_FALSE(outcome.says("| lost"));
}

// Of the test and the programs that it has waited for.
double cpu_seconds() {
    double seconds = 0;
    for (const int who : {RUSAGE_SELF, RUSAGE_CHILDREN}) {
        rusage used{};
        ::getrusage(who, &used);
        for (const timeval& part : {used.ru_utime, used.ru_stime})
            seconds += static_cast<double>(part.tv_sec) + 1e-6 * static_cast<double>(part.tv_usec);
    }
    return seconds;
}

// Four times the lines cost four times the messages and about four times the time, and not the
// sixteen times of lines that are compared with all others.
TEST_F(Directives, CostsGrowWithTheLines) {
    const std::pair<const char*, const char*> kinds[] = {{"$DATA ASCII (1,1,0) gone", ""},
                                                         {"$VARIABLE\na", " b"},
                                                         {"$VAR_STR ", " COR ASCII gone"},
                                                         {"$VAR_STR 1 COR ASCII gone", ""},
                                                         {"$GLMM ", " VARF=NORMAL LINK=LOG"},
                                                         {"$ANALYSE 1 1 ", " 0"},
                                                         {"$KVE4\n", ""}};
    for (const auto& [kind, end] : kinds) {
        double seconds[2];
        std::size_t messages[2];
        for (const int size : {0, 1}) {
            std::string lines;
            for (int k = 1; k <= (size == 0 ? 4000 : 16000); ++k)
                lines += kind + std::to_string(k) + end + "\n";
            const double before = cpu_seconds();
            const Outcome outcome = scratch.run(directives(lines));
            seconds[size] = cpu_seconds() - before;
            messages[size] = outcome.listing.size();
            EXPECT_EQ(outcome.status, 16) << kind;
        }
        EXPECT_LT(messages[1], 5 * messages[0]) << kind;
        EXPECT_LT(seconds[1], 8 * seconds[0] + 0.1) << kind;
    }
}

TEST_F(Directives, CommentBox) {
    const std::string wide(80, 'w');
    std::string text = "$COMMENT\n" + wide + "v\n";
    for (int k = 2; k <= 11; ++k) text += "line\t" + std::to_string(k) + "\n# gone\n";
    const Outcome outcome = accepted(text + directives(""));
    EXPECT_TRUE(outcome.prints("\n         | " + wide + " |\n"));
    EXPECT_TRUE(outcome.says("| line 10 |") && !outcome.says("line 11"));
    EXPECT_TRUE(outcome.says("WARNING - at least one line with user comments is longer than 80"));
    EXPECT_TRUE(outcome.says("WARNING - more then 10 lines with user comments."));
    EXPECT_FALSE(accepted("$COMMENT\n" + wide + "\n" + directives("")).says("with user comments"));
}
