// kve report: the figures in the page are compared with what the run was given; a browser draws it.
#include <sys/wait.h>

#include <nlohmann/json.hpp>

#include "kve/report/bins.h"
#include "kve/report/level_figures.h"
#include "kve/report/pattern_figures.h"
#include "kve/report/words.h"
#include "kve/shared/failure.h"
#include "program/run.h"

namespace {

using nlohmann::json;
namespace companion = kve::companion;

int status_of(const std::string& command) {
    const int raw = std::system(command.c_str());
    return WIFEXITED(raw) ? WEXITSTATUS(raw) : 1000 + WTERMSIG(raw);
}

int report(const Scratch& scratch, const std::string& arguments) {
    const std::string folder = scratch.folder().string();
    return status_of("cd '" + folder + "' && exec '" KVE_PROGRAM "' report " + arguments +
                     " -o page.html 2>words");
}

std::string data_of(const std::string& page) {
    const std::string start = "type=\"application/json\">";
    const std::size_t from = page.find(start) + start.size();
    return page.substr(from, page.find("</script>", from) - from);
}

json section_of(const Scratch& scratch, const std::string& id) {
    const json page = json::parse(data_of(scratch.read("page.html")));
    for (const json& section : page["sections"])
        if (section["id"] == id) return section;
    ADD_FAILURE() << "no section " << id;
    return {{"figures", json::array()}, {"notes", json::array()}, {"tables", json::array()}};
}

json figure_of(const Scratch& scratch, const std::string& id, const std::string& title) {
    const json section = section_of(scratch, id);
    for (const json& figure : section["figures"])
        if (figure["title"] == title) return figure;
    ADD_FAILURE() << "no figure " << title;
    return {};
}

std::string notes_of(const Scratch& scratch, const std::string& id) {
    std::string all;
    const json section = section_of(scratch, id);
    for (const json& note : section["notes"])
        all +=
            text("%d %s: ", note["times"].get<int>(), note["source"].get<std::string>().c_str()) +
            note["text"].get<std::string>() + "\n";
    return all;
}

// Forty records of six cows of two herds, and a herd of one record. Cow 906 is a daughter of cow
// 901 and of that cow's sire. The second trait is missing in each fifth record.
struct Given {
    std::string herd = "HERD", milk = "MILK", method = "1", prior = "2";
    int n = 40;
    std::string pedigree_end = {}, analyse = "2 0 0 0", restrictions = {};
};

void run_small(const Scratch& scratch, const Given& given = {}) {
    std::string data;
    for (int n = 0; n < given.n; ++n)
        data += text("%d %d %d %d %d\n", n == 7 ? 30 : 10 + n % 2 * 10, 901 + n % 6, 40 + n % 10,
                     500 + 3 * (n % 10), n % 5 == 0 ? -9 : 100 + n % 10);
    scratch.write("data", data);
    std::string pedigree = "101 0 0 20050101\n";
    for (int cow = 901; cow < 906; ++cow) pedigree += text("%d 101 0 20%d0101\n", cow, cow - 890);
    scratch.write("ped", pedigree + "906 101 901 20160101\n" + given.pedigree_end);
    const Outcome outcome =
        scratch.run("$ANALYSE " + given.analyse + "\n$DATA ASCII (2,3,-9.0) data\n$VARIABLE\n" +
                    given.herd + " COW AGE " + given.milk +
                    " FAT\n$MODEL\n2 2 0 0 0\n0\n0\n2 0 2 1 2\n3 0 2 1 2\n1 1\n1 1\n1 1\n0\n0\n" +
                    "$VAR_STR 1 PED " + given.method + " ASCII ped\n$PRIOR\n1 1 1 " + given.prior +
                    "\n1 2 1 -.5\n1 2 2 1\n2 1 1 3\n2 2 2 3\n" + given.restrictions);
    ASSERT_EQ(outcome.status, 0) << outcome.listing;
    std::filesystem::rename(scratch.folder() / "listing.out", scratch.folder() / "listing");
}

TEST(Report, ShowsTheFiguresOfTheRun) {
    Scratch scratch;
    run_small(scratch);
    ASSERT_EQ(report(scratch, "."), 0) << scratch.read("words");
    // Values come in tens of 4 each; FAT lacks those of 0 and 5.
    const json milk = figure_of(scratch, "traits", "Distribution of MILK")["picture"];
    EXPECT_EQ(milk["series"][0]["values"].size(), 28U);  // 500 to 527
    double n = 0.0;
    for (const json& value : milk["series"][0]["values"]) n += value.get<double>();
    EXPECT_EQ(n, 40.0);
    const std::tuple<const char*, const char*, const char*, const char*> cases[] = {
        {"traits", "Distribution of FAT", "/picture/series/0/values",
         "[4.0,4.0,4.0,4.0,0.0,4.0,4.0,4.0,4.0]"},
        {"pairs", "Records with both traits", "/picture/values", "[[40.0,32.0],[32.0,32.0]]"},
        {"pairs", "MILK and FAT", "/table/rows/0/2", "4"},
        {"levels", "Observations per level of MILK:HERD", "/picture/labels", R"(["10","20","30"])"},
        {"levels", "Observations per level of MILK:HERD", "/picture/series/0/values",
         "[20.0,19.0,1.0]"},
        {"levels", "Observations per level of MILK:HERD", "/picture/series/0/tones",
         R"(["main","main","mark"])"},
        {"covariances", "(Co)variances of COW (factor 1)", "/picture/values",
         "[[2.0,-0.5],[-0.5,1.0]]"},
        {"covariances", "Shares of the variance of each trait", "/picture/series/0/values",
         "[40.0,25.0]"},
        {"pedigree", "Animals by year of birth", "/table/rows/0", R"(["2005",1,0])"},
        {"pedigree", "Parents known by year of birth", "/table/rows/11",
         R"(["2016",1,100.0,0.0,0.0])"},
        {"pedigree", "Mean inbreeding by year of birth", "/picture/series/0/values/11", "25.0"},
        {"pedigree", "Generations known by year of birth", "/picture/series/0/values/11", "1.25"},
        {"pedigree", "Offspring per sire", "/table/rows",
         R"([["1",0],["2",0],["3–4",0],["5–8",1]])"},
        {"pedigree", "Generation interval by year of birth", "/table/rows/1",
         R"(["2011",null,5.9986310746064335,null,null,5.9986310746064335])"},
        {"pedigree", "Rate of inbreeding by year of birth", "/table/rows/6/2", "25.0"},
        {"pedigree", "Family sizes by year of birth", "/table/rows/6",
         R"(["2016",1,1.0,1,1,1.0,1])"},
        {"pedigree", "Contributions of ancestors", "/picture/labels/0", R"("101")"},
        {"pedigree", "Contributions of ancestors", "/picture/series/0/values/1", "12.5"},
        {"matrices", "Pattern of AINV1 (COW)", "/table/rows/1/1", "1"}};
    for (const auto& [section, title, place, expected] : cases)
        EXPECT_EQ(
            figure_of(scratch, section, title).value(json::json_pointer(place), json()).dump(),
            expected)
            << title;
    const double r = std::stod(
        json(figure_of(scratch, "pairs", "Phenotypic correlations")["picture"]["values"][0][1])
            .dump());
    EXPECT_NEAR(r, 1.0, 1e-12);  // both rise with n % 10
    EXPECT_EQ(notes_of(scratch, "warnings"),
              "1 : Neither the listing nor KVE_LOG has a warning or an error.\n");
}

// Each animal descends from all before it: the time for the inbreeding grows with their square.
TEST(Report, LeavesOutWhatWouldTakeLong) {
    Scratch scratch;
    std::string line;
    for (int n = 1000; n < 37'000; ++n)
        line += text("%d %d %d 0\n", n, n > 1001 ? n - 1 - n % 2 : 0, n > 1001 ? n - 2 + n % 2 : 0);
    run_small(scratch, {.method = "2", .pedigree_end = line});
    ASSERT_EQ(report(scratch, "."), 0) << scratch.read("words");
    const std::string words =
        "COW: Inbreeding and what comes of it (rates, effective sizes, founder genomes) is left "
        "out: ";
    EXPECT_NE(scratch.read("words").find(words), std::string::npos) << scratch.read("words");
    EXPECT_NE(notes_of(scratch, "pedigree").find(words), std::string::npos);
    const json section = section_of(scratch, "pedigree");
    for (const json& figure : section["figures"])
        EXPECT_EQ(figure["title"].get<std::string>().find("nbreeding"), std::string::npos);
    for (const json& row : section["tables"][0]["rows"])
        for (const auto& [measure, is_there] : {std::pair("individual rate of inbreeding", false),
                                                {"founder genomes", false},
                                                {"effective founders", true}})
            EXPECT_TRUE(row[0] != measure || row[1].is_number() == is_there) << row;
}

// Herds and animals by the names of the user, in two runs that know them by different integers.
TEST(Report, ShowsTheNamesOfTheUser) {
    Scratch scratch, second;
    run_small(scratch);
    run_small(second, {.pedigree_end = "907 0 0 20150101\n"});
    for (const Scratch* run : {&scratch, &second})
        run->write("classes.tsv", "column\tname\tcode\nHERD\tHill\t10\nHERD\t\"<Moor>\"\t20\n");
    scratch.write("ids.tsv", "identity\tcode\nBull & Co\t101\nIda\t901\nAda\t902\n");
    second.write("ids.tsv", "identity\tcode\nBull & Co\t101\nAda\t901\nIda\t902\nNew\t907\n");
    ASSERT_EQ(report(scratch, ". --ids"), 0) << scratch.read("words");
    const std::tuple<const char*, const char*, const char*, const char*> cases[] = {
        {"levels", "Observations per level of MILK:HERD", "/picture/labels",
         R"(["Hill","<Moor>","30"])"},
        {"levels", "Observations per level of COW (random factor 1)", "/picture/labels",
         R"(["Bull & Co","Ida","Ada","903","904","905","906"])"},
        {"pedigree", "Contributions of ancestors", "/picture/labels/0", R"("Bull & Co")"},
        {"pedigree", "Offspring per sire", "/words",
         R"("1 sire with 6.0 offspring in the mean; most have: Bull & Co (6).")"}};
    for (const auto& [section, title, place, expected] : cases)
        EXPECT_EQ(
            figure_of(scratch, section, title).value(json::json_pointer(place), json()).dump(),
            expected)
            << title;
    ASSERT_EQ(report(scratch, ". '" + second.folder().string() + "' --ids"), 0);
    EXPECT_NE(notes_of(scratch, "changes").find("7 → 8, observations 40 → 40. 1 is new (New)."),
              std::string::npos)
        << notes_of(scratch, "changes");
    for (const char* file : {"nowhere", "data"})
        EXPECT_EQ(report(scratch, text(". --ids=%s", file)), 3) << scratch.read("words");
}

// Herds by their records, the first of equal ones first. Lists of one name are shown once where
// they have the same levels with the same records; the third trait lacks a record.
TEST(Report, FindsTheLargestLevelsAndListsThatAreAlike) {
    constexpr int kHerds = 60;
    Scratch scratch;
    std::string data;
    std::vector<std::pair<int, int>> herds;  // records, herd
    for (int h = 1; h <= kHerds; ++h) {
        herds.emplace_back(1 + h * 7 % 13, h);
        for (int n = 0; n < herds.back().first; ++n)
            data += text("%d %d 1 5 6 %d\n", h, h, h == 30 && n == 0 ? -9 : 7);
    }
    scratch.write("data", data);
    const Outcome outcome = scratch.run(
        "$ANALYSE 1 1 0 0\n$DATA ASCII (3,3,-9.0) data\n$VARIABLE\nHERD FARM SIRE Y1 Y2 "
        "Y3\n$MODEL\n3\n"
        "0\n0\n0\n1 0 3 1 2 3\n2 0 3 1 2 3\n3 0 3 1 2 3\n1 1\n1 1\n1 1\n0\n0\n0\n0\n$PRIOR\n1 1 1 "
        "1\n"
        "1 2 2 1\n1 3 3 1\n2 1 1 1\n2 2 2 1\n2 3 3 1\n");
    ASSERT_EQ(outcome.status, 0) << outcome.listing;
    const companion::RunFolder run(scratch.folder().string());
    const std::vector<companion::LevelFigures> levels = companion::survey_levels(run);
    std::vector<std::string> labels;
    for (const companion::LevelFigures& figures : levels)
        labels.push_back(json(figures.labels).dump());
    EXPECT_EQ(json(labels), json({R"(["Y1:HERD","Y2:HERD"])", R"(["Y1:FARM","Y2:FARM"])",
                                  R"(["Y3:HERD"])", R"(["Y3:FARM"])", R"(["1"])"}));
    std::ranges::stable_sort(herds, std::greater<>(), &std::pair<int, int>::first);
    ASSERT_EQ(levels[0].leaders.size(), 10U);
    for (std::size_t n = 0; n < 10; ++n)
        EXPECT_EQ(std::pair(levels[0].leaders[n].n_records, levels[0].leaders[n].identity),
                  std::pair(int64_t{herds[n].first}, herds[n].second));
    EXPECT_EQ(levels[0].singles, (std::vector<int32_t>{13, 26, 39, 52}));
    EXPECT_EQ(levels[0].largest, 13);
    EXPECT_EQ(levels[2].n_records + 1, levels[0].n_records);
}

TEST(Report, CountsTheElementsOfEachCell) {
    Scratch scratch;
    run_small(scratch);
    struct Placed {
        int row, column;
        double value;
    };
    std::string elements;
    for (const Placed& e : {Placed{1, 1, 2.0},
                            {2, 1, 0.0},
                            {2, 2, -1.0},
                            {3, 4, 9.0},
                            {9, 1, 9.0},
                            {0, 0, 9.0},
                            {5, 0, 9.0},
                            {7, 7, 1.5}})
        elements += framed(bytes_of(std::vector<int32_t>{e.column, e.row}) +
                           bytes_of(std::vector<double>{e.value}));
    scratch.write("AINV1", elements);
    const companion::PatternFigures found = companion::survey_pattern(
        companion::RunFolder(scratch.folder().string()), {"AINV1", companion::FileKind::matrix, 1});
    EXPECT_EQ(std::tuple(found.n_read, found.n_outside, found.n_zeros, found.n_diagonals),
              std::tuple(8, 4, 1, 3));
    EXPECT_EQ(std::tuple(found.smallest, found.largest, found.at(1, 0), found.at(1, 1)),
              std::tuple(-1.0, 2.0, 1, 1));
    // The last of 44 cells has one level.
    companion::PatternFigures wide{.file = "AINV1", .factor = 1};
    wide.order = 130;
    wide.levels_in_cell = 3;
    EXPECT_EQ(std::tuple(wide.room(0, 0), wide.room(1, 0), wide.room(43, 0), wide.room(43, 43)),
              std::tuple(6.0, 9.0, 3.0, 1.0));
}

// A sample from all over the file stands for a matrix of a main diagonal and an edge.
TEST(Report, TakesSamplesOfLargeMatrices) {
    Scratch scratch;
    run_small(scratch);
    constexpr int kOrder = 7, kTimes = 3000;
    std::string elements;
    const auto add = [&](int row, int column, double value) {
        elements += framed(bytes_of(std::vector<int32_t>{column, row}) +
                           bytes_of(std::vector<double>{value}));
    };
    for (int row = 1; row <= kOrder; ++row)
        for (int n = 0; n < kTimes; ++n) add(row, n % 3 == 0 ? 1 : row, n % 3);
    scratch.write("AINV1", elements);
    const companion::RunFolder run(scratch.folder().string());
    const companion::RunFile file{"AINV1", companion::FileKind::matrix, 1};
    const companion::PatternFigures whole = companion::survey_pattern(run, file),
                                    sample = companion::survey_pattern(run, file, 2500);
    EXPECT_EQ(whole.n_read, kOrder * kTimes);
    EXPECT_EQ(sample.n_elements, whole.n_elements);
    EXPECT_EQ(sample.n_read, 2500U);
    EXPECT_EQ(sample.n_outside, 0);
    EXPECT_EQ(sample.largest, 2.0);
    for (int i = 0; i < kOrder; ++i)
        for (int j = 0; j <= i; ++j)
            EXPECT_NEAR(static_cast<double>(sample.at(i, j)) / 2500.0,
                        static_cast<double>(whole.at(i, j)) / (kOrder * kTimes), 0.01)
                << i << " " << j;
    scratch.write("AINV1", elements.replace(elements.size() - 24, 4, "cut!"));
    EXPECT_THROW(companion::survey_pattern(run, file, kTimes), companion::Failure);
}

TEST(Report, TellsWhatIsMissing) {
    Scratch scratch;
    run_small(scratch);
    const std::pair<const char*, const char*> cases[] = {
        {"listing", "The listing was not found"},
        {"KVE_LOG", "KVE_LOG is not in the folder"},
        {"RCDATA_R", "Not shown: values of traits and covariables. ./RCDATA_R: No such file"},
        {"AINV1", "Not shown: pattern of a matrix. ./AINV1: No such file"},
        {"CODE_TABLE", "Not shown: pedigree. ./CODE_TABLE: No such file"}};
    for (const auto& [file, told] : cases) {
        std::filesystem::remove(scratch.folder() / file);
        ASSERT_EQ(report(scratch, "."), 0) << file << scratch.read("words");
        EXPECT_NE(notes_of(scratch, "warnings").find(told), std::string::npos) << told;
    }
    EXPECT_EQ(report(scratch, ". --listing nowhere"), 3);
    std::filesystem::remove(scratch.folder() / "MODINF");
    EXPECT_EQ(report(scratch, "."), 3);
    EXPECT_TRUE(scratch.read("words").starts_with("kve: ./MODINF: ")) << scratch.read("words");
}

TEST(Report, CollectsMessages) {
    Scratch scratch;
    run_small(scratch);
    scratch.write("a listing",
                  "WARNING  : ID =       5 occurs more\nWARNING  : ID =  17 occurs more\n"
                  "1KVE1V6   page head\n   WARNING - first line\n             second line\n"
                  "                    in the middle\nError - of <b>&</b>\n\n"
                  "WARNING WARNING WARNING\n\nINPUT DATA OUT OF RANGE\n\nno part of it\n");
    ASSERT_EQ(report(scratch, ". --listing 'a listing'"), 0) << scratch.read("words");
    EXPECT_EQ(notes_of(scratch, "warnings"),
              "2 listing: WARNING : ID = 5 occurs more\n"
              "1 listing: WARNING - first line\nsecond line\n1 listing: Error - of <b>&</b>\n"
              "1 listing: WARNING\nINPUT DATA OUT OF RANGE\n");
}

TEST(Report, SaysWhatChangedBetweenTwoRuns) {
    Scratch scratch, second;
    run_small(scratch);
    run_small(second, {.herd = "FARM", .prior = "4", .n = 37, .pedigree_end = "906 0 0 1\n"});
    ASSERT_EQ(report(scratch, "."), 0);
    ASSERT_EQ(report(scratch, ". '" + second.folder().string() + "'"), 0) << scratch.read("words");
    const std::string notes = notes_of(scratch, "changes");
    for (const char* told :
         {"1 listing: New: WARNING : ID = 906 occurs more than one time",
          "1 model: Changed: trait MILK, fixed effects, HERD → FARM.\n",
          "1 records: Changed: data records read, 40 → 37.\n",
          "1 levels: Observations of COW (1): 40 → 37, in the same 7 levels.\n",
          "1 (co)variances: Changed: variance MILK COW of COW (factor 1), 2 → 4.\n"})
        EXPECT_NE(notes.find(told), std::string::npos) << told << notes;
    EXPECT_EQ(notes.find("covariance "), std::string::npos) << notes;
    ASSERT_EQ(report(scratch, ". ."), 0);
    EXPECT_TRUE(notes_of(scratch, "changes").starts_with("1 : Nothing: ")) << notes;
}

// What only MODINF tells of is not passed over.
TEST(Report, SaysWhatElseChanged) {
    Scratch scratch, other;
    const std::string pair = ". '" + other.folder().string() + "'";
    run_small(scratch, {.analyse = "1 1 0 0"});
    run_small(other, {.analyse = "1 1 0 0",
                      .restrictions = "$VAR_REST\nCOV 1 2,1\nCOR 2 2,1\nV_R 1 1 1 1 2 2\n"});
    ASSERT_EQ(report(scratch, pair), 0);
    EXPECT_EQ(notes_of(scratch, "changes"),
              "1 model: Changed: random factor 1, restrictions, none → fixed (2,1), ratio of "
              "variances in row 2, in the numerator of the ratio.\n"
              "1 model: Changed: residual, restrictions, none → fixed correlation (2,1), in the "
              "denominator of the ratio.\n");
    run_small(other, {.analyse = "1 1 0 1"});
    ASSERT_EQ(report(scratch, pair), 0);
    EXPECT_TRUE(notes_of(scratch, "changes").ends_with("not these fields of MODINF: ITEST.\n"))
        << notes_of(scratch, "changes");
}

// Names stand in a script; whatever they hold, they end neither it nor the page.
TEST(Report, IsDrawnByABrowserWithoutAFault) {
    Scratch scratch, second;
    run_small(scratch, {.herd = "</script", .milk = "<!--\xff{{"});
    run_small(second, {.method = "2"});
    scratch.write("listing",
                  "ERROR - <img src=x onerror=alert(1)></script><script>alert(2)</script>\n");
    ASSERT_EQ(report(scratch, "."), 0) << scratch.read("words");
    const std::string page = scratch.read("page.html");
    EXPECT_EQ(data_of(page).find_first_of("<>&"), std::string::npos);
    EXPECT_EQ(
        figure_of(scratch, "levels", "Observations per level of <!--\ufffd{{:</script")["wide"],
        false);
    std::filesystem::rename(scratch.folder() / "page.html", scratch.folder() / "one.html");
    ASSERT_EQ(report(scratch, ". '" + second.folder().string() + "'"), 0);
    const int status = status_of("cd '" + scratch.folder().string() +
                                 "' && exec '" KVE_REPORT_PAGES "' one.html page.html >shown 2>&1");
    constexpr int kNoBrowser = 77;
    if (status == kNoBrowser) GTEST_SKIP() << scratch.read("shown");
    EXPECT_EQ(status, 0) << scratch.read("shown");
}

TEST(Report, BinsHoldAllValues) {
    const std::vector<double> cases[] = {
        {3.5},     {0.0, 0.0},   {-1e30, 1e30},        {1e-30, 2e-30},
        {7, 8, 9}, {0, 1e6, 17}, {16777216, 16777218}, {-0.05, 0.05, 0.15}};
    for (const std::vector<double>& values : cases) {
        companion::Moments moments;
        for (const double value : values) moments.add(value);
        companion::Bins bins = companion::choose_bins(moments, 40);
        ASSERT_TRUE(!bins.counts.empty() && bins.counts.size() <= 45) << values[0];
        for (const double value : values) bins.add(value);
        EXPECT_EQ(std::accumulate(bins.counts.begin(), bins.counts.end(), int64_t{0}),
                  static_cast<int64_t>(values.size()))
            << values[0];
    }
    // Hundredths, rounded to real32: as many in each bin.
    companion::Moments moments;
    for (int n = 286; n <= 535; ++n) moments.add(static_cast<float>(n) / 100.0F);
    companion::Bins bins = companion::choose_bins(moments, 60);
    for (int n = 286; n <= 535; ++n) bins.add(static_cast<float>(n) / 100.0F);
    const int64_t whole = std::llround(bins.width * 100.0);
    for (std::size_t k = 1; k + 1 < bins.counts.size(); ++k) EXPECT_EQ(bins.counts[k], whole) << k;
    for (int64_t n = 0, from = 0, to = 0; n < 300; ++n) {
        const std::string label = companion::Doublings::label(companion::Doublings::place(n));
        const int found = std::sscanf(label.c_str(), "%ld–%ld", &from, &to);
        EXPECT_TRUE(n >= from && n <= (found == 2 ? to : from)) << n << label;
    }
    EXPECT_EQ(companion::grouped(-1234567), "−1\u202f234\u202f567");
}

}  // namespace
