// The least that a program must do for the benchmark's data: it parses the text twice with
// std::from_chars, ranks the three class columns once in memory and writes the recoded values.
// KVE1 is measured against it. It checks nothing and knows nothing of models.
//
//     yardstick DATA OUTPUT
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <vector>

namespace {

constexpr int kIntegers = 5, kReals = 5, kClasses = 3;
constexpr int kClassColumn[kClasses] = {1, 2, 3};
constexpr int kTraitColumn[kClasses] = {2, 3, 4};
constexpr std::size_t kBuffer = std::size_t{1} << 20;

struct Record {
    std::int64_t integers[kIntegers];
    double reals[kReals];
};

const char* skip_blanks(const char* at) {
    while (*at == ' ') ++at;
    return at;
}

// Calls `use` for each line of the file.
template <class Use>
void parse(const char* path, Use use) {
    static char buffer[kBuffer];
    int file = ::open(path, O_RDONLY);
    std::size_t held = 0;
    Record record;
    for (;;) {
        ssize_t got = ::read(file, buffer + held, kBuffer - held);
        if (got <= 0) break;
        const char* end = buffer + held + got;
        const char* at = buffer;
        while (auto* line_end = static_cast<const char*>(
                   std::memchr(at, '\n', static_cast<std::size_t>(end - at)))) {
            for (std::int64_t& value : record.integers)
                at = std::from_chars(skip_blanks(at), line_end, value).ptr;
            for (double& value : record.reals)
                at = std::from_chars(skip_blanks(at), line_end, value).ptr;
            use(record);
            at = line_end + 1;
        }
        held = static_cast<std::size_t>(end - at);
        std::memmove(buffer, at, held);
    }
    ::close(file);
}

}  // namespace

int main(int count, char** words) {
    if (count != 3) return 1;
    std::vector<std::int32_t> identities[kClasses];
    parse(words[1], [&](const Record& record) {
        for (int c = 0; c < kClasses; ++c)
            identities[c].push_back(static_cast<std::int32_t>(record.integers[kClassColumn[c]]));
    });
    for (std::vector<std::int32_t>& column : identities) {
        std::sort(column.begin(), column.end());
        column.erase(std::unique(column.begin(), column.end()), column.end());
    }
    std::FILE* output = std::fopen(words[2], "wb");
    if (output == nullptr) return 1;
    parse(words[1], [&](const Record& record) {
        std::int32_t levels[kClasses];
        float traits[kClasses];
        for (int c = 0; c < kClasses; ++c) {
            const std::vector<std::int32_t>& column = identities[c];
            auto key = static_cast<std::int32_t>(record.integers[kClassColumn[c]]);
            auto place = std::lower_bound(column.begin(), column.end(), key);
            levels[c] = static_cast<std::int32_t>(place - column.begin()) + 1;
            traits[c] = static_cast<float>(record.reals[kTraitColumn[c]]);
        }
        std::fwrite(levels, sizeof levels, 1, output);
        std::fwrite(traits, sizeof traits, 1, output);
    });
    return std::fclose(output) == 0 ? 0 : 1;
}
