// The tables of users: what they are taken for and what is read from them.
#include <bit>
#include <cmath>
#include <cstdlib>
#include <functional>
#include <map>
#include <random>

#include "kve/prep/class_names.h"
#include "kve/shared/failure.h"
#include "kve/shared/output.h"
#include "kve/tables/codes.h"
#include "kve/tables/identities.h"
#include "kve/tables/table_reader.h"
#include "kve/tables/values.h"
#include "program/run.h"

namespace {

using namespace kve::companion;

// Fields with | behind each, records with their lines in front.
std::string shown(TableReader& table) {
    std::string all;
    while (table.next()) {
        all += text("%d:", static_cast<int>(table.line()));
        for (std::size_t c = 0; c < table.n_fields(); ++c) all += std::string(table.field(c)) + "|";
        all += "\n";
    }
    return all;
}

std::string failure_of(const std::function<void()>& work) {
    try {
        work();
    } catch (const Failure& failure) {
        return failure.what();
    }
    return "none";
}

TEST(TableReader, FindsOutHowATableIsWritten) {
    const struct {
        const char *bytes, *described, *names, *records;
    } cases[] = {
        {"cow,milk\nA1,5\n\nA2,\n", "commas, header", "cow milk ", "2:A1|5|\n4:A2||\n"},
        {"\xEF\xBB\xBFKuh;Milch\r\nÄ1;5,25\r\n \r\nÄ2;7,5",
         "semicolons, header, byte order mark, "
         "Windows line ends",
         "Kuh Milch ", "2:Ä1|5,25|\n4:Ä2|7,5|\n"},
        {"1 0  0 2001\n\n 2 1\t0 2002 \n3 1 0 2002\n", "blanks, no header", "V1 V2 V3 V4 ",
         "1:1|0|0|2001|\n3:2|1|0|2002|\n4:3|1|0|2002|\n"},
        {"a\tb\n1\t\n\t2\n", "tabs, header", "a b ", "2:1||\n3:|2|\n"},
        {"a,b\n0,0\n1,1\n\"x, \"\"y\"\"\n z\", 1 \n2\"2,\"3\" \r\n", "commas, header, quotes",
         "a b ", "2:0|0|\n3:1|1|\n4:x, \"y\"\n z|1|\n6:2\"2|3|\n"},
        {"a,a,\n1,2,3\n1,2,3,4\n5\n0,,\n", "commas, header", "a a.2 V3 ",
         "2:1|2|3|\n3:1|2|3|4|\n4:5|\n5:0|||\n"},
        {"x\ry\r1\r", "blanks, header", "x ", "2:y|\n3:1|\n"},
        {"cow bull\n'a b' A\n", "blanks, header", "cow bull ", "2:'a|b'|A|\n"},
        {"A;B\nA;C\n", "semicolons, no header", "V1 V2 ", "1:A|B|\n2:A|C|\n"},
    };
    const Scratch scratch;
    for (const auto& c : cases) {
        scratch.write("table", c.bytes);
        TableReader table((scratch.folder() / "table").string());
        EXPECT_EQ(table.described(), c.described) << c.bytes;
        std::string names;
        for (const std::string& name : table.names()) names += name + " ";
        EXPECT_EQ(names, c.names) << c.bytes;
        EXPECT_EQ(shown(table), c.records) << c.bytes;
        EXPECT_FALSE(table.next());
    }
    scratch.write("table", "a|b'c;d\n1|'2\n;3';4\n");
    TableForm form{.delimiter = ';', .has_header = false, .quote = '\'', .names = {"p", "q"}};
    TableReader table((scratch.folder() / "table").string(), form);
    EXPECT_EQ(table.column("q"), 1U);
    EXPECT_EQ(shown(table), "1:a|b'c|d|\n2:1|'2|\n3:|3'|4|\n");
}

TEST(TableReader, RefusesWhatIsNoTable) {
    const Scratch scratch;
    const std::string file = (scratch.folder() / "table").string();
    std::string many;
    for (int k = 0; k < 4000; ++k) many += "1," + std::string(100, '2') + "\n";
    const std::pair<std::string, const char*> cases[] = {
        {"", "the table is empty"},
        {"\n \n", "the table is empty"},
        {std::string("a,b\n1,\0\n", 8), "line 2: holds a byte of zero, so it is no text in UTF-8"},
        {"a,b\n" + many + std::string("1,\0\n", 4),
         "line 4002: holds a byte of zero, so it is no text in UTF-8"},
        {"\xFF\xFE"
         "a",
         "line 1: is written in UTF-16; save it as UTF-8"},
        {"a,b\n1,2\n3,\"4\n5,6\n", "line 3: a quote is opened and not closed"},
    };
    for (const auto& [bytes, words] : cases) {
        scratch.write("table", bytes);
        EXPECT_EQ(failure_of([&] {
                      TableReader table(file);
                      shown(table);
                  }),
                  file + ": " + words);
    }
    EXPECT_EQ(failure_of([&] { TableReader table(file + "x"); }),
              file + "x: No such file or directory");
}

// As many columns as a line may hold, all of one name.
TEST(TableReader, ManyColumns) {
    constexpr int n = 100000;
    std::string line = "a";
    for (int k = 1; k < n; ++k) line += ",a";
    const Scratch scratch;
    scratch.write("table", line + "\n" + line + "\n1\n");
    TableForm form;
    form.has_header = true;
    TableReader table((scratch.folder() / "table").string(), form);
    EXPECT_EQ(table.column(text("a.%d", n)), std::size_t{n - 1});
    EXPECT_TRUE(table.next() && table.n_fields() == n && table.next() && table.n_fields() == 1);
}

// Numbers do not fill the buffers to their ends.
TEST(Output, LargerThanItsBuffers) {
    const Scratch scratch;
    const std::string file = (scratch.folder() / "numbers").string();
    std::string expected;
    Output out(file);
    RealTexts<double> texts;
    for (int k = 0; k < 200000; ++k) {
        expected += std::to_string(7 * k) + text(" %d.5\n", k);
        out.put(7 * k);
        out.put(' ');
        out.take(texts.put(out.room(kNumberBytes), k + 0.5));
        out.put('\n');
    }
    out.finish();
    EXPECT_TRUE(scratch.read("numbers") == expected);
}

// Blocks end anywhere; quoted and plain tables of the same records are read alike, compressed too.
TEST(TableReader, LargeTablesAreReadThrough) {
    std::mt19937 draw(5);
    std::string plain = "key,text,number\n", quoted = plain, expected;
    int line = 1;
    for (int n = 0; n < 20000; ++n) {
        const std::string word(draw() % 40, static_cast<char>('a' + draw() % 26));
        plain += text("k%d,%s,%d\n", n, word.c_str(), n % 7);
        quoted += text("k%d,\"%s\",\"%d\"\n", n, word.c_str(), n % 7);
        expected += text("%d:k%d|%s|%d|\n", ++line, n, word.c_str(), n % 7);
    }
    const Scratch scratch;
    const std::string file = (scratch.folder() / "table").string();
    for (const std::string& bytes : {plain, quoted, plain + quoted.substr(quoted.find('\n') + 1)}) {
        scratch.write("table", bytes);
        TableReader table(file);
        EXPECT_TRUE(shown(table).starts_with(expected));
        ASSERT_EQ(std::system(("gzip -k -f -1 '" + file + "'").c_str()), 0);
        TableReader compressed(file + ".gz");
        EXPECT_TRUE(shown(compressed).starts_with(expected));
        EXPECT_TRUE(compressed.described().ends_with("gzip"));
    }
    std::filesystem::resize_file(file + ".gz", 20000);
    EXPECT_EQ(failure_of([&] {
                  TableReader table(file + ".gz");
                  shown(table);
              }),
              file + ".gz: the compressed file is cut off");
}

TEST(TableValues, NumbersDatesAndMissingSigns) {
    EXPECT_EQ(parse_real("+1.5e2"), 150.0);
    EXPECT_EQ(parse_real("-1,5", ','), -1.5);
    for (const char* wrong : {"", "+", "1,5", "1.5x", "inf", "nan", "0x1", "1 2", "1e999", "+-1"})
        EXPECT_FALSE(parse_real(wrong)) << wrong;
    EXPECT_FALSE(parse_real("1.5", ','));
    for (const char* number :
         {"0", "-0", "007.50", ".5", "-5.", "123456789012345", "0.1234567890123",
          "1234567890123456", "123456.789012345678", "2.2250738585072014e-308", "9007199254740993",
          "-1e-3", "0.3", "179.99"}) {
        const std::optional<double> value = parse_real(number);
        ASSERT_TRUE(value) << number;
        EXPECT_EQ(std::bit_cast<uint64_t>(*value),
                  std::bit_cast<uint64_t>(std::strtod(number, nullptr)))
            << number;
    }
    for (const char* wrong : {".", "-", "-.", "1.2.3", "1-", "--1", "1 "})
        EXPECT_FALSE(parse_real(wrong)) << wrong;
    const auto iso = DateOrder::year_month_day, german = DateOrder::day_month_year;
    EXPECT_EQ(parse_date("2020-02-29", iso), 20200229);
    EXPECT_EQ(parse_date("20200229", iso), 20200229);
    EXPECT_EQ(parse_date("2020/2/9 10:30", iso), 20200209);
    EXPECT_EQ(parse_date("29.02.2020", german), 20200229);
    EXPECT_EQ(parse_date("1/31/2020", DateOrder::month_day_year), 20200131);
    EXPECT_EQ(parse_date("1999", DateOrder::year_only), 19990701);
    for (const char* wrong : {"2019-02-29", "20-02-03", "2020-13-01", "2020-01", "0000-01-01",
                              "2020-01-01x", "2020-01-001", ""})
        EXPECT_FALSE(parse_date(wrong, iso)) << wrong;
    EXPECT_EQ(find_date_order({"01.02.2003", "13.02.2003"}), german);
    EXPECT_EQ(find_date_order({"01/02/2003", "02/13/2003"}), DateOrder::month_day_year);
    EXPECT_EQ(find_date_order({"2003", "13.02.2003"}), std::nullopt);
    EXPECT_EQ(days_between(20191231, 20200301), 61);
    const MissingSigns missing(usual_missing_signs());
    for (const char* sign : {"", "NA", ".", "*", "-999", "-999.00"})
        EXPECT_TRUE(missing(sign)) << sign;
    for (const char* value : {"0", "-99", "N", "..", "-9990"})
        EXPECT_FALSE(missing(value)) << value;
}

TEST(Identities, CodesGoThereAndBack) {
    IdentityTable table;
    std::vector<std::string> texts = {
        "DE 0012", "17",         "2147483647",
        "017",     "2147483648", "-3",
        "5",       "Zoë\t\"x\"", "a longer identity than fifteen bytes",
        " 5",      "5 "};
    for (int n = 0; n < 3000; ++n) texts.push_back(text("animal %d of the herd", n));
    for (const std::string& t : texts) table.place_of(t);
    EXPECT_EQ(table.size(), static_cast<int>(texts.size()));
    const std::vector<int32_t> codes = identity_codes(table), places = identity_codes(table, true);
    std::set<int32_t> different;
    for (std::size_t k = 0; k < texts.size(); ++k) {
        const int32_t place = table.find(texts[k]);
        EXPECT_EQ(place, static_cast<int>(k) + 1);
        EXPECT_EQ(places[k + 1], place);
        different.insert(codes[k + 1]);
    }
    EXPECT_EQ(table.find("18"), 0);
    EXPECT_EQ(different.size(), texts.size());
    // Above the largest there is no room, so the free numbers 1 to 4 and 6 are taken first.
    EXPECT_EQ(std::vector<int32_t>(codes.begin() + 1, codes.begin() + 9),
              (std::vector<int32_t>{1, 17, 2147483647, 2, 3, 4, 5, 6}));
    const Scratch scratch;
    const std::string file = (scratch.folder() / "ids.tsv").string();
    write_ids(file, table, {codes, {}, {}});
    scratch.write("classes.tsv", "column\tname\tcode\nHERD\tHöfer\t17\n");
    const UserNames names(file);
    for (std::size_t k = 0; k < texts.size(); ++k)
        EXPECT_EQ(names.name_of("COW", codes[k + 1]), texts[k]);
    EXPECT_EQ(names.name_of("COW", 2000000000), "2000000000");
    EXPECT_EQ(names.name_of("HERD", 17), "Höfer");
    EXPECT_EQ(names.name_of("HERD", 7), "7");
    IdentityTable few;
    for (const char* t : {"40", "x", "7"}) few.place_of(t);
    EXPECT_EQ(identity_codes(few), (std::vector<int32_t>{0, 40, 41, 7}));
}

TEST(TableReader, NamesSignsAndQuotesThatAreAskedFor) {
    const Scratch scratch;
    const std::string file = (scratch.folder() / "table").string();
    scratch.write("table", "a,\"b\n1,2\n");
    TableForm form{.delimiter = ',', .has_header = true, .quote = kNoQuote, .names = {}};
    {
        TableReader table(file, form);
        EXPECT_EQ(table.column("\"b"), 1U);
        EXPECT_EQ(failure_of([&] { static_cast<void>(table.column("c")); }),
                  file + ": no column c; there are: a, \"b");
        EXPECT_EQ(shown(table), "2:1|2|\n");
    }
    form.names = {"x", "y", "z"};
    EXPECT_EQ(failure_of([&] { TableReader table(file, form); }),
              file + ": line 1: 2 fields, and 3 names are given");
    EXPECT_EQ(sign_called("tab"), '\t');
    EXPECT_EQ(sign_called("blanks"), kBlanks);
    EXPECT_EQ(sign_called(";"), ';');
    EXPECT_FALSE(sign_called("") || sign_called("ab"));
    EXPECT_TRUE(list_of(std::vector<std::string>(100, "n")).ends_with(", n"));
    EXPECT_TRUE(list_of(std::vector<std::string>(102, "n")).ends_with(", n and 2 more"));
}

// Which line is the head, and which sign stands between fields.
TEST(TableReader, HeadersAndDelimitersOfDoubtfulTables) {
    const struct {
        const char *bytes, *described;
    } cases[] = {{"id,1\nA,2\n", "commas, no header"},
                 {"id,NA\nA,2\n", "commas, no header"},
                 {"id,3.2.2001\nA,4.2.2001\n", "commas, no header"},
                 {"id,\nA,2\n", "commas, header"},
                 {"id,sire\nA,B\nC,A\n", "commas, header"},
                 {"A,B\nC,A\n", "commas, no header"},
                 {"a;b;c\n1,5;2,5;3,5\n", "semicolons, header"},
                 {"a|b\n\"x|y\"|2\n", "\"|\", header, quotes"},
                 {"title\na,b,c\n1,2,3\n4,5,6\n7,8,9\n", "commas, header"},
                 {"a b,c\n1 2,3\n", "commas, header"},
                 {"just\none\n", "blanks, header"}};
    const Scratch scratch;
    for (const auto& one : cases) {
        scratch.write("table", one.bytes);
        EXPECT_EQ(TableReader((scratch.folder() / "table").string()).described(), one.described)
            << one.bytes;
    }
}

// A field as long as a record may be, and beyond; quotes that are not closed end there, too.
TEST(TableReader, FieldsOfManyMegabytes) {
    const Scratch scratch;
    const std::string file = (scratch.folder() / "table").string(), front = "a,b\n1,2\n3,",
                      large(std::size_t{3} << 20, 'x'), larger(std::size_t{17} << 20, 'x');
    scratch.write("table", front + "\"" + large + "\"\n4,5\n");
    TableReader table(file);
    ASSERT_TRUE(table.next() && table.next());
    EXPECT_TRUE(table.field(1) == large);
    EXPECT_TRUE(table.next() && table.field(1) == "5" && !table.next());
    for (const auto& [bytes, words] :
         {std::pair{front + larger, "line 3: no end of the line in 16 MB"},
          {front + "\"" + larger,
           "line 3: no end of a field in 16 MB: a quote that is not closed?"}}) {
        scratch.write("table", bytes);
        EXPECT_EQ(failure_of([&] {
                      TableReader wrong(file);
                      while (wrong.next()) {
                      }
                  }),
                  file + ": " + words);
    }
}

TEST(TableValues, Utf8DatesAndOwnSigns) {
    for (const char* good : {"", "plain", "Zo\xC3\xAB", "\xE2\x82\xAC", "\xF0\x9F\x90\x84"})
        EXPECT_TRUE(is_utf8(good)) << good;
    for (const char* wrong : {"\x80", "\xC3", "\xC3x", "\xC0\x80", "\xE2\x82", "\xE2\x82x",
                              "\xF0\x9F\x90", "\xF5\x80\x80\x80", "\xFF"})
        EXPECT_FALSE(is_utf8(wrong)) << wrong;
    const struct {
        const char* text;
        DateOrder order;
        std::optional<Date> date;
    } dates[] = {{"02292020", DateOrder::month_day_year, 20200229},
                 {"29022020", DateOrder::day_month_year, 20200229},
                 {"29022020", DateOrder::year_month_day, {}},
                 {"29.2.1900", DateOrder::day_month_year, {}},
                 {"29.2.2000 0:00", DateOrder::day_month_year, 20000229},
                 {"2000-02-29T10:00", DateOrder::year_month_day, 20000229},
                 {"2000-12-31", DateOrder::year_month_day, 20001231},
                 {"2000-12-32", DateOrder::year_month_day, {}},
                 {"2000-00-10", DateOrder::year_month_day, {}},
                 {"2000-10-00", DateOrder::year_month_day, {}},
                 {"2000_10_01", DateOrder::year_month_day, {}},
                 {"0000", DateOrder::year_only, {}},
                 {"02000", DateOrder::year_only, {}},
                 {"200x", DateOrder::year_only, {}}};
    for (const auto& one : dates) EXPECT_EQ(parse_date(one.text, one.order), one.date) << one.text;
    EXPECT_EQ(days_between(20200301, 20200229), -1);
    EXPECT_EQ(parse_integer("+7"), 7);
    EXPECT_EQ(parse_integer("-7"), -7);
    for (const char* wrong : {"", "7.0", "7 ", "99999999999999999999"})
        EXPECT_FALSE(parse_integer(wrong)) << wrong;
    const MissingSigns own({"x", "-9"});
    for (const char* sign : {"x", "-9", "-9.0"}) EXPECT_TRUE(own(sign)) << sign;
    for (const char* value : {"", "xx", "9", "-90", "NA"}) EXPECT_FALSE(own(value)) << value;
}

// Texts that differ in their last letter, of every length around those that lie in the table
// itself, and many of them.
TEST(Identities, TextsOfAllLengths) {
    IdentityTable table;
    std::vector<std::string> texts{""};
    for (std::size_t length = 1; length < 40; ++length)
        for (int k = 0; k < 800; ++k) {
            const std::string end = std::to_string(k);
            texts.push_back(std::string(length - std::min(length, end.size()), 'a') + end);
        }
    std::map<std::string, int32_t> places;
    for (int round = 0; round < 2; ++round)
        for (const std::string& one : texts) {
            const auto next = static_cast<int32_t>(places.size()) + 1;
            ASSERT_EQ(table.find(one), places.contains(one) ? places[one] : 0) << one;
            ASSERT_EQ(table.place_of(one), places.try_emplace(one, next).first->second) << one;
        }
    ASSERT_EQ(table.size(), static_cast<int32_t>(places.size()));
    EXPECT_GT(table.size(), 20000);
    for (const auto& [one, place] : places) ASSERT_EQ(table.text(place), one);
}

TEST(Identities, NamesThatCannotBeRead) {
    const std::pair<const char*, const char*> cases[] = {
        {"identity\tnumber\nA\t1\n", ": no column code"},
        {"name\tcode\nA\t1\n", ": no column identity"},
        {"identity\tcode\nA\t1\nB\t1.5\n", ": line 3: \"1.5\" is no code"},
        {"identity\tcode\nA\t2147483648\n", ": line 2: \"2147483648\" is no code"}};
    const Scratch scratch;
    const std::string file = (scratch.folder() / "ids.tsv").string();
    for (const auto& [bytes, words] : cases) {
        scratch.write("ids.tsv", bytes);
        EXPECT_EQ(failure_of([&] { UserNames names(file); }), file + words);
    }
}

TEST(Identities, PairsOfPlaces) {
    prep::PlacePairs pairs;
    std::mt19937 draw(2);
    std::map<std::pair<int, int>, int32_t> places;
    for (int k = 0; k < 20000; ++k) {
        const auto below = [&](unsigned n) { return static_cast<int32_t>(1 + draw() % n); };
        const prep::PlacePairs::Pair pair =
            k % 3 == 0 ? prep::PlacePairs::Pair{below(50), below(50)}
                       : prep::PlacePairs::Pair{INT32_MAX - below(900), below(2000000000)};
        const auto next = static_cast<int32_t>(places.size()) + 1;
        pairs.fetch(pair);
        ASSERT_EQ(pairs.place_of(pair),
                  places.try_emplace({pair.first, pair.second}, next).first->second);
        ASSERT_TRUE(pairs[pairs.place_of(pair)] == pair);
    }
    EXPECT_EQ(pairs.size(), static_cast<int32_t>(places.size()));
}

}  // namespace
