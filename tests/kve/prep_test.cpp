// kve prep: what is made of users' tables, compared with tables that are known, and with the same
// analysis written by hand.
#include <algorithm>
#include <chrono>
#include <fstream>
#include <functional>
#include <map>
#include <random>
#include <set>
#include <sstream>

#include "kve/call.h"

namespace {

Outcome run_made(const Scratch& scratch) {
    const Outcome outcome = scratch.run(scratch.read("run.kve"));
    EXPECT_EQ(outcome.status, 0) << scratch.read("run.kve") << outcome.listing;
    return outcome;
}

// The number that stands at the end of the first line that begins so, behind `from`.
int64_t count_in(const std::string& screen, const std::string& words,
                 const std::string& from = "") {
    const std::size_t at = screen.find("\n  " + words + " ", screen.find(from));
    return at == screen.npos ? -1 : std::stoll(screen.substr(at + 3 + words.size(), 68));
}

std::size_t n_lines(const std::string& text) {
    return static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n'));
}

std::string sorted_lines(const std::string& text) {
    std::vector<std::string> lines = lines_of(text);
    std::sort(lines.begin(), lines.end());
    std::string all;
    for (const std::string& line : lines) all += line + "\n";
    return all;
}

TEST(Prep, BuiltColumnsAndLimits) {
    const Scratch scratch;
    scratch.write("d.csv",
                  "id;herd;born;at;x;y\n"
                  "A;H2;2020-01-31;2020-03-01;0;1,5\n"
                  "B;H10;2019-12-31;2021-12-01;5;NA\n"
                  "A;H2;2020-01-31;2020-02-29;10;-2\n"
                  "C;H2;2020-05-01;2020-04-01;11;3\n");
    scratch.write("r.toml", R"(
[data]
file = "d.csv"
decimal = ","
[columns]
id = "identity"
herd = "class"
born = "date"
at = "date"
x = "real"
y = { role = "real", limits = [-1, 10] }
[build]
season = { season = "at" }
ys = { year_season = "at" }
"herd ys" = { interaction = ["herd", "ys"] }
cut = { cut = "x", at = [5, 10] }
age = { age = "at", born = "born" }
n = { count = "herd" }
nth = { number = "id" }
leg = { legendre = "x", order = 2, range = [0, 10] }
poly = { orthogonal = "x", order = 2 }
line = { spline = "x", knots = [0, 5, 15] }
)");
    const Shown shown = kve(scratch, "prep r.toml -o .");
    ASSERT_EQ(shown.status, 0) << shown.words;
    // id herd season ys "herd ys" cut nth, x y age n leg1 leg2, (poly1 poly2), line1 line2 line3;
    // leg is sqrt(3/2) t and sqrt(5/2) (3 t t - 1) / 2 at t = -1, 0, 1.
    const double none = -999999, root = 1.2247449;
    const std::vector<std::vector<double>> expected = {
        {1, 2, 2, 202002, 3, 1, 1, 0, 1.5, 30, 3, -root, 1.5811388, 1, 0, 0},
        {2, 1, 1, 202101, 1, 2, 1, 5, none, 701, 1, 0, -0.7905694, 0, 1, 0},
        {1, 2, 1, 202001, 2, 3, 2, 10, none, 29, 3, root, 1.5811388, 0, .5, .5},
        {3, 2, 2, 202002, 3, 3, 1, 11, 3, none, 3, none, none, 0, .4, .6}};
    std::istringstream data(scratch.read("data.txt"));
    double sums[5] = {};  // of poly1, poly2, their squares and their product
    for (std::vector<double> record : expected) {
        std::vector<double> found(18);
        for (double& value : found) ASSERT_TRUE(data >> value);
        const double p = found[13], q = found[14];
        found.erase(found.begin() + 13, found.begin() + 15);
        for (std::size_t k = 0; k < record.size(); ++k)
            EXPECT_NEAR(found[k], record[k], 1e-6) << "record of " << record[7] << ", item " << k;
        const double terms[] = {p, q, p * p, q * q, p * q};
        for (int k = 0; k < 5; ++k) sums[k] += terms[k];
    }
    for (int k = 0; k < 5; ++k) EXPECT_NEAR(sums[k], k == 2 || k == 3 ? 4 : 0, 1e-5) << k;
    EXPECT_EQ(scratch.read("classes.tsv"),
              "column\tname\tcode\nherd\tH10\t1\nherd\tH2\t2\nseason\t1\t1\nseason\t2\t2\n"
              "ys\t2020-1\t202001\nys\t2020-2\t202002\nys\t2021-1\t202101\n"
              "herdys\tH10*2021-1\t1\nherdys\tH2*2020-1\t2\nherdys\tH2*2020-2\t3\n"
              "cut\t<5\t1\ncut\t5-<10\t2\ncut\t>=10\t3\n");
    EXPECT_EQ(scratch.read("rejected.tsv"),
              "file\tline\tcolumn\ttext\treason\nd.csv\t4\ty\t-2\tbelow -1\n"
              "d.csv\t5\tage\t-30 days\ta date before that of birth\n"
              "d.csv\t5\tleg1\t11\toutside of the range\n");
}

// What depends on other columns is found for many records at a time, and is what it would be one by
// one: in the order of the table, and missing where a part is.
TEST(Prep, ManyRecordsOfBuiltColumns) {
    std::mt19937 draw(7);
    const Scratch scratch;
    std::string bytes = "id,a,b,y\n";
    std::map<std::string, int> met;
    std::vector<std::pair<std::string, std::string>> expected;  // level, rest of the record
    for (int k = 0; k < 5000; ++k) {
        const int id = static_cast<int>(draw() % 900), a = static_cast<int>(draw() % 30),
                  b = static_cast<int>(draw() % 12);
        const bool is_kept = draw() % 9 != 0, has_both = a != 0 && b != 0;
        bytes += text("x%d,%s,%s,%s\n", id, a == 0 ? "NA" : text("%d", a).c_str(),
                      b == 0 ? "" : text("%d", b).c_str(), is_kept ? "1.5" : "-2");
        if (!is_kept) continue;
        const std::string both = text("%d*%d", b, a), all = both + text("*x%d", id);
        const int of_id = ++met[text("x%d", id)], of_both = has_both ? ++met[both] : 0,
                  of_all = has_both ? ++met[all] : 0;
        expected.emplace_back(has_both ? all : "", text(" %d %d %d 1.5", of_id, of_both, of_all));
    }
    scratch.write("d.csv", bytes);
    scratch.write("r.toml", R"(
[data]
file = "d.csv"
keep = ["y > 0"]
[columns]
id = { role = "class", write = false }
a = { role = "class", write = false }
b = { role = "class", write = false }
y = "real"
[build]
ba = { interaction = ["b", "a"], write = false }
all = { interaction = ["b", "a", "id"] }
of_id = { number = "id" }
of_ba = { number = "ba" }
of_all = { number = "all" }
)");
    const Shown shown = kve(scratch, "prep r.toml -o .");
    ASSERT_EQ(shown.status, 0) << shown.words;
    std::map<std::string, std::string> codes{{"", "0"}};
    for (const std::string& line : lines_of(scratch.read("classes.tsv"))) {
        const std::size_t name = line.find('\t') + 1, code = line.rfind('\t') + 1;
        if (line.starts_with("all\t"))
            codes[line.substr(name, code - 1 - name)] = line.substr(code);
    }
    const std::vector<std::string> made = lines_of(scratch.read("data.txt"));
    ASSERT_EQ(made.size(), expected.size());
    for (std::size_t k = 0; k < made.size(); ++k)
        ASSERT_EQ(made[k], codes[expected[k].first] + expected[k].second) << k;
}

// Every kind of dirt, each in records of its own, drawn at random.
TEST(Prep, CountsAddUp) {
    std::mt19937 draw(11);
    const Scratch scratch;
    std::string bytes = "id,herd,parity,day,milk\n";
    std::map<std::string, int> n;
    const std::pair<const char*, const char*> kinds[] = {
        {"kept", "%d,K,3,2020-01-02,12.5"},     {"kept", "%d,K,3,2020-01-02,NA"},
        {"left", "%d,K,4,2020-01-02,12.5"},     {"left missing", "%d,K,4,2020-01-02,x"},
        {"rejected", "%d,K,3,2020-01-02"},      {"rejected", "%d,K,3,2020-01-02,1,2"},
        {"rejected", "%d,,3,2020-01-02,12.5"},  {"rejected", "1,K,3,2020-01-02,12.5"},
        {"rejected", "%d,K,3,2020-01-02,99"},   {"missing", "%d,K,3,2020-02-30,12.5"},
        {"missing", "%d,K,3,2020-01-02,1.2.3"}, {"rejected missing", "%d,,3,2020-02-30,12.5"},
        {"kept", "\"%d\nx\",K,3,2020-01-02,1"}};
    std::string first = "1,K,3,2020-01-02,12.5\n";
    bytes += first;
    for (int k = 2; k < 1000; ++k) {
        const auto& [kind, line] = kinds[draw() % std::size(kinds)];
        std::string record = line;
        if (const std::size_t at = record.find("%d"); at != record.npos)
            record.replace(at, 2, std::to_string(k));
        bytes += record + "\n";
        ++n[std::string(kind).find("left") == 0       ? "left"
            : std::string(kind).find("rejected") == 0 ? "rejected"
                                                      : "kept"];
        if (std::string(kind).find("missing") != std::string::npos) ++n["missing"];
        if (record.front() == '"') ++n["told"];
    }
    scratch.write("d.csv", bytes);
    scratch.write("r.toml", R"(
[data]
file = "d.csv"
unique = ["id"]
keep = ["parity <= 3"]
[columns]
id = "identity"
day = "date"
herd = { role = "class", required = true }
parity = "class"
milk = { role = "real", limits = [0, 50], beyond = "reject" }
)");
    const Shown shown = kve(scratch, "prep r.toml -o made");
    ASSERT_EQ(shown.status, 0) << shown.words;
    EXPECT_EQ(count_in(shown.out, "records read"), 999);
    EXPECT_EQ(count_in(shown.out, "kept"), n["kept"] + 1);
    EXPECT_EQ(count_in(shown.out, "left out"), n["left"]);
    EXPECT_EQ(count_in(shown.out, "rejected"), n["rejected"]);
    EXPECT_EQ(count_in(shown.out, "values made missing"), n["missing"]);
    EXPECT_EQ(count_in(shown.out, "told"), n["told"]);
    EXPECT_EQ(static_cast<int>(n_lines(scratch.read("made/data.txt"))), n["kept"] + 1);
    // A name with a line end is a line more.
    EXPECT_EQ(static_cast<int>(n_lines(scratch.read("made/rejected.tsv"))),
              1 + n["rejected"] + n["missing"] + 2 * n["told"]);

    const Shown strict = kve(scratch, "prep r.toml -o strict --strict");
    EXPECT_EQ(strict.status, 1);
    EXPECT_EQ(scratch.read("strict/rejected.tsv"), scratch.read("made/rejected.tsv"));
    EXPECT_FALSE(scratch.has("strict/run.kve") || scratch.has("strict/data.txt"));
    // What stands in the folder already stays when a run ends before its time.
    scratch.write("r.toml", "[data]\nfile = \"d.csv\"\n[columns]\ncow = \"identity\"\n");
    const Shown wrong = kve(scratch, "prep r.toml -o made");
    EXPECT_EQ(wrong.status, 2);
    EXPECT_EQ(wrong.words,
              "kve: r.toml: line 4: d.csv has no column cow; there are: id, herd, "
              "parity, day, milk\n");
    EXPECT_TRUE(scratch.has("made/run.kve"));
    for (const auto& entry : std::filesystem::directory_iterator(scratch.folder() / "made"))
        EXPECT_FALSE(entry.path().string().ends_with(".kve-work")) << entry.path();
}

TEST(Prep, RecipesWithFaultsAreRefusedWithTheirLines) {
    const Scratch scratch;
    scratch.write("d.csv", "id,herd,day,milk\nA,1,2020-01-02,5\nA,1,2020-01-02,6\n");
    const std::string head = "[data]\nfile = \"d.csv\"\n",
                      columns = "[columns]\nid = \"identity\"\nmilk = \"real\"\n";
    const std::pair<std::string, const char*> cases[] = {
        {head + "[columns]\nid = \"identiti\"\n", "line 4: \"identiti\" is no role"},
        {head + "haeder = true\n" + columns, "line 3: [data] has no entry haeder"},
        {head + columns + "[build]\nY = { year = \"milk\" }\n",
         "line 7: Y is built from a date, and milk is none"},
        {head + columns + "[build]\nY = { cut = \"milk\", at = [3, 3] }\n", "line 7: at of Y"},
        {head + "keep = [\"milk ~ 3\"]\n" + columns, "line 3: \"milk ~ 3\" is no condition"},
        {head + "keep = [\"milk < abc\"]\n" + columns, "line 3: keep: \"abc\" is no number"},
        {head + columns + "milk = 3\n", "line 6: "},
        {head + "unique = [\"cow\"]\n" + columns, "line 3: no column cow"},
        {head + "[columns]\nmilk = { role = \"real\", limits = [9, 1] }\n", "line 4: limits"},
        {head + "[columns]\nmilk = { role = \"real\", beyond = \"reject\" }\n",
         "line 4: beyond is for limits"},
        {head + "[columns]\nid = { role = \"class\", order = \"year\" }\n",
         "line 4: order is for dates"},
        {head + columns + "[build]\nY = { interaction = [] }\n", "line 7: Y is an interaction of"},
        {head + columns + "[output]\nmissing_code = nan\n", "line 6: missing_code"},
        {head + columns + "[output]\nmissing_code = -0.5\n[build]\nP = { orthogonal = \"milk\" }\n",
         "P1 is -"},
        {head + "[columns]\nid = \"identity\"\n", "no real column is written"},
        {head + columns + "[directives]\nmodel = \"{fat}\"\n", "the model names fat"},
    };
    for (const auto& [recipe, words] : cases) expect_refused_recipe(scratch, recipe, words);
}

// What is wrong with relatives is told with its place; a column is found where it stands.
TEST(Prep, PedigreesAreLookedThrough) {
    const struct {
        const char *pedigree, *described, *made, *rejected;
    } cases[] = {
        {"sire,dam,id,sex,birth\n,,A,1,2001\nA,B,C,2,2003\n00,,B,2,2001\n",
         "animal id, sire sire, dam dam, born birth, year",
         "1 0 0 20010701\n2 1 3 20030701\n3 0 0 20010701\n", ""},
        {"id,father,mother,sex\nA,0,0,1\nB,0,0,2\nC,A,B,1\n", "animal id, sire father, dam mother",
         "1 0 0 1\n2 0 0 1\n3 1 2 2\n", ""},
        {"F1 A 0 0 1 5\nF1 B 0 0 2 5\nF1 C A B 1 5\n", "animal V2, sire V3, dam V4",
         "1 0 0 1\n2 0 0 1\n3 1 2 2\n", ""},
        {"A,,,2001-02-03\nB,B,A,2001-02-03\nC,A,A,3.2.2004\nA,,,2001-02-03\n",
         "animal V1, sire V2, dam V3, born V4, year month day",
         "1 0 0 20010203\n2 2 1 20010203\n3 1 1 0\n",
         "3\tV4\t3.2.2004\tno date\n4\tV1\tA\tan earlier record is of the same animal\n"
         "2\tV2\tB\tan animal that is its own parent\n2\tV3\tA\ta parent that is not older\n"
         "3\tV3\tA\tone animal as both parents\n"},
        {"A,B,\nB,C,\nC,A,\n", "animal V1, sire V2, dam V3", "1 2 0 3\n2 3 0 2\n3 1 0 1\n",
         "3\tV2\tA\ta parent that is not older\n"}};
    for (const auto& one : cases) {
        const Scratch scratch;
        scratch.write("d.csv", "id,y\nA,1.5\n0,2\nB,2\n");
        scratch.write("p.csv", one.pedigree);
        const bool has_header = std::string(one.pedigree).find("id") != std::string::npos;
        scratch.write("r.toml",
                      std::string("[data]\nfile = \"d.csv\"\n[columns]\nid = \"identity\"\n"
                                  "y = \"real\"\n[pedigree]\nfile = \"p.csv\"\nheader = ") +
                          (has_header ? "true\n" : "false\n"));
        const Shown made = kve(scratch, "prep r.toml -o made");
        ASSERT_EQ(made.status, 0) << made.words;
        EXPECT_NE(made.out.find(std::string("; ") + one.described + "\n"), made.out.npos)
            << made.out;
        EXPECT_EQ(scratch.read("made/pedigree.txt"), one.made) << one.pedigree;
        std::string rejected = "file\tline\tcolumn\ttext\treason\n";
        for (const std::string& line : lines_of(one.rejected)) rejected += "p.csv\t" + line + "\n";
        EXPECT_EQ(scratch.read("made/rejected.tsv"), rejected);
        // 0 is nobody in the data, too.
        EXPECT_EQ(lines_of(scratch.read("made/data.txt"))[1], "0 2");
        EXPECT_EQ(kve(scratch, "prep r.toml -o strict --strict").status,
                  *one.rejected == 0 ? 0 : 1);
    }
}

// One file may be two tables, each with counts of its own; a list may begin without a header.
TEST(Prep, TablesOfOneFile) {
    const Scratch scratch;
    std::string data = "id,sire,dam,y\nA,,,1.5\nB,,,2.5\nC,A,B,x\nD,A\n";
    for (int k = 0; k < 10; ++k) data += text("E%d,A,B,%d.5\n", k, k);
    scratch.write("d.csv", data);
    scratch.write("t.csv", "A\nC\n");
    const Shown shown = kve(scratch, "prep d.csv --pedigree d.csv --typed t.csv -o o");
    ASSERT_EQ(shown.status, 0) << shown.words;
    for (const char* table : {"data d.csv", "pedigree d.csv"}) {
        EXPECT_EQ(count_in(shown.out, "rejected", table), 1) << shown.out;
        EXPECT_EQ(count_in(shown.out, "  another number of fields", table), 1) << shown.out;
    }
    EXPECT_EQ(count_in(shown.out, "values made missing", "data d.csv"), 1);
    EXPECT_EQ(count_in(shown.out, "values made missing", "pedigree d.csv"), 0);
    EXPECT_EQ(scratch.read("o/typed.txt"), "1\n3\n");
}

// Nothing that is not its own is replaced, and what an earlier run has left goes with it.
TEST(Prep, FolderOfItsOwn) {
    const Scratch scratch;
    std::filesystem::create_directory(scratch.folder() / "o");
    scratch.write("d.csv", "id,y\nA,1.5\nB,2.5\n");
    scratch.write("p.csv", "id,sire,dam\nA,0,0\n");
    scratch.write("o/data.txt", "mine");
    EXPECT_EQ(kve(scratch, "prep d.csv -o o").status, 2);
    EXPECT_EQ(scratch.read("o/data.txt"), "mine");
    std::filesystem::remove(scratch.folder() / "o/data.txt");
    EXPECT_EQ(kve(scratch, "prep d.csv --pedigree p.csv -o o").status, 0) << scratch.read("words");
    EXPECT_TRUE(scratch.has("o/pedigree.txt"));
    EXPECT_EQ(kve(scratch, "prep d.csv --binary -o o").status, 0) << scratch.read("words");
    EXPECT_FALSE(scratch.has("o/data.txt") || scratch.has("o/pedigree.txt"));
    EXPECT_TRUE(scratch.has("o/data.bin"));
    EXPECT_EQ(kve(scratch, "prep o/recipe.toml -o o").status, 0) << scratch.read("words");
    EXPECT_EQ(kve(scratch, "prep o/ids.tsv -o o").status, 2);
    // A recipe that somebody has changed stays.
    scratch.write("o/recipe.toml", scratch.read("o/recipe.toml") + "# mine\n");
    std::filesystem::last_write_time(
        scratch.folder() / "o/recipe.toml",
        std::filesystem::last_write_time(scratch.folder() / "o/rejected.tsv") +
            std::chrono::seconds(1));
    EXPECT_EQ(kve(scratch, "prep d.csv -o o").status, 2);
    EXPECT_EQ(kve(scratch, "prep o/recipe.toml -o o").status, 0) << scratch.read("words");
    // Where no record is kept there is nothing to run.
    scratch.write("d.csv", "id,y\nA,1.5,\nB,2.5,\n");
    EXPECT_EQ(kve(scratch, "prep o/recipe.toml -o o").status, 1);
    EXPECT_FALSE(scratch.has("o/run.kve") || scratch.has("o/data.bin"));
    EXPECT_EQ(n_lines(scratch.read("o/rejected.tsv")), 3U);
}

// Data and a pedigree of kve ped in one folder have the codes of one ids.tsv, whichever comes first
// and whatever changes; what would part them is refused.
TEST(Prep, OneFolderWithKvePed) {
    const Scratch scratch;
    scratch.write("p.csv", "id,sire,dam\nA,,\nB,A,\nC,A,B\nE,,\n");
    scratch.write("b.csv", "id\nB\n");
    scratch.write("other.tsv", "identity\tcode\nA\t9\n");
    const struct {
        const char *data, *command;
        int status;
        const char *made, *pedigree, *ids;  // ids in any order
    } cases[] = {
        {"", "ped p.csv -o o", 0, "", "1 0 0 1\n4 0 0 1\n2 1 0 2\n3 1 2 3\n", "A1 B2 C3 E4 "},
        {"D,1.5\nC,2.5\n", "prep d.csv -o o", 0, "5 1.5\n3 2.5\n", "", "A1 B2 C3 D5 E4 "},
        {"G,1.5\nB,2.5\nD,3.5\n", "prep d.csv -o o", 0, "6 1.5\n2 2.5\n5 3.5\n", "",
         "A1 B2 C3 D5 E4 G6 "},
        {"", "prep d.csv --renumber -o o", 2, "", "", ""},
        {"", "ped p.csv --renumber -o o", 2, "", "", ""},
        {"", "ped p.csv --ids other.tsv -o o", 2, "", "", ""},
        // Animals that the pedigree has no more keep the codes that the data may have.
        {"", "ped p.csv --prune b.csv -o o", 0, "", "1 0 0 1\n2 1 0 2\n", "A1 B2 C3 D5 E4 G6 "},
        {"", "ped p.csv --ids o/ids.tsv -o o", 0, "", "1 0 0 1\n4 0 0 1\n2 1 0 2\n3 1 2 3\n", ""},
        {"", "ped p.csv --ids other.tsv -o new", 0, "", "", ""}};
    std::string made, pedigree, ids;
    for (const auto& one : cases) {
        if (*one.data != 0) scratch.write("d.csv", std::string("id,y\n") + one.data);
        const Shown shown = kve(scratch, one.command);
        EXPECT_EQ(shown.status, one.status) << one.command << shown.words;
        EXPECT_TRUE(one.status == 0 || shown.words.ends_with("take another folder\n"))
            << shown.words;
        if (*one.made != 0) made = one.made;
        if (*one.pedigree != 0) pedigree = one.pedigree;
        if (*one.ids != 0) ids = one.ids;
        EXPECT_EQ(scratch.has("o/data.txt") ? scratch.read("o/data.txt") : "", made) << one.command;
        EXPECT_EQ(scratch.read("o/pedigree"), pedigree) << one.command;
        std::string found;
        for (const std::string& line : lines_of(sorted_lines(scratch.read("o/ids.tsv"))))
            if (line != "identity\tcode") found += line + " ";
        std::erase(found, '\t');
        EXPECT_EQ(found, ids) << one.command;
    }
    // Where no pedigree stands on them the codes are made anew.
    std::filesystem::remove(scratch.folder() / "o/pedigree");
    EXPECT_EQ(kve(scratch, "prep d.csv -o o").status, 0) << scratch.read("words");
    EXPECT_EQ(scratch.read("o/data.txt"), "1 1.5\n2 2.5\n3 3.5\n");
}

// A value that KVE1 would take for a missing one is made missing and told.
TEST(Prep, ValuesNearTheCodeOfMissingOnes) {
    const Scratch scratch;
    scratch.write("d.csv", "y,x\n-999998.98,1\n-999998.9,2\n-1e39,3\nNA,0\n-999999,9\n");
    const std::string recipe =
        "[data]\nfile = \"d.csv\"\n[columns]\ny = \"real\"\nx = { role = \"real\", write = false "
        "}\n"
        "[build]\nP = { legendre = \"x\", range = [0, 9] }\n";
    scratch.write("r.toml", recipe);
    Shown shown = kve(scratch, "prep r.toml -o a");
    ASSERT_EQ(shown.status, 0) << shown.words;
    EXPECT_EQ(count_in(shown.out, "  y: beyond what the data can hold"), 3) << shown.out;
    EXPECT_TRUE(scratch.read("a/data.txt").starts_with("-999999 -0.9525793\n-999998.9 "))
        << scratch.read("a/data.txt");
    scratch.write("r.toml", recipe + "[output]\nmissing_code = -0.75\n");
    shown = kve(scratch, "prep r.toml -o b");
    ASSERT_EQ(shown.status, 0) << shown.words;
    EXPECT_EQ(count_in(shown.out, "  P1: at or below the code of missing values"), 2) << shown.out;
    EXPECT_NE(scratch.read("b/run.kve").find("$DATA ASCII (0,2,-0.75) data.txt"),
              std::string::npos);
    EXPECT_TRUE(scratch.read("b/data.txt").starts_with("-0.75 -0.75\n-0.75 -0.68"))
        << scratch.read("b/data.txt");
}

// Identities and names of any kind, as a table writes them.
struct RandomTable {
    std::vector<std::string> animals, herds;
    std::vector<int> sire, dam;  // of animals, -1 unknown
    struct Record {
        int animal, herd;
        double milk, fat;  // fat below 0: missing
    };
    std::vector<Record> records;

    explicit RandomTable(unsigned seed) {
        std::mt19937 draw(seed);
        const auto name = [&](int k) -> std::string {
            switch (draw() % 5) {
                case 0:
                    return text("%d", 7 * k + 3);
                case 1:
                    return text("DE %07d", k);
                case 2:
                    return text("2760%08d", k);
                case 3:
                    return text("Zoë, \"%d\"", k);
                default:
                    return text("0%d", k);
            }
        };
        for (int k = 0; k < 120; ++k) {
            animals.push_back(name(k));
            sire.push_back(k < 20 ? -1 : static_cast<int>(draw() % 20U) / 2);
            dam.push_back(k < 20 || draw() % 5 == 0 ? -1
                                                    : static_cast<int>(10 + draw() % (k - 10)));
        }
        for (int k = 0; k < 8; ++k) herds.push_back(seed % 2 == 0 ? text("%d", 90 - k) : name(k));
        for (int k = 0; k < 300; ++k)
            records.push_back({static_cast<int>(draw() % 120), static_cast<int>(draw() % 8),
                               static_cast<int>(draw() % 1000) / 4.0 + 1,
                               draw() % 4 == 0 ? -1 : static_cast<int>(draw() % 90) / 8.0});
    }
};

std::string quoted(const std::string& field) {
    std::string all = "\"";
    for (const char c : field) all.append(c == '"' ? 2 : 1, c);
    return all + "\"";
}

// Only where there is a need.
std::string csv(const std::string& field, char separator = ',') {
    return field.find_first_of(std::string("\"\n") + separator) == field.npos ? field
                                                                              : quoted(field);
}

const char* const kModel = "2\n0\n0\n1 0 2 2 1\n2 0 2 2 1\n1 1\n1 1\n0\n0\n0\n";

// By way of kve prep, in the folder "made".
void run_prepared(const Scratch& scratch, const RandomTable& t, bool is_binary) {
    std::string data = "cow,herd,milk,fat\n", pedigree = "animal;sire;dam;born\r\n";
    for (const auto& r : t.records)
        data += csv(t.animals[r.animal]) + "," + quoted(t.herds[r.herd]) + text(",%g,", r.milk) +
                (r.fat < 0 ? "NA" : text("%g", r.fat)) + "\n";
    const auto parent = [&](int k) { return k < 0 ? std::string("0") : t.animals[k]; };
    for (int k = 119; k >= 0; --k)
        pedigree += csv(t.animals[k], ';') + ";" + csv(parent(t.sire[k]), ';') + ";" +
                    csv(parent(t.dam[k]), ';') +
                    text(";%d.%d.%d\r\n", 1 + k % 28, 1 + k / 28 % 12, 2000 + k / 12);
    scratch.write("d.csv", data);
    scratch.write("p.csv", pedigree);
    scratch.write(
        "r.toml",
        std::string("[data]\nfile = \"d.csv\"\n[columns]\ncow = \"identity\"\n"
                    "herd = \"class\"\nmilk = \"real\"\nfat = \"real\"\n[pedigree]\n"
                    "file = \"p.csv\"\n[directives]\nanalyse = \"1 1 0 0\"\nmodel = \"\"\"\n") +
            kModel + "\"\"\"\n");
    const Shown shown =
        kve(scratch, std::string("prep r.toml -o .") + (is_binary ? " --binary" : ""));
    ASSERT_EQ(shown.status, 0) << shown.words;
    run_made(scratch);
}

// The same, by a small program in KVE1's own form with integers of its own.
void run_by_hand(const Scratch& scratch, const RandomTable& t) {
    std::string data, pedigree, ids = "identity\tcode\n", classes = "column\tname\tcode\n";
    const auto code = [](int k) { return k < 0 ? 0 : 5000 - 13 * k; };
    for (const auto& r : t.records)
        data += text("%d %d %g %g\n", code(r.animal), 40 + r.herd, r.milk, r.fat < 0 ? -9 : r.fat);
    for (int k = 0; k < 120; ++k) {
        pedigree += text("%d %d %d %d\n", code(k), code(t.sire[k]), code(t.dam[k]), k + 1);
        ids += csv(t.animals[k], '\t') + text("\t%d\n", code(k));
    }
    for (int k = 0; k < 8; ++k)
        classes += "herd\t" + csv(t.herds[k], '\t') + text("\t%d\n", 40 + k);
    scratch.write("d", data);
    scratch.write("p", pedigree);
    scratch.write("ids.tsv", ids);
    scratch.write("classes.tsv", classes);
    const Outcome outcome =
        scratch.run(std::string("$ANALYSE 1 1 0 0\n$DATA ASCII (2,2,-9.0) d\n$VARIABLE\ncow herd\n"
                                "milk fat\n$MODEL\n") +
                    kModel + "$VAR_STR 1 PED 1 ASCII p\n");
    ASSERT_EQ(outcome.status, 0) << outcome.listing;
}

// Elements by pairs of identities, whichever stands first.
std::map<std::string, double> elements(const std::string& matrix) {
    std::map<std::string, double> all;
    for (const std::string& line : lines_of(matrix)) {
        const std::size_t value = line.rfind(' ');
        std::size_t second = line.front() == '"' ? line.find("\" ") + 1 : line.find(' ');
        std::string a = line.substr(0, second), b = line.substr(second + 1, value - second - 1);
        if (b < a) std::swap(a, b);
        all[a + "/" + b] += std::stod(line.substr(value));
    }
    return all;
}

// Levels and their numbers of observations by name; level numbers go by other integers.
std::string levels_of(const Scratch& scratch) {
    std::string all;
    for (const std::string& line : lines_of(kve(scratch, "levels . --ids").out)) {
        // factor, name, identity in quotes or not, level, observations; of animals sire, dam, sort
        // variable, progeny and inbreeding.
        const std::size_t identity = line.find(',', line.find(',') + 1) + 1,
                          end = line[identity] == '"' ? line.find("\",", identity) + 1
                                                      : line.find(',', identity),
                          level = line.find(',', end + 1);
        std::size_t sort = line.size();
        for (int k = 0; k < 3; ++k) sort = line.rfind(',', sort - 1);
        all += line.substr(0, end) + line.substr(level, sort - level) +
               line.substr(line.rfind(',')) + "\n";
    }
    return sorted_lines(all);
}

void expect_same_levels(const Scratch& made, const Scratch& hand) {
    EXPECT_EQ(levels_of(made), levels_of(hand));
}

void expect_same_inverse(const Scratch& made, const Scratch& hand, std::size_t least) {
    const auto of_made = elements(kve(made, "matrix . AINV1 --ids").out),
               of_hand = elements(kve(hand, "matrix . AINV1 --ids").out);
    ASSERT_GT(of_made.size(), least);
    ASSERT_EQ(of_made.size(), of_hand.size());
    for (const auto& [pair, value] : of_made) {
        ASSERT_TRUE(of_hand.contains(pair)) << pair;
        EXPECT_NEAR(value, of_hand.at(pair), 1e-12) << pair;
    }
}

TEST(Prep, TablesComeBackAndAnalysesAreThoseMadeByHand) {
    for (const unsigned seed : {1U, 2U, 3U}) {
        const RandomTable t(seed);
        const Scratch made, hand;
        run_prepared(made, t, seed == 3);
        run_by_hand(hand, t);
        std::string table = "milk:herd,fat:herd,cow,milk,fat\n";
        for (const auto& r : t.records) {
            const std::string herd = csv(t.herds[r.herd]);
            table += herd + "," + (r.fat < 0 ? "" : herd) + "," + csv(t.animals[r.animal]) +
                     text(",%g,", r.milk) + (r.fat < 0 ? "" : text("%g", r.fat)) + "\n";
        }
        EXPECT_EQ(kve(made, "records . --original --ids --missing -999999").out, table);
        EXPECT_EQ(kve(hand, "records . --ids --missing -9").out, table);
        expect_same_levels(made, hand);
        expect_same_inverse(made, hand, 300);
    }
}

TEST(Prep, TemplatesGuess) {
    const Scratch scratch;
    std::string bytes = "Animal;Farm;Sex;Born;Weight;Litter size;Note\n";
    for (int k = 0; k < 200; ++k)
        bytes += text("DE%05d;H%d;%s;%d.%d.2020;%d,%d;%d;\n", 3 * k, k % 90, k % 2 == 0 ? "M" : "F",
                      1 + k % 28, 1 + k % 12, 30 + k % 7, k % 10, k % 3);
    scratch.write("d.csv", bytes);
    scratch.write("p.ped", "1 0 0 1\n2 0 0 1\n3 1 2 2\n");
    const Shown shown = kve(scratch, "prep --template d.csv --pedigree p.ped");
    ASSERT_EQ(shown.status, 0) << shown.words;
    for (const char* line :
         {"file = \"d.csv\"  # semicolons, header", "decimal = \",\"", "Animal = \"identity\"  # ",
          "Farm = \"class\"  # texts such as H0, 90 different values",
          "Sex = \"class\"  # texts such as M, 2 different values",
          "Born = { role = \"date\", order = \"day month year\" }  # dates such as 1.1.2020",
          "Weight = \"real\"  # numbers with decimals",
          "\"Litter size\" = \"class\"  # whole numbers, 3 different values",
          "Note = \"skip\"  # no values", "file = \"p.ped\"  # blanks, no header",
          "animal = \"V1\"\nsire = \"V2\"\ndam = \"V3\"\nsort = \"V4\"\n"})
        EXPECT_NE(shown.out.find(line), shown.out.npos) << line << "\n" << shown.out;
    // The template is a recipe.
    scratch.write("r.toml", shown.out);
    EXPECT_EQ(kve(scratch, "prep r.toml -o a").status, 0) << scratch.read("words");
    // So is what is used without one, and it leaves the same.
    EXPECT_EQ(kve(scratch, "prep d.csv --pedigree p.ped -o b").status, 0) << scratch.read("words");
    EXPECT_EQ(scratch.read("a/data.txt"), scratch.read("b/data.txt"));
    EXPECT_EQ(kve(scratch, "prep b/recipe.toml -o c").status, 0) << scratch.read("words");
    EXPECT_EQ(scratch.read("a/data.txt"), scratch.read("c/data.txt"));
}

TEST(Prep, TypedAnimalsAndMatricesHaveTheSameCodes) {
    const Scratch scratch;
    scratch.write("d.csv", "id,line,y\nA1,L2,3\nA2,L1,4\nA3,L2,5\n");
    scratch.write("p.csv", "animal,sire,dam\nA3,A1,A2\nA2,0,0\nA1,0,0\n");
    scratch.write("t.csv", "A3\nA1\nA3\n");
    scratch.write("g.csv", "A1;A1;1,5\nA3;A1;0,25\nA3;A3;1\nA3;A9;x\n");
    scratch.write("l.csv", "L1 L1 2\nL2 L2 2\nL3 L3 2\n");
    scratch.write("r.toml", R"(
[data]
file = "d.csv"
[columns]
id = "identity"
line = "class"
y = "real"
[pedigree]
file = "p.csv"
method = 1
[typed]
file = "t.csv"
header = false
[[matrix]]
file = "g.csv"
header = false
decimal = ","
weight = 0.05
adjust = true
[[matrix]]
file = "l.csv"
header = false
of = "line"
type = "COR"
factor = 2
[directives]
analyse = "11 9 0 0"
model = """
1
0
{y} 0 2 {line} {id}
2 2 1
0
0
"""
prior = "1 1 1 1\n2 1 1 1\n3 1 1 1\n"
)");
    const Shown shown = kve(scratch, "prep r.toml -o .");
    ASSERT_EQ(shown.status, 0) << shown.words;
    EXPECT_EQ(scratch.read("pedigree.txt"), "1 2 3 2\n3 0 0 1\n2 0 0 1\n");
    EXPECT_EQ(scratch.read("typed.txt"), "1\n2\n");
    EXPECT_EQ(scratch.read("matrix1.txt"), "2 2 1.5\n1 2 0.25\n1 1 1\n");
    EXPECT_EQ(scratch.read("matrix2.txt"), "1 1 2\n2 2 2\n3 3 2\n");
    EXPECT_EQ(count_in(shown.out, "rejected", "typed animals"), 1);
    EXPECT_EQ(count_in(shown.out, "rejected", "matrix g.csv"), 1);
    run_made(scratch);
    EXPECT_EQ(kve(scratch, "matrix . COR2 --ids").out, "L1 L1 2\nL2 L2 2\nL3 L3 2\n");
}

// Every kind of column, back from KVE1 under the users' names.
TEST(Prep, BuiltColumnsComeBack) {
    for (const unsigned seed : {1U, 2U}) {
        std::mt19937 draw(seed);
        const RandomTable t(seed);
        const Scratch scratch;
        std::string data = "cow\therd\tsex\tborn\tday\tyield\n", expected;
        struct Row {
            std::string hys, cut, cow, rest;
        };
        std::vector<Row> rows;
        for (const auto& r : t.records) {
            const int year = 2000 + static_cast<int>(draw() % 12),
                      month = 1 + static_cast<int>(draw() % 12),
                      day = 1 + static_cast<int>(draw() % 28),
                      age = 1 + static_cast<int>(draw() % 900);
            const std::chrono::sys_days at{std::chrono::year{year} / month / day};
            const std::chrono::year_month_day birth{at - std::chrono::days{age}};
            const std::string herd = t.herds[r.herd], sex = draw() % 2 == 0 ? "M" : "F";
            data += csv(t.animals[r.animal], '\t') + "\t" + csv(herd, '\t') + "\t" + sex +
                    text("\t%d/%d/%d\t%02d/%02d/%d\t%g\n", static_cast<int>(unsigned{birth.day()}),
                         static_cast<int>(unsigned{birth.month()}), int{birth.year()}, day, month,
                         year, r.milk);
            const int season = month % 12 / 3 + 1;
            rows.push_back({csv(herd + text("*%d-%d*", year, season) + sex),
                            age < 300   ? "<300"
                            : age < 600 ? "300-<600"
                                        : ">=600",
                            csv(t.animals[r.animal]), text("%d,%g", age, r.milk)});
        }
        scratch.write("d.tsv", data);
        scratch.write("r.toml", R"(
[data]
file = "d.tsv"
[columns]
cow = "identity"
herd = { role = "class", write = false }
sex = { role = "class", write = false }
born = { role = "date", order = "day month year" }
day = { role = "date", order = "day month year" }
yield = "real"
[build]
ys = { year_season = "day", write = false }
hys = { interaction = ["herd", "ys", "sex"] }
age = { age = "day", born = "born" }
cut = { cut = "age", at = [300, 600] }
[directives]
model = """
1
0
{yield} 0 3 {hys} {cut} {cow}
1 1
1 {age}
0
"""
)");
        const Shown shown = kve(scratch, "prep r.toml -o .");
        ASSERT_EQ(shown.status, 0) << shown.words;
        run_made(scratch);
        for (const Row& row : rows)
            expected += row.hys + "," + row.cut + "," + row.cow + "," + row.rest + "\n";
        EXPECT_EQ(kve(scratch, "records . --original --ids").out,
                  "hys,cut,cow,age,yield\n" + expected);
        // Levels are numbered in the order of herd, year and season, sex.
        std::set<std::string> names;
        for (const Row& row : rows) names.insert(row.hys);
        std::size_t n = 0;
        for (const std::string& line : lines_of(scratch.read("classes.tsv")))
            n += line.starts_with("hys\t") ? 1 : 0;
        EXPECT_EQ(n, names.size());
        EXPECT_GT(n, 128U);
    }
}

std::vector<std::string> fields_of(const std::string& line, char separator) {
    std::vector<std::string> fields(1);
    for (const char c : line)
        if (c == separator)
            fields.emplace_back();
        else
            fields.back() += c;
    return fields;
}

// By hand: what the page for breeders tells of the tables, for these tables alone.
struct BreederByHand {
    std::string data, pedigree, ids = "identity\tcode\n", classes = "column\tname\tcode\n";
    std::map<std::string, int> animals, hys;

    BreederByHand() {
        const auto bytes_of = [](const char* name) {
            std::ifstream file(std::string(KVE1_EXAMPLES) + "/breeder/" + name);
            std::ostringstream bytes;
            bytes << file.rdbuf();
            return lines_of(bytes.str());
        };
        for (const std::string& line : bytes_of("pedigree.csv"))
            if (line.starts_with("DE ")) take_animal(fields_of(line, ','));
        classes += "Sex\tM\t7\nSex\tF\t9\n";
        for (const std::string& line : bytes_of("weights.csv"))
            if (line.find(";DE ") != line.npos) take_calf(fields_of(line, ';'));
    }

    int code_of(const std::string& animal) {
        if (animal.empty() || animal == "0") return 0;
        const int code = 90000 - 31 * static_cast<int>(animals.size());
        const auto [at, is_new] = animals.try_emplace(animal, code);
        if (is_new) ids += animal + text("\t%d\n", code);
        return at->second;
    }
    void take_animal(const std::vector<std::string>& f) {
        std::string born = f.at(3);
        std::erase(born, '-');
        if (!records.insert(f[0]).second) return;
        const int animal = code_of(f[0]), sire = code_of(f[1]), dam = code_of(f[2]);
        pedigree += text("%d %d %d %s\n", animal, sire, dam, born.c_str());
    }
    static std::chrono::year_month_day day_of(const std::string& german) {
        const auto part = [&](std::size_t at) { return std::stoi(german.substr(at)); };
        return std::chrono::year{part(6)} / part(3) / part(0);
    }
    void take_calf(const std::vector<std::string>& f) {
        if (f.size() < 8 || (f[3] != "M" && f[3] != "F")) return;
        const std::chrono::year_month_day born = day_of(f[4]), weighed = day_of(f[5]);
        if (!weighed.ok() || f[5].substr(6) + f[5].substr(3, 2) < "201707") return;
        if (!calves.insert(f[0]).second) return;
        std::string weight = f[6];
        std::ranges::replace(weight, ',', '.');
        if (weight.find_first_not_of("0123456789.") != weight.npos || weight.size() < 4 ||
            weight.find('.') == weight.npos || std::stod(weight) > 450)
            weight = "-9";
        const auto age = (std::chrono::sys_days(weighed) - std::chrono::sys_days(born)).count();
        const int month = static_cast<int>(unsigned{weighed.month()});
        int level = 0;
        if (!f[2].empty()) {
            const std::string name = f[2] + text("*%d-%d", int{weighed.year()}, month % 12 / 3 + 1);
            const auto [at, is_new] = hys.try_emplace(name, 300 - static_cast<int>(hys.size()));
            level = at->second;
            if (is_new) classes += "HYS\t" + name + text("\t%d\n", level);
        }
        data += text("%d %d %d %d ", code_of(f[0]), code_of(f[1]), f[3] == "M" ? 7 : 9, level) +
                weight + text(" %d\n", age < 0 ? -9 : static_cast<int>(age));
    }

 private:
    std::set<std::string> records, calves;
};

// The model as it is understood, but for what tells of the run.
std::string model_of(const Scratch& scratch) {
    std::string all;
    const std::string shown = kve(scratch, "summary . --json").out;
    for (const std::string& line : lines_of(shown.substr(0, shown.find("\"files\": ["))))
        if (line.find("RUN_DATE") == line.npos && line.find("rel_file") == line.npos)
            all += line.substr(0, line.find("log_det") == line.npos ? line.npos : 30) + "\n";
    return all;
}

// The example analysed by hand, in KVE1's own form, has the same model with its structures and
// (co)variances, the same numbers of levels, and by identity the same levels and inverse of A.
TEST(Prep, BreederIsTheAnalysisMadeByHand) {
    const Scratch made, hand;
    const Shown shown =
        kve(made, std::string("prep '") + KVE1_EXAMPLES + "/breeder/breeder.toml' -o .");
    ASSERT_EQ(shown.status, 0) << shown.words;
    run_made(made);
    const BreederByHand by_hand;
    hand.write("weights", by_hand.data);
    hand.write("animals", by_hand.pedigree);
    hand.write("ids.tsv", by_hand.ids);
    hand.write("classes.tsv", by_hand.classes);
    const Outcome outcome = hand.run(
        "$ANALYSE 1 1 0 0\n$DATA ASCII (4,2,-9.0) weights\n$VARIABLE\nCalf Dam Sex HYS\nWeight "
        "Age\n$MODEL\n1\n0\n1 0 3 4 3 1\n1 1\n1 2\n0\n$VAR_STR 1 PED 1 ASCII animals\n$PRIOR\n"
        "1 1 1 150\n2 1 1 300\n");
    ASSERT_EQ(outcome.status, 0) << outcome.listing;
    EXPECT_EQ(model_of(made), model_of(hand));
    for (const char* part : {"\"NRALEV\": [\n   310\n", "\"type\": \"PED\"", "     150.0\n",
                             "     300.0\n", "\"n_obs\": 232"})
        EXPECT_NE(model_of(hand).find(part), std::string::npos) << part;
    EXPECT_EQ(n_lines(levels_of(hand)), 1U + 60 + 2 + 310);
    expect_same_levels(made, hand);
    expect_same_inverse(made, hand, 900);
    EXPECT_EQ(kve(made, "records . --ids --original --missing -999999").out,
              kve(hand, "records . --ids --original --missing -9").out);
}

// The commands of the page for breeders run, and what it quotes is what they print and leave.
TEST(Prep, PageForBreeders) {
    const Scratch scratch;
    const std::filesystem::path docs(KVE1_DOCS);
    std::filesystem::create_directory(scratch.folder() / "examples");
    std::filesystem::copy(std::filesystem::path(KVE1_EXAMPLES) / "breeder",
                          scratch.folder() / "examples/breeder",
                          std::filesystem::copy_options::recursive);
    std::ifstream file(docs / "breeder.md");
    const std::string path = std::filesystem::path(KVE_PROGRAM).parent_path().string() + ":" +
                             std::filesystem::path(KVE1_PROGRAM).parent_path().string();
    std::set<std::string> printed;
    std::vector<std::string> quoted;
    int n_commands = 0;
    bool is_quoting = false;
    for (std::string line; std::getline(file, line);) {
        if (line == "```") {
            is_quoting = !is_quoting;
        } else if (is_quoting) {
            quoted.push_back(line);
        } else if (line.starts_with("    ")) {
            ++n_commands;
            const std::string command = "cd '" + scratch.folder().string() + "' && export PATH='" +
                                        path + "':$PATH && {" + line + " ; } >shown 2>words";
            EXPECT_EQ(std::system(command.c_str()), 0) << line << scratch.read("words");
            for (const std::string& shown : lines_of(scratch.read("shown"))) printed.insert(shown);
        }
    }
    for (const char* made : {"examples/breeder/breeder.toml", "out/breeder/rejected.tsv",
                             "out/breeder/run.kve", "out/breeder/ids.tsv"})
        for (const std::string& line : lines_of(scratch.read(made))) printed.insert(line);
    EXPECT_GT(n_commands, 5);
    EXPECT_GT(quoted.size(), 40U);
    for (const std::string& line : quoted) EXPECT_TRUE(printed.contains(line)) << line;
}

}  // namespace
