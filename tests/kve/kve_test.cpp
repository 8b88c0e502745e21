// The companion on runs of the program: what it shows is compared with what the run was given, and
// files that were damaged afterwards have to be told.
#include <sys/wait.h>

#include <functional>

#include "program/run.h"

namespace {

using Ints = std::vector<int32_t>;
using std::literals::operator""s;

struct Shown {
    int status;
    std::string out, words;  // standard output, standard error
};

Shown kve(const Scratch& scratch, const std::string& command, const std::string& arguments = "") {
    const std::string folder = "'" + scratch.folder().string() + "'";
    const int raw = std::system(("exec '" KVE_PROGRAM "' " + command + " " + folder + " " +
                                 arguments + " >" + folder + "/shown 2>" + folder + "/words")
                                    .c_str());
    Shown shown{WIFEXITED(raw) ? WEXITSTATUS(raw) : 1000 + WTERMSIG(raw), scratch.read("shown"),
                scratch.read("words")};
    std::filesystem::remove(scratch.folder() / "shown");
    std::filesystem::remove(scratch.folder() / "words");
    return shown;
}

struct Row {
    int herd, line, breed, cow, group;
    std::string age, milk, fat;
};

// Cow 900 + n has the sire 101 or 102 and, from the third on, the first cow as dam.
std::vector<Row> rows() {
    std::vector<Row> all;
    all.reserve(40);
    for (int n = 0; n < 40; ++n)
        all.push_back({70 - 10 * (n % 3), 5 + n % 2, 300 - n % 3, 900 + n % 8, n < 20 ? 4 : 2,
                       text("%d.5", 20 + n), text("%d.25", 5000 + n),
                       n % 5 == 0 ? "-9" : text("%d", 200 + n)});
    return all;
}

// Two traits and a random factor of every type that has a matrix; the third one is of the animals.
void run_all_types(const Scratch& scratch, const std::string& animals = "PED 1 ASCII ped") {
    std::string data, pedigree = "101 0 0 2\n102 0 0 1\n";
    for (const Row& r : rows())
        data += text("%d %d %d %d %d ", r.herd, r.line, r.breed, r.cow, r.group) + r.age + " " +
                r.milk + " " + r.fat + "\n";
    for (int n = 0; n < 8; ++n)
        pedigree += text("%d %d %d %d\n", 900 + n, 101 + n % 2, n < 2 ? 0 : 900, 3 + n);
    std::string cows;
    for (int n = 0; n < 8; ++n) cows += text("%d %d 2\n", 900 + n, 900 + n);
    scratch.write("data", data);
    scratch.write("ped", pedigree);
    scratch.write("lines", "5 5 1.5\n6 6 1.5\n6 5 -.1\n");
    scratch.write("breeds", "298 298 3\n299 299 3\n300 300 3\n300 298 1e-9\n");
    scratch.write("cows", cows + "907 900 .125\n");
    scratch.write("typed", "101\n102\n");
    scratch.write("genomic", "101 101 2\n102 102 4\n");
    const Outcome outcome = scratch.run(
        "$ANALYSE 2 0 0 0\n$DATA ASCII (5,3,-9.0) data\n"
        "$VARIABLE\nHERD LINE BREED COW GROUP AGE MILK FAT\n"
        "$MODEL\n2 2 0 0 0\n0\n0\n2 0 6 1 2 3 4 4 4\n3 0 2 1 4\n5 1 2 3 4 5\n1 3\n1 1\n0\n0\n"
        "$VAR_STR 1 COR ASCII lines\n$VAR_STR 2 GREL ASCII breeds\n"
        "$VAR_STR 3 " +
        animals +
        "\n$VAR_STR 4 DOM 3 ASCII cows\n"
        "$VAR_STR 5 ABS_QTL 3 ASCII cows\n$VAR_STR 6 GROUP 5\n"
        "$PRIOR\n1 1 1 1\n2 1 1 1\n3 1 1 1\n3 2 2 1\n4 1 1 1\n5 1 1 1\n6 1 1 1\n6 2 2 1\n");
    ASSERT_EQ(outcome.status, 0) << outcome.listing;
}

std::vector<double> values_of(const std::string& words) {
    std::istringstream from(words);
    return {std::istream_iterator<double>(from), {}};
}

class Companion : public testing::Test {
 protected:
    void SetUp() override { run_all_types(scratch); }
    Scratch scratch;
};

TEST_F(Companion, RecordsAreThoseOfTheData) {
    std::string all = "MILK:HERD,FAT:HERD,LINE,BREED,3:COW,4:COW,5:COW,GROUP,AGE,MILK,FAT\n";
    std::string fat = "HERD\tCOW\tGROUP\tFAT\n";
    for (const Row& r : rows()) {
        const bool has_fat = r.fat != "-9";
        all += text("%d,%s,%d,%d,%d,%d,%d,%d,", r.herd, has_fat ? text("%d", r.herd).c_str() : "",
                    r.line, r.breed, r.cow, r.cow, r.cow, r.group) +
               r.age + "," + r.milk + "," + (has_fat ? r.fat : "") + "\n";
        if (has_fat) fat += text("%d\t%d\t%d\t", r.herd, r.cow, r.group) + r.fat + "\n";
    }
    EXPECT_EQ(kve(scratch, "records", "--original").out, all);
    EXPECT_EQ(kve(scratch, "records", "--original --tsv --trait FAT").out, fat);
    EXPECT_EQ(kve(scratch, "records", "--columns MILK,FAT:HERD,LINE --first 2").out,
              "MILK,FAT:HERD,LINE\n5000.25,,1\n5001.25,2,2\n");
    EXPECT_EQ(kve(scratch, "records", "--columns AGE --first 2 --missing 20.5").out,
              "AGE\n\n21.5\n");
}

TEST_F(Companion, LevelsHaveTheirIdentitiesAndCounts) {
    EXPECT_EQ(kve(scratch, "levels", "--factor HERD").out,
              "factor,name,identity,level,observations\nMILK:HERD,HERD,50,1,13\n"
              "MILK:HERD,HERD,60,2,13\nMILK:HERD,HERD,70,3,14\nFAT:HERD,HERD,50,1,10\n"
              "FAT:HERD,HERD,60,2,11\nFAT:HERD,HERD,70,3,11\n");
    EXPECT_EQ(kve(scratch, "levels", "--factor residual").out,
              "factor,name,identity,level,observations\nresidual,GROUP,2,1,20\n"
              "residual,GROUP,4,2,20\n");
    // Cow 902 is a daughter of her dam's sire.
    const std::string animals = kve(scratch, "levels", "--factor 3").out;
    EXPECT_TRUE(
        animals.starts_with("factor,name,identity,level,observations,sire,dam,sort,progeny,"
                            "inbreeding\n3,COW,102,1,0,,,1,4,0.0000\n"))
        << animals;
    EXPECT_NE(animals.find("3,COW,902,5,5,101,900,5,0,0.2500\n"), animals.npos) << animals;
    EXPECT_EQ(std::count(animals.begin(), animals.end(), '\n'), 11);
}

TEST_F(Companion, MatricesAreThoseThatWereGiven) {
    const std::string banner = "%%MatrixMarket matrix coordinate real symmetric\n% ",
                      levels = ": rows are levels of CODE_TABLE\n";
    const std::pair<const char*, std::string> cases[] = {
        {"COR1 --original", "5 5 1.5\n6 5 -0.1\n6 6 1.5\n"},
        {"COR1",
         banner + "COR1 of random factor 1, LINE" + levels + "2 2 3\n1 1 1.5\n2 1 -0.1\n2 2 1.5\n"},
        {"GINV2 --format text", "1 1 3\n2 1 0\n2 2 3\n3 1 1e-09\n3 2 0\n3 3 3\n"},
        {"DOM4 --format text",
         "3 3 2\n4 4 2\n5 5 2\n6 6 2\n7 7 2\n8 8 2\n9 9 2\n10 3 0.125\n10 10 2\n"},
        {"IBD5 --original",
         "900 900 2\n901 901 2\n902 902 2\n903 903 2\n904 904 2\n905 905 2\n906 906 2\n"
         "907 900 0.125\n907 907 2\n"},
        {"DOM4 --summary",
         "matrix                  DOM4 of random factor 4, COW\norder                   10\n"
         "elements                9\nlongest row             2 elements in row 10\n"
         "diagonal                2 to 2\nrows without diagonal   2\n"
         "outside the levels      0\n"}};
    for (const auto& [arguments, expected] : cases)
        EXPECT_EQ(kve(scratch, "matrix", arguments).out, expected) << arguments;
    EXPECT_TRUE(kve(scratch, "matrix", "AINV3 --original").out.starts_with("102 102 "));
    // A founder, another with half of its daughter, and she: the animals with progeny.
    Scratch reduced;
    run_all_types(reduced, "PED 2 RAM ASCII ped");
    EXPECT_EQ(kve(reduced, "matrix", "AINV_RAM3 --original").out,
              "102 102 1\n101 101 1.3333333333333333\n900 101 -0.6666666666666666\n"
              "900 900 1.3333333333333333\n");
    EXPECT_EQ(kve(reduced, "verify").status, 0);
    // The founders are typed, and twice and four times as much related to themselves.
    Scratch blended;
    run_all_types(blended, "PGMIX 1 ASCII ped typed genomic");
    const std::vector<double> a = values_of(kve(scratch, "matrix", "AINV3 --original").out),
                              h = values_of(kve(blended, "matrix", "PGMIX3 --original").out);
    ASSERT_EQ(a.size(), h.size());
    for (std::size_t n = 0; n < a.size(); n += 3) {
        const double less = a[n] != a[n + 1] ? 0 : a[n] == 102 ? 0.75 : a[n] == 101 ? 0.5 : 0;
        EXPECT_EQ(h[n], a[n]);
        EXPECT_EQ(h[n + 1], a[n + 1]);
        EXPECT_NEAR(h[n + 2], a[n + 2] - less, 1e-9) << a[n] << " " << a[n + 1];
    }
}

TEST_F(Companion, SummaryTellsTheAnalysis) {
    const std::string words = folded(kve(scratch, "summary").out);
    for (const char* told :
         {"task 2, KVEGS; method 0, MCMC 40 data records, 40 recoded",
          "1 MILK Gaussian, 40 records fixed HERD 3 levels random LINE (factor 1), BREED (factor "
          "2), "
          "COW (factor 3), COW (factor 4), COW (factor 5) regressions AGE 2 FAT Gaussian, 32 "
          "records",
          "3 COW PED method 1 ped, 10 levels, 20 equations, log determinant",
          "4 COW DOM of factor 3 cows, 10 levels, 10 equations row 1 MILK COW",
          "Residual (co)variances in 2 groups of GROUP", "IBD5 216 bytes"})
        EXPECT_NE(words.find(folded(told)), words.npos) << told << "\n" << words;
    const std::string json = folded(kve(scratch, "summary", "--json").out);
    for (const char* told :
         {"\"NLEV\": [ [ 3 ], [ 3 ] ]", "\"trait_name\": \"FAT\"", "\"type\": \"ABS_QTL\"",
          "\"cov_mat\": [ [ 1.0, 0.0 ], [ 0.0, 1.0 ] ]", "{ \"name\": \"DOM4\", \"bytes\": 216 }"})
        EXPECT_NE(json.find(told), json.npos) << told << "\n" << json;
}

// A run that is whole has no finding; each kind of damage has its own.
TEST_F(Companion, VerifyFindsWhatDoesNotBelongTogether) {
    const auto words_at = [this](const char* name, std::size_t at, const Ints& values) {
        std::string bytes = scratch.read(name);
        scratch.write(name, bytes.replace(at, bytes_of(values).size(), bytes_of(values)));
    };
    const auto drop = [this](const char* name, std::size_t n) {
        const std::string bytes = scratch.read(name);
        scratch.write(name, bytes.substr(0, bytes.size() - n));
    };
    const struct {
        const char* file;
        std::function<void()> damage;
        const char* found;
        int lines = 1;
    } cases[] = {
        {"", [] {}, "", 0},
        {"RCDATA_I", [&] { words_at("RCDATA_I", 4, {9}); },
         "RCDATA_I: record 1, position 1: level 9 of factor MILK:HERD (HERD) is not in CODE_TABLE"},
        {"RCDATA_I", [&] { words_at("RCDATA_I", 4, {2}); },
         "CODE_TABLE: factor MILK:HERD (HERD), level 2: 13 observations, and RCDATA_I has 14", 2},
        {"RCDATA_I", [&] { drop("RCDATA_I", 48); },
         "RCDATA_I: record 39: the last one, and MODINF tells 40"},
        {"RCDATA_R", [&] { drop("RCDATA_R", 1); }, "RCDATA_R: record 40: cut"},
        {"CODE_TABLE", [&] { drop("CODE_TABLE", 32); }, "CODE_TABLE: record 32: the last one"},
        {"CODE_TABLE", [&] { words_at("CODE_TABLE", 16, {3}); },
         "CODE_TABLE: factor MILK:HERD (HERD), entry 1: has level 3"},
        {"AINV3", [&] { words_at("AINV3", 4, {11}); },
         "AINV3: 1 element outside the levels of its factor\n"},
        {"AINV3", [&] { std::filesystem::remove(scratch.folder() / "AINV3"); },
         "AINV3: No such file or directory"},
        {"COR1", [&] { drop("COR1", 24); }, "COR1: 1 level without a diagonal element\n"},
        {"GINV2", [&] { words_at("GINV2", 28, {2}); }, "GINV2: 1 element out of order\n"},
        {"PEDFILE3", [&] { drop("PEDFILE3", 4); }, "PEDFILE3: 84 bytes, and 10 levels need 88"},
        {"INBREED", [&] { drop("INBREED", 200); }, "INBREED: 8 lines, and the pedigrees have 10"},
        {"INBREED", [&] { drop("INBREED", 30); }, "INBREED: line 10: not a line of an animal"},
        {"INBREED",
         [&] {
             const std::string lines = scratch.read("INBREED");
             const std::size_t end = lines.find('\n') + 1;
             scratch.write("INBREED", lines.substr(0, 2 * end) + lines.substr(end, end) +
                                          lines.substr(3 * end));
         },
         "INBREED: line 3: animal "},
        {"COR1",
         [&] {
             words_at("COR1", 12, {0, 0x7ff00000});
         },
         "COR1: 1 element without a finite value\n"},
        {"RCDATA_I",
         [&] {
             for (std::size_t n = 0; n < 40; ++n) words_at("RCDATA_I", n * 48 + 4, {-1});
         },
         "RCDATA_I: record 1, position 1: level -1 of factor", 6},
        {"CVREST.DIR", [&] { scratch.write("CVREST.DIR", "x"); }, "CVREST.DIR: MODINF does not"},
        {"PGMIX7", [&] { scratch.write("PGMIX7", "x"); }, "PGMIX7: MODINF does not promise it"},
    };
    for (const auto& c : cases) {
        const std::string whole = c.file[0] != 0 && scratch.has(c.file) ? scratch.read(c.file) : "";
        c.damage();
        const Shown shown = kve(scratch, "verify");
        EXPECT_EQ(shown.status, c.found[0] != 0) << c.found << shown.words;
        EXPECT_TRUE(shown.out.starts_with(c.found)) << c.found << "\n" << shown.out;
        EXPECT_EQ(std::ranges::count(shown.out, '\n'), c.lines) << shown.out;
        if (!whole.empty()) scratch.write(c.file, whole);
        if (whole.empty() && c.file[0] != 0) std::filesystem::remove(scratch.folder() / c.file);
    }
}

// Each word of MODINF in turn is another number, each file in turn is cut or something else: a
// command shows what there is or says what is wrong.
TEST_F(Companion, HostileFilesEndInWords) {
    const std::string page = "-o '" + (scratch.folder() / "page").string() + "'";
    const auto try_all = [&](const std::string& what) {
        const std::pair<const char*, std::string> commands[] = {
            {"summary", ""}, {"verify", ""},      {"records --original", ""},
            {"levels", ""},  {"matrix", "AINV3"}, {"report", page}};
        for (const auto& [command, arguments] : commands) {
            const Shown shown = kve(scratch, command, arguments);
            EXPECT_TRUE(shown.status <= 3 && (shown.status != 2 || command == "matrix"s))
                << what << ": " << command << shown.words;
            EXPECT_EQ(shown.status >= 2, shown.words.starts_with("kve: /")) << shown.words;
        }
    };
    const std::string modinf = scratch.read("MODINF");
    std::mt19937 random(3);
    for (int n = 0; n < 15; ++n) {
        const std::size_t at = random() % (modinf.size() / 4) * 4;
        const int32_t value = std::array{-1, 0, 1, 77, INT32_MAX, INT32_MIN}[random() % 6];
        std::string bytes = modinf;
        scratch.write("MODINF", bytes.replace(at, 4, bytes_of(Ints{value})));
        try_all(text("MODINF byte %zu is %d", at, value));
    }
    scratch.write("MODINF", modinf);
    const std::pair<const char*, const char*> readers[] = {{"MODINF", "records --original"},
                                                           {"CODE_TABLE", "records --original"},
                                                           {"RCDATA_I", "records --original"},
                                                           {"RCDATA_R", "records --original"},
                                                           {"INBREED", "levels"},
                                                           {"AINV3", "matrix"}};
    for (const auto& [name, reader] : readers) {
        const std::string whole = scratch.read(name);
        for (const std::string& other :
             {std::string(), whole.substr(0, whole.size() / 2), std::string("no record at all"),
              framed(""), std::string(whole.size(), '\xff')}) {
            scratch.write(name, other);
            try_all(name);
            EXPECT_EQ(kve(scratch, reader, reader == "matrix"s ? "AINV3" : "").status, 3) << name;
        }
        scratch.write(name, whole);
    }
}

TEST(CompanionProgram, KeepsTheConventions) {
    Scratch scratch;
    run_all_types(scratch);
    const std::tuple<const char*, const char*, int, const char*> cases[] = {
        {"--version", "", 0, "kve "},
        {"records --help", "", 0, "Example"},
        {"", "", 2, "kve: there is no command /"},
        {"sumary", "", 2, "kve: there is no command sumary; did you mean summary?\n"},
        {"help levels", "", 0, "Usage: kve levels [OPTIONS] DIR\n"},
        {"help level", "", 2, "did you mean levels?"},
        {"records", "--frist 1", 2,
         "kve: there is no option --frist\nkve records --help tells more\n"},
        {"records", "--missing x", 2, "kve: --missing = x cannot be read as a value\n"},
        {"summary", "more", 2, "kve: more is one argument too many\n"},
        {"records", "--first -1", 2, "--first: -1 is no number of records\n"},
        {"levels", "--factor X", 2, "no factor X; there are: MILK:HERD (HERD)"},
        {"records", "--trait X", 2, "no trait X; there are: MILK FAT"},
        {"records", "--columns X", 2, "no column X; there are: MILK:HERD"},
        {"matrix", "AINV9", 2, "the run has no matrix AINV9; it has: COR1 GINV2 AINV3"},
        {"matrix", "AINV3 --original --format mtx", 2, "--original goes with --format text"},
        {"summary", "no_such_folder", 2, "kve: "},
    };
    for (const auto& [command, arguments, status, words] : cases) {
        const Shown shown = kve(scratch, command, arguments);
        EXPECT_EQ(shown.status, status) << command << arguments << shown.words;
        EXPECT_NE((shown.out + shown.words).find(words), std::string::npos) << words << shown.words;
    }
    for (const char* command : {"prep", "ped", "check", "explain", "run", "summary", "levels",
                                "records", "matrix", "verify", "report"}) {
        std::istringstream help(kve(scratch, "help "s + command).out);
        for (std::string line; std::getline(help, line);) EXPECT_LE(line.size(), 80U) << line;
    }
    const std::string file = (scratch.folder() / "MODINF").string(),
                      before = scratch.read("MODINF");
    EXPECT_EQ(kve(scratch, "records", "-o '" + file + "'").status, 2);
    EXPECT_EQ(scratch.read("MODINF"), before);
    // More than all buffers and a pipe hold, of which the other end reads a line.
    std::string elements, lines;
    for (int n = 0; n < 100000; ++n) {
        elements += framed(bytes_of(Ints{1, 1}) + bytes_of(std::vector<double>{n / 16.0}));
        lines += text("1 1 %.15g\n", n / 16.0);
    }
    const std::string last = framed(bytes_of(Ints{10, 10}) + bytes_of(std::vector<double>{1.0}));
    scratch.write("AINV3", elements + last);
    EXPECT_TRUE(kve(scratch, "matrix", "AINV3 --format text").out == lines + "10 10 1\n");
    const std::string folder = scratch.folder().string();
    EXPECT_EQ(std::system(("bash -c 'set -o pipefail; \"" KVE_PROGRAM "\" matrix " + folder +
                           " AINV3 2>" + folder + "/words | head -1 >/dev/null'")
                              .c_str()),
              0);
    EXPECT_EQ(scratch.read("words"), "");
}

}  // namespace
