// Inverse relationship matrices, inbreeding and their files, on random pedigrees that go from a
// text file through reading, ordering and inversion, with tables that grow on the way. The expected
// matrices are dense and made from the rows of the animal table alone.

#include "listing/stop.h"
#include "matrices/matrix_writer.h"
#include "model_builder.h"
#include "pedigree_builder.h"

using namespace kve;
using state::DIRECTIVES, state::FACTORS, state::IDL, state::N_SPARSE, state::RMAT;

namespace {

constexpr std::size_t kInbreeding = 90;  // characters of a line of INBREED

void expect_elements(const char* file, const Elements& expected) {
    const Elements found = elements_of(file);
    ASSERT_EQ(found.size(), expected.size()) << file;
    for (const auto& [place, value] : expected) ASSERT_NEAR(found.at(place), value, 1e-11) << file;
}

void expect_inverse(const Elements& elements, const Dense& A) {
    Dense product(A.size(), std::vector<double>(A.size()));
    for (const auto& [place, value] : elements)
        for (auto [i, j] : std::set{place, {place.second, place.first}})
            for (std::size_t c = 1; c < A.size(); ++c) product[i][c] += value * A[j][c];
    for (std::size_t i = 1; i < A.size(); ++i)
        for (std::size_t j = 1; j < A.size(); ++j)
            ASSERT_NEAR(product[i][j], i == j, 1e-8) << i << " " << j;
}

// What the animals add: 1 for the own level and -1/2 for each parent's, times each other, divided
// by the sampling variance. Every pair of the three is met once. Returns ln of the determinant.
double add_by_rule(const std::vector<Animal>& animals, bool groups, Elements& sums) {
    double log_det = 0.0;
    for (const auto [row, a, s, d] : animals) {
        const AnimalRow& own = IDL(row);
        if (groups && own.key <= 0) {
            sums[{a, a}] += kRatio;
            continue;
        }
        const int missing =
            groups ? (IDL(own.sire_row).key < 0) + (IDL(own.dam_row).key < 0) : (s == 0) + (d == 0);
        const double variance = (2 + missing) / 4.0;
        const std::pair<int, double> parts[] = {{a, 1.0}, {s, -0.5}, {d, -0.5}};
        for (int x = 0; x < 3; ++x)
            for (int y = 0; y <= x; ++y)
                if (parts[x].first > 0 && parts[y].first > 0)
                    sums[std::minmax(parts[x].first, parts[y].first, std::greater<>())] +=
                        parts[x].second * parts[y].second / variance;
        if (groups && s == d && s > 0) sums[{s, s}] += 0.25 / variance;
        log_det += std::log(variance);
    }
    return log_det;
}

// Against A: its diagonal by row, the lines of INBREED from `at` on, and ln of the determinant.
void expect_diagonals(int32_t k, const Dense& A, const std::string& inbreeding, std::size_t at) {
    double log_det = 0.0;
    std::vector<double> by_row(A.size(), 1.0);
    for (const auto [row, a, s, d] : animals_of(k)) {
        const double variance = 1.0 - 0.25 * (A[s][s] + A[d][d]);
        log_det += std::log(variance);
        const std::size_t place = row - FACTORS.FIRST_ANIMAL(k);
        if (place < by_row.size()) by_row[place] = A[a][a];
        const AnimalRow& r = IDL(row);
        const std::string sort = r.sort < -9999999 ? "********" : std::to_string(r.sort);
        std::string line;
        append(line, "%12d%6d%10d%8s%11d%11d%6d", r.key, r.n_obs, r.level, sort.c_str(), r.sire,
               r.dam, r.n_desc);
        ASSERT_EQ(inbreeding.substr(at, 64), line);
        EXPECT_NEAR(std::stod(inbreeding.substr(at + 64, 14)), A[a][a], 6e-5);
        EXPECT_NEAR(std::stod(inbreeding.substr(at + 78, 11)), std::sqrt(variance), 6e-5);
        at += kInbreeding;
    }
    EXPECT_NEAR(RMAT(k).log_det, log_det, 1e-9);
    ASSERT_EQ(RMAT(k).ad.size(), std::ssize(by_row));
    for (std::size_t n = 0; n < by_row.size(); ++n)
        ASSERT_NEAR(RMAT(k).ad.data()[n], by_row[n], 1e-12) << n;
}

}  // namespace

using AInverse = ModelTest;

TEST_F(AInverse, WithInbreedingIsTheInverseOfTheTabularMatrix) {
    // Relatives without a record lie behind the rows of both factors.
    const std::vector<Factor> factors{
        {1, random_pedigree(11, 100, 1, {0})},
        {1, random_pedigree(12, 150, 1, {0, 0, 8001, 8002, 8003, 8004})}};
    DIRECTIVES.ITEST = DIRECTIVES.IMETHOD = 1;
    for (int32_t task : {2, 12}) {
        FACTORS.INBREED_LINES = 0;
        process(factors, task);
        const std::string inbreeding = content_of("INBREED");
        EXPECT_EQ(inbreeding.size(), FACTORS.INBREED_LINES * kInbreeding);
        for (int32_t k : {1, 2}) {
            const auto animals = animals_of(k);
            EXPECT_EQ(animals[0].level == FACTORS.NRALEV(k), task == 12);
            const Dense A = relationships(animals);
            expect_inverse(elements_of(k == 1 ? "AINV1" : "AINV2"), A);
            expect_diagonals(k, A, inbreeding, k == 1 ? 0 : FACTORS.NRALEV(1) * kInbreeding);
        }
    }
}

TEST_F(AInverse, WithoutInbreedingIsTheSumOfItsRows) {
    struct {
        int method, first_day;
        std::vector<int> strange;  // codes of parents without a record
        bool extra_group;
    } cases[] = {{2, 1, {0, 8001, -4}, false},
                 {4, 1, {0}, false},
                 {6, -50, {0, -1, -2}, true},
                 {6, 1, {-1, -2, -3}, false},
                 {6, -50, {-1, 8001, 8002}, true}};
    for (const auto& one : cases) {
        SCOPED_TRACE(std::to_string(one.method) + " " + std::to_string(one.strange.back()));
        const std::string pedigree = random_pedigree(21, 100, one.first_day, one.strange);
        DIRECTIVES.ITEST = 1;
        process({{one.method, pedigree}});
        auto animals = animals_of(1);
        EXPECT_EQ(IDL(animals[0].row).key == 0, one.extra_group);
        Elements full, reduced;
        const double log_det = add_by_rule(animals, one.method == 6, full);
        expect_elements("AINV1", full);
        EXPECT_EQ(RMAT(1).n_ainv_rows, std::ssize(animals));
        std::erase_if(animals, [](const Animal& a) { return IDL(a.row).n_desc == 0; });
        add_by_rule(animals, false, reduced);
        expect_elements("AINV_RAM1", reduced);
        EXPECT_EQ(RMAT(1).n_ram_rows, std::ssize(animals));
        EXPECT_NEAR(RMAT(1).log_det, log_det, 1e-9);
        EXPECT_TRUE(RMAT(1).l_log_det);
        EXPECT_EQ(RMAT(1).ad.size(), FACTORS.NRALEV(1) + 1);
        EXPECT_EQ(std::ranges::count(RMAT(1).ad, 1.0), RMAT(1).ad.size());
    }
}

TEST_F(AInverse, TestPrint2ListsTheFirstAnimalsAndElements) {
    DIRECTIVES.ITEST = 2;
    const std::string pedigree = random_pedigree(41, 300, 1, {0});
    std::string listing = listing_of([&] { process({{2, pedigree}, {1, pedigree}}); });
    listing = folded(std::regex_replace(listing, std::regex(".*Mixed Model Package.*\n"), ""));
    std::string expected =
        " Random factor 2 Max first 250 values in AD and LD, the diagonal elements in A and L for "
        "L'L=A Code N-Obs C-no B-D Sire Dam/MGS N-desc A-D L-D\n" +
        content_of("INBREED").substr(0, 251 * kInbreeding) +
        "Max first 250 elements in Varinace structure AINV for random factor 2 Row Col Element ";
    int n = 0;
    for (const auto& [place, value] : elements_of("AINV2"))
        if (++n < 250) append(expected, "%d %d %.8f ", place.first, place.second, value);
    EXPECT_NE(listing.find(folded(expected)), listing.npos) << listing << expected;
    EXPECT_EQ(listing.find("250 values"), listing.rfind("250 values"));
}

TEST_F(AInverse, MethodsWithoutAnInverseStopOrLeaveNoFile) {
    const std::string pedigree = random_pedigree(51, 30, 1, {0, -1});
    for (int method : {2, 4, 5, 6, 7, 10}) {
        process({{method, pedigree}}, 12);
        EXPECT_FALSE(std::filesystem::exists("AINV1")) << method;
        EXPECT_FALSE(RMAT(1).l_log_det);
        EXPECT_EQ(RMAT(1).log_det, 0.0);
    }
    const std::string not_yet =
        "ERROR: AINMET=\\([35]\\) NOT YET IMPLEMENTED\nProgram terminates\n";
    for (auto [method, task] : {std::pair{3, 2}, {3, 12}, {5, 2}})
        EXPECT_STOP(process({{method, pedigree}}, task), not_yet);
    for (int method : {7, 10, 12})
        EXPECT_STOP(process({{method, pedigree}}),
                    "ERROR: ILLEGAL A-INVERSE METHOD\nProgram terminates\n");
}

TEST_F(AInverse, ACutFileStopsTheRunAtOnceForPedigreesAndElseAtItsEnd) {
    const std::vector<Factor> factors{{2, random_pedigree(61, 30, 1, {0})}};
    process(factors);
    const std::string count = " +" + std::to_string(N_SPARSE) + "\n";
    std::filesystem::remove("AINV1");
    for (const char* name : {"AINV1", "COR1"}) std::filesystem::create_directory(name);
    EXPECT_STOP(process(factors),
                "ERROR - writing the file AINV1 failed: it is a folder.*\nERROR writing A.* for "
                "random factor +1\n +Elements written: +0\n"
                " +Elements in A.*:" +
                    count + " +IOSTAT +: +[1-9][0-9]*\n\nComputations ");
    RMAT(1).structure = Structure::COR;
    kvewai(1, FACTORS.NRALEV(1), MatrixFile::COR);
    EXPECT_STOP(close_outputs(),
                "ERROR - writing the file COR1 failed, the file is not complete: it is a folder: "
                "remove it\n"
                "Program terminates\n");
    // Whatever stops it.
    EXPECT_STOP(stop_not_written("x", ENOSPC),
                "x failed: No space left on device\nERROR - writing the file COR1 failed, the");
    EXPECT_STOP(stop_run(), "ERROR - writing the file COR1 failed, the");
}
