// Blended inverses of random pedigrees and genomic matrices, from their files to the matrix file,
// against dense matrices that are inverted by elimination; what is told and refused on the way.

#include "model_builder.h"
#include "pedigree_builder.h"

using namespace kve;
using state::DIRECTIVES, state::FACTORS, state::IDL, state::RMAT;

namespace {

using BlendedMatrix = ModelTest;

Factor blended(const std::string& pedigree, const std::string& typed, const std::string& genomic) {
    Factor factor{.method = 1, .pedigree = pedigree};
    factor.blended = true;
    factor.typed = typed;
    factor.genomic = genomic;
    factor.with_data = {2, 5};
    return factor;
}

// Full sibs 3, 4 and the unrelated 5, 6.
Factor family(const std::string& typed, const std::string& genomic) {
    return blended("1 0 0 1\n2 0 0 2\n3 1 2 3\n4 1 2 4\n5 0 0 5\n6 0 0 6\n", typed, genomic);
}

std::string element(int id_1, int id_2, double value) {
    std::string line;
    append(line, "%d %d %.17g\n", id_1, id_2, value);
    return line;
}

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
Dense draw_genomic(std::size_t n, std::mt19937& random) {
    std::normal_distribution<double> normal;
    Dense X(n, std::vector<double>(2 * n)), G(n, std::vector<double>(n));
    for (auto& row : X)
        for (double& x : row) x = normal(random) / std::sqrt(2.0 * static_cast<double>(n));
    for (std::size_t i = 0; i < n; ++i)
        for (std::size_t j = 0; j < n; ++j)
            for (std::size_t m = 0; m < 2 * n; ++m) G[i][j] += X[i][m] * X[j][m];
    return G;
}

// Both triangles mixed, each element twice, the second time as it is; records of animals that are
// not typed (the last one) or unknown stand beside them.
std::string file_of(const Dense& G, const std::vector<int>& ids, int not_typed, unsigned seed) {
    std::string file = element(0, 0, -1.5);
    for (double fault : {0.25, 0.0})
        for (std::size_t i = 0; i < ids.size(); ++i)
            for (std::size_t j = 0; j <= i; ++j)
                file += (i + j) % seed == 0 ? element(ids[i], ids[j], G[i][j] + fault)
                                            : element(ids[j], ids[i], G[i][j] + fault);
    return file + element(not_typed, ids[0], 7.0) + element(ids[1], 77777, 7.0);
}

// A11 by levels, as the inbreeding coefficients make it that stand, by row, at the level numbers.
Dense relationships_as_used(const std::vector<Animal>& animals, const Dense& A) {
    std::vector<double> by_row(A.size(), 1.0);
    for (const auto& [row, a, s, d] : animals)
        if (row - FACTORS.FIRST_ANIMAL(1) < std::ssize(by_row))
            by_row[row - FACTORS.FIRST_ANIMAL(1)] = A[a][a];
    const auto F = [&](int level) { return level == 0 ? 0.0 : by_row[level - 1] - 1.0; };
    Dense S(A.size(), std::vector<double>(A.size()));
    std::vector<int> older;
    for (const auto& [row, a, s, d] : animals) {
        for (int b : older) S[a][b] = S[b][a] = 0.5 * (S[s][b] + S[d][b]);
        S[a][a] = 0.25 * (S[s][s] + S[d][d] + 2.0 * S[s][d]) +
                  0.25 * (4.0 - (s != 0) - (d != 0) - F(s) - F(d));
        older.push_back(a);
    }
    return S;
}

double mean(const Dense& M, bool diagonal) {
    double sum = 0.0, n = 0.0;
    for (std::size_t i = 0; i < M.size(); ++i)
        for (std::size_t j = 0; j < M.size(); ++j)
            if ((i == j) == diagonal) sum += M[i][j], n += 1.0;
    return sum / n;
}

// The matrix file, log determinant and row count of the factor just processed.
void expect_blended(const Factor& factor, const std::vector<int>& ids, Dense G) {
    const auto animals = animals_of(1);
    const Dense A = relationships(animals), S = relationships_as_used(animals, A);
    std::vector<int> level(ids.size());
    for (const Animal& animal : animals)
        for (std::size_t t = 0; t < ids.size(); ++t)
            if (IDL(animal.row).key == ids[t]) level[t] = animal.level;
    Dense A11 = G, H;
    for (std::size_t i = 0; i < ids.size(); ++i)
        for (std::size_t j = 0; j < ids.size(); ++j) A11[i][j] = S[level[i]][level[j]];
    const double w = std::max(factor.weight, 0.0), mean_g = mean(G, true), mean_a = mean(A11, true);
    const double adjusted = (mean_g - mean(G, false)) / (mean_a - mean(A11, false));
    const double beta = factor.adjust ? adjusted : 1.0;
    const double alfa = factor.adjust ? mean_a * beta - mean_g : 0.0;
    for (std::size_t i = 0; i < G.size(); ++i)
        for (std::size_t j = 0; j < G.size(); ++j)
            G[i][j] = (1.0 - w) * (G[i][j] + alfa) / beta + w * A11[i][j];
    for (std::size_t i = 1; i < A.size(); ++i) H.emplace_back(A[i].begin() + 1, A[i].end());
    EXPECT_NEAR(RMAT(1).log_det, invert(H) - invert(A11) + invert(G), 1e-8);
    for (std::size_t i = 0; i < G.size(); ++i)
        for (std::size_t j = 0; j < G.size(); ++j)
            H[level[i] - 1][level[j] - 1] += G[i][j] - A11[i][j];
    Elements elements = elements_of("PGMIX1");
    for (int i = 1; i <= std::ssize(H); ++i)
        for (int j = 1; j <= i; ++j)
            ASSERT_NEAR((elements[{i, j}]), H[i - 1][j - 1], 1e-8) << i << " " << j;
    EXPECT_EQ(RMAT(1).n_ainv_rows, std::ssize(H));
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
        SCOPED_TRACE(++seed);
        std::vector<int> ids;  // in the order of birth
        std::string typed;
        for (int place = 0; place < one.n - 1; ++place)
            if (random() % 4 == 0) ids.push_back(1 + place * 37 % one.n);
        for (auto id = ids.rbegin(); id != ids.rend(); ++id) typed += std::to_string(*id) + " x\n";
        const Dense G = draw_genomic(ids.size(), random);
        const std::string genomic = file_of(G, ids, 1 + (one.n - 1) * 37 % one.n, seed);
        Factor factor = blended(random_pedigree(seed, one.n, 1, {0}), typed, genomic);
        factor.weight = one.weight;
        factor.adjust = one.adjust;
        factor.with_data = one.with_data;
        const std::string listing = listing_of([&] { process({factor}, one.task); });
        expect_blended(factor, ids, G);
        const bool in_order = one.task == 2 && one.with_data.back() == 5;
        EXPECT_EQ(listing.find("WARNING - inbreeding") == listing.npos, in_order) << listing;
        EXPECT_EQ(listing.find("WARNING - animals concerned") == listing.npos, in_order) << listing;
        EXPECT_EQ(listing.find("in task 12 with method 1") != listing.npos, one.task == 12);
    }
}

TEST_F(BlendedMatrix, LeavesOutDifferencesThatDoNotExceedABillionth) {
    const double small = 9e-10, large = 1.1e-9;
    process(
        {family("5\n6\n1\n", element(5, 5, 1 + small) + element(6, 6, 1 + large) +
                                 element(1, 1, 1) + element(5, 1, small) + element(6, 1, large))});
    const Elements found = elements_of("PGMIX1");
    EXPECT_EQ(found.at({5, 5}), 1.0);
    EXPECT_LT(found.at({6, 6}), 1.0);
    EXPECT_FALSE(found.contains({5, 1}) || found.contains({6, 5}));
    EXPECT_NEAR(found.at({6, 1}), -large, 1e-15);

    // A pair that the file lacks counts as 0, in whichever order.
    const std::string some = "3 3 1\n5 5 1\n6 6 1\n5 3 .25\n";
    process({family("3\n5\n6\n", some)});
    const Elements without = elements_of("PGMIX1");
    process({family("3\n5\n6\n", some + "3 6 0\n6 5 0\n")});
    EXPECT_EQ(elements_of("PGMIX1"), without);
    EXPECT_LT(without.at({5, 3}), -0.1);

    // With A11 itself in the place of G nothing is left of the difference.
    Factor factor = blended(random_pedigree(5, 100, 1, {0}), "9\n80\n33\n5\n41\n", "9 9 1\n");
    factor.weight = 1.0;
    process({factor});
    factor.blended = false;
    process({factor});
    EXPECT_EQ(elements_of("PGMIX1"), elements_of("AINV1"));
}

TEST_F(BlendedMatrix, AncestorsAreFollowedFor50Generations) {
    std::string line;  // of 60 animals; 61 meets 11 first as a forefather of 60, then as its dam
    for (int id = 1; id <= 60; ++id) line += element(id, id - 1, 0.0) + std::to_string(id) + "\n";
    line += "61 60 11 61\n";
    const std::pair<const char*, int> cases[] = {
        {"60\n", 51}, {"60\n30\n", 51}, {"30\n60\n", 60}, {"61\n", 51}, {"8\n61\n", 59}};
    for (const auto& [typed, n] : cases) {
        const Factor factor = blended(line, typed, "8 8 1\n30 30 1\n60 60 1\n61 61 1\n");
        const std::string listing = listing_of([&] { process({factor}); });
        EXPECT_NE(listing.find("typed anim.                     " + std::to_string(n) + "\n"),
                  listing.npos)
            << typed << listing;
    }
}

TEST_F(BlendedMatrix, RefusesWhatItCannotUse) {
    const auto frame = [](const std::string& words) {
        return words + " for random effect +1\n\nProgram terminates\n";
    };
    const auto indefinite = [](const std::string& row_and_id) {
        return "matrix Gw for random effect +1 is not positive definite\n.* failed at row +" +
               row_and_id + "\nProgram terminates\n";
    };
    std::string strangers, pairs, listed = "\nbut not in the 'full' pedigree file\n\n\n";
    for (int id = 101; id <= 125; ++id) {
        strangers += std::to_string(id) + "\n";
        pairs += element(id, 3, 1.0);
        if (id <= 120) listed += " +" + std::to_string(id) + "\n";
    }
    const std::string good = "3 3 1\n5 5 1\n";
    const struct {
        std::string typed, genomic, words;
        bool adjust = false;
    } cases[] = {
        {"", good, frame("ERROR opening file with ID's of typed animals")},
        {"\n", good, frame("reading the first record of the file with ID's of typed animals")},
        {"3\n5x 6\n", good, "ERROR - typed1: cannot read an ID from: 5x 6\nProgram terminates\n"},
        {"3\n" + strangers, good,
         "ID's are in the file with 'typed' animals" + listed +
             "\nMore than 20 errors of this type\n\nNumber of typed animals +26\nthereof not in "
             "pedigree +25\n\nAll typed animals must be in the total pedigree file\n\nProgram ter"},
        {"3\n", "", frame("ERROR opening file with the Genomic relationship matrix")},
        {"3\n", "3 3\n", frame("ERROR reading first record of the Genomic relationship matrix")},
        {"3\n", "3 3 1\n3 x 1\n", "genomic1: cannot read an element from: x 1\nProgram terminates"},
        {"3\n", pairs,
         "random ID are in the file with 'genomic' relationship" + listed +
             "More than 20 errors of this type\nProgram terminated\n"},
        {"3\n5\n6\n", good + "5 6 2\n6 6 1\n", indefinite("3 of typed animal +6")},
        {"6\n5\n3\n", "3 3 1\n6 6 1\n5 5 nan\n", indefinite("2 of typed animal +5")},
        {"3\n5\n6\n", good + "6 5 inf\n6 6 1\n", indefinite("3 of typed animal +6")},
        {"3\n5\n", "3 3 inf\n5 5 1\n", indefinite("1 of typed animal +3")},
        {"3\n5\n", "3 3 1e-320\n5 5 1\n", indefinite("1 of typed animal +3")},
        {"3\n", "3 3 1\n", indefinite("1 of typed animal +3"), true}};
    for (const auto& one : cases) {
        std::filesystem::remove("typed1");
        std::filesystem::remove("genomic1");
        Factor factor = family(one.typed, one.genomic);
        factor.adjust = one.adjust;
        EXPECT_STOP(process({factor}), one.words);
    }
}

TEST_F(BlendedMatrix, ListsEndWhereTheySay) {
    DIRECTIVES.ITEST = 2;
    std::string typed, genomic = "1 1 1.5\n2 2 1.5\n";
    for (int id = 1; id <= 23; ++id) {
        typed += std::to_string(id) + "\n";
        if (id > 1) genomic += element(id, 1, 0.01);
    }
    Factor factor = blended(random_pedigree(5, 60, 1, {0}), typed, genomic);
    factor.weight = 0.5;
    const std::string listing = std::regex_replace(listing_of([&] { process({factor}); }),
                                                   std::regex(".*Model Package.*\n"), "");
    // So many lines of `items` numbers follow the one that ends with `title`.
    const auto listed = [&listing](const std::string& title, int items) {
        std::istringstream from(listing.substr(listing.find(title) + title.size()));
        int n = 0;
        for (std::string line; std::getline(from, line); ++n)
            if (std::regex line_of_numbers("( +[-.e0-9]+){" + std::to_string(items) + "}");
                !std::regex_match(line, line_of_numbers))
                break;
        return n;
    };
    EXPECT_EQ(listed("genomic matrix:           21\n", 1), 20);
    EXPECT_EQ(listed("Row     Col     element\n", 3), 251);
    DIRECTIVES.ITEST = 1;
    const std::string shorter = listing_of([&] { process({factor}); });
    for (const char* title : {"Row     Col     element", "full ped  red. ped"})
        EXPECT_TRUE(listing.find(title) != listing.npos && shorter.find(title) == shorter.npos);
}

TEST_F(BlendedMatrix, TellsWhatItPassesOverAndHowItAdjusts) {
    DIRECTIVES.ITEST = 2;
    Factor factor = family("3\n4\n3\n5\n", "3 3 1.5\n6 6 1\n5 5 1,5\n3 5 0.5\n8 8 1\n");
    factor.adjust = true;
    factor.weight = 0.5;
    const std::string listing = folded(listing_of([&] { process({factor}); }));
    const char* expected[] = {
        "WARNING - typed animal occurs more than one time, first record used: 3 ",
        "Number of typed animals 3 Number of animals in pedigree for typed anim. 5 ",
        " 1 1 1 0 0 0 0 0 2 2 2 0 0 0 0 0 3 3 3 1 1 2 1 2 4 4 4 2 1 2 1 2 5 5 5 3 0 0 0 0 ",
        "but not in the 'full' pedigree file 8 8 WARNING - matrix file of random factor 1: "
        "genomic1 a comma "
        "and a digit follow the value in 1 records, first in record 3: 1,25 is read as 1, write "
        "1.25 WARNING - typed animals without a diagonal element in the genomic matrix: 1 4 "
        "WARNING - their own elements count as 0 ahead of "
        "G-ADJUST: give them ",
        "Adjusting the G-matrix Average diagonal element in A11 1.00000 "
        "Average off-diagonal element in A11 0.16667 Average diagonal element in G 0.83333 "
        "Average off-diagonal element in G 0.16667 Alfa -0.03333 Beta 0.80000 ",
        "First 250 elements stored form Gw**(-1) Row Col element 3 3 ",
        "Varinace structure PGMIX for random factor 1 "};
    for (std::size_t at = 0; const char* words : expected) {
        at = listing.find(words, at);
        ASSERT_NE(at, listing.npos) << words << listing;
    }
}
