// Makes data and directives for measuring the main road: 5 integer and 5 real columns, three
// traits, two fixed effects and one random effect of type I.
//
//     generate_data RECORDS LEVELS random|sorted FOLDER
//
// LEVELS is the number of levels of the random effect, 0 for one per 20 records. Their identities
// are drawn anew for each record, or the file is sorted by them. The same arguments give the same
// file.
#include <cinttypes>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>

#include "output.h"

namespace {

constexpr std::uint32_t kSeed = 20;
constexpr int kSexes = 2;
constexpr int kSeasons = 60;

void write_directives(const std::string& folder) {
    std::FILE* file = create(folder + "/directives");
    std::fputs(
        "$COMMENT\nThree traits, two fixed effects, one random effect\n"
        "$ANALYSE 1 1 0 0\n"
        "$DATA ASCII (5,5,-999.0) data\n"
        "$VARIABLE\nANIMAL HERD SEX SEASON PARITY\nAGE LENGTH WEIGHT1 WEIGHT2 WEIGHT3\n"
        "$MODEL\n3\n0\n0\n0\n"
        "3 0 3 3 4 2\n4 0 3 3 4 2\n5 0 3 3 4 2\n"
        "1 1\n1 1\n1 1\n0\n0\n0\n0\n"
        "$PRIOR\n"
        "1 1 1 2.0\n1 2 2 2.0\n1 3 3 2.0\n"
        "2 1 1 9.0\n2 2 2 9.0\n2 3 3 9.0\n",
        file);
    close(file);
}

}  // namespace

int main(int count, char** words) {
    if (count != 5) {
        std::fputs("usage: generate_data RECORDS LEVELS random|sorted FOLDER\n", stderr);
        return 1;
    }
    const std::int64_t n = std::strtoll(words[1], nullptr, 10);
    std::int64_t levels = std::strtoll(words[2], nullptr, 10);
    const bool sorted = std::string(words[3]) == "sorted";
    const std::string folder = words[4];
    if (n < 1 || levels < 0) return 1;
    if (levels == 0) levels = n / 20 + 1;

    std::mt19937 random(kSeed);
    auto below = [&](std::int64_t limit) {
        return static_cast<std::int64_t>(random() * std::uint64_t(limit) >> 32);
    };
    auto real = [&](double least, double range) {
        return least + range * static_cast<double>(random()) / 4294967296.0;
    };
    std::FILE* data = create(folder + "/data");
    for (std::int64_t k = 0; k < n; ++k) {
        std::int64_t level = sorted ? k * levels / n : below(levels);
        // Identities are numbers of people's making: not dense, not in the order of the file.
        std::int64_t herd = 100000 + level * 7919 % 1000003 + level / 1000003 * 1000003;
        bool missing = below(20) == 0;
        std::fprintf(data,
                     "%" PRId64 " %" PRId64 " %" PRId64 " %" PRId64 " %" PRId64
                     " %.0f %.1f %.1f %.2f %.1f\n",
                     k + 1, herd, 1 + below(kSexes), 201001 + below(kSeasons), 1 + below(5),
                     real(150, 100), real(80, 40), real(25, 30), real(180, 120),
                     missing ? -999.0 : real(300, 250));
    }
    close(data);
    write_directives(folder);
}
