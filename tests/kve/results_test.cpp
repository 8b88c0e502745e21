// What the companion shows of models with all kinds of columns and with two pedigrees, beside the
// data that the runs were given.
#include <sys/wait.h>

#include "program/run.h"

namespace {

using Ints = std::vector<int32_t>;

// Standard output and standard error of a command, one after the other, with its status behind
// unless that is 0.
std::string shown(const Scratch& scratch, const std::string& command,
                  const std::string& arguments = "") {
    const int raw =
        std::system(("cd '" + scratch.folder().string() + "' && exec '" KVE_PROGRAM "' " + command +
                     " . " + arguments + " >.shown 2>.words")
                        .c_str());
    const int status = WIFEXITED(raw) ? WEXITSTATUS(raw) : 1000 + WTERMSIG(raw);
    return scratch.read(".shown") + scratch.read(".words") +
           (status == 0 ? "" : text("status %d\n", status));
}

struct Given {
    const char* directives;
    const char* data;
};

void run(const Scratch& scratch, const Given& given) {
    scratch.write("data", given.data);
    const Outcome outcome = scratch.run(given.directives);
    ASSERT_EQ(outcome.status, 0) << outcome.listing;
    EXPECT_EQ(shown(scratch, "verify"), "");
}

// Y1 has a weight and absorbs the herd, Y2 absorbs herd and year; covariables are nested in
// classes.
const Given kAbsorbed = {
    "$ANALYSE 12 1 0 0\n$DATA ASCII (5,5,-9.0) data\n$VARIABLE\nherd year sex sire dam age day W "
    "Y1 Y2\n"
    "$MODEL\n2\n1 1\n2 1 2\n4 3 3 3 4 5\n5 0 2 3 4\n2 1 2\n1 1\n4 1 1(1) 2(2) "
    "2(3)\n0\n0\n$PRIOR\n1 1 1 1\n"
    "1 2 2 1\n1 3 3 1\n2 1 1 1\n2 2 2 1\n3 1 1 1\n3 2 2 1\n",
    "1 1 1 1 1 1 1 1 1 1\n1 2 2 3 4 1.5 2 0.5 10 -9\n2 2 1 3 0 2.5 3 1 -9 12\n2 3 2 1 4 3.5 4 2 40 "
    "14\n"};

// Y2 is censored; the third record has no herd, the fifth no Y1, the fourth neither.
const Given kCensored = {
    "$ANALYSE 2 0 0 0\n$DATA ASCII (2,4,-9.0) data\n$VARIABLE\nHERD CODE X W Y1 Y2\n$MODEL\n2 1 1 "
    "0 0\n0\n0\n"
    "3 0 1 1\n4 0 1 0\n0\n0\n0\n0\n0\n$CENS 2 CENS=2\n$PRIOR\n1 1 1 1\n1 2 2 1\n",
    "1 1 0 0 5 5\n1 2 0 0 5 6\n2 -1 0 0 5 7\n0 -1 0 0 5 -9\n1 -1 0 0 -9 5\n2 0 0 0 5 5\n1 7 0 0 5 "
    "5\n"};

// No trait has a fixed effect, so that nothing tells where Y3 is missing. Y1 is generalised.
const Given kOffset = {
    "$ANALYSE 11 1 0 0\n$DATA ASCII (1,5,-9.0) data\n$VARIABLE\nHERD OFF W Y1 Y2 Y3\n"
    "$GLMM 1 LINK=LOGIT VARF=BINOMIAL OFFSET=1\n$MODEL\n3\n0\n0\n0\n3 2 1 1\n4 0 1 1\n5 0 1 1\n1 "
    "1\n1 1\n1 1\n"
    "0\n0\n0\n0\n$PRIOR\n1 1 1 1\n1 2 2 1\n1 3 3 1\n2 1 1 1\n2 2 2 1\n2 3 3 1\n",
    "1 0.5 2 0.25 21 31\n2 -9 3 1 22 -9\n2 1 3 1 -9 33\n"};

// Cows and dams have pedigrees of their own; cow 5 is a daughter of a half sib of its dam's.
const Given kPedigrees = {
    "$ANALYSE 1 1 0 0\n$DATA ASCII (3,1,-9.0) data\n$VARIABLE\nCOW DAM HERD MILK\n$MODEL\n1\n0\n1 "
    "0 3 3 1 2\n"
    "2 1 2\n0\n0\n$VAR_STR 1 PED 1 ASCII cows\n$VAR_STR 2 PED 1 ASCII dams\n$PRIOR\n1 1 1 1\n2 1 1 "
    "1\n3 1 1 1\n",
    "3 11 1 20\n4 13 1 30\n5 13 2 -9\n5 11 2 25\n"};

void run_pedigrees(const Scratch& scratch) {
    scratch.write("cows", "1 0 0 1\n2 0 0 2\n3 1 2 3\n4 1 3 4\n5 4 3 5\n");
    scratch.write("dams", "11 0 0 0\n12 0 0 1\n13 11 12 2\n");
    run(scratch, kPedigrees);
}

TEST(Results, RecordsHaveAColumnForEachThingOfTheModel) {
    struct Case {
        const Given& given;
        const char* arguments;
        const char* table;
    };
    const Case cases[] = {
        {kAbsorbed, "",
         "herd,year,Y1:sex,Y2:sex,sire,dam,age,day,Y1,Y2,W\n1,1,1,1,1,1,1,1,1,1,1\n1,2,2,,2,2,1.5,"
         "2,10,,0.5\n"
         "2,2,,1,2,,2.5,3,,12,1\n2,3,2,2,1,2,3.5,4,40,14,2\n"},
        {kAbsorbed, "--original --trait 2",
         "herd,year,sex,sire,Y2\n1,1,1,1,1\n2,2,1,3,12\n2,3,2,1,14\n"},
        {kAbsorbed, "--original --trait Y1 --first 1",
         "herd,sex,sire,dam,age,day,Y1,W\n1,1,1,1,1,1,1,1\n"},
        {kAbsorbed, "--first 0 --columns W", "W\n"},
        {kAbsorbed, "--columns day,W,day --missing 2 --tsv",
         "day\tW\tday\n\t\t\n\t\t\n3\t\t3\n4\t\t4\n"},
        {kCensored, "",
         "HERD,Mu,censoring,Y1,Y2\n1,1,1,5,5\n1,1,2,5,6\n2,1,-1,5,7\n,1,-1,,5\n2,1,0,5,5\n1,1,7,5,"
         "5\n"},
        {kCensored, "--original --trait Y1", "HERD,Y1\n1,5\n1,5\n2,5\n2,5\n1,5\n"},
        {kOffset, "",
         "HERD,Y1,Y2,Y3,W,offset\n1,0.25,21,31,2,0.5\n2,1,22,-9,3,-9\n2,1,-9,33,3,1\n"},
        {kOffset, "--missing -9",
         "HERD,Y1,Y2,Y3,W,offset\n1,0.25,21,31,2,0.5\n2,1,22,,3,\n2,1,,33,3,1\n"},
        {kOffset, "--trait Y3", "HERD,Y3\n1,31\n2,-9\n2,33\n"},
        {kOffset, "--trait 3 --missing -9 --first 2", "HERD,Y3\n1,31\n2,33\n"},
        {kOffset, "--trait 4", "kve: .: no trait 4; there are: Y1 Y2 Y3\nstatus 2\n"},
    };
    for (const Given* given : {&kAbsorbed, &kCensored, &kOffset}) {
        const Scratch scratch;
        run(scratch, *given);
        for (const Case& c : cases) {
            if (&c.given != given) continue;
            EXPECT_EQ(shown(scratch, "records", c.arguments), c.table) << c.arguments;
            if (std::string_view(c.table).starts_with("kve")) continue;
            EXPECT_EQ(shown(scratch, "records", std::string(c.arguments) + " -o file"), "");
            EXPECT_EQ(scratch.read("file"), c.table);
        }
    }
}

TEST(Results, SummaryNamesEffectsAndCountsThem) {
    const std::pair<const Given&, std::vector<const char*>> cases[] = {
        {kAbsorbed,
         {"4 data records, 4 recoded",
          "1 Y1 Gaussian, 3 records, weight W absorbed herd 2 groups fixed sex 2 levels",
          "random sire (factor 1), dam (factor 2) regressions age, age(sex), day(sire), day(dam) "
          "not used 1 record without a value 2 Y2 Gaussian, 3 records",
          "absorbed herd 2 groups, year 3 groups", "1 sire I, 2 levels, 6 equations",
          "row 2 Y1 sire, regression on day row 3 Y2 sire", "RCDATA_I 160 bytes"}},
        {kCensored,
         {"7 data records, 6 recoded; no trait can be used in the other 1 Traits",
          "2 Y2 right censored, 5 records fixed Mu 1 level not used 1 record without a value, "
          "1 dropped dropped: has a value, but a class below 1"}},
        {kOffset,
         {"1 Y1 generalized, 3 records, weight W, BINOMIAL LOGIT random",
          "2 Y2 Gaussian, 2 records random HERD (factor 1) not used 1 record without a value 3"}},
    };
    for (const auto& [given, words] : cases) {
        const Scratch scratch;
        run(scratch, given);
        std::filesystem::remove(scratch.folder() / "RCDATA_R");
        const std::string summary = folded(shown(scratch, "summary"));
        for (const char* told : words)
            EXPECT_NE(summary.find(told), summary.npos) << told << "\n" << summary;
        EXPECT_NE(summary.find("RCDATA_R missing"), summary.npos) << summary;
        EXPECT_NE(folded(shown(scratch, "summary", "--json"))
                      .find("{ \"name\": \"RCDATA_R\", \"bytes\": null }"),
                  std::string::npos);
    }
}

// Without the listing of this run the counts that no file has are not there.
TEST(Results, SummaryBelievesTheListingOfItsRunAlone) {
    const Scratch scratch;
    run(scratch, kCensored);
    const std::string listing = scratch.read("listing.out"), date = "20";
    const std::size_t year = listing.find(date, listing.find("Package"));
    for (const std::string& other :
         {std::string(listing).replace(year, 4, "1999"), std::string()}) {
        scratch.write("listing.out", other);
        const std::string summary = folded(shown(scratch, "summary"));
        EXPECT_NE(summary.find("in the other 1, the listing tells why Traits"), summary.npos)
            << summary;
        EXPECT_EQ(summary.find("not used"), summary.npos) << summary;
    }
    scratch.write("KVE1.lst", listing);
    EXPECT_NE(shown(scratch, "summary").find("not used"), std::string::npos);
}

TEST(Results, NamesOfLaterTablesAreTold) {
    const Scratch scratch;
    run(scratch, kAbsorbed);
    scratch.write("ids.tsv", "identity\tcode\nA\t1\n\"B\tC\"\t3\n");
    const std::string levels =
        "factor,name,identity,level,observations\n1,sire,A,1,2\n1,sire,B\tC,2,2\n";
    using std::filesystem::last_write_time;
    const auto time = last_write_time(scratch.folder() / "MODINF");
    for (const int seconds : {-1, 1}) {
        last_write_time(scratch.folder() / "ids.tsv", time + std::chrono::seconds(seconds));
        EXPECT_EQ(shown(scratch, "levels", "--ids --factor 1"),
                  levels + (seconds < 0 ? ""
                                        : "kve: ./ids.tsv: newer than the run in .: if the "
                                          "tables have changed since, its names are not those "
                                          "of the run, and KVE1 must run again\n"));
    }
}

// The lines of INBREED are those of the pedigrees one after the other.
TEST(Results, LevelsOfEachPedigreeHaveItsInbreeding) {
    const Scratch scratch;
    run_pedigrees(scratch);
    const std::string
        head = "factor,name,identity,level,observations,sire,dam,sort,progeny,inbreeding\n",
        herds = "MILK:HERD,HERD,1,1,2,,,,,\nMILK:HERD,HERD,2,2,1,,,,,\n",
        cows =
            "1,COW,1,1,0,,,1,2,0.0000\n1,COW,2,2,0,,,2,1,0.0000\n1,COW,3,3,1,1,2,3,2,0.0000\n"
            "1,COW,4,4,1,1,3,4,1,0.2500\n1,COW,5,5,1,4,3,5,0,0.3750\n",
        dams =
            "2,DAM,11,1,2,,,0,1,0.0000\n2,DAM,12,2,0,,,1,1,0.0000\n2,DAM,13,3,1,11,12,2,0,0.0000\n";
    EXPECT_EQ(shown(scratch, "levels"), head + herds + cows + dams);
    EXPECT_EQ(shown(scratch, "levels", "--factor DAM"), head + dams);
    EXPECT_EQ(shown(scratch, "levels", "--factor 1"), head + cows);
    EXPECT_EQ(
        shown(scratch, "levels", "--factor MILK:HERD"),
        "factor,name,identity,level,observations\nMILK:HERD,HERD,1,1,2\nMILK:HERD,HERD,2,2,1\n");
    const std::string whole = scratch.read("INBREED");
    const std::size_t line = whole.find('\n') + 1, second = 5 * line;
    const auto damaged = [&](std::size_t at, const std::string& bytes) {
        scratch.write("INBREED", std::string(whole).replace(at, bytes.size(), bytes));
        return shown(scratch, "levels", "--factor 2");
    };
    const std::tuple<std::size_t, const char*, const char*> cases[] = {
        {second + 27, "7", "kve: ./INBREED: line 6: level 7, and CODE_TABLE has 1\nstatus 3\n"},
        {second + line + 18, "    x",
         "kve: ./INBREED: line 7: not a line of an animal\nstatus 3\n"},
        {second + 77, "x", "kve: ./INBREED: line 6: not a line of an animal\nstatus 3\n"},
        {second + 64, "              ",
         "kve: ./INBREED: line 6: not a line of an animal\nstatus 3\n"},
        {second + 60, "\n", "kve: ./INBREED: line 6: not a line of an animal\nstatus 3\n"},
    };
    for (const auto& [at, bytes, words] : cases)
        EXPECT_TRUE(damaged(at, bytes).ends_with(words)) << damaged(at, bytes) << words;
    EXPECT_TRUE(damaged(second - line + 20, "x").ends_with(dams));  // a line of the other pedigree
    std::filesystem::remove(scratch.folder() / "INBREED");
    EXPECT_EQ(shown(scratch, "levels", "--factor 2"),
              "kve: ./INBREED: cannot be opened\nstatus 3\n");
}

// Numbers of the files that lead elsewhere are told with their place.
TEST(Results, NumbersThatLeadNowhereAreRefused) {
    const Scratch scratch;
    run_pedigrees(scratch);
    struct Case {
        const char* file;
        std::size_t at;
        Ints words;
        const char *command, *arguments, *shown;
    };
    const Case cases[] = {
        // Records of HERD, COW, DAM, two zeros: 4 + 5 * 4 + 4 bytes each.
        {"RCDATA_I",
         28 + 8,
         {6},
         "records",
         "--original --columns COW",
         "kve: ./RCDATA_I: record 2: COW: level 6 is not in CODE_TABLE\nstatus 3\n"},
        {"RCDATA_I",
         28 + 8,
         {-1},
         "records",
         "--original --columns COW",
         "kve: ./RCDATA_I: record 2: COW: level -1 is not in CODE_TABLE\nstatus 3\n"},
        {"RCDATA_I", 28 + 8, {5}, "records", "--original --columns COW", "COW\n3\n5\n5\n"},
        {"RCDATA_I",
         20,
         {1},
         "verify",
         "",
         "RCDATA_I: record 1: its last word is not 0\nstatus 1\n"},
        {"AINV1",
         8,
         {6},
         "matrix",
         "AINV1",
         "row 6, column 1 are not of the lower triangle of 5 levels"},
        {"AINV1",
         4,
         {2},
         "matrix",
         "AINV1",
         "row 1, column 2 are not of the lower triangle of 5 levels"},
        {"AINV1",
         4,
         {0},
         "matrix",
         "AINV1",
         "row 1, column 0 are not of the lower triangle of 5 levels"},
        {"AINV1", 4, {2}, "verify", "", "AINV1: 1 element above the diagonal\nstatus 1\n"},
        {"PEDFILE1",
         4,
         {6},
         "verify",
         "",
         "PEDFILE1: 1 parent outside the levels of factor 1; the listing warns of wrong "
         "parents\nstatus 1\n"},
        {"PEDFILE1",
         4,
         {-6},
         "verify",
         "",
         "PEDFILE1: 1 parent outside the levels of factor 1; the listing warns of wrong "
         "parents\nstatus 1\n"},
        {"PEDFILE1", 4, {5}, "verify", "", ""},
        {"PEDFILE1", 4, {-5}, "verify", "", ""},
        // Lists of the herds, with 24 bytes of each, and of the cows.
        {"CODE_TABLE",
         4,
         {0},
         "verify",
         "",
         "CODE_TABLE: factor MILK:HERD (HERD), entry 1: the list does not end where MODINF "
         "tells; no more was looked at\nstatus 1\n"},
        {"CODE_TABLE",
         32 + 8,
         {1},
         "verify",
         "",
         "CODE_TABLE: factor MILK:HERD (HERD), entry 2: its identity does not ascend\nstatus 1\n"},
        {"CODE_TABLE",
         32 + 12,
         {2},
         "verify",
         "",
         "CODE_TABLE: factor MILK:HERD (HERD), level 2: 2 observations, and RCDATA_I has 1\nstatus "
         "1\n"},
        // Cows with 52 bytes.
        {"CODE_TABLE",
         64 + 60 + 8,
         {1},
         "verify",
         "",
         "CODE_TABLE: factor 1 (COW): two entries of 1\n"
         "CODE_TABLE: factor 1 (COW), entry 3: its parent 2 has no entry\nstatus 1\n"},
        {"CODE_TABLE",
         64 + 2 * 60 + 24,
         {77},
         "verify",
         "",
         "CODE_TABLE: factor 1 (COW), entry 3: its parent 77 has no entry\nstatus 1\n"},
        {"CODE_TABLE",
         64 + 60 + 16,
         {1},
         "verify",
         "",
         "CODE_TABLE: factor 1 (COW), entry 2: has level 1, and so has another\nstatus 1\n"},
        {"CODE_TABLE",
         16,
         {3},
         "records",
         "--original",
         "CODE_TABLE: record 1: level 3 outside 1 to 2\nstatus 3\n"},
        {"CODE_TABLE",
         16,
         {0},
         "records",
         "--original",
         "CODE_TABLE: record 1: level 0 outside 1 to 2\nstatus 3\n"},
    };
    for (const Case& c : cases) {
        const std::string whole = scratch.read(c.file);
        scratch.write(c.file,
                      std::string(whole).replace(c.at, 4 * c.words.size(), bytes_of(c.words)));
        const std::string found = shown(scratch, c.command, c.arguments);
        EXPECT_TRUE(c.shown[0] == 0 ? found.empty() : found.find(c.shown) != found.npos)
            << c.file << " " << c.at << "\n"
            << found << c.shown;
        scratch.write(c.file, whole);
    }
    const auto longer = [&](const char* file, const std::string& more, const char* command,
                            const char* words) {
        const std::string whole = scratch.read(file);
        scratch.write(file, whole + more);
        const std::string found = shown(scratch, command);
        EXPECT_NE(found.find(words), found.npos) << file << "\n" << found;
        scratch.write(file, whole);
    };
    longer("CODE_TABLE", framed(bytes_of(Ints(6))), "levels",
           "more levels than MODINF tells\nstatus 3\n");
    longer("RCDATA_I", framed(bytes_of(Ints(5))), "records",
           "RCDATA_I: record 4: one too many, MODINF tells 3\nstatus 3\n");
    longer("RCDATA_R", framed(bytes_of(Ints(1))), "records", "RCDATA_R: record 4: ");
    longer("AINV1", "x", "verify", "AINV1: the file ends within a record\nstatus 1\n");
    longer("INBREED", "\n", "verify",
           "INBREED: 9 lines, and the pedigrees have 8 animals\nstatus 1\n");
    EXPECT_EQ(shown(scratch, "verify"), "");
    // The other files are looked at, whatever has become of the code table.
    std::filesystem::remove(scratch.folder() / "CODE_TABLE");
    scratch.write("RCDATA_R", scratch.read("RCDATA_R").substr(1));
    EXPECT_EQ(shown(scratch, "verify"),
              "CODE_TABLE: No such file or directory\n"
              "RCDATA_R: record 1: cut, or the file is no file of records\nstatus 1\n");
}

// More columns than are put at once.
TEST(Results, RecordsOfManyColumns) {
    const Scratch scratch;
    run(scratch, kAbsorbed);
    for (const int n : {999, 1000, 1001, 2000, 2500}) {
        std::string columns, table, first;
        for (int c = 1; c <= n; ++c) {
            columns += std::string(c > 1 ? "," : "") + (c % 3 == 0 ? "year" : "W");
            first += std::string(c > 1 ? "," : "") + (c % 3 == 0 ? "2" : "0.5");
        }
        const std::string found = shown(scratch, "records", "--first 2 --columns " + columns);
        EXPECT_TRUE(found.starts_with(columns + "\n")) << n;
        EXPECT_TRUE(found.ends_with("\n" + first + "\n")) << n;
        EXPECT_EQ(std::ranges::count(found, '\n'), 3) << n;
    }
}

// A record that lacks the second of two absorbed effects has the levels of the others, and counts
// for none of them; that of a trait which does not absorb it counts.
TEST(Results, RecordsWithoutAnAbsorbedEffectDoNotCount) {
    const Scratch scratch;
    run(scratch, {kAbsorbed.directives,
                  "1 0 2 2 1 1.5 2 1 10 11\n1 1 1 1 1 1 1 1 1 1\n2 2 2 3 4 1 2 1 4 12\n"});
    EXPECT_NE(shown(scratch, "records", "--trait Y2").find("1,0,2,2"), std::string::npos)
        << shown(scratch, "records", "--trait Y2");
}

// Long tables are made in blocks by several threads: lines come in their order, and what is wrong
// with a record far down ends the table ahead of it.
TEST(Results, LongTablesComeInOrder) {
    constexpr int kAnimals = 30'000;
    const Scratch scratch;
    std::string data, pedigree,
        records = "HERD,COW,MILK\n", elements,
        levels = "factor,name,identity,level,observations,sire,dam,sort,progeny,inbreeding\n";
    for (int n = 1; n <= kAnimals; ++n) {
        data += text("%d 1 %d\n%d 1 %d\n", n, n, n, n + 5);
        pedigree += text("%d 0 0 %d\n", n, n);
        records += text("1,%d,%d\n1,%d,%d\n", n, n, n, n + 5);
        elements += text("%d %d 1\n", n, n);
        levels += text("1,COW,%d,%d,2,,,%d,0,0.0000\n", n, n, n);
    }
    scratch.write("cows", pedigree);
    run(scratch,
        {"$ANALYSE 1 1 0 0\n$DATA ASCII (2,1,-9.0) data\n$VARIABLE\nCOW HERD MILK\n$MODEL\n"
         "1\n0\n1 0 2 2 1\n1 1\n0\n0\n$VAR_STR 1 PED 1 ASCII cows\n$PRIOR\n1 1 1 1\n2 1 1 1\n",
         data.c_str()});
    struct Case {
        const char *command, *arguments, *file;
        std::size_t at;  // of a record in a later block, whose length becomes another
        const std::string& lines;
        const char* words;
    };
    constexpr std::size_t kData = 24, kElement = 24, kHerd = 32, kAnimal = 60;  // bytes of a record
    const std::string some = records.substr(0, records.find("1,25001,")), one = "HERD,COW,MILK\n",
                      full = "kve: /dev/full: No space left on device\nstatus 3\n";
    const Case cases[] = {
        {"records", "", "RCDATA_I", 49'999 * kData, records, "RCDATA_I: record 50000: cut"},
        {"records", "--original --first 50000", "RCDATA_I", 50'000 * kData, some, ""},
        {"records", "-o /dev/full", "RCDATA_I", 49'999 * kData, full, "/dev/full: No space"},
        {"records", "2>&1 | head -1", "RCDATA_I", 49'999 * kData, one, ""},
        {"levels", "--factor 1", "CODE_TABLE", kHerd + 29'998 * kAnimal, levels,
         "CODE_TABLE: record 30000: cut"},
        {"matrix", "AINV1 --format text", "AINV1", 29'998 * kElement, elements,
         "AINV1: record 29999: cut"},
    };
    for (const Case& c : cases) {
        const std::string whole = scratch.read(c.file);
        EXPECT_TRUE(shown(scratch, c.command, c.arguments) == c.lines) << c.command;
        scratch.write(c.file, std::string(whole).replace(c.at, 1, 1, '\1'));
        const std::string found = shown(scratch, c.command, c.arguments);
        const std::size_t words = std::min(found.find("kve: "), found.size());
        EXPECT_TRUE(c.lines.starts_with(found.substr(0, words))) << c.command;
        EXPECT_EQ(words == found.size(), c.words[0] == 0) << c.command;
        EXPECT_NE(found.find(c.words, words), found.npos) << found.substr(words);
        scratch.write(c.file, whole);
    }
}

}  // namespace
