// Blended inverses of random pedigrees and genomic matrices, from their files to the matrix file,
// against dense matrices that are inverted by elimination; what is told and refused on the way.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <random>
#include <set>

#include "data/factors.h"
#include "model_builder.h"
#include "pedigree_builder.h"
#include "run/big_tables.h"
#include "run/directives.h"
#include "stops.h"

using namespace kve;
using state::DIRECTIVES, state::FACTORS, state::IDL, state::RMAT;

namespace {

using BlendedMatrix = ModelTest;

// Puts the inverse of a positive definite matrix in its place and returns ln of its determinant.
double invert(Dense& M) {
    double log_det = 0.0;
    for (std::size_t p = 0; p < M.size(); ++p) {
        const double pivot = std::exchange(M[p][p], 1.0);
        log_det += std::log(pivot);
        for (double& x : M[p]) x /= pivot;
        for (std::size_t r = 0; r < M.size(); ++r) {
            const double f = r == p ? 0.0 : std::exchange(M[r][p], 0.0);
            for (std::size_t c = 0; c < M.size(); ++c) M[r][c] -= f * M[p][c];
        }
    }
    return log_det;
}

// A random positive definite matrix.
Dense genomic(std::size_t n, std::mt19937& random) {
    std::normal_distribution<double> normal;
    Dense X(n, std::vector<double>(2 * n)), G(n, std::vector<double>(n));
    for (auto& row : X)
        for (double& x : row) x = normal(random);
    for (std::size_t i = 0; i < n; ++i)
        for (std::size_t j = 0; j < n; ++j)
            for (std::size_t m = 0; m < 2 * n; ++m)
                G[i][j] += X[i][m] * X[j][m] / static_cast<double>(2 * n);
    return G;
}

std::string element(int id_1, int id_2, double value) {
    char line[80];
    std::snprintf(line, sizeof line, "%d %d %.17g\n", id_1, id_2, value);
    return line;
}

// Both triangles mixed, each element twice, the second time as it is; records of animals that are
// not typed (ID 3) or unknown stand between them.
std::string genomic_file(const std::vector<int>& ids, const Dense& G, std::mt19937& random) {
    std::string file = element(0, 0, -1.5);
    for (double fault : {0.25, 0.0})
        for (std::size_t i = 0; i < ids.size(); ++i)
            for (std::size_t j = 0; j <= i; ++j)
                file += random() % 2 == 0 ? element(ids[i], ids[j], G[i][j] + fault)
                                          : element(ids[j], ids[i], G[i][j] + fault);
    return file + element(3, ids[0], 7.0) + element(3, 3, 7.0) + element(ids[1], 77777, 7.0);
}

// Typed animals in the order of the list.
struct Typed {
    std::vector<int> ids, levels;
};
Typed typed_of(const std::vector<Animal>& animals, const std::vector<int>& ids) {
    Typed typed;
    for (const Animal& animal : animals)
        if (std::ranges::count(ids, IDL(animal.row).key) != 0) {
            typed.ids.push_back(IDL(animal.row).key);
            typed.levels.push_back(animal.level);
        }
    return typed;
}

// A11 as the inbreeding coefficients make it that stand, by row, at the animals' level numbers.
Dense typed_block(const std::vector<Animal>& animals, const Typed& typed, const Dense& A) {
    std::vector<double> by_row(animals.size() + 1, 1.0);
    for (const Animal& animal : animals) {
        const auto place = static_cast<std::size_t>(animal.row - FACTORS.FIRST_ANIMAL(1));
        if (place < by_row.size()) by_row[place] = A[animal.level][animal.level];
    }
    const auto F = [&](int level) { return level == 0 ? 0.0 : by_row[level - 1] - 1.0; };
    Dense S(A.size(), std::vector<double>(A.size()));
    std::vector<int> older;
    for (const auto& [row, a, s, d] : animals) {
        for (int b : older) S[a][b] = S[b][a] = 0.5 * (S[s][b] + S[d][b]);
        S[a][a] = 0.25 * (S[s][s] + S[d][d] + 2.0 * S[s][d]) +
                  0.25 * (4.0 - (s != 0) - (d != 0) - F(s) - F(d));
        older.push_back(a);
    }
    Dense block;
    for (int i : typed.levels) {
        block.emplace_back();
        for (int j : typed.levels) block.back().push_back(S[i][j]);
    }
    return block;
}

double mean(const Dense& M, bool diagonal) {
    double sum = 0.0, n = 0.0;
    for (std::size_t i = 0; i < M.size(); ++i)
        for (std::size_t j = 0; j < M.size(); ++j)
            if ((i == j) == diagonal) sum += M[i][j], n += 1.0;
    return sum / n;
}

void adjust(Dense& G, const Dense& A11) {
    const double beta = (mean(G, true) - mean(G, false)) / (mean(A11, true) - mean(A11, false));
    const double alfa = mean(A11, true) * beta - mean(G, true);
    for (auto& row : G)
        for (double& g : row) g = (g + alfa) / beta;
}

// The matrix file, log determinant and row count of the factor just processed.
void expect_blended(Dense G, const std::vector<int>& ids, double w, bool adjusts) {
    const auto animals = animals_of(1);
    const Typed typed = typed_of(animals, ids);
    const Dense A = relationships(animals);
    Dense D = typed_block(animals, typed, A), H;
    if (adjusts) adjust(G, D);
    for (std::size_t i = 0; w > 0.0 && i < G.size(); ++i)
        for (std::size_t j = 0; j < G.size(); ++j) G[i][j] = (1.0 - w) * G[i][j] + w * D[i][j];
    for (std::size_t i = 1; i < A.size(); ++i) H.emplace_back(A[i].begin() + 1, A[i].end());
    const double log_det = invert(H) - invert(D) + invert(G);
    for (std::size_t i = 0; i < G.size(); ++i)
        for (std::size_t j = 0; j < G.size(); ++j)
            H[typed.levels[i] - 1][typed.levels[j] - 1] += G[i][j] - D[i][j];
    Elements elements = elements_of("PGMIX1");
    for (int i = 1; i <= std::ssize(H); ++i)
        for (int j = 1; j <= i; ++j)
            ASSERT_NEAR((elements[{i, j}]), H[i - 1][j - 1], 1e-8) << i << " " << j;
    EXPECT_NEAR(RMAT(1).log_det, log_det, 1e-8);
    EXPECT_TRUE(RMAT(1).l_log_det);
    EXPECT_EQ(RMAT(1).n_ainv_rows, std::ssize(H));
    EXPECT_FALSE(std::filesystem::exists("AINV1"));
}

// IDs of typed animals, in the order of the file, and the file.
std::vector<int> draw_typed(int n_animals, std::mt19937& random, std::string& file) {
    std::vector<int> ids;
    for (int id = 1; id <= n_animals; ++id)
        if (id != 3 && random() % 4 == 0) ids.push_back(id);
    std::ranges::shuffle(ids, random);
    for (int id : ids) file += std::to_string(id) + " further words\n";
    return ids;
}

}  // namespace

TEST_F(BlendedMatrix, IsTheSumOfThreeInverses) {
    struct {
        int n;
        double weight;
        bool adjust;
        int32_t task;
        std::vector<int> with_data;  // 9001 has no record: levels and rows differ then
    } cases[] = {{120, 0.0, false, 2, {2, 5}},
                 {300, 0.25, true, 2, {2, 5}},
                 {120, -1.0, true, 12, {2, 5}},
                 {120, 0.5, false, 2, {2, 9001}},
                 {300, 0.05, true, 12, {9001}}};
    DIRECTIVES.IMETHOD = 1;
    std::mt19937 random(71);
    for (unsigned seed = 1; const auto& one : cases) {
        SCOPED_TRACE(seed);
        Factor factor{.method = 1, .pedigree = random_pedigree(++seed, one.n, 1, {0})};
        factor.blended = true;
        factor.weight = one.weight;
        factor.adjust = one.adjust;
        factor.with_data = one.with_data;
        const auto ids = draw_typed(one.n, random, factor.typed);
        const Dense by_file = genomic(ids.size(), random);
        factor.genomic = genomic_file(ids, by_file, random);
        const std::string listing = listing_of([&] { process({factor}, one.task); });
        const Typed typed = typed_of(animals_of(1), ids);
        Dense G = by_file;
        const auto at = [&](int id) { return std::ranges::find(ids, id) - ids.begin(); };
        for (std::size_t i = 0; i < ids.size(); ++i)
            for (std::size_t j = 0; j < ids.size(); ++j)
                G[i][j] = by_file[at(typed.ids[i])][at(typed.ids[j])];
        expect_blended(G, ids, one.weight, one.adjust);
        const bool in_order = one.task == 2 && one.with_data.back() == 5;
        EXPECT_EQ(listing.find("WARNING - inbreeding") == listing.npos, in_order) << listing;
    }
}

// Full sibs 3, 4 and the unrelated 5, 6.
Factor family(const std::string& typed, const std::string& genomic) {
    Factor factor{.method = 1,
                  .pedigree = "1 0 0 1\n2 0 0 2\n3 1 2 3\n4 1 2 4\n5 0 0 5\n6 0 0 6\n"};
    factor.blended = true;
    factor.typed = typed;
    factor.genomic = genomic;
    factor.with_data = {2, 5};
    return factor;
}

TEST_F(BlendedMatrix, LeavesOutDifferencesThatDoNotExceedABillionth) {
    const double small = 9e-10, large = 1.1e-9;
    process(
        {family("5\n6\n1\n", element(5, 5, 1 + small) + element(6, 6, 1 + large) +
                                 element(1, 1, 1) + element(5, 1, small) + element(6, 1, large))});
    const Elements found = elements_of("PGMIX1");
    EXPECT_EQ(found.at({5, 5}), 1.0);
    EXPECT_LT(found.at({6, 6}), 1.0);
    EXPECT_FALSE(found.contains({5, 1}));
    EXPECT_NEAR(found.at({6, 1}), -large, 1e-15);
    EXPECT_FALSE(found.contains({6, 5}));

    // With A11 itself in the place of G nothing is left of the difference.
    Factor factor{.method = 1, .pedigree = random_pedigree(5, 100, 1, {0})};
    process({factor});
    const Elements of_a = elements_of("AINV1");
    factor.blended = true;
    factor.weight = 1.0;
    factor.typed = "9\n80\n33\n5\n41\n";
    factor.genomic = "9 9 1\n";
    process({factor});
    EXPECT_EQ(elements_of("PGMIX1"), of_a);
}

TEST_F(BlendedMatrix, AncestorsAreFollowedFor50Generations) {
    // A line of 60 animals; 61 has the parents 60 and 11, whom it meets first as a forefather
    // of 60.
    struct {
        std::string typed;
        int n;
    } cases[] = {{"60\n", 51}, {"60\n30\n", 51}, {"30\n60\n", 60}, {"61\n", 51}, {"8\n61\n", 59}};
    std::string pedigree;
    for (int id = 1; id <= 60; ++id)
        pedigree +=
            std::to_string(id) + " " + std::to_string(id - 1) + " 0 " + std::to_string(id) + "\n";
    pedigree += "61 60 11 61\n";
    for (const auto& one : cases) {
        Factor factor{.method = 1, .pedigree = pedigree};
        factor.blended = true;
        factor.typed = one.typed;
        factor.genomic = "8 8 1\n30 30 1\n60 60 1\n61 61 1\n";
        factor.with_data = {5};
        const std::string listing = listing_of([&] { process({factor}); });
        char expected[80];
        std::snprintf(expected, sizeof expected, "%-59s%9d\n",
                      "Number of animals in pedigree for typed anim.", one.n);
        EXPECT_NE(listing.find(expected), listing.npos) << one.typed << listing;
    }
}

TEST_F(BlendedMatrix, RefusesWhatItCannotUse) {
    const auto frame = [](const std::string& words) {
        return "\n\n" + words + " for random effect +1\n\nProgram terminates\n";
    };
    const std::string none, good = "3 3 1\n5 5 1\n";
    const std::string typed_file = "file with ID's of typed animals",
                      g_file = "Genomic relationship matrix", end = "\nProgram terminates\n";
    const std::string gw =
        "ERROR - The genomic matrix Gw for random effect +1 is not positive "
        "definite\n        The factorisation failed at row";
    std::string strangers, pairs, listed;
    for (int id = 101; id <= 125; ++id) {
        strangers += std::to_string(id) + "\n";
        pairs += element(id, 3, 1.0);
        if (id <= 120) listed += " +" + std::to_string(id) + "\n";
    }
    const std::string head = "\n\nERROR ERROR ERROR ERROR ERROR ERROR ERROR ERROR ERROR\n\n";
    const std::string tail = "\nbut not in the 'full' pedigree file\n\n\n" + listed;
    const std::string too_many = "More than 20 errors of this type\n";
    const std::pair<Factor, std::string> cases[] = {
        {family(none, good), frame("ERROR opening " + typed_file)},
        {family("\n", good), frame("ERROR reading the first record of the " + typed_file)},
        {family("3.0", good), frame("ERROR reading the first record of the " + typed_file)},
        {family("3\n5x 6\n", good), "ERROR - typed1: cannot read an ID from: 5x 6" + end},
        {family("3\n" + strangers, good),
         head + "The following ID's are in the file with 'typed' animals" + tail + "\n" + too_many +
             "\nNumber of typed animals +26\nthereof not in pedigree +25\n\nAll typed animals must "
             "be in the total pedigree file\n\nProgram terminated\n"},
        {family("3\n", none), frame("ERROR opening file with the " + g_file)},
        {family("3\n", "3 3\n"), frame("ERROR reading first record of the " + g_file)},
        {family("3\n", "3 3 1\n3 x 1\n"),
         "ERROR - genomic1: cannot read an element from: x 1" + end},
        {family("3\n", pairs),
         head + "The following random ID are in the file with 'genomic' relationship" + tail +
             too_many + "Program terminated\n"},
        {family("3\n5\n6\n", good + "5 6 2\n6 6 1\n"), gw + " +3 of typed animal +6" + end},
        {family("6\n5\n3\n", "3 3 1\n6 6 1\n5 5 nan\n"), gw + " +2 of typed animal +5" + end},
        {family("3\n5\n6\n", good + "6 5 inf\n6 6 1\n"), gw + " +3 of typed animal +6" + end},
        {family("3\n5\n", "3 3 inf\n5 5 1\n"), gw + " +1 of typed animal +3" + end},
        {family("3\n5\n6\n", good), "matrix: +1\n +6\n" + gw + " +3 of typed animal +6" + end}};
    for (const auto& [factor, words] : cases) {
        std::filesystem::remove("typed1");
        std::filesystem::remove("genomic1");
        EXPECT_STOP(process({factor}), words);
    }
    Factor adjusted = family("3\n", "3 3 1\n");
    adjusted.adjust = true;
    EXPECT_STOP(process({adjusted}), gw + " +1 of typed animal +3" + end);
}

TEST_F(BlendedMatrix, TellsWhatItPassesOverAndHowItAdjusts) {
    DIRECTIVES.ITEST = 2;
    Factor factor = family("3\n4\n3\n5\n", "3 3 1.5\n6 6 1\n5 5 1\n3 5 0.5\n8 8 1\n");
    factor.adjust = true;
    factor.weight = 0.5;
    const std::string listing = listing_of([&] { process({factor}); });
    const char* expected[] = {
        "WARNING - typed animal occurs more than one time, first record used:            3\n",
        "\nNumber of typed animals                                            3\n"
        "Number of animals in pedigree for typed anim.                      5\n\n",
        "        ID  full ped  red. ped         G  red. ped  red. ped        ID          ID\n"
        "---------- --------- --------- --------- --------- --------- ---------- ----------\n"
        "         1         1         1         0         0         0          0          0\n"
        "         2         2         2         0         0         0          0          0\n"
        "         3         3         3         1         1         2          1          2\n"
        "         4         4         4         2         1         2          1          2\n"
        "         5         5         5         3         0         0          0          0\n",
        "but not in the 'full' pedigree file\n\n\n           8\n           8\nWARNING - typed "
        "animals without a diagonal element in the genomic matrix:            1\n           4\n",
        "\nAdjusting the G-matrix                       \n"
        "Average diagonal element in A11                                    1.00000\n"
        "Average off-diagonal element in A11                                0.16667\n"
        "Average diagonal element in G                                      0.83333\n"
        "Average off-diagonal element in G                                  0.16667\n"
        "Alfa                                                              -0.03333\n"
        "Beta                                                               0.80000\n\n",
        "        First 250 elements stored form Gw**(-1)\n        Row     Col     element\n"
        "          3       3 ",
        "Varinace structure PGMIX for random factor            1\n"};
    for (std::size_t at = 0; const char* words : expected) {
        at = listing.find(words, at);
        ASSERT_NE(at, listing.npos) << words << listing;
    }
}
