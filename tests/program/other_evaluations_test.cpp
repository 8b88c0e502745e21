// Whole runs with results of other evaluations: old solutions and foreign breeding values, against
// plain maps and a plain computation.

#include "modinf.h"
#include "run.h"

namespace {

using Levels = std::map<int32_t, int32_t>;

std::mt19937 random_bits;
int32_t below(uint32_t n) { return static_cast<int32_t>(random_bits() % n); }

// Three traits: the first with a fixed effect, matrix 1 of traits 1 and 3, matrix 2 with the
// pedigree of traits 1 and 2.
class OtherEvaluations : public testing::Test {
 protected:
    OtherEvaluations() {
        std::string data, pedigree;
        for (int id = 1; id <= 60; ++id) {
            const int herd = id % 7 * 10 + 3, code = id % 5 + 1,
                      animal = id % 3 == 0 ? id : 1000 * id;
            data += text("%d %d %d %d.5 1.5 %d.5\n", code, animal, herd, id, id % 8);
            herds[herd] = codes[code] = with_data[animal] = 0;
            pedigree += text("%d %d -2 %d\n", 1000 * id, id > 9 ? 1000 * (id - 9) : -1, id);
            pedigree += text("%d %d -2 %d\n", id, 1000 * id, id + 60);
        }
        for (Levels* met : {&herds, &codes, &with_data})
            for (int n = 0; auto& [identity, level] : *met) level = ++n;
        scratch.write("data", data);
        scratch.write("ped", pedigree);
    }

    Outcome run(const char* keyword, const std::string& content, const char* dimensions = "",
                const char* task = "11 1") {
        scratch.write("given", content);
        scratch.write("KVEDIM", text("&kvedim %s /", dimensions));
        Outcome outcome = scratch.run(
            text("$ANALYSE %s 0 0\n$DATA ASCII (3,3,-9) data\n%s given\n", task, keyword) +
            "$VAR_STR 2 PED 6 ASCII ped\n$MODEL\n3\n0\n0\n0\n1 0 3 3 1 2\n2 0 1 2\n3 0 1 1\n2 1 2\n"
            "1 2\n1 1\n0\n0\n0\n0\n$PRIOR\n1 1 1 0.7\n1 2 2 0.9\n2 1 1 1.3\n2 2 2 2.1\n3 1 1 4.3\n"
            "3 2 2 5.1\n3 3 3 6.7\n");
        for (const std::string& row : framed_records(scratch.read("CODE_TABLE")))
            if (row.size() == 52) animals[numbers<int32_t>(row)[1]] = numbers<int32_t>(row)[3];
        return outcome;
    }
    void expect(const Outcome& outcome, const std::string& words, int status = 0) const {
        EXPECT_EQ(outcome.status, status) << words;
        EXPECT_TRUE(outcome.says(words) || outcome.prints(words)) << words << outcome.listing;
    }
    void compare_foreign(int n_records);

    Scratch scratch;
    Levels herds, codes, with_data, animals;  // levels by identity
};

std::string solution(const Ints& ivar, const std::vector<double>& e) {
    return framed(bytes_of(ivar) + bytes_of(e));
}

struct Foreign {
    int32_t id, group = 0, trait = 0;
    float ebv[3] = {}, r2[3] = {};
};

Foreign random_record() {
    const float odd_ebvs[] = {-999999, -999998.9F, -2e6F, 123456792.0F};
    const float odd_r2s[] = {0, -1, -999999, 0.991F, 0.9911F, 0.5F, NAN};
    const int32_t groups[] = {-1, -2, -2, -2, -3, 0, 5};
    Foreign f{.id = below(9) == 0 ? 1000 * below(70) : 1 + below(61)};
    f.group = groups[below(below(30) == 0 ? 7 : 4)];
    f.trait = below(20) == 0 ? below(5) : 1 + below(2);
    for (int i = 0; i < 3; ++i) {
        const bool unknown = i > 0 && below(3) == 0;
        const float ebv = static_cast<float>(below(4000)) / 7 - 200;
        const float r2 = static_cast<float>(1 + below(i == 0 ? 980 : 600)) / 1000;
        f.ebv[i] = unknown ? -999999 : below(12) == 0 ? odd_ebvs[below(4)] : ebv;
        f.r2[i] = unknown ? 0 : below(9) == 0 ? odd_r2s[below(7)] : r2;
    }
    return f;
}

std::string marks_of(const Foreign& f, const Levels& levels) {
    bool ebv[3], r2[3], high = false;
    for (int i = 0; i < 3; ++i)
        ebv[i] = f.ebv[i] > -999999, r2[i] = f.r2[i] > 0, high = high || f.r2[i] > 0.991F;
    const float sum = (r2[1] ? f.r2[1] : 0) + (r2[2] ? f.r2[2] : 0);
    const bool known = levels.count(f.id) > 0 && levels.count(f.group) > 0;
    std::string marks;
    for (bool mark : {!known || f.trait < 1 || f.trait > 2, !ebv[0] || !r2[0], ebv[1] != r2[1],
                      ebv[2] != r2[2], high, f.r2[0] < sum / 4})
        marks += mark ? 'x' : ' ';
    return marks;
}

// z1 and z2 of a record without a mark.
std::vector<float> converted(const Foreign& f) {
    const double sa = f.trait == 1 ? 1.3 : 2.1, se = f.trait == 1 ? 4.3 : 5.1;
    const double d = f.trait == 1 ? 4 * (0.7 + se) + 3 * sa : 3 * sa + 4 * se;
    const float lambda = static_cast<float>(d / sa), c = static_cast<float>(se / d);
    float rp = 0, pa = 0;
    int parents = 0;
    for (int i : {1, 2})
        if (f.r2[i] > 0) ++parents, rp += f.r2[i], pa += f.ebv[i];
    rp /= 4, pa /= 2;
    const float w = parents == 2 ? 2.0F : parents == 1 ? 4.0F / 3.0F : 1.0F;
    const float n = (f.r2[0] / (1 - f.r2[0]) - rp / (1 - rp)) * lambda;
    return {c * n, n * 2 * (pa + (f.ebv[0] - pa) * (w / n * lambda + 1)) * 0.5F * c};
}

void OtherEvaluations::compare_foreign(int n_records) {
    Levels groups;
    std::string file, written, rows, listed, counts;
    int deleted = 0;
    for (int j = 0; j < n_records; ++j) {
        const Foreign f = random_record();
        const std::string marks = marks_of(f, animals);
        std::string row = text("%10d%10d%4d", f.id, f.group, f.trait);
        file += text("%d, %d %d", f.id, f.group, f.trait);
        for (int i = 0; i < 6; ++i) {
            const double value = static_cast<double>(i % 2 == 0 ? f.ebv[i / 2] : f.r2[i / 2]);
            file += text("%s%.9g", i == 2 ? "\r\n" : "\t", value);
            row += value > 1e8 ? std::string(11, '*') : text("%11.2f", value);
        }
        file += " remark\n";
        if (f.group < 1) ++groups[f.group];
        if (marks == "      ")
            written += framed(bytes_of(Ints{animals.at(f.id), animals.at(f.group), f.trait}) +
                              bytes_of(converted(f)));
        else if (++deleted <= 1001)
            rows += row + "   " + marks + "\n";
    }
    const Outcome outcome = run("$FINFO", file + "1 -2 1 5 .5");  // the last one is cut
    EXPECT_TRUE(scratch.read("RC_F_INFO") == written);
    const std::string model = scratch.read("MODINF");
    EXPECT_EQ(model.empty(), deleted > 1000);
    if (!model.empty()) {
        EXPECT_EQ(decode_modinf(model).head.at("n_foreign_records"), std::to_string(n_records));
    }
    for (const std::string& line : lines_of(outcome.listing))
        if (line.size() == 99 && (line[98] == ' ' || line[98] == 'x')) listed += line + "\n";
    EXPECT_EQ(listed, rows);
    const int pages = outcome.times("Animal ID PHG Trait"), full = std::min(deleted, 1001) / 49;
    EXPECT_TRUE(pages == full + 1 || pages == full + 2) << pages;
    for (auto [code, n] : groups) counts += text("%d %d ", code, n);
    expect(outcome, text("included. %d No", n_records - deleted), deleted > 1000 ? 16 : 0);
    expect(outcome, "group Code No " + counts, deleted > 1000 ? 16 : 0);
}

}  // namespace

TEST_F(OtherEvaluations, OldSolutionsGetTheLevelsOfThisRun) {
    ASSERT_EQ(run("$OLDSOL", "1 1 7 0\n").status, 0);
    std::map<std::pair<int32_t, int32_t>, Levels> levels{
        {{2, 1}, herds}, {{3, 1}, codes}, {{3, 2}, with_data}};  // by kind and effect
    std::string old = "3 77\n8,\t2 rest\r\n",
                expected = solution({3, 77, 8, 2, 0, 0, 0, 0}, {0, 0});
    int not_used = 0;
    for (int j = 0; j < 3000; ++j) {
        const int32_t kind = below(7), trait = below(9) == 0 ? below(6) : 1, effect = below(4);
        const int32_t identity = below(2) == 0 ? below(99) - 3 : 1000 * below(65);
        Ints ivar{kind, trait, j, effect, identity, -j, 9, 8};
        const double e = -1e-30 * j;
        old += text("%d %d %d %d\n%d %d,9,8 %.17g 7 /\n", kind, trait, j, effect, identity, -j, e);
        const Levels& known = kind == 4 ? animals : levels[{kind, effect}];
        const bool looked_up = kind >= 2 && kind <= 4;
        const bool found = known.count(identity) > 0 && (kind != 2 || trait == 1);
        if (looked_up && found) ivar[6] = known.at(identity);
        not_used += looked_up && !found;
        if (kind != 5 && (found || !looked_up)) expected += solution(ivar, {e, 7});
    }
    const Outcome outcome = run("$OLDSOL", old + "2 1 3 1");  // the last one is cut
    EXPECT_TRUE(scratch.read("oldsol") == expected);
    expect(outcome, text("read ........................%12d\nNo of ", 3000));
    expect(outcome, text("not used ....................%12d\n\n", not_used));
    EXPECT_EQ(decode_modinf(scratch.read("MODINF")).head.at("OLDSOL_H2"), "77");
}

TEST_F(OtherEvaluations, FaultyOldSolutions) {
    // The level of herd 13 is 2. What cannot be read is as in the entry before.
    const std::string head = "1 2 7 1\n", first = solution({1, 2, 7, 1, 0, 0, 0}, {0});
    const std::string known = solution({2, 1, 0, 1, 13, 0, 2}, {10});
    run("$OLDSOL", head + "x\n2 1 0 1 13 0 0 1d1\n9 8,,7 6 5 4 3 2\n");
    EXPECT_EQ(scratch.read("oldsol"),
              first + solution(Ints(7), {0}) + known + solution({9, 8, 0, 1, 13, 0, 2}, {10}));
    run("$OLDSOL", head + "2 1 0 1 13 0 0 10\n5 / rest\n2 1 0 1 13.0\n2 1 0 1 2147483648\n2*1\n");
    EXPECT_TRUE(scratch.read("oldsol") == first + known + known + known + known);
    expect(run("$OLDSOL", "x", "", "1 1"), "END OF");
    EXPECT_TRUE(scratch.has("oldsol") && scratch.read("oldsol").empty());

    std::string effects = "1 2 7 0\n", relatives = effects;
    for (int j = 100; j < 999; ++j)
        effects += text("2 1 0 1 %d 0 0\n", j), relatives += text("4 0 0 0 %d 0 0\n", j);
    const std::string no_header = "$OLDSOL given: cannot read the header of four integers from: ";
    for (const char* old : {"", "\n 1 2 3\n", "1 2 seven 0\n", "1 2 7 2147483648"})
        expect(run("$OLDSOL", old), no_header + old + " Program terminates", 16);
    for (const std::string old : {"6 0", "7 -1"})
        expect(run("$OLDSOL", "1 2 " + old), "integers and 0 reals an entry, it tells: " + old, 16);
    for (const char* old : {"1 2 2147483647 2147483647\n", "1 2 7 994\n"})
        expect(run("$OLDSOL", old), "reals an entry, together at most 1000 are possible", 16);
    expect(run("$OLDSOL", effects, "MFL=200"), "Oldsol Max no of effects reached 200 200 Prog", 16);
    expect(run("$OLDSOL", relatives, "MDL=200"), "OLDSOL Max no of animals reached 200 200 P", 16);
    // So many rows are in use ahead of the old solutions.
    expect(run("$OLDSOL", effects, "MFL=75"), "Oldsol Max no of effects reached 75 -9 Prog", 16);
}

TEST(OldSolutions, OfAnimalsWithoutAPedigreeTakeNoRows) {
    Scratch scratch;
    std::string old = "1 2 7 0\n";
    for (int j = 1; j <= 300; ++j) old += text("4 0 0 0 %d 0 0\n", j);
    scratch.write("given", old);
    scratch.write("data", "1 5\n2 6\n");
    scratch.write("KVEDIM", "&kvedim MDL=100 /");
    const Outcome outcome = scratch.run(
        "$ANALYSE 11 1 0 0\n$DATA ASCII (1,1,-9) data\n$OLDSOL given\n$MODEL\n1\n0\n1 0 1 1\n"
        "1 1\n0\n0\n$PRIOR\n1 1 1 1.0\n2 1 1 4.0\n");
    EXPECT_EQ(outcome.status, 0) << outcome.listing;
    EXPECT_TRUE(outcome.prints(text("not used ....................%12d\n", 300)));
}

TEST_F(OtherEvaluations, ForeignInformationIsConvertedAndFaultsAreListed) {
    EXPECT_FALSE(run("$FINFO", "").says("FOREIGN INFORMATION"));
    EXPECT_EQ(scratch.read("RC_F_INFO"), "");
    for (int n_records : {40, 1200, 9000}) compare_foreign(n_records);
}

TEST_F(OtherEvaluations, FaultyForeignInformation) {
    const std::string good = "1 -2 1 5 .5 -999999 0 -999999 0\n";
    for (const char* bad : {"1 x", "1 -9 1 5 .5,,1 1 1 1", "1.0 -2 1 1 1 1 1 1 1", "2*1", "/",
                            "2147483648 -2 1 5 .5 0 0 0 0"}) {
        expect(run("$FINFO", good + bad + "\n" + good), "cannot read record no.: 2 -----");
        EXPECT_EQ(scratch.read("RC_F_INFO").size(), 2U * 28U) << bad;
    }
    const Outcome odd = run("$FINFO", "-2147483647 -2 12345 1e9 .5 nan nan -1e39 0\n");
    expect(odd, R"(
                                   Animal             Relative 1            Relative 2       Error
                           -------------------   -------------------   -------------------   ------
Animal ID       PHG Trait      EBV       R**2        EBV       R**2        EBV       R**2    123456
--------------------------------------------------------------------------------------------------
**********        -2***************       0.50        nan        nan       -inf       0.00   x     
--------------------------------------------------------------------------------------------------
)");
    expect(odd,
           "INCORPORATING FOREIGN INFORMATION (expressed as converted EBV's) Error in foreign "
           "information for the following animals - record excluded -----");
    expect(odd,
           "ERROR CODES : 1 = Animal not in data 2 = EBV missing or R**2 null or missing for "
           "Animal 3 = Either EBV missing or R**2 null or missing for Relative 1 4 = ");
    // No better known than by its parents.
    expect(run("$FINFO", "1 -2 1 5 .25 1 .5 1 .5\n"), "included. 1");
    const auto z = numbers<float>(framed_records(scratch.read("RC_F_INFO")).at(0));
    EXPECT_TRUE(z[3] == 0.0F && std::isnan(z[4]));
    expect(run("$FINFO", times(1000, "x\n")), "deleted.. 1000 END OF");
    const Outcome faulty = run("$FINFO", times(1001, "x\n"));
    expect(faulty,
           "More than 1000 records with foreign information deleted "
           "due to errors CHECK YOUR INPUT DATA KVE_FINFO2 terminated with an error ERROR - "
           "correct the records above in the file given Program",
           16);
    EXPECT_TRUE(faulty.prints("CHECK YOUR INPUT DATA\n\n")) << faulty.listing;
}
