// Whole runs that start from old solutions: what becomes of their entries, against plain maps from
// identity to level, and what faulty files do.
#include <gtest/gtest.h>

#include <map>
#include <random>

#include "modinf.h"
#include "run.h"

namespace {

using Levels = std::map<int32_t, int32_t>;

std::mt19937 random_bits;
int32_t below(uint32_t n) { return static_cast<int32_t>(random_bits() % n); }

// One trait with the fixed effect of column 1 and the random effects of column 2, type I, and of
// column 3, the animals.
Outcome run_with(const Scratch& scratch, const std::string& old, const char* task = "11 1",
                 const char* dimensions = "&kvedim /", const char* named = "old") {
    scratch.write("old", old);
    scratch.write("KVEDIM", dimensions);
    return scratch.run(
        text("$ANALYSE %s 0 0\n$DATA ASCII (3,1,-9.0) data\n$OLDSOL %s\n", task, named) +
        "$VAR_STR 2 PED 2 ASCII ped\n$MODEL\n1\n0\n1 0 3 1 2 3\n2 1 2\n0\n0\n"
        "$PRIOR\n1 1 1 1.0\n2 1 1 1.0\n3 1 1 4.0\n");
}

std::string record(const Ints& ivar, const std::vector<double>& e) {
    return framed(bytes_of(ivar) + bytes_of(e));
}

Levels numbered(Levels met) {
    int32_t n = 0;
    for (auto& [identity, level] : met) level = ++n;
    return met;
}

class OldSolutions : public testing::Test {
 protected:
    // Herds 10, 20; codes 5, 6; animals 7, 8 with data of 7, 8, 9.
    OldSolutions() {
        scratch.write("data", "10 5 7 1.5\n20 6 8 2.5\n");
        scratch.write("ped", "7 0 0 1\n8 9 7 2\n9 0 0 1\n");
    }
    Scratch scratch;
};

}  // namespace

TEST_F(OldSolutions, GetTheLevelsOfThisRun) {
    Levels herds, codes, with_data, animals;
    std::string data, pedigree, old = "3 77\n8,\t2 rest\r\n", expected;
    for (int32_t id = 1; id <= 150; ++id)
        pedigree += text("%d %d 0 %d\n", 100 * id, id > 9 ? 100 * (1 + below(9)) : 0, id);
    for (int j = 0; j < 200; ++j) {
        const int32_t herd = 1 + below(40), code = 1 + below(40), id = 100 * (1 + below(150));
        data += text("%d %d %d %d.5\n", herd, code, id, j);
        herds[herd] = codes[code] = with_data[id] = 0;
    }
    scratch.write("data", data);
    scratch.write("ped", pedigree);
    ASSERT_EQ(run_with(scratch, "1 1 7 0\n").status, 0);
    for (const std::string& row : framed_records(scratch.read("CODE_TABLE")))
        if (row.size() == 52) animals[numbers<int32_t>(row)[1]] = numbers<int32_t>(row)[3];
    ASSERT_EQ(animals.size(), 150U);

    // By kind and effect, with some that do not exist.
    std::map<std::pair<int32_t, int32_t>, Levels> levels{
        {{2, 1}, numbered(herds)}, {{3, 1}, numbered(codes)}, {{3, 2}, numbered(with_data)}};
    expected = record({3, 77, 8, 2, 0, 0, 0, 0}, {0, 0});
    int not_used = 0;
    for (int j = 0; j < 3000; ++j) {
        const int32_t kind = below(7), trait = below(9) == 0 ? 2 : 1;
        const int32_t effect = below(4) - (below(20) == 0 ? 9 : 0);
        const int32_t identity = below(2) == 0 ? below(50) - 3 : 100 * below(160);
        Ints ivar{kind, trait, j, effect, identity, -j, 9, 8};
        const double e[] = {j / 7.0, -1e-30 * j};
        old += text("%d %d %d %d\n%d %d,9,8 %.17g %.17g /\n", kind, trait, j, effect, identity, -j,
                    e[0], e[1]);
        if (kind == 5) continue;
        if (kind >= 2 && kind <= 4) {
            const Levels& known = kind == 4                ? animals
                                  : kind == 2 && trait > 1 ? Levels{}
                                                           : levels[{kind, effect}];
            const auto found = known.find(identity);
            not_used += found == known.end() ? 1 : 0;
            if (found == known.end()) continue;
            ivar[6] = found->second;
        }
        expected += record(ivar, {e[0], e[1]});
    }
    const Outcome outcome = run_with(scratch, old + "2 1 3 1");  // the last one is cut
    EXPECT_EQ(outcome.status, 0) << outcome.listing;
    EXPECT_TRUE(scratch.read("oldsol") == expected);
    EXPECT_TRUE(
        outcome.prints(text("\n\nNo of old solutions read ........................%12d\n"
                            "No of old solutions not used ....................%12d\n\n",
                            3000, not_used)))
        << not_used << outcome.listing;
    EXPECT_EQ(decode_modinf(scratch.read("MODINF")).head.at("OLDSOL_H2"), "77");
}

TEST_F(OldSolutions, KeepTheValuesBeforeAnUnreadableItem) {
    const std::string head = record({1, 2, 7, 1, 0, 0, 0}, {0});
    const Ints known{2, 1, 0, 1, 20, 0, 2};
    const struct {
        const char* entries;
        std::string records;
        int read, not_used;
    } cases[] = {
        {"", "", 0, 0},
        {"x\n", record(Ints(7), {0}), 1, 0},
        {"2 1 0 1 20 0 0 1.5\n9 8,,7 6 5 4 3 2\n",
         record(known, {1.5}) + record({9, 8, 0, 1, 20, 0, 2}, {1.5}), 2, 0},
        {"2 1 0 1 20 0 0 1d1\n5 / rest\n2 1 0 1 20.0\n2 1 0 1 2147483648\n2*1\n",
         record(known, {10}) + record(known, {10}) + record(known, {10}) + record(known, {10}), 5,
         0},
        {"2 1 0 1 30 0 0 1\n2 1 0 1 30 0 0 1\n4 0 0 0 77 0 0 inf\n3 1 0 99 7 0 0 1 \n", "", 4, 4},
    };
    for (const auto& c : cases) {
        const Outcome outcome = run_with(scratch, std::string("1 2 7 1\n") + c.entries);
        EXPECT_TRUE(scratch.read("oldsol") == head + c.records) << c.entries;
        EXPECT_TRUE(
            outcome.says(text("read ........................ %d No of old solutions not "
                              "used .................... %d",
                              c.read, c.not_used)))
            << c.entries << outcome.listing;
    }
    const Outcome unused = run_with(scratch, "x", "1 1");
    EXPECT_EQ(unused.status, 0);
    EXPECT_FALSE(unused.says("old solutions"));
    EXPECT_TRUE(scratch.has("oldsol") && scratch.read("oldsol").empty());
}

TEST_F(OldSolutions, StopInClearWords) {
    std::string herds = "1 2 7 0\n", animals = herds;
    for (int j = 100; j < 150; ++j) {
        herds += text("2 1 0 1 %d 0 0\n", j);
        animals += text("4 0 0 0 %d 0 0\n", j);
    }
    const std::string no_header = "cannot read the header of four integers from: ";
    const std::string too_few =
        "the header must tell at least 7 integers and 0 reals an entry, it tells: ";
    const struct {
        std::string old;
        std::string words;
        const char* dimensions = "&kvedim /";
        const char* named = "old";
    } cases[] = {
        {"", no_header},
        {"\n 1 2 3\n", no_header + "1 2 3"},
        {"1 2 seven 0\n", no_header + "1 2 seven 0"},
        {"1 2 7 2147483648\n", no_header + "1 2 7 2147483648"},
        {"", no_header, "&kvedim /", "/proc/self/mem"},
        {"1 2 6 0\n", too_few + "6 0"},
        {"1 2 7 -1\n", too_few + "7 -1"},
        {"1 2 2147483647 2147483647\n", "Called in subroutine(function/program): oldsol"},
        {"1 2 7 268435453\n", "Called in subroutine(function/program): oldsol"},
        {"1 2 7 0\n2 1 0 1 -2147483648 0 0\n", "BITSTR ERROR -2147483648 1 00000"},
        {herds, "Oldsol Max no of effects reached 30 30", "&kvedim MFL=30 /"},
        {animals, "OLDSOL Max no of animals reached 30 30", "&kvedim MDL=30 /"},
        // Two levels of each effect and a row more: the table is full before.
        {herds, "Oldsol Max no of effects reached 7 -9", "&kvedim MFL=7 /"},
    };
    for (const auto& c : cases) {
        const Outcome outcome = run_with(scratch, c.old, "11 1", c.dimensions, c.named);
        EXPECT_EQ(outcome.status, 16) << c.words;
        EXPECT_TRUE(outcome.says(c.words)) << c.words << outcome.listing;
        EXPECT_TRUE(outcome.says("Program terminates"));
    }
}
