// Recipes of kve prep: what each entry makes of a table, what is refused, and what is guessed
// without them.
#include <cmath>
#include <cstdlib>
#include <sstream>

#include "kve/call.h"

namespace {

const std::string kHead = "[data]\nfile = \"d.csv\"\n";

// The numbers of data.txt, rounded to the fourth decimal so that they stand in a table here.
std::string rounded_data(const Scratch& scratch) {
    std::string all;
    for (const std::string& line : lines_of(scratch.read("o/data.txt"))) {
        std::istringstream values(line);
        for (double value; values >> value;)
            all += text("%.6g ", std::round(value * 1e4) / 1e4 + 0.0);
        all.back() = '\n';
    }
    return all;
}

// Without file and head.
std::string rejected(const Scratch& scratch) {
    std::string all;
    for (const std::string& line : lines_of(scratch.read("o/rejected.tsv")))
        if (!line.starts_with("file\t")) all += line.substr(line.find('\t') + 1) + "\n";
    return all;
}

TEST(Recipe, ColumnsAreWhatItSays) {
    const struct {
        const char *table, *recipe, *data, *rejected;
    } cases[] = {
        {"day,y\n2020-06-30,1\n2020-07-01,2\n,3\n2020-12-01,4\n",
         "day = \"date\"\ny = \"real\"\n[build]\nm = { month = \"day\" }\n"
         "half = { season = \"day\", seasons = [[1, 2, 3, 4, 5, 6], [7, 8, 9, 10, 11, 12]] }\n"
         "s = { season = \"day\" }\nys = { year_season = \"day\" }\nyear = { year = \"day\" }\n",
         "6 1 3 202003 2020 1\n7 2 3 202003 2020 2\n0 0 0 0 0 3\n12 2 1 202001 2020 4\n", ""},
        {"a,b\n2018-01-31,2020-01-31\n2020-02-01,2020-01-31\n2020-01-31,2020-01-31\n",
         "a = \"date\"\nb = \"date\"\n[build]\nd = { age = \"b\", born = \"a\" }\n"
         "m = { age = \"b\", born = \"a\", unit = \"months\" }\n"
         "y = { age = \"b\", born = \"a\", unit = \"years\", limits = [1, 9] }\n",
         "730 23.9836 1.9986\n-999999 -999999 -999999\n0 0 -999999\n",
         "3\td\t-1 days\ta date before that of birth\n3\tm\t-1 days\ta date before that of birth\n"
         "3\ty\t-1 days\ta date before that of birth\n4\ty\t0\tbelow 1\n"},
        // Quadratic splines on three knots, by hand.
        {"x\n0\n0.5\n1\n2\n2.1\n",
         "x = { role = \"real\", write = false }\n[build]\n"
         "B = { spline = \"x\", knots = [0, 1, 2], degree = 2 }\n",
         "1 0 0 0\n0.25 0.625 0.125 0\n0 0.5 0.5 0\n0 0 0 1\n-999999 -999999 -999999 -999999\n",
         "6\tB1\t2.1\toutside of the range\n"},
        {"x\n10\n5\n11\n",
         "x = { role = \"integer\", write = false }\n[build]\n"
         "L = { legendre = \"x\", order = 3, range = [0, 10], constant = true }\n",
         "0.7071 1.2247 1.5811 1.8708\n0.7071 0 -0.7906 0\n-999999 -999999 -999999 -999999\n",
         "4\tL0\t11\toutside of the range\n"},
        {"k,y\n3,1\n-5,2\n3.5,3\n3000000000,4\n-2147483648,5\n", "k = \"integer\"\ny = \"real\"\n",
         "3 1\n-5 2\n0 3\n0 4\n0 5\n",
         "4\tk\t3.5\tno whole number\n5\tk\t3000000000\tbeyond 31 bits\n"
         "6\tk\t-2147483648\tbeyond 31 bits\n"},
        {"c,day,y\n2,2020-06-30,1\n4,2020-06-30,2\nx,2020-06-30,3\n2,2019-12-31,4\n1,2020-12-31,"
         "5\n",
         "c = { role = \"class\", limits = [1, 3] }\n"
         "day = { role = \"date\", limits = [2020-01-01, 2020-12-31], beyond = \"reject\" }\n"
         "y = \"real\"\n",
         "2 1\n0 2\n0 3\n1 5\n",
         "3\tc\t4\tabove 3\n4\tc\tx\tno number, and there are limits\n"
         "5\tday\t2019-12-31\tbelow 20200101\n"},
        // What is only told stays.
        {"c,i,y\n\" x\",a,1\nx,\xFF,2\n3000000000,\"b \",3\n\" x\",3000000000,4\n",
         "c = \"class\"\ni = \"identity\"\ny = \"real\"\n", "2 1 1\n3 2 2\n1 3 3\n2 4 4\n",
         "2\tc\t\" x\"\ta name with blanks at its ends\n3\ti\t\xFF\ta name that is not UTF-8\n"
         "4\tc\t3000000000\ta class beyond 31 bits: the levels are numbered\n"
         "4\ti\t\"b \"\ta name with blanks at its ends\n"},
        // Signs and decimals of a column, beside those of the table.
        {"a;b;c\n1,5;x;2.5\n?;?;-999,0\nNA;-1;1e3\n",
         "a = { role = \"real\", decimal = \",\", missing = [\"?\", \"x\"] }\n"
         "b = { role = \"class\", missing = \"-1\" }\nc = \"real\"\n",
         "2 1.5 2.5\n1 -999999 -999999\n0 -999999 1000\n", "3\tc\t-999,0\tno number\n"},
        {"i,y\n5,1\nx,2\n0,3\n00,4\n7,5\nx,6\n",
         "i = \"identity\"\ny = { role = \"real\", required = true }\n[build]\n"
         "n = { count = \"i\" }\nof = { number = \"i\" }\n[output]\nrenumber = true\n",
         "1 1 1 1\n2 1 2 2\n0 0 3 -999999\n0 0 4 -999999\n3 1 5 1\n2 2 6 2\n", ""},
        {"i,y\n5,1\n,\n7,NA\n", "i = \"identity\"\ny = { role = \"real\", required = true }\n",
         "5 1\n", "3\ty\t\tis missing\n4\ty\tNA\tis missing\n"}};
    for (const auto& one : cases) {
        const Scratch scratch;
        scratch.write("d.csv", one.table);
        scratch.write("r.toml", kHead + "header = true\n[columns]\n" + one.recipe);
        ASSERT_EQ(kve(scratch, "prep r.toml -o o").status, 0) << scratch.read("words");
        EXPECT_EQ(rounded_data(scratch), one.data) << one.recipe;
        EXPECT_EQ(rejected(scratch), one.rejected) << one.recipe;
    }
}

TEST(Recipe, ConditionsKeepRecords) {
    const Scratch scratch;
    scratch.write("d.csv",
                  "x,c,n,day,y\n1,A,10,2020-01-01,1\n2,B,9,2020-02-01,2\n3,A 1,10.0,2020-03-01,3\n"
                  "4,C,x,,4\n,,,2020-05-01,5\n");
    const std::pair<const char*, const char*> cases[] = {{"x = 2", "2"},
                                                         {"x != 2", "134"},
                                                         {"x < 3", "12"},
                                                         {"x <= 3", "123"},
                                                         {"x > 3", "4"},
                                                         {"x >= 3", "34"},
                                                         {"x in 1, 4.0", "14"},
                                                         {"x not in 1, 4", "23"},
                                                         {"c in A 1, C", "34"},
                                                         {"c not in A", "234"},
                                                         {"c != B", "134"},
                                                         {"n = 10", "1"},
                                                         {"n <= 10", "123"},
                                                         {"n > 9", "13"},
                                                         {"day = 2020-02-01", "2"},
                                                         {"day >= 2020-02-01", "235"},
                                                         {"day < 2020-02-01", "1"},
                                                         {"month not in 1, 2", "35"},
                                                         {"cut >= 2", "234"}};
    for (const auto& [condition, kept] : cases) {
        scratch.write("r.toml", kHead + "keep = \"" + condition +
                                    "\"\n[columns]\nx = { role = \"real\", write = false }\n"
                                    "c = { role = \"class\", write = false }\n"
                                    "n = { role = \"class\", write = false }\nday = \"date\"\n"
                                    "y = \"real\"\n[build]\n"
                                    "month = { month = \"day\", write = false }\n"
                                    "cut = { cut = \"x\", at = [1.5], write = false }\n");
        ASSERT_EQ(kve(scratch, "prep r.toml -o o").status, 0) << scratch.read("words");
        std::string found = scratch.read("o/data.txt");
        std::erase(found, '\n');
        EXPECT_EQ(found, kept) << condition;
    }
}

TEST(Recipe, FaultsAreRefusedWithTheirLines) {
    const std::string columns = "[columns]\nid = \"identity\"\nday = \"date\"\nx = \"real\"\n",
                      built = kHead + columns + "[build]\n", ped = kHead + columns + "[pedigree]\n",
                      matrix = kHead + columns + "[[matrix]]\nfile = \"m.csv\"\n";
    const std::pair<std::string, const char*> cases[] = {
        {"[columns]\nx = \"real\"\n", "there is no [data]"},
        {kHead, "there is no [columns]"},
        {"[data]\n" + columns, "line 1: [data] lacks file"},
        {"x = 1\n" + kHead + columns, "line 1: the recipe has no entry x; there are: "},
        {kHead + "delimiter = \"ab\"\n" + columns, "line 3: \"ab\" is no sign"},
        {kHead + "[columns]\nx = { role = \"real\", required = 3 }\n",
         "line 4: required in column x must be true or false"},
        {kHead + "[columns]\nx = { role = \"real\", missing = 3 }\n",
         "line 4: missing in column x must be a text"},
        {kHead + "[columns]\nday = { role = \"date\", order = \"dmy\" }\n",
         "line 4: order must be \"year"},
        {kHead + "[columns]\nid = { role = \"identity\", limits = [1, 2] }\n",
         "line 4: limits are for numbers and dates, and id is none"},
        {kHead + "[columns]\nx = { role = \"real\", limits = [1, true] }\n",
         "line 4: a limit must be a number or a date"},
        {kHead + "[columns]\nx = { role = \"real\", limits = [1, 2], beyond = \"kept\" }\n",
         "line 4: beyond must be \"missing\" or \"reject\""},
        {built + "S = { season = \"day\", seasons = [[1, 2, 3], [4]] }\n",
         "line 8: seasons must hold each month once"},
        {built + "S = { season = \"day\", seasons = [[1, 2, 13]] }\n",
         "line 8: seasons must hold each month once"},
        {built +
             "S = { season = \"day\", seasons = [[1, 2, 3, 4, 5, 6], [6, 7, 8, 9, 10, 11, 12]] }\n",
         "line 8: seasons must hold each month once"},
        {built + "L = { legendre = \"x\", order = 21, range = [0, 1] }\n", "order must be 1 to 20"},
        {built + "L = { legendre = \"x\", range = [0, 1, 2] }\n", "range of L must be two numbers"},
        {built + "L = { spline = \"x\", knots = [0] }\n", "knots of L must be numbers"},
        {built + "L = { spline = \"x\", knots = [0, 1], degree = 4 }\n", "degree must be 1 to 3"},
        {built + "A = { age = \"day\", born = \"day\", unit = \"weeks\" }\n", "unit must be"},
        {built + "A = { age = \"day\", born = \"x\" }\n", "A is built from a date, and x is none"},
        {built + "A = { age = \"day\", born = \"pedigree\" }\n",
         "line 8: the pedigree has no dates of birth"},
        {built + "Y = { year = [\"day\", \"day\"] }\n", "line 8: Y is built from one column"},
        {built + "Y = { from = \"day\" }\n", "line 8: Y does not tell how it is built"},
        {built + "Y = \"day\"\n", "line 8: Y must be { ... }"},
        {built + "x = { year = \"day\" }\n", "line 8: there are two columns x"},
        {built + "Y = { interaction = [\"id\"] }\n", "Y is built from a class, and id is none"},
        {kHead + "keep = [\"n < 3\"]\n" + columns + "[build]\nn = { count = \"id\" }\n",
         "line 3: keep: n is only known of records that are kept"},
        {kHead + "keep = [\"day < 3.5.2020\"]\n" + columns,
         "line 3: keep: \"3.5.2020\" is no date such as 2020-01-31"},
        {kHead + "unique = [\"Y\"]\n" + columns + "[build]\nY = { year = \"day\" }\n",
         "line 3: unique: Y is no column of the data"},
        {ped + "file = \"p.csv\"\nmethod = 0\n", "method must be 1 to 1000"},
        {ped + "file = \"p.csv\"\nfactor = 1001\n", "factor must be 1 to 1000"},
        {ped + "file = \"p.csv\"\nborn = \"b\"\nsort = \"b\"\n", "has born or sort, not both"},
        {matrix + "type = \"NONE\"\n", "type must be PGMIX"},
        {matrix + "type = \"PGMIX\"\n", "m.csv: a matrix of type PGMIX needs a pedigree and typed"},
        {ped + "file = \"p.csv\"\n[[matrix]]\nfile = \"m.csv\"\ntype = \"PGMIX\"\n",
         "m.csv: a matrix of type PGMIX needs a pedigree and typed"},
        {ped + "file = \"q.csv\"\n", "q.csv: which columns are animal, sire and dam?"},
        {kHead + "[columns]\nid = \"date\"\nx = \"real\"\n",
         "d.csv: id is said to be a date, and A is no date that is known: give its order"},
        {matrix + "type = \"COR\"\nof = \"x\"\n", "m.csv: of = \"x\" is no class of the data"},
        {matrix + "type = \"COR\"\nrow = \"z\"\n", "m.csv: no column z; there are: a, b, c"},
        {kHead + columns + "[output]\nmissing_code = 1e39\n", "line 7: missing_code is beyond"}};
    const Scratch scratch;
    scratch.write("d.csv", "id,day,x\nA,2020-01-02,5.5\n");
    scratch.write("p.csv", "id,sire,dam,b\nA,0,0,1\n");
    scratch.write("m.csv", "a,b,c\nA,A,1\n");
    scratch.write("q.csv", "sire,b,c\nA,0,0\n");
    for (const auto& [recipe, words] : cases) expect_refused_recipe(scratch, recipe, words);
}

// Which columns a pedigree has, its parents and its sort variable.
TEST(Recipe, PedigreesAreReadAsItSays) {
    const struct {
        const char *pedigree, *recipe, *made, *rejected;
    } cases[] = {
        {"id,sire,dam\nA,-7,-8\nB,A,-9\n", "method = 5\n", "1 -7 -8 1\n2 1 -9 2\n", ""},
        {"id,sire,dam\nA,,\nB,A,-9\n", "method = 4\n", "1 0 0 1\n2 1 0 2\n",
         "3\tdam\t-9\ta phantom group, which the method of the pedigree does not take\n"},
        {"a,b,c,d\n9,x,B,A\n5,,A,\n99999999999,,C,A\n",
         "sort = \"a\"\nanimal = \"c\"\nsire = \"d\"\ndam = \"b\"\n", "1 2 3 9\n2 0 0 5\n4 2 0 0\n",
         "4\ta\t99999999999\tbeyond 31 bits\n"},
        {"id,sire,dam,s\nA,,,5\nB,A,,y\n", "sort = \"s\"\n", "1 0 0 5\n2 1 0 0\n",
         "3\ts\ty\tno whole number\n"},
        // By a word in the name, and by place.
        {"reg_no,id_of_sire,id_of_dam,Animal_ID\n7,A,,B\n8,,,A\n", "", "1 2 0 2\n2 0 0 1\n", ""},
        {"x,y,z\nA,,\nB,A,\n", "", "1 0 0 1\n2 1 0 2\n", ""},
        // The order in which most of the births are dates, and integers as they are.
        {"id,sire,dam,born\nA,,,13.02.2001\nB,A,,2.3.2004\n", "born = \"born\"\n",
         "1 0 0 20010213\n2 1 0 20040302\n", ""},
        {"id,sire,dam,birth\nA,,,12\nB,A,,40\n", "", "1 0 0 12\n2 1 0 40\n", ""},
        {"id,sire,dam,born\nA,,,2001\nB,A,,2001\n", "", "1 0 0 20010701\n2 1 0 20010701\n",
         "3\tsire\tA\ta parent that is not older\n"}};
    for (const auto& one : cases) {
        const Scratch scratch;
        scratch.write("d.csv", "id,y\nA,1.5\n");
        scratch.write("p.csv", one.pedigree);
        scratch.write("r.toml", kHead +
                                    "[columns]\nid = \"identity\"\ny = \"real\"\n"
                                    "[pedigree]\nfile = \"p.csv\"\n" +
                                    one.recipe);
        ASSERT_EQ(kve(scratch, "prep r.toml -o o").status, 0) << scratch.read("words");
        EXPECT_EQ(scratch.read("o/pedigree.txt"), one.made) << one.pedigree;
        EXPECT_EQ(rejected(scratch), one.rejected) << one.pedigree;
    }
}

// The age of an animal goes by the pedigree; what it does not know stays missing.
TEST(Recipe, AgesByThePedigree) {
    const Scratch scratch;
    scratch.write("d.csv", "id,at\nA,2020-01-31\nB,2020-01-31\nC,2020-01-31\n,2020-01-31\nA,\n");
    scratch.write("p.csv", "id,sire,dam,born\nA,C,,2020-01-01\nB,,,\n");
    scratch.write("r.toml", kHead +
                                "[columns]\nid = \"identity\"\nat = \"date\"\n[build]\n"
                                "age = { age = \"at\", born = \"pedigree\" }\n"
                                "[pedigree]\nfile = \"p.csv\"\n");
    const Shown shown = kve(scratch, "prep r.toml -o o");
    ASSERT_EQ(shown.status, 0) << shown.words;
    EXPECT_EQ(rounded_data(scratch), "1 30\n3 -999999\n2 -999999\n0 -999999\n1 -999999\n");
    for (const char* line :
         {"in the data, not in the pedigree                                     1",
          "animals without a date or sort variable                              1"})
        EXPECT_NE(shown.out.find(line), std::string::npos) << shown.out;
}

// Names of at most eight letters, and the lines of each kind of matrix.
TEST(Recipe, DirectivesHaveItsNames) {
    const Scratch scratch;
    scratch.write("d.csv",
                  "Milk yield 1,Milk yield 2,305d,Ä,line,x/\n1.5,1,2,3,a,0.5\n2.5,2,3,4,b,1.5\n");
    scratch.write("p.csv", "id,sire,dam\nA,,\n");
    scratch.write("t.csv", "A\n");
    scratch.write("m.csv", "a,b,c\nA,A,1\n");
    const std::string columns =
        "[columns]\n\"Milk yield 1\" = \"real\"\n\"Milk yield 2\" = \"real\"\n305d = \"real\"\n"
        "\"Ä\" = \"real\"\nline = \"class\"\n\"x/\" = { role = \"real\", write = false }\n[build]\n"
        "\"Curve of x\" = { legendre = \"x/\", order = 2, range = [0, 2] }\n";
    const std::string relatives =
        "[pedigree]\nfile = \"p.csv\"\nmethod = 2\nfactor = 3\n[typed]\nfile = \"t.csv\"\n";
    const struct {
        std::string recipe;
        std::vector<const char*> lines;
    } cases[] = {
        {columns,
         {"Milkyiel", "Milkyie2", "V305d", "V", "line", "Curveof1", "Curveof2",
          "# real 5: built from x/.",
          "# Fill in the model below $MODEL; docs/manual.md tells its lines:"}},
        {columns + relatives + "[[matrix]]\nfile = \"m.csv\"\nweight = 0.1\n",
         {"$VAR_STR 1 PGMIX 2 ASCII pedigree.txt typed.txt matrix1.txt 0.1"}},
        {columns + relatives + "[[matrix]]\nfile = \"m.csv\"\nadjust = true\n",
         {"$VAR_STR 1 PGMIX 2 ASCII pedigree.txt typed.txt matrix1.txt 0 G-ADJUST"}},
        {columns + relatives +
             "[[matrix]]\nfile = \"m.csv\"\ntype = \"DOM\"\nfactor = 4\npedigree = 3\n"
             "[output]\nbinary = true\nmissing_code = -9.5\n[directives]\ncomment = \"mine\"\n"
             "model = \"{line} {Milk yield 2} {Curveof2}\"\n",
         {"$VAR_STR 3 PED 2 BINARY pedigree.bin", "$VAR_STR 4 DOM 3 BINARY matrix1.bin",
          "$DATA BINARY (1,6,-9.5) data.bin", "mine", "1 2 6"}}};
    for (const auto& one : cases) {
        scratch.write("r.toml", kHead + one.recipe);
        ASSERT_EQ(kve(scratch, "prep r.toml -o o").status, 0) << scratch.read("words");
        const std::string made = "\n" + scratch.read("o/run.kve");
        for (const char* line : one.lines)
            EXPECT_NE(made.find(std::string("\n") + line + "\n"), made.npos) << line << made;
    }
}

// The logarithm of a determinant stands first or not at all; what no later run makes goes away.
TEST(Recipe, MatricesComeAndGo) {
    const Scratch scratch;
    scratch.write("d.csv", "id,y\nA,1.5\n");
    scratch.write("m.csv", "0;0;3,5\nB;A;1,5\n0;0;1\nA;NA;1\nA;A;x\nA;A;2\n");
    scratch.write("r.toml", kHead + "[columns]\nid = \"identity\"\ny = \"real\"\n");
    const std::string matrix =
        "[[matrix]]\nfile = \"m.csv\"\ntype = \"GREL\"\nheader = false\ndecimal = \",\"\n";
    scratch.write("two.toml",
                  scratch.read("r.toml") + matrix + matrix + "row = \"V2\"\ncolumn = \"V1\"\n");
    ASSERT_EQ(kve(scratch, "prep two.toml -o o").status, 0) << scratch.read("words");
    EXPECT_EQ(scratch.read("o/matrix1.txt"), "0 0 3.5\n2 1 1.5\n1 1 2\n");
    EXPECT_EQ(scratch.read("o/matrix2.txt"), "0 0 3.5\n1 2 1.5\n1 1 2\n");
    const std::string once = "3\tV1\t0\tis missing\n4\tV2\tNA\tis missing\n5\tV3\tx\tno number\n",
                      turned = "3\tV2\t0\tis missing\n4\tV2\tNA\tis missing\n5\tV3\tx\tno number\n";
    EXPECT_EQ(rejected(scratch), once + turned);
    ASSERT_EQ(kve(scratch, "prep r.toml -o o").status, 0) << scratch.read("words");
    EXPECT_FALSE(scratch.has("o/matrix1.txt") || scratch.has("o/matrix2.txt"));
}

// A column of so many values, and what is taken for its role.
TEST(Recipe, RolesAreGuessedFromValuesAndNames) {
    const struct {
        const char *name, *values;  // % is a number
        int different;              // in 300 records; negative: and as many records
        const char* line;
    } cases[] = {
        {"ourCow", "%", 300,
         "ourCow = \"identity\"  # whole numbers, 300 different values, and the"},
        {"scored", "%", 300, "scored = \"real\"  # whole numbers, 300 different values\n"},
        {"k", "27600%", 300, "k = \"identity\"  # whole numbers, 300 different values of 6 digits"},
        {"k", "%", 30, "k = \"class\"  # whole numbers, 30 different values\n"},
        {"k", "%", 31, "k = \"real\"  # whole numbers, 31 different values\n"},
        {"Herd_2", "%", 300, "Herd_2 = \"class\"  # whole numbers, 300 different values\n"},
        {"k", "x%", 300, "k = \"identity\"  # texts such as x0, 300 different values in 300 rec"},
        {"k", "x%", 100, "k = \"class\"  # texts such as x0, 100 different values\n"},
        {"k", "x%", 1, "k = \"class\"  # texts such as x0, one value\n"},
        {"k", "x%", -20, "k = \"class\"  # texts such as x0, 20 different values\n"},
        {"k", "x%", -21, "k = \"identity\"  # texts such as x0, 21 different values in 21 rec"},
        {"herd", "x%", 300, "herd = \"class\"  # texts such as x0, 300 different values\n"},
        {"k", "this is a remark of more than forty letters %", 3, "k = \"skip\"  # texts such as"},
        {"k", "%.2.2001", 12, "as 1.2.2001; the month may stand first just as well\n"},
        {"k", "%.2.2001", 28, "\"day month year\" }  # dates such as 1.2.2001\n"},
        {"k", "2/%/2001", 28, "\"month day year\" }  # dates such as 2/1/2001\n"},
        {"a \\\"b\\\"", "x\x01\xFF%", 2,
         "\"a \\\\\\\"b\\\\\\\"\" = \"class\"  # texts such as x??0"},
        {"k", "%,5", 300, "k = \"real\"  # numbers with decimals\n"}};
    for (const auto& one : cases) {
        const Scratch scratch;
        std::string bytes = std::string(one.name) + "\tb\n";
        const int n = std::abs(one.different), n_records = one.different < 0 ? n : 300;
        for (int k = 0; k < n_records; ++k) {
            std::string value = one.values;
            const bool is_date = value.ends_with("2001");
            value.replace(value.find('%'), 1, std::to_string(k % n + (is_date ? 1 : 0)));
            bytes += value + "\tz\n";
        }
        scratch.write("d.csv", bytes);
        const Shown shown = kve(scratch, "prep --template d.csv --quote ''");
        ASSERT_EQ(shown.status, 0) << shown.words;
        EXPECT_NE(shown.out.find(one.line), shown.out.npos) << one.line << shown.out;
        scratch.write("r.toml", shown.out);
        const Shown used = kve(scratch, "prep r.toml -o o");
        EXPECT_TRUE(used.status == 0 || used.words.find("no real column") != used.words.npos)
            << used.words;
    }
}

// What the command line says of the tables stands in the template.
TEST(Recipe, TemplatesHoldWhatTheCommandLineSays) {
    const Scratch scratch;
    std::filesystem::create_directory(scratch.folder() / "in");
    scratch.write("in/d.csv", "A|'1|5'|x\nB|2,5|?\n");
    scratch.write("in/m.csv", "A|A|1,5\n");
    const Shown shown =
        kve(scratch,
            "prep --template in/d.csv --matrix in/m.csv --delimiter '|' --quote \"'\" "
            "--decimal , --header no --missing '?,x' --binary -o in/r.toml");
    ASSERT_EQ(shown.status, 0) << shown.words;
    const std::string made = scratch.read("in/r.toml");
    for (const char* part :
         {"file = \"d.csv\"  # \"|\", no header, quotes\ndelimiter = \"|\"\nheader = false\n"
          "quote = \"'\"\ndecimal = \",\"\nmissing = [\"?\", \"x\"]\n",
          "[[matrix]]\nfile = \"m.csv\"", "binary = true\nrenumber = false\n"})
        EXPECT_NE(made.find(part), made.npos) << part << made;
    const std::pair<const char*, const char*> wrong[] = {
        {"--delimiter ab -o q", "kve: --delimiter: \"ab\" is no sign\n"},
        {"--header maybe -o q", "--header"},
        {"", "kve: -o DIR is needed: where the files go\n"}};
    for (const auto& [option, words] : wrong) {
        const Shown refused = kve(scratch, std::string("prep in/d.csv ") + option);
        EXPECT_EQ(refused.status, 2) << option;
        EXPECT_NE(refused.words.find(words), refused.words.npos) << refused.words;
    }
    scratch.write("in/d.csv", "\xE4,b\n1,2\n");
    EXPECT_EQ(kve(scratch, "prep --template in/d.csv").words,
              "kve: in/d.csv: line 1: is not written in UTF-8; save it so, or convert it with "
              "iconv\n");
}

}  // namespace
