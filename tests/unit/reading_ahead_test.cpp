// Records made ahead are those that the procedure makes one by one, and so is what ends them.
#include "base/reading_ahead.h"

#include <cstring>

#include "testing.h"

using namespace kve;

namespace {

constexpr int32_t kFault = 5;

struct Numbers {
    int64_t made = 0, n = 0;
    std::size_t bytes = 8;
};

int32_t make_number(void* source, void* to) {
    auto& from = *static_cast<Numbers*>(source);
    if (from.made == from.n) return kFault;
    ++from.made;
    std::memset(to, 0, from.bytes);
    std::memcpy(static_cast<char*>(to) + from.bytes - 8, &from.made, 8);
    return 0;
}

// As many records as told hold 1, 2, ...; true when another one is there.
bool goes_on_after(ReadingAhead& ahead, const Numbers& from, int64_t n) {
    for (int64_t k = 1; k <= n; ++k) {
        const void* record = ahead.next();
        if (record == nullptr) return ADD_FAILURE() << "ends before record " << k, false;
        int64_t number;
        std::memcpy(&number, static_cast<const char*>(record) + from.bytes - 8, 8);
        if (number != k) return ADD_FAILURE() << number << " for " << k, false;
    }
    return ahead.next() != nullptr;
}

}  // namespace

// A block holds 65536 bytes: the last record stands inside the first block, at its end, behind it,
// in a later turn of the ring; one record is longer than a block.
TEST(ReadingAhead, HandsOutEveryRecordAndWhatEndedThem) {
    for (const auto& [bytes, n] : std::vector<std::pair<std::size_t, int64_t>>{{8, 0},
                                                                               {8, 1},
                                                                               {8, 8191},
                                                                               {8, 8192},
                                                                               {8, 8193},
                                                                               {40, 50000},
                                                                               {12, 32768},
                                                                               {100000, 9}}) {
        SCOPED_TRACE(testing::Message() << n << " of " << bytes);
        Numbers from{.n = n, .bytes = bytes};
        ReadingAhead ahead;
        ASSERT_EQ(ahead.open(make_number, &from, bytes), 0);
        for (const int64_t read : {n, n / 2, n / 3, int64_t{0}, n}) {
            const bool is_whole = read == n;
            EXPECT_EQ(goes_on_after(ahead, from, read), !is_whole);
            EXPECT_TRUE(!is_whole || (ahead.status() == kFault && ahead.next() == nullptr));
            ahead.stop();
            from.made = 0;
        }
        EXPECT_EQ(goes_on_after(ahead, from, 0), n > 0) << "and is left under way";
    }
}
