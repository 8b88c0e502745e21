// Runs with relationship matrices that the user gives in files: their elements by level numbers
// against a plain model, the levels that they lack, and the words about files that are no good.

#include "modinf.h"
#include "run.h"

namespace {

struct Element {
    int32_t id_1, id_2;
    double value;
};
using Elements = std::vector<Element>;
using Levels = std::map<int32_t, int32_t>;  // by ID

std::mt19937 random_bits(11);

int32_t one_of(const Ints& all) { return all[random_bits() % all.size()]; }

// All diagonals, and pairs that repeat in both triangles.
Elements elements_of(const Ints& ids, int n_pairs) {
    Elements all;
    for (int32_t id : ids) all.push_back({id, id, 0});
    for (int j = 0; j < n_pairs; ++j) all.push_back({one_of(ids), one_of(ids), 0});
    for (Element& e : all) e.value = (static_cast<double>(random_bits() % 2001) - 1000) / 7;
    std::shuffle(all.begin(), all.end(), random_bits);
    return all;
}

std::string framed_element(int32_t id_1, int32_t id_2, double value) {
    return framed(bytes_of(Ints{id_1, id_2}) + bytes_of(std::vector<double>{value}));
}

std::string file_of(const Elements& all, const std::string& form) {
    std::string file;
    for (const auto& [id_1, id_2, value] : all)
        file += form == "ASCII" ? text("%d, %d\n %.17g / x\r\n", id_1, id_2, value)
                                : framed_element(id_1, id_2, value);
    return file;
}

// The lower triangle in the order of a file. A `dense` one has all elements, and the last one
// given stands; else those given add up.
std::string triangle(const Elements& all, const Levels& levels, bool dense) {
    std::map<std::pair<int32_t, int32_t>, double> sum;  // by row and column
    for (int32_t i = 1; dense && i <= static_cast<int32_t>(levels.size()); ++i)
        for (int32_t j = 1; j <= i; ++j) sum[{i, j}] = 0;
    for (const Element& e : all) {
        if (!levels.contains(e.id_1) || !levels.contains(e.id_2)) continue;
        const auto [column, row] = std::minmax({levels.at(e.id_1), levels.at(e.id_2)});
        double& to = sum[{row, column}];
        to = dense ? e.value : to + e.value;
    }
    std::string file;
    for (const auto& [at, value] : sum) file += framed_element(at.second, at.first, value);
    return file;
}

// Random effects 1 of column A, 2 and 3 of column B, and their structures.
Outcome run_with(const Scratch& scratch, const std::vector<std::string>& structures) {
    std::string lines;
    for (std::size_t k = 0; k < structures.size(); ++k)
        if (!structures[k].empty()) lines += text("$VAR_STR %zu ", k + 1) + structures[k] + "\n";
    return scratch.run("$ANALYSE 1 1 0 0\n$DATA ASCII (2,1,-9.0) data\n" + lines +
                       "$MODEL\n1\n0\n1 0 4 0 1 2 2\n3 1 2 3\n0\n0\n$PRIOR\n1 1 1 1.0\n"
                       "2 1 1 1.0\n3 1 1 1.0\n4 1 1 4.0\n");
}

const std::string kPedigree = "PED 2 ASCII ped";
const std::string kMissing = "ERROR(s) found in variance structure file(s) Program terminated";

}  // namespace

TEST(StructuresRun, ElementsStandAtTheLevelsOfTheirIds) {
    for (const std::string form : {"ASCII", "BINARY"})
        for (const bool dense : {false, true}) {
            SCOPED_TRACE(form + (dense ? " GREL, ABS_QTL" : " COR, DOM"));
            Scratch scratch;
            Ints ids, animals;
            std::string data, pedigree;
            for (int j = -20; j <= 60; ++j) ids.push_back(j * 1001);
            for (int j = 1; j < 120; ++j) animals.push_back(j * 60001);
            for (int32_t id : animals) pedigree += text("%d 0 0 %d\n", id, id % 8000);
            for (int j = 0; j < 200; ++j)
                data += text("%d %d 1\n", std::max(1001, one_of(ids)), one_of(animals));
            Elements own = elements_of(ids, 2000), linked = elements_of(animals, 400);
            std::string told = dense ? "0 x 0 x " : "";
            for (int j = 0; j < 12; ++j) {
                linked.push_back({one_of(animals), -1 - j, 1.0});
                told += text("%d %d x ", linked.back().id_1, -1 - j);
            }
            own.push_back({0, 0, 3.0});  // an ID like any other, behind the first record
            const std::string determinant = file_of({{0, 0, 12.5}}, form);
            scratch.write("data", data);
            scratch.write("ped", pedigree);
            scratch.write("own", determinant + file_of(own, form));
            scratch.write("linked", determinant + file_of(linked, form));
            if (dense) scratch.write("KVEDIM", "&kvedim MFL=1 MDL=1 MAXNRM=1 /");
            const std::string types[] = {dense ? "GREL " : "COR ", dense ? "ABS_QTL 3 " : "DOM 3 "};
            const Outcome outcome = run_with(
                scratch, {types[0] + form + " own", types[1] + form + " linked", kPedigree});
            ASSERT_EQ(outcome.status, 0) << outcome.listing;

            // Levels of the mean, of the factor itself and of the pedigree, which DOM tells too.
            Levels own_levels, animal_levels;
            const auto table = framed_records(scratch.read("CODE_TABLE"));
            ASSERT_EQ(table.size(), dense ? 82U + 119 : 82U + 119 + 119);
            for (std::size_t j = 1; j < table.size(); ++j) {
                const Ints row = numbers<int32_t>(table[j]);
                (j < 82 ? own_levels : animal_levels)[row.at(1)] = row.at(3);
                EXPECT_EQ(row.size(), j < 82 ? 6U : 13U);
                EXPECT_EQ(table[j], table[j < 201 ? j : j - 119]);
                EXPECT_TRUE(j >= 82 || row[1] == (row[3] - 21) * 1001) << j;
            }
            EXPECT_TRUE(scratch.read(dense ? "GINV1" : "COR1") == triangle(own, own_levels, dense));
            EXPECT_TRUE(scratch.read(dense ? "IBD2" : "DOM2") ==
                        triangle(linked, animal_levels, false));
            EXPECT_TRUE(outcome.says("is not in the data file for the associated with " + told));
            const Modinf modinf = decode_modinf(scratch.read("MODINF"));
            for (const Fields& fields : {modinf.matrices[0], modinf.matrices[1]})
                EXPECT_EQ(fields.at("log_det") + fields.at("l_log_det"), "12.5T");
            EXPECT_EQ(modinf.head.at("NRALEV"), "81 119 119");
            const std::string list = "(x)G0 Number of ------------------- ", ln = list + "Ln ";
            const std::string head = "Factor ! Levels Equations ";
            const std::string of = "Random Factors with variance structure = ";
            std::string lists = of + "D" + ln + head + "|D| 2 ! 119 119 12.500 " + of + "C" + ln +
                                head + "|C| 1 ! 81 81 12.500 " + of + "A" + ln + head +
                                "|A| 3 ! 119 119 ";
            if (dense)
                lists = of + "G" + ln + head + "|G| 1 ! 81 81 12.500 " + of + "IBD" + list + head +
                        "2 ! 119 119 " + of + "A" + ln + head + "|A| 3 ! 119 119 ";
            EXPECT_TRUE(outcome.says(lists)) << lists << outcome.listing;
        }
}

TEST(StructuresRun, LevelsWithoutDiagonalElementAreReported) {
    Scratch scratch;
    scratch.write("data", "50 50 1\n10 10 1\n90 90 1\n70 70 1\n");
    scratch.write("ped", "10 0 0 1\n50 0 0 1\n70 0 0 1\n90 0 0 1\n15 0 0 1\n80 0 0 1\n");
    scratch.write("whole", "10 10 1\n50 50 1\n70 70 1\n90 90 1\n");
    // The first structure has a whole file; of the second the file and what it lacks.
    for (const auto& [first, second, file, missing] : std::vector<std::array<std::string, 4>>{
             {"COR", "COR", "80 15 1\n", "10\n15\n50\n70\n80\n90\n"},
             {"COR", "COR", "50 10 1\n70 70 1\n50 50 1\n90 90 1\n80 80 1\n", "10\n"},
             {"COR", "GREL", "80 15 1\n", "50\n70\n80\n90\n"},
             {"DOM 3", "ABS_QTL 3", "80 15 1\n", "50\n70\n90\n"},
             {"GREL", "DOM 3", "90 90 1\n50 50 1\n70 10 1\n", "70\n"}}) {
        SCOPED_TRACE(first + second + file);
        scratch.write("part", file);
        const Outcome outcome =
            run_with(scratch, {first + " ASCII whole", second + " ASCII part", kPedigree});
        EXPECT_EQ(outcome.status, 16);
        EXPECT_FALSE(scratch.has("MISS_ID1"));
        EXPECT_EQ(scratch.read("MISS_ID2"), missing);
        const auto n = std::count(missing.begin(), missing.end(), '\n');
        EXPECT_TRUE(outcome.says("No. of diagonal elements 4") &&
                    outcome.says("stored in a file named MISS_ID2 " + missing +
                                 text("No. of missing ID's: %zd ", n) + kMissing));
    }
}

TEST(StructuresRun, AllStructuresAreCheckedAndFiftyIdsPrinted) {
    Scratch scratch;
    std::string data;
    for (int j = 1; j <= 60; ++j) data += text("%d %d 1\n", j, j);
    scratch.write("data", data);
    scratch.write("file", "0 0 1 / a determinant alone\n");
    const Outcome outcome = run_with(scratch, {"COR ASCII file", "", "GREL ASCII file"});
    for (const char* words : {"C**(-1) for random factor 1 No. of records processed 0 No. of",
                              "elements 0 ERROR ERROR ERROR ID's in data, but not in the variance "
                              "structure file The missing ID's are stored",
                              "50 No. of missing ID's: 60 Only the first 50 printed above "
                              "Processing G**(-1) for random factor 3 No."})
        EXPECT_TRUE(outcome.says(words)) << words << outcome.listing;
    EXPECT_TRUE(outcome.words.ends_with(kMissing));
    EXPECT_TRUE(scratch.read("MISS_ID1").ends_with("\n59\n60\n"));
}

TEST(StructuresRun, FilesThatAreNoGoodStopInClearWords) {
    Scratch scratch;
    scratch.write("data", "1 1 1\n2 2 1\n");
    scratch.write("ped", "1 0 0 1\n2 0 0 1\n");
    const std::string good = "1 1 1\n2 2 1\n",
                      framed_good = file_of({{1, 1, 1}, {2, 2, 1}}, "BINARY");
    std::string unknown;
    for (int j = 3; j < 54; ++j) unknown += text("1 %d 1\n", j);
    const auto ends = [&](const std::string& line, const std::string& file, int status,
                          const std::string& words) {
        scratch.write("file", file);
        const Outcome outcome = run_with(scratch, {line, "", kPedigree});
        EXPECT_TRUE(outcome.status == status && outcome.words.ends_with(words))
            << line << file << outcome.listing;
    };
    ends("COR ASCII .", good, 16,
         "ERROR - opening the file . failed: Is a directory ERROR opening file with the COR matrix "
         "for random effect 1 Program terminates");
    for (const std::string type : {"COR", "GREL", "DOM 3", "ABS_QTL 3"}) {
        const std::string words = " ERROR reading the first record of the file with the " +
                                  type.substr(0, type.find(' ')) +
                                  " matrix for random effect 1 Program terminates";
        for (const std::string& file : {std::string("a"), framed_good})
            ends(type + " ASCII file", file, 16, words);
        ends(type + " ASCII file", "", 16,
             "file: cannot read record 1: the file holds no record" + words);
        ends(type + " BINARY file", good, 16, "on both sides" + words);
        // A record further on ends the file.
        ends(type + " ASCII file", good + "2 x 1\n3 3 1\n", 0, "END OF KVE1V6");
        EXPECT_NE(
            folded(scratch.read("KVE_LOG"))
                .find("WARNING - matrix file of random factor 1: file record 3 cannot be read "
                      "and ends the file, correct it: x 1"),
            std::string::npos);
        ends(type + " BINARY file", framed_good + "cut", 0, "END OF KVE1V6");
        EXPECT_NE(folded(scratch.read("KVE_LOG")).find("correct it: it is cut, shorter than 16"),
                  std::string::npos);
    }
    scratch.write("file", "0 0 2\n1 1 1,25\n2 2 1, 5\n");
    EXPECT_TRUE(run_with(scratch, {"COR ASCII file"})
                    .says("matrix file of random factor 1: file a comma and a digit follow the "
                          "value in 1 records, first in record 2: 1,25 is read as 1, write 1.25"));
    ends("COR ASCII file", good + "1 -2147483648 1\n", 16,
         "record 3 of the file file holds it: a missing identity is written 0 Program terminates");
    ends("ABS_QTL 3 ASCII file", good + unknown, 16,
         "1 52 x More than 50 errors in this DOM/COR/IBD matrix Program terminated");
    ends("DOM 3 ASCII file", good + unknown.substr(7), 0, "END OF KVE1V6");
}
