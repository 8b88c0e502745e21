// Files of matrix elements: what is a record, what ends the file and what is a failure.
#include "matrices/element_file.h"

#include "model_builder.h"

using namespace kve;

namespace {

using ElementFileTest = ModelTest;  // a folder of its own

std::string framed(const std::string& body, int32_t behind = 0) {
    int32_t length[] = {static_cast<int32_t>(body.size()), static_cast<int32_t>(body.size())};
    length[1] += behind;
    const auto* bytes = reinterpret_cast<const char*>(length);
    return std::string(bytes, 4) + body + std::string(bytes + 4, 4);
}

// "ID1 ID2 value;" of each element, and behind a failure what it tells.
std::string read(DataFormat format, const std::string& bytes) {
    std::ofstream("elements", std::ios::binary) << bytes;
    ElementFile file;
    EXPECT_EQ(file.open("elements", format), 0);
    std::string all;
    MatrixElement e;
    FileAnswer answer;
    while ((answer = file.read(e)) == FileAnswer::record)
        append(all, "%d %d %g;", e.id_1, e.id_2, e.value);
    return answer == FileAnswer::end ? all : all + "!" + file.offending();
}

}  // namespace

TEST_F(ElementFileTest, Text) {
    EXPECT_EQ(read(kAscii,
                   "0 0 -1.5 / remark\r\n+7,\t-2147483648 ,1d1\n\n3\n4\r\n-2.5D-1,x\n2147483647 1 "
                   "1e999\n1 1 nan,,\n1 2 -Inf\n5 6 1E1"),
              "0 0 -1.5;7 -2147483648 10;3 4 -0.25;2147483647 1 inf;1 1 nan;1 2 -inf;5 6 10;");
    EXPECT_EQ(read(kAscii, " \r\n"), "");
    // What follows "^" is told.
    for (const std::string bad :
         {"1 ^x 2 3", "1,^,2", "1 2 ^/ 3", "^2*1 3", "1 ^2.0 3", "1 ^2147483648 3", "1 2^",
          "^-2147483649 1 1", "1 ^99999999999999999999 3", "1 2 ^0x3", "1 ,\n ^,",
          "1 2 ^\x01\x02z"}) {
        const std::size_t at = bad.find('^');
        std::string told = bad.substr(at + 1);
        if (told[0] == '\x01') told = "  z";
        if (told.empty()) told = "the file ends within the record";
        EXPECT_EQ(read(kAscii, "9 8 7\n" + bad.substr(0, at) + bad.substr(at + 1) + "\r\n"),
                  "9 8 7;!" + told);
    }
    EXPECT_EQ(read(kAscii, std::string(500, 'x')), "!" + std::string(60, 'x'));
}

TEST_F(ElementFileTest, DecimalCommasAreCounted) {
    // The second comma is the last byte that a buffer of 64 KiB holds.
    std::string text = "1 1 2, 5\n1 2 1,25\n";
    text += std::string(65536 - 6 - text.size(), ' ') + "1 1 1,25\n2 2 1,x\n3 3 1,";
    EXPECT_EQ(read(kAscii, text), "1 1 2;1 2 1;1 1 1;2 2 1;3 3 1;");
    ElementFile file;
    MatrixElement e;
    ASSERT_EQ(file.open("elements", kAscii), 0);
    while (file.read(e) == FileAnswer::record) continue;
    EXPECT_EQ(file.decimal_commas().n, 2);
    EXPECT_EQ(file.decimal_commas().first, 2);
}

TEST_F(ElementFileTest, BinaryAndRecordsOfIds) {
    const MatrixElement element{1, -2, 2.5};
    const std::string body(reinterpret_cast<const char*>(&element), 16), good = framed(body);
    EXPECT_EQ(read(kBinaryFile, good + framed(body + "more")), "1 -2 2.5;1 -2 2.5;");
    for (const std::string& bad : {good.substr(0, 23), good.substr(0, 2), framed(body.substr(1)),
                                   framed(body, 1), std::string(4, '\xff') + body})
        EXPECT_EQ(read(kBinaryFile, good + good + bad),
                  "1 -2 2.5;1 -2 2.5;!it is cut, shorter than 16 bytes, or without its length on "
                  "both sides");
    int32_t ids[2];
    ElementFile file;
    ASSERT_EQ(file.open("elements", kBinaryFile, 1), 0);
    EXPECT_EQ(file.read(std::span(ids).first(1)), FileAnswer::record);
    EXPECT_EQ(ids[0], 1);
    std::ofstream("ids") << "1 2 x\n3\n4\n5";
    ASSERT_EQ(file.open("ids", kAscii, 2), 0);
    EXPECT_EQ(file.read(ids), FileAnswer::record);
    EXPECT_EQ(file.read(ids), FileAnswer::record);
    EXPECT_EQ(ids[1], 4);
    EXPECT_EQ(file.read(ids), FileAnswer::failure);
}
