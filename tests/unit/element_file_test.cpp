// Files of matrix elements: what is a record, what ends the file and what is a failure.
#include "pedigree/element_file.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <fstream>

#include "model_builder.h"

using namespace kve;

namespace {

using ElementFileTest = ModelTest;  // a folder of its own

template <class... Items>
std::string bytes_of(Items... items) {
    std::string all;
    (all.append(reinterpret_cast<const char*>(&items), sizeof items), ...);
    return all;
}

std::string framed(const std::string& body) {
    const std::string length = bytes_of(static_cast<int32_t>(body.size()));
    return length + body + length;
}

struct Outcome {
    std::string elements;  // "ID1 ID2 value;" of each
    bool failed;
    std::string offending;
};

void open(ElementFile& file, DataFormat format, const std::string& bytes) {
    std::ofstream("elements", std::ios::binary) << bytes;
    ASSERT_EQ(file.open("elements", format), 0);
}

Outcome read(DataFormat format, const std::string& bytes) {
    ElementFile file;
    open(file, format, bytes);
    Outcome all{};
    MatrixElement e;
    FileAnswer answer;
    while ((answer = file.read(e)) == FileAnswer::record) {
        char line[80];
        std::snprintf(line, sizeof line, "%d %d %g;", e.id_1, e.id_2, e.value);
        all.elements += line;
    }
    all.failed = answer == FileAnswer::failure;
    all.offending = all.failed ? file.offending() : "";
    return all;
}

}  // namespace

TEST_F(ElementFileTest, TextRecords) {
    const Outcome all =
        read(kAscii,
             "0 0 -1.5 / remark\r\n+7,\t-2147483648 ,1d1\n\n3\n4\r\n-2.5D-1,x\n2147483647 1 1e999"
             "\n1 1 nan,,\n1 2 -Inf\n5 6 1E1");
    EXPECT_EQ(all.elements,
              "0 0 -1.5;7 -2147483648 10;3 4 -0.25;2147483647 1 inf;1 1 nan;1 2 -inf;5 6 10;");
    EXPECT_FALSE(all.failed);
    EXPECT_FALSE(read(kAscii, " \n").failed);
}

TEST_F(ElementFileTest, TextFailuresAndWhatTheyTell) {
    const char* cases[][2] = {
        {"1 x 2 3\n4", "x 2 3"},
        {"1,,2\n", ",2"},
        {"1 2 / 3", "/ 3"},
        {"2*1 3", "2*1 3"},
        {"1 2.0 3", "2.0 3"},
        {"1 2147483648 3", "2147483648 3"},
        {"-2147483649 1 1", "-2147483649 1 1"},
        {"1 99999999999999999999 3", "99999999999999999999 3"},
        {"1 2 0x3", "0x3"},
        {"1 2", ""},
        {"1 ,\n ,", ","},
        {"1 2 \x01\x02z\r\n", "  z"},
    };
    for (const auto& [bad, offending] : cases) {
        const Outcome all = read(kAscii, std::string("9 8 7\n") + bad);
        EXPECT_TRUE(all.failed) << bad;
        EXPECT_EQ(all.elements, "9 8 7;") << bad;
        EXPECT_EQ(all.offending, offending) << bad;
    }
    EXPECT_EQ(read(kAscii, std::string(500, 'x')).offending, std::string(60, 'x'));
}

TEST_F(ElementFileTest, BinaryRecords) {
    const std::string body = bytes_of(int32_t{1}, int32_t{-2}, 2.5), good = framed(body);
    EXPECT_EQ(read(kBinaryFile, good + framed(body + "more")).elements, "1 -2 2.5;1 -2 2.5;");
    for (const std::string& bad :
         {good.substr(0, 23), good.substr(0, 2), framed(body.substr(0, 15)),
          good.substr(0, 20) + bytes_of(int32_t{17}), bytes_of(int32_t{-1}) + body}) {
        const Outcome all = read(kBinaryFile, good + good + bad);
        EXPECT_TRUE(all.failed);
        EXPECT_EQ(all.offending, "3");
    }
}

TEST_F(ElementFileTest, RecordsOfIds) {
    int32_t ids[2];
    ElementFile file;
    open(file, kAscii, "1 2 x\n3\n4\n5");
    EXPECT_EQ(file.read(ids), FileAnswer::record);
    EXPECT_EQ(file.read(ids), FileAnswer::record);
    EXPECT_EQ(ids[1], 4);
    EXPECT_EQ(file.read(ids), FileAnswer::failure);
    open(file, kBinaryFile, framed(bytes_of(int32_t{7}, int32_t{8}, int32_t{9})));
    EXPECT_EQ(file.read(std::span(ids).first(1)), FileAnswer::record);
    EXPECT_EQ(ids[0], 7);
    EXPECT_EQ(file.read(ids), FileAnswer::end);
    EXPECT_NE(file.open("no such file", kAscii), 0);
}
