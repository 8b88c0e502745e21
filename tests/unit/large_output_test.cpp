// Large files of records: all bytes arrive, and a file that the system cuts is told.
#include <sys/resource.h>

#include <csignal>

#include "base/records.h"
#include "model_builder.h"

using namespace kve;

namespace {

using LargeOutput = ModelTest;  // a folder of its own

constexpr int32_t kRecords = 100000;  // of 20 bytes with their frames

void write_records(RecordOutput& file) {
    ASSERT_EQ(file.open("large"), 0);
    for (int32_t k = 1; k <= kRecords; ++k) write_record(file, k, double{1} / k);
}

}  // namespace

TEST_F(LargeOutput, HoldsEveryRecord) {
    RecordOutput file;
    write_records(file);
    ASSERT_EQ(file.flush() + file.close(), 0);
    RecordInput back;
    ASSERT_EQ(back.open("large"), 0);
    std::array<std::byte, 12> body;
    int32_t n = 0;
    while (back.read_record(body) == RecordInput::Record::ok) {
        int32_t k;
        std::memcpy(&k, body.data(), sizeof k);
        ASSERT_EQ(k, ++n);
    }
    EXPECT_EQ(n, kRecords);
}

// In each of the first buffers, and in the last one, which only the close writes.
TEST_F(LargeOutput, TellsThatTheSystemCutIt) {
    std::signal(SIGXFSZ, SIG_IGN);
    rlimit before;
    ::getrlimit(RLIMIT_FSIZE, &before);
    for (const rlim_t most : {rlim_t{1}, rlim_t{300000}, rlim_t{600000}, rlim_t{1999999}}) {
        const rlimit limit{most, before.rlim_max};
        RecordOutput file;
        ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &limit), 0);
        write_records(file);
        const int flushed = file.flush();
        const int closed = file.close();
        ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &before), 0);
        EXPECT_EQ(flushed, EFBIG) << most;
        EXPECT_EQ(closed, EFBIG) << "and again";
    }
}
