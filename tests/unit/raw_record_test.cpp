#include "data/raw_record.h"

#include "model_builder.h"

using namespace kve;
using state::DIRECTIVES, state::INTAKE, state::RECORD, state::UNITS;

namespace {

constexpr float kMissing = -999.0F;
using Rows = std::vector<std::vector<double>>;

struct ReadBack {
    Rows rows;  // integers, then reals
    int32_t status = kRecordRead;
};

void begin_data(int32_t ni, int32_t nr, DataFormat format, int32_t n_files = 1) {
    DIRECTIVES.NI = ni;
    DIRECTIVES.NR = nr;
    DIRECTIVES.RMISS = kMissing;
    DIRECTIVES.data_format = format;
    DIRECTIVES.n_data_files = n_files;
    allocate_record();
    ASSERT_EQ(INTAKE.NI_OOR.allocate(ni + 1) + INTAKE.NR_OOR.allocate(nr), 0);
}

ReadBack read_to_end(bool count = true) {
    ReadBack all;
    for (;;) {
        all.status = read_raw_record(read_mode(), count);
        if (all.status != kRecordRead) return all;
        std::vector<double> row(&RECORD.IINP(1), &RECORD.IINP(1) + DIRECTIVES.NI);
        row.insert(row.end(), RECORD.FINP.begin(), RECORD.FINP.begin() + DIRECTIVES.NR);
        all.rows.push_back(row);
    }
}

ReadBack read(DataFormat format, const std::string& bytes, int32_t ni = 1, int32_t nr = 1) {
    begin_data(ni, nr, format);
    std::ofstream("data", std::ios::binary) << bytes;
    DataFile& file = UNITS.data[0];
    EXPECT_EQ(format == kAscii ? file.text.open("data") : file.framed.open("data"), 0);
    return read_to_end();
}
ReadBack read_text(const std::string& text) { return read(kAscii, text); }

template <class T>
std::string bytes_of(T value) {
    return {reinterpret_cast<const char*>(&value), sizeof value};
}
std::string framed(const std::string& words) {
    std::string length = bytes_of(static_cast<int32_t>(words.size()));
    return length + words + length;
}

}  // namespace

using RawRecord = ModelTest;

TEST_F(RawRecord, TextItemsMayStandInManyWays) {
    for (const char* text : {"1 25\n-2 0.5\n", "1,25\n-2 , .5\n", "\t+1\t2.5D1\r\n-2\t5.d-1\r\n",
                             "1 25 3*7 rest of the line, x\n-2 0.5/ 9\n", "1\n\n25\n-2,\n0.5",
                             "1 25\n-2 +.5", "1 25\n-2 5d-1", "\n 1 25\n-2 0.5\n\n   \n\n"}) {
        const ReadBack back = read_text(text);
        EXPECT_EQ(back.rows, (Rows{{1, 25}, {-2, 0.5}})) << text;
        EXPECT_EQ(back.status, kEndOfData) << text;
    }
    // Nothing that could end: no column at all.
    EXPECT_EQ(read(kAscii, "1 2\n", 0, 0).status, kEndOfData);
}

TEST_F(RawRecord, TextThatIsNoRecordIsAFailure) {
    for (const char* text :
         {"x 1\n", "1 x\n", "1.0 2\n", "1e2 2\n", "2*1\n", "1 2*3\n", "9223372036854775808 1\n",
          "1,,2\n", ",1 2\n", "1 /\n 2\n", "/\n", "1\n", "1", "1 +-2\n", "1 2e\n"})
        EXPECT_GT(read_text(text).status, 0) << text;
    EXPECT_GT(read_text("1 2." + std::string(70000, '0') + "\n").status, 0);
    const ReadBack cut = read_text("1 2\n3\n\n");
    EXPECT_EQ(cut.rows, (Rows{{1, 2}}));
    EXPECT_GT(cut.status, 0);
}

TEST_F(RawRecord, TextIsBroughtIntoTheRangeOfTheRecord) {
    const ReadBack back = read_text(
        "2147483647 3.4028234663852886E+38\n2147483648 3.4028235e38\n-2147483648 -1e39\n"
        "-2147483649 1e999\n9223372036854775807 -1e-999\n1 nan\n");
    const double missing = static_cast<double>(kMissing);
    const double largest = static_cast<double>(std::numeric_limits<float>::max());
    ASSERT_EQ(back.rows.size(), 6U);
    EXPECT_TRUE(std::isnan(back.rows[5][1]));
    const Rows expected{
        {2147483647, largest}, {0, missing}, {-2147483648.0, missing}, {2147483647, missing}, {}};
    for (std::size_t k : {0, 1, 2, 3}) EXPECT_EQ(back.rows[k], expected[k]) << k;
    EXPECT_EQ(back.rows[4], (std::vector<double>{0, 0}));
    EXPECT_EQ(INTAKE.NI_OOR(1), 2);
    EXPECT_EQ(INTAKE.NR_OOR(1), 3);
    rewind_data();
    EXPECT_EQ(read_to_end(false).rows.size(), 6U);
    EXPECT_EQ(INTAKE.NI_OOR(1) + INTAKE.NR_OOR(1), 5) << "the second pass counts nothing";
}

TEST_F(RawRecord, FramedRecordsMayBeLongerButNeverShorter) {
    const std::string good = framed(bytes_of(1) + bytes_of(2.0F));
    const std::string long_one = framed(bytes_of(3) + bytes_of(4.0F) + "more");
    ReadBack back = read(kNoFormat, good + long_one + good);
    EXPECT_EQ(back.rows, (Rows{{1, 2}, {3, 4}, {1, 2}}));
    EXPECT_EQ(back.status, kEndOfData);

    std::string bad_trailer = good;
    bad_trailer[bad_trailer.size() - 4] = 9;
    for (const std::string& second :
         {framed(bytes_of(1)), bad_trailer, good.substr(0, 2), good.substr(0, 6),
          good.substr(0, good.size() - 1), bytes_of(-8) + bytes_of(1) + bytes_of(1.0F)}) {
        back = read(kNoFormat, good + second);
        EXPECT_EQ(back.rows.size(), 1U);
        EXPECT_GT(back.status, 0) << second.size() << " bytes";
    }
}

TEST_F(RawRecord, TwoFilesEndWithTheSecondOne) {
    begin_data(2, 1, kAscii, 2);
    std::ofstream("integers") << "1 2 x\n3\n4\n5 6\n";
    std::ofstream("reals") << "7 x\n8\n";
    ASSERT_EQ(UNITS.data[0].text.open("integers") + UNITS.data[1].text.open("reals"), 0);
    const ReadBack back = read_to_end();
    EXPECT_EQ(back.rows, (Rows{{1, 2, 7}, {3, 4, 8}}));
    EXPECT_EQ(back.status, kEndOfData);
}

TEST_F(RawRecord, ColumnsThatTheDataLackReadAsZeroAndMissing) {
    begin_data(2, 2, kAscii);
    EXPECT_EQ(RECORD.IINP(integer_place(0)), 1);
    for (int64_t column : {-1L, 3L, 1L << 40}) {
        EXPECT_EQ(RECORD.IINP(integer_place(column)), 0);
        EXPECT_EQ(RECORD.FINP(real_place(column)), kMissing);
    }
    EXPECT_EQ(RECORD.FINP(real_place(0)), kMissing);
    EXPECT_EQ(integer_place(2), 2);
    EXPECT_EQ(real_place(2), 2);
}
