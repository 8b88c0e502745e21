// Pedigrees in kve: the figures of animals and classes against textbook values and against dense
// matrices made from the definitions.
#include <sys/wait.h>

#include <cmath>
#include <map>
#include <random>
#include <sstream>

#include "kve/pedigree/class_statistics.h"
#include "kve/pedigree/contributions.h"
#include "program/run.h"

namespace {

using namespace kve::companion;
using kve::Vec;
using Dense = std::vector<std::vector<double>>;
using Pairs = std::vector<std::pair<int, int>>;

Pedigree pedigree_of(const Pairs& parents) {
    Pedigree pedigree;
    const int n = static_cast<int>(parents.size());
    make_table(pedigree.parents, n);
    make_table(pedigree.birth, n);
    make_table(pedigree.sex, n);
    for (int j = 1; j <= n; ++j) {
        const auto [sire, dam] = parents[j - 1];
        pedigree.parents(j) = {sire, dam};
        pedigree.birth(j) = kNoBirth;
        if (sire != 0) pedigree.sex(sire) = Sex::male;
        if (dam != 0) pedigree.sex(dam) = Sex::female;
    }
    return pedigree;
}

// Animals 1..30 are founders; then a parent is unknown in one of ten cases. Sires have odd numbers.
Pairs random_parents(int n, unsigned seed) {
    std::mt19937 random(seed);
    Pairs parents(n);
    for (int j = 31; j <= n; ++j) {
        const auto pick = [&](int odd) {
            const int latest = std::max(1, j - 40), earlier = static_cast<int>(random() % 40);
            return random() % 10 == 0 ? 0 : (latest + earlier) / 2 * 2 - odd;
        };
        const auto within = [&](int parent) { return parent < j ? std::max(parent, 0) : 0; };
        parents[j - 1].first = within(pick(1));
        parents[j - 1].second = within(pick(0));
    }
    return parents;
}

// The tabular method.
Dense relationships(const Pairs& parents) {
    const std::size_t n = parents.size();
    Dense a(n + 1, std::vector<double>(n + 1));
    for (std::size_t j = 1; j <= n; ++j) {
        const auto [s, d] = parents[j - 1];
        for (std::size_t k = 1; k < j; ++k) a[j][k] = a[k][j] = (a[k][s] + a[k][d]) / 2;
        a[j][j] = 1 + (s != 0 && d != 0 ? a[s][d] / 2 : 0);
    }
    return a;
}

TEST(PedigreeFigures, AreThoseOfTheTextbook) {
    // Mrode (2005), Linear models for the prediction of animal breeding values, example 2.1: its
    // diagonals of A. The rest by hand from the definitions.
    const Pedigree pedigree = pedigree_of({{0, 0}, {0, 0}, {1, 2}, {1, 0}, {4, 3}, {5, 2}});
    const double inbreeding[] = {0, 0, 0, 0, .125, .125}, equivalent[] = {0, 0, 1, .5, 1.75, 1.875},
                 completeness[] = {0, 0, .5, 0, 6. / 7, 2. / 3},
                 sampling[] = {1, 1, .5, .75, .5, .46875};
    const int generation[] = {0, 0, 1, 1, 2, 3};
    const Inbreeding found = find_inbreeding(pedigree);
    const AnimalFigures figures = find_figures(pedigree, 2);
    for (int j = 1; j <= 6; ++j) {
        EXPECT_DOUBLE_EQ(found.coefficient(j), inbreeding[j - 1]) << j;
        EXPECT_DOUBLE_EQ(found.sampling(j), sampling[j - 1]) << j;
        EXPECT_FLOAT_EQ(figures.equivalent(j), static_cast<float>(equivalent[j - 1])) << j;
        EXPECT_FLOAT_EQ(figures.completeness(j), static_cast<float>(completeness[j - 1])) << j;
        EXPECT_EQ(find_generations(pedigree)(j), generation[j - 1]) << j;
    }
}

// The ancestors of each sire and his mates, a mate and the sire among them. With more sires than
// are looked at, of which all are alike, no more is known than of these.
TEST(PedigreeFigures, VisitsForTheInbreedingAreEstimated) {
    EXPECT_DOUBLE_EQ(estimate_visits(pedigree_of({{0, 0}, {1, 0}, {0, 1}})), 0.0);
    // Sires 1 with 2 and 4, and 5 with 2 and, not known, another.
    EXPECT_DOUBLE_EQ(
        estimate_visits(pedigree_of({{0, 0}, {0, 0}, {1, 2}, {0, 2}, {1, 4}, {5, 2}, {5, 0}})),
        3.0 + 4.0);
    std::vector<std::pair<int, int>> apart;
    for (int family = 0; family < 300; ++family)
        for (const auto& [sire, dam] : {std::pair(0, 0), {0, 0}, {1, 2}})
            apart.emplace_back(sire > 0 ? 3 * family + sire : 0, dam > 0 ? 3 * family + dam : 0);
    EXPECT_DOUBLE_EQ(estimate_visits(pedigree_of(apart)), 600.0);
}

// Wright (1922), Coefficients of inbreeding and relationship: the Shorthorn bull Roan Gauntlet has
// 0.1406. In this order Champion of England, Lord Raglan, Grand Duke of Gloster, Mistletoe,
// Mimulus, Carmine, Royal Duke of Gloster, Princess Royal and himself.
TEST(PedigreeFigures, InbreedingOfRoanGauntlet) {
    const Pedigree pedigree =
        pedigree_of({{0, 0}, {0, 0}, {1, 0}, {2, 0}, {1, 4}, {2, 0}, {3, 5}, {1, 6}, {7, 8}});
    const Inbreeding found = find_inbreeding(pedigree);
    EXPECT_DOUBLE_EQ(found.coefficient(9), 9. / 64);
    EXPECT_DOUBLE_EQ(found.coefficient(7), 1. / 8);
}

// Boichard, Maignel and Verrier (1997) by their own words, step by step: the pedigree of those that
// are chosen is deleted, q goes up from the reference population, a down from the chosen.
std::vector<Ancestor> choose_by_definition(Pairs parents, const std::vector<int>& reference) {
    const int n = static_cast<int>(parents.size());
    std::vector<Ancestor> chosen;
    std::vector<bool> is_chosen(n + 1);
    for (;;) {
        std::vector<double> q(n + 1), a(n + 1);
        for (const int j : reference) q[j] = 1;
        for (int j = n; j >= 1; --j)
            for (const int p : {parents[j - 1].first, parents[j - 1].second})
                if (p != 0) q[p] += q[j] / 2;
        Ancestor best{0, 0, 1e-9};
        for (int j = 1; j <= n; ++j) {
            a[j] = is_chosen[j] ? 1 : (a[parents[j - 1].first] + a[parents[j - 1].second]) / 2;
            const double p = q[j] * (1 - a[j]) / static_cast<double>(reference.size());
            if (p > best.marginal + 1e-12) best = {j, q[j], p};
        }
        if (best.place == 0) return chosen;
        chosen.push_back(best);
        is_chosen[best.place] = true;
        parents[best.place - 1] = {0, 0};
    }
}

TEST(Contributions, AreThoseOfTheDefinition) {
    struct {
        Pairs parents;
        std::vector<int> reference;
        double founders, ancestors, genomes;  // effective numbers, by hand; 0: of the definition
    } cases[] = {
        // A sire with four dams. The mean of the relationships is (4 + 12/4)/16.
        {{{0, 0}, {0, 0}, {0, 0}, {0, 0}, {0, 0}, {1, 2}, {1, 3}, {1, 4}, {1, 5}},
         {6, 7, 8, 9},
         3.2,
         3.2,
         16. / 7},
        // The sire has parents: a founder more, and the same bottleneck.
        {{{0, 0}, {0, 0}, {1, 2}, {0, 0}, {0, 0}, {0, 0}, {0, 0}, {3, 4}, {3, 5}, {3, 6}, {3, 7}},
         {8, 9, 10, 11},
         16. / 3,
         3.2,
         16. / 7},
        // A dam is unknown: she is a founder with the same share as the known one, and as an
        // ancestor her son or daughter stands for her.
        {{{0, 0}, {0, 0}, {1, 2}, {1, 0}}, {3, 4}, 8. / 3, 8. / 3, 1.6},
        {random_parents(150, 1), {}, 0, 0, 0},
        {random_parents(400, 2), {}, 0, 0, 0}};
    for (auto& one : cases) {
        const int n = static_cast<int>(one.parents.size());
        if (one.reference.empty())
            for (int j = n - 60; j <= n; j += 1 + j % 3) one.reference.push_back(j);
        const Pedigree pedigree = pedigree_of(one.parents);
        Vec<bool> reference;
        make_table(reference, n);
        for (const int j : one.reference) reference(j) = true;
        const Inbreeding inbreeding = find_inbreeding(pedigree);
        const Contributions all =
            find_contributions(pedigree, reference, inbreeding.sampling, 1000000);
        const std::vector<Ancestor> expected = choose_by_definition(one.parents, one.reference);
        double sum = 0, squares = 0;
        for (const Ancestor& a : all.ancestors) {
            sum += a.marginal;
            squares += a.marginal * a.marginal;
        }
        EXPECT_NEAR(sum, 1, 1e-9);
        ASSERT_EQ(all.ancestors.size(), expected.size());
        for (std::size_t k = 0; k < expected.size(); ++k)
            EXPECT_NEAR(all.ancestors[k].marginal, expected[k].marginal, 1e-12) << k;
        EXPECT_NEAR(all.effective_ancestors_low, 1 / squares, 1e-9);
        const Dense a = relationships(one.parents);
        double mean = 0;
        for (const int j : one.reference)
            for (const int k : one.reference)
                mean += a[j][k] / static_cast<double>(one.reference.size() * one.reference.size());
        EXPECT_NEAR(all.founder_genomes, 1 / mean, 1e-9);
        for (int j = 1; j <= n; ++j) EXPECT_NEAR(inbreeding.coefficient(j), a[j][j] - 1, 1e-12);
        if (one.founders > 0) {
            EXPECT_NEAR(all.effective_founders, one.founders, 1e-12);
            EXPECT_NEAR(all.effective_ancestors_low, one.ancestors, 1e-12);
            EXPECT_NEAR(all.founder_genomes, one.genomes, 1e-12);
        }
        // The bounds of a search that ends early hold what it would have found.
        const Contributions some = find_contributions(pedigree, reference, inbreeding.sampling, 3);
        EXPECT_LE(some.effective_ancestors_low, all.effective_ancestors_low + 1e-9);
        EXPECT_GE(some.effective_ancestors_high, all.effective_ancestors_low - 1e-9);
    }
}

TEST(ClassStatistics, OfGenerationsAndYears) {
    // Two founders, full sibs, their inbred progeny, and a daughter of one of these by her sire.
    Pedigree pedigree = pedigree_of({{0, 0}, {0, 0}, {1, 2}, {1, 2}, {3, 4}, {3, 4}, {5, 6}});
    const int years[] = {0, 1, 3, 4, 6, 8, 10};
    for (int j = 1; j <= 7; ++j) pedigree.birth(j) = years[j - 1];
    const AnimalFigures figures = find_figures(pedigree, 2);
    const std::vector<ClassRow> rows =
        sum_up_classes(pedigree, figures, find_generations(pedigree), 1.0);
    ASSERT_EQ(rows.size(), 4);
    // Full-sib mating: F is 1/4 and then 3/8, with 2 and 3 complete generations.
    const double inbreeding[] = {0, 0, .25, .375},
                 increase[] = {0, 0, .25, 1 - std::sqrt(1 - .375)};
    for (int g = 0; g < 4; ++g) {
        EXPECT_EQ(rows[g].label, g);
        EXPECT_DOUBLE_EQ(rows[g].equivalent, g);
        EXPECT_DOUBLE_EQ(rows[g].completeness, g == 0 ? 0 : g == 1 ? .5 : 1);
        EXPECT_DOUBLE_EQ(rows[g].inbreeding, inbreeding[g]);
        EXPECT_DOUBLE_EQ(rows[g].increase, increase[g]);
    }
    const ClassRow all = add_up(rows);
    const double ages[] = {(3 + 3) / 2., (4 + 5) / 2., (2 + 2) / 2., (3 + 4) / 2.};
    EXPECT_DOUBLE_EQ(all.ages[kSireSon].mean(), ages[0]);
    EXPECT_DOUBLE_EQ(all.ages[kSireDaughter].mean(), ages[1]);
    EXPECT_DOUBLE_EQ(all.ages[kDamSon].mean(), ages[2]);
    EXPECT_DOUBLE_EQ(all.ages[kDamDaughter].mean(), ages[3]);
    EXPECT_DOUBLE_EQ(generation_interval(all), (ages[0] + ages[1] + ages[2] + ages[3]) / 4);
    EXPECT_EQ(all.animals, 7);
    EXPECT_EQ(all.founders, 2);
    EXPECT_EQ(rows[2].sires.parents, 1);
    EXPECT_EQ(rows[2].sires.largest, 2);
    EXPECT_EQ(rows[1].males, 1);
}

// kve ped in the scratch folder, on the file ped.csv.
struct Ped {
    Scratch scratch;
    std::string words;

    int run(const std::string& options, const std::string& file = "ped.csv") {
        const std::string folder = "'" + scratch.folder().string() + "'";
        const int raw = std::system(("cd " + folder + " && '" KVE_PROGRAM "' ped " + file +
                                     " -o out " + options + " >words 2>&1")
                                        .c_str());
        words = scratch.read("words");
        return WIFEXITED(raw) ? WEXITSTATUS(raw) : 1000;
    }
    bool has(const std::string& name, const std::string& line) {
        return ("\n" + scratch.read("out/" + name)).find("\n" + line + "\n") != std::string::npos;
    }
};

TEST(Ped, FaultsAreToldWithTheirLineAndMendedByRule) {
    // Each file has A (male) and B (female), born in 2001, above these lines.
    const struct {
        const char *lines, *finding, *change, *pedigree;
    } cases[] = {
        {"C,C,B,M,2003\n", "4\tC\town parent\t", "4\tC\tsire unknown, it is the animal itself",
         "1 0 0 2001\n2 0 0 2001\n3 0 2 2003\n"},
        {"C,B,B,M,2003\n", "4\tC\tone as both\tboth parents are B",
         "4\tC\tsire and dam unknown, they are one animal", "1 0 0 2001\n2 0 0 2001\n3 0 0 2003\n"},
        {"C,A,,M,2003\nC,A,B,F,2003\n", "5\tC\tdiffers\tin sex, from line 4",
         "5\tC\tsecond record left out, of it taken dam", "1 0 0 2001\n2 0 0 2001\n3 1 2 2003\n"},
        {"C,A,B\n", "4\t\tfields\t3 in place of 5", "4\t\trecord left out",
         "1 0 0 2001\n2 0 0 2001\n"},
        {"NA,A,B,M,2003\n", "4\t\tno identity\t", "4\t\trecord left out",
         "1 0 0 2001\n2 0 0 2001\n"},
        // The parent that is born after its progeny is the weakest link.
        {"C,D,B,M,2003\nD,E,B,M,2002\nE,C,B,M,2005\n", "5\tD\tloop\tC <- D <- E <- C",
         "5\tD\tsire E unknown, to break a loop",
         "1 0 0 2001\n2 0 0 2001\n4 0 2 2002\n3 4 2 2003\n5 3 2 2005\n"},
        // Two progeny and a parent against the date of one animal.
        {"C,A,B,M,2020\nD,C,B,M,2005\nE,C,B,M,2006\n",
         "4\tC\tborn after\tborn 2020, not before D, born 2005, line 5",
         "4\tC\tbirth 2020 unknown, parents are to be born before their progeny",
         "1 0 0 2001\n2 0 0 2001\n3 1 2 2003\n4 3 2 2005\n5 3 2 2006\n"},
        // Of C nothing is known but that it stands between A and D.
        {"C,A,B,M,\nD,C,B,M,2002\n", "2\tA\tborn after\tborn 2001, not before D, born 2002, line 5",
         "5\tD\tbirth 2002 unknown, parents are to be born before their progeny",
         "1 0 0 2001\n2 0 0 2001\n3 1 2 2003\n4 3 2 2005\n"}};
    for (const auto& one : cases) {
        Ped ped;
        ped.scratch.write(
            "ped.csv", std::string("id,sire,dam,sex,born\nA,,,M,2001\nB,,,F,2001\n") + one.lines);
        EXPECT_EQ(ped.run(""), 1) << one.lines;
        EXPECT_TRUE(ped.has("findings.tsv", std::string("ped.csv\t") + one.finding))
            << ped.scratch.read("out/findings.tsv");
        EXPECT_FALSE(ped.scratch.has("out/pedigree"));
        EXPECT_EQ(ped.run("--fix"), 0) << ped.words;
        EXPECT_TRUE(ped.has("changes.tsv", std::string("ped.csv\t") + one.change))
            << ped.scratch.read("out/changes.tsv");
        EXPECT_EQ(ped.scratch.read("out/pedigree"), one.pedigree) << one.lines;
        // A later run with a fault leaves no result of this one.
        EXPECT_EQ(ped.run(""), 1);
        EXPECT_FALSE(ped.scratch.has("out/pedigree"));
    }
}

TEST(Ped, WhatKve1LivesWithIsTold) {
    const struct {
        const char *lines, *finding;
    } cases[] = {{"C,A,B,M,2003\nC,A,B,M,2003\n", "5\tC\trepeated\tas in line 4"},
                 {"C,A,Z,M,2003\n", "4\tZ\tno record\ta parent here"},
                 {"C,A,B,M,\n", "4\tC\tno birth\t"},
                 {"C,A,B,,2003\n", "4\tC\tno sex\t"},
                 {"C,A,B,x,2003\n", "4\tC\tunread sex\tx"},
                 {"C,A,B,M,soon\n", "4\tC\tunread birth\tsoon"},
                 {"C,A,-7,M,2003\n", "4\t\tgroup code\t-7"},
                 {"C,B,A,M,2003\n", "4\tB\twrong sex\ta sire here and female by its record"},
                 {"C,,A,M,2003\n", "4\tA\twrong sex\ta dam here and male by its record"},
                 {"C,A,B,M,2003\nD,,C,M,2005\nE,C,,M,2005\n",
                  "6\tC\tboth parts\ta sire here, a dam in line 5"}};
    for (const auto& one : cases) {
        Ped ped;
        ped.scratch.write(
            "ped.csv", std::string("id,sire,dam,sex,born\nA,,,M,2001\nB,,,F,2001\n") + one.lines);
        EXPECT_EQ(ped.run(""), 0) << ped.words;
        EXPECT_TRUE(ped.has("findings.tsv", std::string("ped.csv\t") + one.finding))
            << ped.scratch.read("out/findings.tsv");
        EXPECT_TRUE(ped.scratch.has("out/pedigree"));
        EXPECT_EQ(ped.run("--strict"), 1) << one.lines;
        EXPECT_FALSE(ped.scratch.has("out/pedigree"));
    }
}

// Where a column of sexes decides.
TEST(Ped, PartsAreMendedOnRequestAlone) {
    Ped ped;
    ped.scratch.write("ped.csv",
                      "id,sire,dam,sex,born\nA,,,M,2001\nB,,,F,2001\nC,B,A,M,2003\n"
                      "D,C,B,M,2005\nE,A,C,F,2006\n");
    EXPECT_EQ(ped.run(""), 0) << ped.words;
    EXPECT_EQ(ped.scratch.read("out/pedigree"),
              "1 0 0 2001\n2 0 0 2001\n3 2 1 2003\n4 3 2 2005\n5 1 3 2006\n");
    EXPECT_EQ(ped.run("--fix"), 0) << ped.words;
    EXPECT_EQ(ped.scratch.read("out/pedigree"),
              "1 0 0 2001\n2 0 0 2001\n3 1 2 2003\n4 3 2 2005\n5 1 0 2006\n");
    EXPECT_EQ(ped.scratch.read("out/changes.tsv"),
              "file\tline\tanimal\tchange\n"
              "ped.csv\t4\tC\tsire and dam change places: A and B\n"
              "ped.csv\t6\tE\tdam C unknown, male by its record\n");
}

// Forms of one pedigree: a bull, his sire and dam.
TEST(Ped, FormsAreFoundOut) {
    const struct {
        const char *name, *content, *options, *described, *pedigree, *ids;
    } cases[] = {
        {"a.csv",
         "Name;Father;Mother;Sex;Date of birth\nBo;Al;Cy;M;13.02.2010\nAl;;;M;1.2.2005\n"
         "Cy;.;0;F;5.12.2006\n",
         "--id Name",
         "semicolons, header; identity Name; sire Father; dam Mother; sex Sex; birth "
         "Date of birth (dmy)",
         "2 0 0 20050201\n3 0 0 20061205\n1 2 3 20100213\n", "Bo\t1\nAl\t2\nCy\t3\n"},
        {"six.ped", "F1 bo al cy 1 -9\nF1 al 0 0 1 2.5\nF1 cy 0 0 2 1\n", "",
         "blanks, no header; identity V2; sire V3; dam V4; sex V5", "2 0 0 1\n3 0 0 1\n1 2 3 2\n",
         "bo\t1\nal\t2\ncy\t3\n"},
        {"six.ped", "F1 bo al cy 1 -9\nF1 al 0 0 1 2.5\nF1 cy 0 0 2 1\n", "--family 1",
         "blanks, no header; family V1; identity V2; sire V3; dam V4; sex V5",
         "2 0 0 1\n3 0 0 1\n1 2 3 2\n", "F1:bo\t1\nF1:al\t2\nF1:cy\t3\n"},
        {"kve1", "70 50 60 40\n50 -1 -2 0\n60 0 0 33\n", "",
         "blanks, no header; identity V1; sire V2; dam V3; birth V4 (number)",
         "50 0 0 1\n60 0 0 34\n70 50 60 41\n", "70\t70\n50\t50\n60\t60\n"},
        {"c.ped", "DE1|'0'|0\n'DE|2'|0|0\n'DE 3'|DE1|'DE|2'|5\nDE4|DE1|000\n",
         "--delimiter '|' --quote \"'\"", "\"|\", no header, quotes; identity V1; sire V2; dam V3",
         "1 0 0 1\n2 0 0 1\n3 1 0 2\n", "DE1\t1\nDE|2\t2\nDE4\t3\n"},
        {"mixed", "id\tsire\tdam\tbirth\n2147483648\t7\tx\t2010\n7\t0\t0\t2005\nx\t0\t0\t2005\n",
         "--sort generation --missing x",
         "tabs, header; identity id; sire sire; dam dam; birth "
         "birth (year)",
         "7 0 0 1\n8 7 0 2\n", "2147483648\t8\n7\t7\n"}};
    for (const auto& one : cases) {
        Ped ped;
        ped.scratch.write(one.name, one.content);
        ped.run(std::string("--fix ") + one.options, one.name);
        EXPECT_NE(ped.words.find(std::string(one.name) + ": " + one.described + "\n"),
                  std::string::npos)
            << ped.words;
        EXPECT_EQ(ped.scratch.read("out/pedigree"), one.pedigree) << one.name << ped.words;
        EXPECT_EQ(ped.scratch.read("out/ids.tsv"), std::string("identity\tcode\n") + one.ids);
    }
}

struct Written {
    int id, sire, dam, sort;
};

std::vector<Written> written_pedigree(const Ped& ped) {
    std::istringstream in(ped.scratch.read("out/pedigree"));
    std::vector<Written> all;
    for (Written w; in >> w.id >> w.sire >> w.dam >> w.sort;) all.push_back(w);
    return all;
}

// A line of descent 1 <- 2 <- ... <- 6, each with a dam of its own, 11 to 16.
std::string line_of_descent() {
    std::string all = "id,sire,dam,birth\n";
    for (int j = 1; j <= 6; ++j)
        all +=
            text("%d,%d,%d,%d\n%d,0,0,%d\n", j, j - 1, 10 + j, 2000 + 3 * j, 10 + j, 1998 + 3 * j);
    return all;
}

TEST(Ped, KeepsAncestorsOfTheDataAndTheCodesOfBefore) {
    Ped ped;
    ped.scratch.write("ped.csv", line_of_descent());
    ped.scratch.write("data", "herd,cow,milk\n1,4,9\n2,4,8\n1,99,7\n");
    ped.scratch.write("ids.tsv", "identity\tcode\n4\t40\nq\t2\n");
    EXPECT_EQ(ped.run("--prune data --prune-column cow"), 0) << ped.words;
    EXPECT_EQ(written_pedigree(ped).size(), 8);
    EXPECT_TRUE(ped.has("findings.tsv", "ped.csv\t\t\tnot in pedigree\t99 in data, line 4"));
    EXPECT_EQ(ped.run("--prune data --prune-column 2 --generations 2 --ids ids.tsv"), 0);
    // 2 has its code no more: an identity that the pedigree lacks has it.
    EXPECT_EQ(ped.scratch.read("out/pedigree"),
              "41 0 0 2006\n13 0 0 2007\n3 41 13 2009\n14 0 0 2010\n40 3 14 2012\n");
    EXPECT_TRUE(ped.has("ids.tsv", "q\t2"));
    EXPECT_TRUE(ped.has("ids.tsv", "2\t41"));
    // Nothing that is not its own is replaced.
    EXPECT_EQ(ped.run("", "out/pedigree"), 2);
    std::filesystem::remove(ped.scratch.folder() / "out/findings.tsv");
    EXPECT_EQ(ped.run(""), 2);
    EXPECT_TRUE(ped.has("pedigree", "40 3 14 2012"));
}

TEST(Ped, GroupsStandForUnknownParents) {
    Ped ped;
    ped.scratch.write("ped.csv", line_of_descent());
    // Unknown are the sire of 1 and the parents of the dams, of which the last is alone in 2015.
    EXPECT_EQ(ped.run("--groups 2 --group-years 5"), 0) << ped.words;
    EXPECT_EQ(ped.scratch.read("out/groups.tsv"),
              "code\tunknown\tfirst_birth\tlast_birth\tparents\n"
              "-1\tsires of males, sires of females\t2000\t2000\t3\n"
              "-2\tsires of males, sires of females\t2005\t2015\t4\n"
              "-3\tdams of females\t2000\t2000\t2\n-4\tdams of females\t2005\t2015\t4\n");
    int64_t unknown = 0;
    for (const Written& w : written_pedigree(ped)) unknown += (w.sire < 0) + (w.dam < 0);
    EXPECT_EQ(unknown, 13);
}

// Births of one pedigree: what they are taken for, and the sort variable that comes of them.
TEST(Ped, BirthsAreWhatMostOfThemAre) {
    const struct {
        const char *births[3], *options, *described, *sort[3];  // of A, its progeny B, and C of B
    } cases[] = {
        {{"1.2.2005", "3.4.2006", "5.6.2007"},
         "",
         "birth born (dmy, though mdy is possible: --dates tells)",
         {"20050201", "20060403", "20070605"}},
        {{"1.2.2005", "3.4.2006", "5.6.2007"},
         "--dates mdy",
         "birth born (mdy)",
         {"20050102", "20060304", "20070506"}},
        {{"2/13/2005", "3/1/2006", "4/1/2007"},
         "",
         "birth born (mdy)",
         {"20050213", "20060301", "20070401"}},
        {{"20050213", "20060301", "20070401"},
         "",
         "birth born (ymd)",
         {"20050213", "20060301", "20070401"}},
        {{"2005", "2006", "13.2.2007"}, "--fix", "birth born (year)", {"2005", "2006", "2008"}},
        {{"2005", "2006", "2007"},
         "--dates number",
         "birth born (number)",
         {"2005", "2006", "2007"}},
        {{"-3", "0", "4"}, "", "birth born (number)", {"1", "4", "8"}},
        // Unknown ones: two years before the progeny, but after the parents, and after them without
        // progeny. A day of zeros is no birth.
        {{"", "2010", "NA"}, "", "birth born (year)", {"2008", "2010", "2012"}},
        {{"2008", "", "2010"}, "", "birth born (year)", {"2008", "2009", "2010"}},
        {{"0000-00-00", "2010-01-01", "0"},
         "",
         "birth born (ymd)",
         {"20080102", "20100101", "20120101"}},
        {{"", "", ""}, "", "dam dam; birth born", {"1", "2", "3"}}};
    for (const auto& one : cases) {
        Ped ped;
        ped.scratch.write("ped.csv", std::string("id,sire,dam,born\nA,,,") + one.births[0] +
                                         "\nB,A,," + one.births[1] + "\nC,B,," + one.births[2] +
                                         "\n");
        EXPECT_EQ(ped.run(one.options), 0) << ped.words;
        EXPECT_NE(ped.words.find(std::string(one.described) + "\n"), std::string::npos)
            << ped.words;
        EXPECT_EQ(ped.scratch.read("out/pedigree"), std::string("1 0 0 ") + one.sort[0] +
                                                        "\n2 1 0 " + one.sort[1] + "\n3 2 0 " +
                                                        one.sort[2] + "\n")
            << one.births[0] << one.births[1];
    }
}

TEST(Ped, WrongUseIsRefused) {
    const struct {
        const char* options;
        int status;
        const char* words;
    } cases[] = {{"--delimiter ab", 2, "--delimiter and --quote want a sign, tab or blanks"},
                 {"--quote ab", 2, "--delimiter and --quote want a sign, tab or blanks"},
                 {"--sire bull", 2, "no column bull; there are: id, sire, dam, sex, born"},
                 {"--id 6", 2, "no column 6"},
                 {"--id 0", 2, "no column 0"},
                 {"--stats --reference 2005:2001", 2, "--reference 2005:2001: FROM:TO"},
                 {"--stats --reference x", 2, "--reference x: FROM:TO"},
                 {"--stats --reference 2001", 0, "2 animals of 2001 to 2001"},
                 {"--prune none.csv", 1, "no pedigree is left: no animal is kept"},
                 {"--no-header", 0, "births that cannot be read"},
                 {"--ids twice", 3, "twice: one code for two identities"},
                 {"--ids letters", 3, "line 2: not a code of an identity"},
                 {"--ids columns", 2, "no column identity; there are: name, code"},
                 {"--ids full", 3, "full: no codes are left for new identities"}};
    Ped ped;
    ped.scratch.write(
        "ped.csv", "id,sire,dam,sex,born\nA,,,male,2001\nB,,,F,2001\nC,A,B,u,2003\nD,A,B,0,2003\n");
    ped.scratch.write("none.csv", "id\nZ\n");
    ped.scratch.write("twice", "identity\tcode\nA\t1\nB\t1\n");
    ped.scratch.write("letters", "identity\tcode\nA\tx\n");
    ped.scratch.write("columns", "name\tcode\nA\t1\n");
    ped.scratch.write("full", "identity\tcode\nA\t2147483647\n");
    for (const auto& one : cases) {
        EXPECT_EQ(ped.run(one.options), one.status) << one.options << ped.words;
        EXPECT_NE(ped.words.find(one.words), std::string::npos) << one.options << ped.words;
    }
    EXPECT_EQ(ped.run(""), 0);
    EXPECT_EQ(ped.words.find("cannot be read"), std::string::npos) << ped.words;
    ped.scratch.write("ped.csv", "x,y,z\nA,,\n");
    EXPECT_EQ(ped.run(""), 2);
    EXPECT_NE(ped.words.find("which column is it? --id tells"), std::string::npos) << ped.words;
    EXPECT_EQ(ped.run("--id 1 --sire y --dam 3"), 0) << ped.words;
    ped.scratch.write("ped.csv", "id,sire,dam\n");
    EXPECT_EQ(ped.run("--header"), 3);
    EXPECT_NE(ped.words.find("there is no animal in it"), std::string::npos) << ped.words;
}

// Integers anew, framed records, statistics by generation, one group where all are too few.
TEST(Ped, WhatIsLeftOnRequest) {
    Ped ped;
    ped.scratch.write("ped.csv", line_of_descent());
    EXPECT_EQ(ped.run("--binary --renumber --prune ped.csv --generations 0"), 0) << ped.words;
    const std::vector<std::string> records = framed_records(ped.scratch.read("out/pedigree"));
    ASSERT_EQ(records.size(), 12U);
    // 11 is met after 1, as its dam, and is the oldest.
    EXPECT_EQ(numbers<int32_t>(records[0]), (std::vector<int32_t>{2, 0, 0, 2001}));
    EXPECT_TRUE(ped.has("ids.tsv", "11\t2"));
    EXPECT_EQ(ped.run("--groups 100 --stats --by generation --ancestors 1"), 0) << ped.words;
    EXPECT_TRUE(ped.has("groups.tsv",
                        "-1\tsires of males, sires of females, dams of females\t2000\t2015\t13"))
        << ped.scratch.read("out/groups.tsv");
    const std::vector<std::string> classes = lines_of(ped.scratch.read("out/statistics.csv"));
    ASSERT_EQ(classes.size(), 8U);
    EXPECT_TRUE(classes[0].starts_with("generation,animals,"));
    EXPECT_TRUE(classes[1].starts_with("0,6,0,6,6,0,0,0,0,0,0,,,"));
    // 6 is of unknown sex, with a sire and a dam.
    EXPECT_TRUE(classes[7].starts_with("6,1,0,0,0,1,")) << classes[7];
    const std::vector<std::string> ancestors = lines_of(ped.scratch.read("out/ancestors.csv"));
    ASSERT_EQ(ancestors.size(), 2U);
    EXPECT_EQ(ancestors[1], "1,6,2018,,1,1,1");
}

// Animals in the order of their births: 40 founders, then progeny of the last ones, sires with odd
// numbers and dams with even ones. One parent of `one_in` is unknown; few sires make inbreeding.
std::string dated_pedigree(int n, int sires, unsigned one_in, unsigned seed) {
    std::mt19937 random(seed);
    std::string all = "id,sire,dam,sex,birth\n";
    for (int j = 1; j <= n; ++j) {
        const auto parent = [&](int last, bool odd) -> std::string {
            if (j <= 40 || random() % one_in == 0) return "";
            const int before =
                (j - 20) / 2 * 2 - 2 * static_cast<int>(random() % static_cast<unsigned>(last));
            return text("A%d", std::max(before, 2) - (odd ? 1 : 0));
        };
        const std::string sire = parent(sires, true), dam = parent(20, false);
        const int day = 9 * j;
        all += text("A%d,", j) + sire + "," + dam +
               text(",%d,%d-%02d-%02d\n", j % 2 == 1 ? 1 : 2, 1980 + day / 336, 1 + day % 336 / 28,
                    1 + day % 28);
    }
    return all;
}

// All measures anew from dense matrices, in R.
TEST(Ped, MeasuresAreThoseOfPlainMatrices) {
    if (std::system("Rscript --version >/dev/null 2>&1") != 0) GTEST_SKIP() << "no R";
    const std::string pedigrees[] = {dated_pedigree(500, 3, 1000, 1),
                                     dated_pedigree(700, 10, 6, 2)};
    for (const std::string& pedigree : pedigrees) {
        Ped ped;
        ped.scratch.write("ped.csv", pedigree);
        ASSERT_EQ(ped.run("--stats"), 0) << ped.words;
        const std::string out = (ped.scratch.folder() / "out").string();
        EXPECT_EQ(std::system(("Rscript '" KVE1_DOCS "/../bench/check_population.R' '" + out +
                               "' >'" + out + "/r' 2>&1")
                                  .c_str()),
                  0)
            << ped.scratch.read("out/r");
    }
}

// Births that are numbers of any size, as many classes as animals.
TEST(Ped, BirthsThatAreNoTimes) {
    Ped ped;
    std::string all = "id,sire,dam,birth\n1,0,0,-1000000000\n2,0,0,-999999999\n3,1,2,1000000000\n";
    for (int j = 4; j <= 60000; ++j) all += text("%d,%d,2,%d\n", j, j % 2 == 0 ? 1 : 3, 1000000000);
    for (int j = 1; j <= 60000; ++j) all += text("9%05d,1,2,%d\n", j, 10000 * j);
    ped.scratch.write("ped.csv", all);
    EXPECT_EQ(ped.run("--fix --stats --dates number"), 0) << ped.words;
    EXPECT_GT(lines_of(ped.scratch.read("out/statistics.csv")).size(), 60000U);
}

// A line of descent of which all have one date: none is left to estimate the others from.
TEST(Ped, BirthsThatAllContradict) {
    Ped ped;
    std::string all = "id,sire,dam,birth\n";
    for (int j = 1; j <= 3000; ++j) all += text("%d,%d,,2001\n", j, j % 3000 + 1);
    ped.scratch.write("ped.csv", all);
    EXPECT_EQ(ped.run("--fix"), 0) << ped.words;
    std::map<int, int> sort_of;
    for (const Written& w : written_pedigree(ped)) {
        sort_of[w.id] = w.sort;
        if (w.sire > 0) {
            EXPECT_GT(w.sort, sort_of[w.sire]) << w.id;
        }
    }
    EXPECT_EQ(sort_of.size(), 3000U);
}

// Animals 1 to n with every fault there is, in random order.
std::string dirty_pedigree(int n, unsigned seed) {
    std::mt19937 random(seed);
    const auto chance = [&](unsigned one_in) { return random() % one_in == 0; };
    std::vector<std::string> lines;
    for (int j = 1; j <= n; ++j) {
        const auto parent = [&]() -> std::string {
            if (j < 10 || chance(8)) return "";
            const int any = 1 + static_cast<int>(random() % n),
                      older = 1 + static_cast<int>(random() % (j - 1));
            return text("%d", chance(12) ? any : older);
        };
        const int year = 1950 + j / 4 + (chance(15) ? 20 : 0);
        lines.push_back(text("%d,", j) + parent() + "," + parent() +
                        (chance(5) ? ",,"
                                   : text(",%s,%d-%02d-%02d", chance(2) ? "M" : "F", year,
                                          1 + static_cast<int>(random() % 12),
                                          1 + static_cast<int>(random() % 28))));
        if (chance(40)) lines.push_back(lines.front());
        if (chance(60)) lines.pop_back();
    }
    std::shuffle(lines.begin(), lines.end(), random);
    std::string all = "animal,sire,dam,sex,birth\n";
    for (const std::string& line : lines) all += line + "\n";
    return all;
}

// Whatever the dirt, what is left is what KVE1's strictest method takes; and it takes it.
TEST(Ped, AnyPedigreeBecomesOneThatKve1Takes) {
    for (unsigned seed = 1; seed <= 25; ++seed) {
        Ped ped;
        ped.scratch.write("ped.csv", dirty_pedigree(60 + 20 * static_cast<int>(seed), seed));
        const std::string options = seed % 3 == 0   ? " --sort generation"
                                    : seed % 3 == 1 ? " --groups 20"
                                                    : "";
        ASSERT_EQ(ped.run("--fix --add-parents --stats" + options), 0) << ped.words;
        std::map<int, int> sort_of;
        std::string data;
        for (const Written& w : written_pedigree(ped)) {
            ASSERT_TRUE(sort_of.emplace(w.id, w.sort).second) << seed;
            ASSERT_GT(w.sort, 0);
            for (const int parent : {w.sire, w.dam})
                if (parent > 0) {
                    ASSERT_TRUE(sort_of.contains(parent)) << seed << " " << parent;
                    ASSERT_LT(sort_of[parent], w.sort) << seed << " " << parent;
                }
            data += text("%d 1\n", w.id);
        }
        ped.scratch.write("data", data);
        const std::string command = ped.words.substr(ped.words.find("$VAR_STR"));
        const Outcome outcome = ped.scratch.run(
            "$ANALYSE 1 2 0 0\n$DATA ASCII (1,1,-9.0) data\n$VARIABLE\nANIMAL Y\n$MODEL\n1\n0\n"
            "1 0 1 1\n1 1\n0\n0\n" +
            command.substr(0, command.find('\n')) + "\n$PRIOR\n" + priors({1, 1}));
        ASSERT_EQ(outcome.status, 0) << outcome.listing;
        EXPECT_EQ(outcome.times("ERROR"), 0) << outcome.listing;
        EXPECT_TRUE(outcome.says(
            text("Number of animals in pedigree %d", static_cast<int>(sort_of.size()))))
            << outcome.listing;
        EXPECT_FALSE(outcome.says("Extra phantom parent group"));
    }
}

}  // namespace
