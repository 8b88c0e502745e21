// Makes a table as users have it, and its recipe, for measuring kve prep: alphanumeric identities,
// a herd, a date, a class and five numbers, one in twenty missing.
//
//     generate_table RECORDS plain|quoted FOLDER
//
// A cow has three records on average. The same arguments give the same file.
#include <cinttypes>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>

#include "output.h"

namespace {

constexpr std::uint32_t kSeed = 16;
constexpr std::uint32_t kHerds = 20000;

void write_recipe(const std::string& folder) {
    std::FILE* file = create(folder + "/recipe.toml");
    std::fputs(
        "[data]\nfile = \"table.csv\"\n"
        "[columns]\ncow = \"identity\"\nherd = { role = \"class\", write = false }\n"
        "calved = \"date\"\nlactation = \"class\"\nage = \"real\"\nmilk = \"real\"\n"
        "fat = \"real\"\nprotein = \"real\"\ncells = \"real\"\n"
        "[build]\nYEAR = { year = \"calved\", write = false }\n"
        "HY = { interaction = [\"herd\", \"YEAR\"] }\n",
        file);
    close(file);
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 4) {
        std::fputs("generate_table RECORDS plain|quoted FOLDER\n", stderr);
        return EXIT_FAILURE;
    }
    const auto n = static_cast<std::uint32_t>(std::strtoul(argv[1], nullptr, 10));
    const char* quote = std::string(argv[2]) == "quoted" ? "\"" : "";
    const std::string folder = argv[3];
    std::mt19937 draw(kSeed);
    const auto below = [&](std::uint32_t bound) { return static_cast<unsigned>(draw() % bound); };
    std::FILE* file = create(folder + "/table.csv");
    std::fputs("cow,herd,calved,lactation,age,milk,fat,protein,cells\n", file);
    for (std::uint32_t k = 0; k < n; ++k) {
        const std::uint64_t cow = below(n / 3 + 1) * std::uint64_t{2654435761} % 1000000000000;
        std::fprintf(file, "%sDE%012" PRIu64 "%s,%sH%05u%s,", quote, cow, quote, quote,
                     below(kHerds), quote);
        const unsigned year = 10 + below(12), month = 1 + below(12), day = 1 + below(28);
        std::fprintf(file, "20%02u-%02u-%02u,%u,", year, month, day, 1 + below(5));
        const unsigned age = 600 + below(900);
        const double milk = 5000 + below(60000) / 10.0, fat = 3 + below(200) / 100.0;
        std::fprintf(file, "%u,%.1f,%.2f,", age, milk, fat);
        if (below(20) == 0)
            std::fputs("NA", file);
        else
            std::fprintf(file, "%.2f", 3 + below(100) / 100.0);
        std::fprintf(file, ",%u\n", below(400));
    }
    close(file);
    write_recipe(folder);
}
