// The figures behind a report, against values found another way.
#include <cmath>
#include <functional>

#include "kve/files/matrix_file.h"
#include "kve/report/bins.h"
#include "kve/report/moments.h"
#include "kve/report/words.h"
#include "kve/shared/failure.h"
#include "kve/shared/result_folder.h"
#include "kve/shared/table_text.h"
#include "program/run.h"

namespace {

using namespace kve::companion;
namespace fs = std::filesystem;

TEST(Figures, MomentsAreThoseOfAllValuesHoweverTheyCome) {
    const double nan = std::nan("");
    const std::vector<double> values = {3, -1.5, 1e6, 3, nan, 2, HUGE_VAL, 7, 7, -1e6, 0.25};
    double sum = 0, squares = 0;
    int n = 0;
    for (const double v : values)
        if (std::isfinite(v)) sum += v, ++n;
    for (const double v : values)
        if (std::isfinite(v)) squares += (v - sum / n) * (v - sum / n);
    for (std::size_t cut = 0; cut <= values.size(); ++cut) {
        Moments whole, rest;
        for (std::size_t k = 0; k < values.size(); ++k) (k < cut ? whole : rest).add(values[k]);
        EXPECT_EQ(whole.n_odd + rest.n_odd, 2);
        whole.join(rest);
        EXPECT_EQ(whole.n, n);
        EXPECT_NEAR(whole.mean, sum / n, 1e-9);
        EXPECT_NEAR(whole.deviation(), std::sqrt(squares / (n - 1)), 1e-6);
        EXPECT_EQ(whole.smallest, -1e6);
        EXPECT_EQ(whole.largest, 1e6);
        EXPECT_FALSE(whole.is_whole);
    }
    Moments one;
    one.add(5);
    EXPECT_EQ(one.deviation(), 0);
    EXPECT_TRUE(one.is_whole);
    PairMoments pair;
    for (const auto& [x, y] :
         {std::pair{1.0, 2.0}, {2.0, 1.0}, {nan, 4.0}, {3.0, 5.0}, {4.0, nan}, {4.0, 4.0}})
        pair.add(x, y);
    EXPECT_EQ(pair.n(), 4);
    EXPECT_NEAR(pair.correlation(), 5.0 / std::sqrt(5.0 * 10.0),
                1e-12);  // sums of products by hand
}

TEST(Figures, BinsHaveRoundLimits) {
    for (const auto& [least, width] : {std::pair{1.0, 1.0},
                                       {1.01, 2.0},
                                       {2.0, 2.0},
                                       {2.1, 5.0},
                                       {5.1, 10.0},
                                       {0.03, 0.05},
                                       {0.01, 0.01},
                                       {99.0, 100.0},
                                       {3e-7, 5e-7}})
        EXPECT_NEAR(round_width(least) / width, 1.0, 1e-9) << least;
    const auto bins_of = [](const std::vector<double>& values, int most) {
        Moments moments;
        for (const double v : values) moments.add(v);
        Bins bins = choose_bins(moments, most);
        for (const double v : values) bins.add(v);
        std::string all =
            text("%g by %g%s:", bins.first, bins.width, bins.is_discrete ? " whole" : "");
        for (const int64_t n : bins.counts) all += text(" %d", static_cast<int>(n));
        return all +
               text(" (%d %d)", static_cast<int>(bins.n_below), static_cast<int>(bins.n_above));
    };
    std::vector<double> normal(200);
    for (std::size_t k = 0; k < normal.size(); ++k) normal[k] = static_cast<double>(k % 5);
    std::vector<double> slip = normal, low = normal;
    slip.push_back(900);
    low.push_back(-900);
    EXPECT_EQ(bins_of({1, 3, 3}, 40), "0.5 by 1 whole: 1 0 2 (0 0)");
    EXPECT_EQ(bins_of({1.5, 3, 3}, 40), "1.4 by 0.2: 1 0 0 0 0 0 0 0 2 (0 0)");
    EXPECT_EQ(bins_of({0, 100, 50}, 5), "0 by 50: 1 1 1 (0 0)");
    EXPECT_TRUE(bins_of(slip, 12).ends_with("(0 1)")) << bins_of(slip, 12);
    EXPECT_TRUE(bins_of(low, 12).ends_with("(1 0)")) << bins_of(low, 12);
    EXPECT_EQ(bins_of(normal, 12), "-0.5 by 1 whole: 40 40 40 40 40 (0 0)");
    Bins bins;
    bins.counts.assign(3, 0);
    for (const auto& [value, place] :
         {std::pair{-5.0, 0}, {0.0, 0}, {0.99, 0}, {1.0, 1}, {2.99, 2}, {3.0, 2}, {1e300, 2}})
        EXPECT_EQ(bins.place(value), place) << value;
    const std::pair<int64_t, const char*> doublings[] = {
        {0, "0"},   {1, "1"},   {2, "2"},    {3, "3–4"},         {4, "3–4"},
        {5, "5–8"}, {8, "5–8"}, {9, "9–16"}, {1024, "513–1024"}, {1025, "1025–2048"}};
    for (const auto& [n, label] : doublings)
        EXPECT_EQ(Doublings::label(Doublings::place(n)), label);
}

TEST(Figures, MatrixSummariesTellWhatIsOutOfPlace) {
    struct Case {
        std::vector<std::array<int, 3>> elements;  // row, column, value
        const char* summary;  // elements, outside, above, unordered; longest row; diagonals from
                              // to, lacking
    };
    const Case cases[] = {
        {{}, "0 0 0 0; 0 in 0; 0 from 0 to 0, 3"},
        {{{1, 1, 2}, {2, 1, -1}, {2, 2, 5}, {3, 3, 1}}, "4 0 0 0; 2 in 2; 3 from 1 to 5, 0"},
        {{{1, 1, 2}, {3, 3, -4}}, "2 0 0 0; 1 in 1; 2 from -4 to 2, 1"},
        {{{0, 1, 2}, {4, 1, 1}, {1, 0, 1}, {1, 4, 1}, {3, 3, 1}},
         "5 4 0 0; 1 in 3; 1 from 1 to 1, 2"},
        {{{1, 2, 2}, {2, 2, 1}}, "2 0 1 0; 1 in 1; 1 from 1 to 1, 2"},
        {{{2, 2, 2}, {2, 1, 1}, {1, 1, 1}}, "3 0 0 2; 2 in 2; 2 from 1 to 2, 1"},
        {{{2, 2, 2}, {2, 2, 9}}, "2 0 0 1; 2 in 2; 1 from 2 to 2, 2"},
    };
    for (const Case& c : cases) {
        MatrixSummary s(3);
        for (const auto& [row, column, value] : c.elements)
            s.add({.column = column, .row = row, .value = static_cast<double>(value)});
        s.finish();
        const auto n = [](int64_t value) { return static_cast<int>(value); };
        EXPECT_EQ(text("%d %d %d %d; %d in %d; %d from %g to %g, %d", n(s.n_elements),
                       n(s.n_outside), n(s.n_above), n(s.n_unordered), n(s.longest), s.longest_row,
                       n(s.n_diagonals), s.smallest, s.largest, n(s.n_without_diagonal())),
                  c.summary);
    }
}

TEST(Words, FieldsAndNumbersAreWrittenForTheirReaders) {
    const std::tuple<const char*, char, const char*> fields[] = {
        {"", ',', ""},
        {"MILK", ',', "MILK"},
        {"a b", ',', "a b"},
        {"a,b", ',', "\"a,b\""},
        {"a,b", '\t', "a,b"},
        {"a\tb", '\t', "\"a\tb\""},
        {"a\tb", ',', "a\tb"},
        {"a b", ' ', "\"a b\""},
        {"say \"a\"", ',', "\"say \"\"a\"\"\""},
        {" a", ',', "\" a\""},
        {"a\t", ',', "\"a\t\""},
        {"a\nb", ',', "\"a\nb\""},
        {"a\rb", ',', "\"a\rb\""}};
    for (const auto& [field, separator, written] : fields)
        EXPECT_EQ(table_field(field, separator), written);
    const std::pair<int64_t, const char*> numbers[] = {{0, "0 levels"},
                                                       {1, "1 level"},
                                                       {2, "2 levels"},
                                                       {999, "999 levels"},
                                                       {1000, "1\u202f000 levels"},
                                                       {12345678, "12\u202f345\u202f678 levels"},
                                                       {-1, "−1 levels"}};
    for (const auto& [n, words] : numbers) EXPECT_EQ(grouped(n, "level"), words);
    EXPECT_EQ(counted(1, "link is", "links are"), "1 link is");
    EXPECT_EQ(counted(0, "link is", "links are"), "0 links are");
    EXPECT_EQ(counted(21, "record"), "21 records");
}

// Results come into a folder together or not at all.
TEST(ResultFolders, HaveAllResultsOrThoseBefore) {
    const Scratch scratch;
    const fs::path place = scratch.folder() / "deep" / "out";
    const auto files = [&] {
        std::string all;
        std::set<std::string> names;
        if (fs::exists(place))
            for (const fs::directory_entry& e : fs::directory_iterator(place))
                names.insert(e.path().filename());
        for (const std::string& name : names)
            all += name + "=" + scratch.read("deep/out/" + name) + " ";
        return all;
    };
    const auto make = [&](const std::map<std::string, std::string>& made,
                          const std::vector<std::string>& obsolete,
                          const std::function<void(ResultFolder&)>& end) {
        ResultFolder folder(place.string());
        for (const auto& [name, bytes] : made) std::ofstream(folder.begin(name)) << bytes;
        for (const std::string& name : obsolete) folder.remove(name);
        try {
            end(folder);
        } catch (const Failure& failure) {
            return std::string(failure.what());
        }
        return std::string();
    };
    const auto keep = [](ResultFolder& folder) { folder.keep("seal"); };
    const auto drop = [](ResultFolder&) {};
    EXPECT_EQ(make({{"a", "1"}}, {}, drop), "");
    EXPECT_FALSE(fs::exists(place));
    EXPECT_EQ(make({{"a", "1"}, {"b", "1"}, {"seal", "1"}}, {}, keep), "");
    EXPECT_EQ(files(), "a=1 b=1 seal=1 ");
    EXPECT_EQ(make({{"a", "2"}}, {"b"}, drop), "");
    EXPECT_EQ(files(), "a=1 b=1 seal=1 ");
    scratch.write("deep/out/mine", "x");
    EXPECT_EQ(make({{"a", "2"}, {"seal", "2"}}, {"b"}, keep), "");
    EXPECT_EQ(files(), "a=2 mine=x seal=2 ");
    // What was not told by name comes along.
    EXPECT_EQ(make({{"a", "3"}}, {},
                   [&](ResultFolder& folder) {
                       std::ofstream(folder.work() / "other") << "3";
                       folder.keep("seal");
                   }),
              "");
    EXPECT_EQ(files(), "a=3 mine=x other=3 seal=2 ");
    // A folder in the way of the last file: the others are as they were.
    fs::create_directory(place / "z");
    EXPECT_EQ(make({{"a", "4"}, {"z", "4"}}, {"other"}, keep),
              (place / "z").string() + ": it is a folder: remove it");
    fs::remove(place / "z");
    EXPECT_EQ(files(), "a=3 mine=x other=3 seal=2 ");
    // One at a time.
    EXPECT_EQ(make({}, {}, [&](ResultFolder&) { ResultFolder::require_free(place.string()); })
                  .find("another run works"),
              place.string().size() + 2);
    ResultFolder::require_free(place.string());
    ResultFolder::require_free((place / "none").string());
    EXPECT_EQ(make({{"a", "5"}}, {}, [](ResultFolder& folder) { folder.set_aside("stopped"); }),
              "");
    EXPECT_EQ(scratch.read("deep/out/stopped/a") + scratch.read("deep/out/a"), "53");
}

}  // namespace
