// Whole runs with pedigrees: what the reader takes, refuses and reports; the order, the links and
// the level numbers of the animals, against a plain model that walks trees and lists step by step.

#include "modinf.h"
#include "run.h"

namespace {

// A row of the animal table, as CODE_TABLE shows it.
struct Animal {
    int32_t row, code, n_obs, level, sort, parent[2], next, parent_row[2], child[2], n_desc;
};
std::vector<Animal> animals;   // of both pedigrees, by row
std::string told, born_after;  // on the listing and on PEDDATA

int32_t add_animal(int32_t code) {
    animals.push_back({static_cast<int32_t>(animals.size()), code, 0, 0, 0, {}, 0, {}, {}, 0});
    return animals.back().row;
}

void tell(int n, const char* words, const char* after = "") {
    if (n > 0) told += words + std::to_string(n) + after + " ";
}

// Rows with two keys to sort by.
struct Sorted {
    std::pair<int32_t, int32_t> keys;
    int32_t row;
};
// Elements from 1 on. Which of equal ones comes first shows in the level numbers.
void heap_sort(std::vector<Sorted>& a) {
    auto sink = [&a](std::size_t i, std::size_t end) {
        for (std::size_t j = 2 * i; j <= end; i = j, j = 2 * i) {
            if (j < end && a[j].keys <= a[j + 1].keys) ++j;
            if (a[i].keys > a[j].keys) return;
            std::swap(a[i], a[j]);
        }
    };
    for (std::size_t top = (a.size() - 1) / 2; top > 0; --top) sink(top, a.size() - 1);
    for (std::size_t end = a.size() - 1; end > 1; sink(1, --end)) std::swap(a[1], a[end]);
}

struct Pedigree {
    int number, method;
    std::map<int32_t, int32_t> met{};  // identities in usable data records, how often
    int32_t root = 0, sentinel = 0, levels = 0, unspecified = 0, unrecorded = 0;
    std::set<int32_t> groups{};

    // The row of a code, and whether it is a new one since the tree lacked it.
    std::pair<int32_t, bool> enter(int32_t code) {
        uint32_t bits = static_cast<uint32_t>(std::abs(code));
        int32_t parent = 0, row = root;
        std::size_t side = 0;
        for (; row != 0 && animals[row].code != code; bits >>= 1) {
            side = bits % 2;
            row = animals[parent = row].child[side];
        }
        if (row != 0) return {row, false};
        row = add_animal(code);
        return {(parent == 0 ? root : animals[parent].child[side]) = row, true};
    }
    // The records of the file, then the animals of the data that it does not tell.
    void read(const std::vector<Ints>& records) {
        int reports = 0, errors = 0, taken = 0;
        bool announced = false;
        auto announce = [&] {
            if (!std::exchange(announced, true))
                told += text(
                    "WARNING - Check the pedigree file of random factor %d, see the lines "
                    "below: ped%d ",
                    number, number);
        };
        for (const Ints& r : records) {
            const int32_t id = r[0], least = method > 4 ? INT32_MIN : 0,
                          parents[] = {std::max(r[1], least), std::max(r[2], least)};
            const bool faulty = id <= 0 || id == parents[0] || id == parents[1] ||
                                (parents[0] > 0 && parents[0] == parents[1]);
            const auto [row, is_new] = faulty ? std::pair(0, false) : enter(id);
            errors += faulty;
            ++taken;
            if (!is_new && ++reports <= 100) {
                announce();
                told += faulty ? text(
                                     "ERROR : ID = %d SIRE = %d DAM/MGS = %d S-var = %d WARNING "
                                     "- record %d is left out, correct it: ",
                                     id, parents[0], parents[1], r[3], taken)
                               : text("WARNING : ID = %d occurs more than one time. First ", id) +
                                     "record used ";
                if (faulty)
                    told += id <= 0 ? "the ID is not within 1 to 2147483647 "
                            : id == parents[0] || id == parents[1] ? "the animal is its own parent "
                                                                   : "one animal is both parents ";
            }
            if (!is_new) continue;
            animals[row].sort = r[3];
            for (int p : {0, 1}) {
                animals[row].parent[p] = parents[p];
                if (method > 4 && parents[p] <= 0)
                    groups.insert(parents[p]), unspecified += parents[p] == 0;
            }
        }
        if (reports > 100)
            told += text(
                "WARNING - pedigree file of random factor %d: records that repeat an ID, "
                "with those not shown: %d, remove them ",
                number, reports - errors);
        for (auto [id, n] : met) {
            const auto [row, is_new] = enter(id);
            animals[row].n_obs = n;
            if (is_new) animals[row].sort = -999999998, ++unrecorded;
        }
        if (unrecorded > 0 && !announced)
            told += text("Pedigree file of random factor %d: ped%d ", number, number);
        tell(unrecorded, "Number of animal with data not in pedigree ",
             " The animals has been inserted Phantom Parent: -999999998");
        tell(errors > 10 ? errors : 0, "Number of errors in pedigree information ",
             " COMPUTATIONS MIGHT BE OF LIMITED VALUE");
    }

    // Parents without a row get one at the front of the list. Returns the number of relatives.
    int link_parents() {
        int inserted = 0, too_young = 0;
        for (int32_t r = sentinel; r != 0; r = animals[r].next)
            for (int p : {0, 1}) {
                const int32_t code = animals[r].parent[p];
                const auto [q, is_new] = code == 0 ? std::pair(sentinel, false) : enter(code);
                Animal &animal = animals[r], &parent = animals[q];
                animal.parent_row[p] = q;
                ++parent.n_desc;
                if (is_new) {
                    inserted += code > 0;
                    parent.sort = code > 0 ? 0 : -999999999;
                    parent.next = std::exchange(animals[sentinel].next, q);
                    parent.parent_row[0] = parent.parent_row[1] = sentinel;
                    animals[sentinel].n_desc += 2;
                } else if (code != 0 && animal.sort < parent.sort) {
                    ++too_young;
                    born_after += text(" %10d%11d%11d%11d%11d%11d%11d\n", p + 1, code, animal.code,
                                       animal.sort, q, parent.code, parent.sort);
                }
            }
        tell(inserted, "No of relatives inserted ");
        tell(too_young, "No of parents born after offspring ",
             " List of these animals on file PEDDATA");
        return inserted;
    }

    void list_tree(int32_t row, std::vector<Sorted>& order) const {
        if (row == 0) return;
        order.push_back({{animals[row].sort, 0}, row});
        list_tree(animals[row].child[1], order);
        list_tree(animals[row].child[0], order);
    }

    // `here`: the inverse is formed in this run.
    void process(bool from_the_top, bool here) {
        const int n_groups = static_cast<int>(groups.size());
        tell(number, "Pedigree information for random matrix ");
        tell(n_groups > 0 ? number : 0, "Levels for phantom parent groups for random factor ",
             " Code N-obs");
        int listed = 0;
        for (int32_t code : groups) told += ++listed <= 100 ? text("%d 0 ", code) : "";
        std::vector<Sorted> order(1);
        list_tree(root, order);
        heap_sort(order);
        order[0].row = sentinel = add_animal(0);
        for (std::size_t j = 1; j < order.size(); ++j)
            animals[order[j - 1].row].next = order[j].row;
        const int inserted = link_parents();

        order.resize(1);
        for (int32_t r = animals[sentinel].next; r != 0; r = animals[r].next)
            order.push_back(
                {{animals[r].sort, animals[r].code < 0 ? -99999999 : -animals[r].n_desc}, r});
        if (method == 6 && inserted + unspecified > 0) {
            order.push_back({{0, -99999999}, sentinel});
            unspecified += 2 * inserted;
            const int32_t first = std::exchange(sentinel, add_animal(0));
            animals[sentinel].next = first;
            told += "Extra phantom parent group created for animals with unspecified groups ";
        }
        if (method != 1) heap_sort(order);
        for (std::size_t j = 1; j < order.size(); ++j) animals[order[j].row].level = ++levels;
        int32_t level = from_the_top ? levels : 0;
        for (int32_t r = sentinel; level > 0; --level) animals[r = animals[r].next].level = level;
        tell(levels - n_groups, "Number of animals in pedigree ");
        if (method > 4) told += text("Number of phantom parent groups %d ", n_groups);
        if (unspecified > 0) told += "Code used for extra phantom parent group 0 ";
        tell(static_cast<int>(met.size()), "Number of animals with data ");
        if (method == 4 && here)
            told += text(
                "WARNING - Random factor %d: method 4 counts the maternal grandsire as a "
                "dam, the solutions are not those of a sire and maternal grandsire model: "
                "use method 1 or 2 with sires and dams ",
                number);
        if (method == 6 && here && unrecorded > 0 && unspecified == 0)
            told += text(
                "WARNING - Random factor %d: the %d animals with data and no pedigree "
                "record count as founders with half the variance, since they have no "
                "group: give them records ",
                number, unrecorded);
    }

    // PEDFILE, of the first rows of the table; `wrong` of its pairs are not those of their levels.
    std::string pairs(int& wrong) const {
        std::vector<Sorted> order(1);
        for (int32_t row = 1; row <= levels; ++row) order.push_back({{animals[row].level, 0}, row});
        heap_sort(order);
        Ints all;
        auto parent = [](const Animal& animal, int p) {
            const int32_t level = animals[animal.parent_row[p]].level;
            return animal.parent[p] < 0 ? -level : level;
        };
        for (std::size_t j = 1; j < order.size(); ++j)
            for (int p : {0, 1}) all.push_back(parent(animals[order[j].row], p));
        wrong = 0;
        for (int32_t r = animals[sentinel].next; r != 0; r = animals[r].next) {
            const auto* pair = &all[2 * static_cast<std::size_t>(animals[r].level) - 2];
            wrong += parent(animals[r], 0) != pair[0] || parent(animals[r], 1) != pair[1];
        }
        const std::size_t record = std::min<std::size_t>(all.size(), 200000);
        while (all.size() % record != 0) all.push_back(all[all.size() - record]);
        std::string file;
        for (std::size_t from = 0; from < all.size(); from += record)
            file += framed(bytes_of(all).substr(4 * from, 4 * record));
        return file;
    }
};

std::mt19937 random_bits;

bool percent(unsigned p) { return random_bits() % 100 < p; }
int32_t below(std::size_t n) { return static_cast<int32_t>(random_bits() % n); }
int32_t one_of(const Ints& all, std::size_t n) {
    return all[random_bits() % std::min(n, all.size())];
}

// Some of them share a long road in the tree.
Ints identities(int n) {
    Ints ids;
    for (int j = 0; j < n; ++j) ids.push_back(1 + (j % 3 == 0 && j < 6000 ? j << 18 : j));
    std::shuffle(ids.begin(), ids.end(), random_bits);
    return ids;
}

// One animal in ten has no record; `bad` in a hundred records are faulty or repeated, and without
// such no parent is unknown. Under method 1 parents come from earlier years; under the others from
// any, so that animals can be their own ancestors.
std::vector<Ints> records_for(const Ints& ids, unsigned bad, bool ordered) {
    std::vector<Ints> records;
    for (std::size_t j = 0; j < ids.size(); ++j) {
        const std::size_t before = ordered ? j / 8 * 8 : ids.size();
        auto parent = [&] {
            if (before == 0 || percent(bad > 0 ? 15 : 0)) return 0;
            return percent(20) ? -1 - below(ids.size() / 2) : one_of(ids, before);
        };
        const int year = ordered ? 1 + static_cast<int>(before) : (below(9) - 4) * 500000000;
        Ints r{ids[j], parent(), parent(), year};
        if (j % 10 != 7) records.push_back(r);
        if (!percent(bad)) continue;
        r[random_bits() % 3] = r[random_bits() % 3];
        records.push_back(r);
    }
    std::shuffle(records.begin(), records.end(), random_bits);
    return records;
}

// Values across lines with both line ends, remarks behind the fourth value, some framed records
// that are longer than they need be.
std::string file_of(const std::vector<Ints>& records, const std::string& form) {
    std::string all;
    for (const Ints& r : records)
        all += form == "BINARY" ? framed(bytes_of(r) + std::string(all.size() % 3, 'x'))
                                : text("%d%s%d , %d\t%+d%s", r[0], all.empty() ? " " : "\r\n", r[1],
                                       r[2], r[3], all.size() % 2 == 0 ? "\n" : " / remark, 7\r\n");
    return all;
}

// Traits Y1 with the random effects A and B, and Y2 with the fixed effect of HERD.
Outcome run_with(const Scratch& scratch, const std::string& analyse, const std::string& more) {
    return scratch.run("$ANALYSE " + analyse +
                       " 0 1\n$DATA ASCII (3,2,-9.0) data\n$VARIABLE\nA B HERD Y1 Y2\n" + more +
                       "$MODEL\n2\n0\n0\n1 0 2 1 2\n2 0 1 3\n2 1 2\n0\n0\n0\n0\n$PRIOR\n"
                       "1 1 1 1.0\n2 1 1 1.0\n3 1 1 4.0\n3 2 2 4.0\n");
}

// Pedigrees of some and n animals.
void compare(const char* analyse, int method_1, int method_2, const char* form, int n, unsigned bad,
             const char* dimensions = "&kvedim /") {
    SCOPED_TRACE(text("%s: %d %d %d", analyse, method_1, method_2, n));
    const Ints ids[] = {identities(std::min(n / 2, 400)), identities(n)};
    Pedigree p[] = {{1, method_1}, {2, method_2}};
    Scratch scratch;
    animals.assign(1, {});
    told = born_after = "";
    // All identities of the data are looked up; those of usable records of Y1 are animals.
    std::vector<Ints> seen;
    std::string data, structures, expected;
    for (int j = 0; j < 250; ++j) {
        const bool y1 = percent(70), y2 = percent(50);
        const int32_t a = percent(80) ? one_of(ids[0], 150) : below(9) - 4;
        const int32_t b = percent(80) ? one_of(ids[1], 150) : below(9) - 4;
        data += text("%d %d 1 %d %d\n", a, b, y1 ? 5 : -9, y2 ? 6 : -9);
        const bool animals_met = y1 && a > 0 && b > 0;
        if (animals_met) ++p[0].met[a], ++p[1].met[b];
        seen.push_back({a, b, animals_met || y2, y2});
    }
    for (int k : {0, 1}) {
        const std::vector<Ints> records = records_for(ids[k], bad, p[k].method == 1);
        structures += text("$VAR_STR %d PED %d %s ped%d\n", k + 1, p[k].method, form, k + 1);
        scratch.write(text("ped%d", k + 1), file_of(records, form));
        p[k].read(records);
    }
    for (Pedigree& one : p) one.process(analyse == std::string("12 1"), analyse[1] == ' ');
    scratch.write("data", data);
    scratch.write("KVEDIM", dimensions);
    const Outcome outcome = run_with(scratch, analyse, structures);
    ASSERT_EQ(outcome.status, 0) << outcome.listing;
    EXPECT_TRUE(outcome.says(told + "MODEL STATISTICS")) << told << outcome.listing;
    EXPECT_TRUE(outcome.says(text("1 ! %d %d ", p[0].levels, p[0].levels)));
    const std::string equations = "Factor ! Levels Equations ";
    EXPECT_TRUE(outcome.says(equations + (analyse[1] == '2' ? "1 !" : "|A| 1 !")));
    EXPECT_TRUE(
        outcome.says(text("Total %d %d", p[0].levels + p[1].levels, p[0].levels + p[1].levels)));
    EXPECT_TRUE(scratch.read("PEDDATA") == born_after);
    EXPECT_EQ(scratch.has("PEDDATA"), !born_after.empty());
    EXPECT_EQ(scratch.has("INBREED"), method_1 == 1 || method_2 == 1);

    for (const Ints& record : seen) {
        const int32_t a = p[0].enter(record[0]).first, b = p[1].enter(record[1]).first;
        if (record[2] == 1)
            expected += framed(bytes_of(Ints{record[3], animals[a].level, animals[b].level, 0, 0}));
    }
    EXPECT_TRUE(scratch.read("RCDATA_I") == expected);
    expected.clear();
    for (const Pedigree& one : p) {
        for (int32_t r = animals[one.sentinel].next; r != 0; r = animals[r].next)
            expected += framed(bytes_of(std::vector{animals[r]}));
        int wrong;
        EXPECT_TRUE(scratch.read(text("PEDFILE%d", one.number)) == one.pairs(wrong)) << one.number;
        EXPECT_EQ(outcome.says(text("WARNING - PEDFILE%d has wrong parents for %d levels",
                                    one.number, wrong)),
                  wrong > 0);
    }
    EXPECT_TRUE(scratch.read("CODE_TABLE").substr(32) == expected);  // behind HERD
}

}  // namespace

TEST(PedigreeRun, OrderLinksAndLevelsAreThoseOfThePlainModel) {
    const char* tiny = "&kvedim MFL=1 MDL=1 MAXNRM=1 /";
    compare("1 1", 1, 6, "ASCII", 400, 4);
    compare("1 1", 2, 4, "BINARY", 300, 4, tiny);
    compare("1 1", 6, 1, "BINARY", 14, 0, tiny);
    compare("1 1", 6, 2, "ASCII", 300, 70);
    compare("12 1", 1, 2, "ASCII", 300, 2);
    compare("12 1", 6, 4, "BINARY", 300, 2);
    compare("12 2", 4, 6, "ASCII", 40, 2);
    compare("1 1", 6, 2, "ASCII", 101000, 0);
}

TEST(PedigreeRun, FilesOfTooFewColumnsKeepToTheirPages) {
    Scratch scratch;
    scratch.write("data", "1 7 1 5 -9\n");
    scratch.write("ped", "1 2\n");
    std::string structures;
    for (int k = 1; k <= 30; ++k) structures += text("$VAR_STR %d PED 1 ASCII ped\n", k);
    const Outcome outcome = run_with(scratch, "1 1", structures);
    EXPECT_EQ(outcome.times("do not contain 4 columns"), 30);
    EXPECT_LE(outcome.longest_page(), 78U);
}

TEST(PedigreeRun, FaultyPedigreesStopInClearWords) {
    Scratch scratch;
    scratch.write("data", "1 7 1 5 -9\n");
    auto stops = [&scratch](int method, const char* form, const std::string& pedigree,
                            const std::string& words) {
        scratch.write("ped", pedigree);
        const Outcome outcome =
            run_with(scratch, "1 1", text("$VAR_STR 1 PED %d %s ped\n", method, form));
        EXPECT_TRUE(outcome.status == 16 && outcome.says(words)) << pedigree << outcome.listing;
    };
    const std::string unreadable =
        "ERROR - reading pedigree file for random factor 1 at observation 2 Error condition "
        "returned from read: 1 Check your pedigree file for: Wrong format type,";
    for (const char* second : {"2 0 x 1", "2 0\n0", "2 0,,0 1", "2 2*0 1", "2 0 1.0 1", "2 0 0 / 1",
                               "2 0 0 9223372036854775808"})
        stops(2, "ASCII", std::string("1 2 3 1\n") + second, unreadable);
    const std::string good = framed(bytes_of(Ints{1, 2, 3, 1})), body = good.substr(0, 20);
    for (const std::string& second :
         {good.substr(0, 23), framed(body.substr(4, 12)), body + "1234", body.substr(0, 1)})
        stops(2, "BINARY", good + second, unreadable);
    stops(6, "BINARY", good + framed(bytes_of(Ints{4, 0, INT32_MIN, 1})),
          "BITSTR ERROR -2147483648 1 0000000000000000000000000000000 ERROR - record 2 of the file "
          "ped holds it: a missing identity is written 0 Program terminates");
    stops(2, "ASCII",
          "2147483648 0 -2147483648 7\n1 -2147483647 9999999999 -2147483649\n3 0 -2147483648 0\n",
          "see the lines below: ped ERROR : ID = 0 SIRE = 0 DAM/MGS = 0 S-var = 7 WARNING - record "
          "1 is left out, correct it: the ID is not within 1 to 2147483647 " +
              times(6, "WARNING ") +
              "INPUT DATA OUT OF RANGE Input no. Name Times --------- -------- -------- 1 ID 1 "
              "3 DAM_MGS 3 4 SVAR 1 ONE OR MORE INPUT VARIABLES IS OUT OF RANGE LEGAL RANGE FOR "
              "INTEGERS : -2147483647 - 2147483647 COMPUTATIONS TERMINATES");
    // The relative 9 has the sort variable 0 when it is met again; 5 and 6 are a loop.
    stops(1, "ASCII", "1 2 0 3\n2 0 0 3\n3 0 9 0\n4 9 0 -1\n5 6 0 1\n6 0 5 2\n",
          "No of parents born after offspring 3 List of these animals on file PEDDATA Method used "
          "to compute A-inverse is 1 This method is for an inbreed population, and requires that "
          "parents can be processed before progeny. With the specified sort variable, this can "
          "not be performed. Computations terminated");
    EXPECT_EQ(folded(scratch.read("PEDDATA")), "2 9 3 0 8 9 0 1 6 5 1 6 6 2 1 2 1 3 2 2 3");
    scratch.write("data", "1 7 1 -9 5\n");
    stops(2, "ASCII", "1 0 0 1\n",
          "see the lines below: ped WARNING - pedigree file of random factor 1: usable records: 1, "
          "check its form: ped No animal with "
          "data for random factor 1 Computations terminated");
}

TEST(PedigreeRun, TestPrint2ListsTheAnimalsByBirthDate) {
    Scratch scratch;
    scratch.write("data", "30 30 1 5 -9\n30 30 1 6 -9\n");
    scratch.write("ped", "30 20 10 9\n20 0 0 5\n10 0 0 4\n");
    const Outcome outcome = run_with(scratch, "1 1 0 2\n#", "$VAR_STR 1 PED 2 ASCII ped\n");
    EXPECT_TRUE(
        outcome.says("Animal list in birth-date order (MAX. first 100) Code N-obs A-C-NO S-var "
                     "R-var1 R-var2 N-Desc 10 0 1 4 0 0 1 20 0 2 5 0 0 1 30 2 3 9 20 10 0 "))
        << outcome.listing;
}
