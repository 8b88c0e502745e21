// Makes a pedigree as of dairy cattle, the data of half of the animals and directives, for
// measuring what a pedigree costs.
//
//     generate_pedigree ANIMALS METHOD sorted|shuffled FOLDER
//
// Generations overlap: animals are born at an even rate, cows calve from their third year on and a
// few times, sires are used for some years. One sire in a hundred is popular; these have half of
// the progeny. Some parents are missing, and those of the first years are all unknown. Under METHOD
// 6 unknown parents are phantom groups. IDs have nothing to do with the order of birth; the sort
// variable is the day of birth. Pedigree and data are in the order of birth or in random order. The
// same arguments give the same files:
//
//     pedigree, data
//     directives    an animal model of two traits
//     plain         the same model, without the relationships
//
// Prints what the pedigree is like.
#include <algorithm>
#include <cinttypes>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <numeric>
#include <random>
#include <string>
#include <vector>

#include "output.h"

namespace {

constexpr std::uint32_t kSeed = 20;
constexpr std::int64_t kYears = 40, kFirstDay = 20000;
constexpr double kDaysPerYear = 365.25;
constexpr std::int64_t kAnimalsPerSire = 50, kSiresPerPopular = 100;
constexpr double kSireAge = 2, kYearsInUse = 3, kPopularYears = 7;
constexpr double kDamAge = 2;
constexpr int kAnimalsPerHerd = 100;
constexpr std::int64_t kUnknown = -1;

std::mt19937 random_bits(kSeed);

double chance() { return static_cast<double>(random_bits()) / 4294967296.0; }

std::int64_t below(std::int64_t limit) {
    return static_cast<std::int64_t>(chance() * static_cast<double>(limit));
}

// Animals are numbered from 0 in the order of birth.
struct Animal {
    std::int64_t sire = kUnknown, dam = kUnknown;
    bool female;
};

struct Herdbook {
    std::vector<Animal> animals;

    std::int64_t size() const { return static_cast<std::int64_t>(animals.size()); }
    double births_per_year() const { return static_cast<double>(size()) / kYears; }
    std::int64_t day(std::int64_t animal) const {
        return kFirstDay + static_cast<std::int64_t>(static_cast<double>(animal) /
                                                     births_per_year() * kDaysPerYear);
    }
    std::int64_t year(std::int64_t animal) const {
        return static_cast<std::int64_t>(static_cast<double>(animal) / births_per_year());
    }
};

// IDs are a permutation of the numbers below 2^31 - 1, so that they are neither dense nor in order.
std::int64_t id_of(std::int64_t animal) { return (animal + 1) * 48271 % 2147483647; }

// The sires of one kind are the animals first, first + step, first + 2 step and so on. A random one
// of those that are in use when `calf` is born.
std::int64_t pick_bull(const Herdbook& book, std::int64_t calf, std::int64_t first,
                       std::int64_t step, double years_in_use) {
    double youngest = static_cast<double>(calf) - kSireAge * book.births_per_year() - 1;
    double oldest = youngest - years_in_use * book.births_per_year();
    if (youngest < static_cast<double>(first)) return kUnknown;
    auto place = [&](double animal) {
        return static_cast<std::int64_t>(animal - static_cast<double>(first)) / step;
    };
    std::int64_t from = oldest < static_cast<double>(first) ? 0 : place(oldest) + 1;
    std::int64_t to = place(youngest);
    return from > to ? kUnknown : first + step * (from + below(to - from + 1));
}

constexpr std::int64_t kFirstSire = 25;

bool is_sire(std::int64_t animal) { return animal % kAnimalsPerSire == kFirstSire; }

std::int64_t pick_sire(const Herdbook& book, std::int64_t calf) {
    constexpr std::int64_t kFirstPopular = kFirstSire + 10 * kAnimalsPerSire;
    std::int64_t sire = kUnknown;
    if (chance() < 0.5)
        sire =
            pick_bull(book, calf, kFirstPopular, kAnimalsPerSire * kSiresPerPopular, kPopularYears);
    if (sire == kUnknown) sire = pick_bull(book, calf, kFirstSire, kAnimalsPerSire, kYearsInUse);
    return sire;
}

// Most cows calve young.
std::int64_t pick_dam(const Herdbook& book, std::int64_t calf) {
    double age = kDamAge;
    while (age < 9 && chance() < 0.7) age += 1;
    age += chance();
    auto dam = calf - 1 - static_cast<std::int64_t>(age * book.births_per_year());
    while (dam >= 0 && !book.animals[static_cast<std::size_t>(dam)].female) --dam;
    return dam < 0 ? kUnknown : dam;
}

void breed(Herdbook& book) {
    for (std::int64_t i = 0; i < book.size(); ++i) {
        Animal& animal = book.animals[static_cast<std::size_t>(i)];
        animal.female = !is_sire(i) && chance() < 0.51;
        double gap = chance();  // neither parent, no sire or no dam on record
        if (gap >= 0.03 && !(gap < 0.08)) animal.sire = pick_sire(book, i);
        if (gap >= 0.03 && !(gap >= 0.08 && gap < 0.13)) animal.dam = pick_dam(book, i);
    }
}

std::int64_t distinct_ancestors(const Herdbook& book, std::int64_t animal) {
    std::vector<std::int64_t> found{animal};
    std::vector<bool> seen(static_cast<std::size_t>(animal) + 1);
    for (std::size_t k = 0; k < found.size(); ++k) {
        const Animal& one = book.animals[static_cast<std::size_t>(found[k])];
        for (std::int64_t parent : {one.sire, one.dam}) {
            if (parent == kUnknown || seen[static_cast<std::size_t>(parent)]) continue;
            seen[static_cast<std::size_t>(parent)] = true;
            found.push_back(parent);
        }
    }
    return static_cast<std::int64_t>(found.size()) - 1;
}

void describe(const Herdbook& book) {
    std::vector<std::int64_t> progeny(book.animals.size());
    std::int64_t sires = 0, with_sire = 0, of_popular = 0;
    for (const Animal& animal : book.animals)
        if (animal.sire != kUnknown) {
            ++with_sire;
            if (++progeny[static_cast<std::size_t>(animal.sire)] == 1) ++sires;
        }
    std::sort(progeny.rbegin(), progeny.rend());
    for (std::int64_t k = 0; k < std::min(sires, 1 + sires / kSiresPerPopular); ++k)
        of_popular += progeny[static_cast<std::size_t>(k)];
    constexpr std::int64_t kSample = 1000;
    double all = 0, youngest = 0;
    for (std::int64_t k = 0; k < kSample; ++k) {
        all += static_cast<double>(distinct_ancestors(book, k * book.size() / kSample));
        auto late = book.size() - 1 - static_cast<std::int64_t>(chance() * book.births_per_year());
        youngest += static_cast<double>(distinct_ancestors(book, late));
    }
    std::printf("%" PRId64 " animals, %" PRId64
                " sires, the first hundredth with %.0f%% of the "
                "progeny; ancestors an animal %.0f, in the last year %.0f\n",
                book.size(), sires,
                100.0 * static_cast<double>(of_popular) /
                    static_cast<double>(std::max<std::int64_t>(with_sire, 1)),
                all / kSample, youngest / kSample);
}

// Phantom groups: unknown sires and unknown dams of calves of five years.
void write_pedigree(const Herdbook& book, const std::vector<std::int32_t>& order, bool groups,
                    const std::string& folder) {
    std::FILE* file = create(folder + "/pedigree");
    for (std::int64_t i : order) {
        const Animal& animal = book.animals[static_cast<std::size_t>(i)];
        std::int64_t unknown = groups ? -1 - book.year(i) / 5 : 0;
        std::fprintf(file, "%" PRId64 " %" PRId64 " %" PRId64 " %" PRId64 "\n", id_of(i),
                     animal.sire == kUnknown ? unknown : id_of(animal.sire),
                     animal.dam == kUnknown ? unknown * 100 : id_of(animal.dam), book.day(i));
    }
    close(file);
}

// One record for each female.
void write_data(const Herdbook& book, const std::vector<std::int32_t>& order,
                const std::string& folder) {
    std::FILE* file = create(folder + "/data");
    std::int64_t herds = book.size() / kAnimalsPerHerd + 1;
    for (std::int64_t i : order) {
        if (!book.animals[static_cast<std::size_t>(i)].female) continue;
        std::int64_t season = (book.year(i) + 2) * 100 + 1 + below(4);
        std::fprintf(file, "%" PRId64 " %" PRId64 " %" PRId64 " %" PRId64 " %.0f %.1f\n", id_of(i),
                     10000 + below(herds), season, 1 + below(3), 6000 + 4000 * chance(),
                     below(20) == 0 ? -999.0 : 250 + 150 * chance());
    }
    close(file);
}

void write_directives(const std::string& path, const std::string& structure) {
    std::FILE* file = create(path);
    std::fprintf(file,
                 "$COMMENT\nTwo traits, three fixed effects, animals\n"
                 "$ANALYSE 1 1 0 0\n"
                 "$DATA ASCII (4,2,-998.0) data\n"
                 "$VARIABLE\nANIMAL HERD SEASON PARITY\nMILK FAT\n"
                 "$MODEL\n2\n0\n0\n"
                 "1 0 4 2 3 4 1\n2 0 4 2 3 4 1\n"
                 "1 1\n1 1\n0\n0\n0\n"
                 "%s"
                 "$PRIOR\n"
                 "1 1 1 300000\n1 2 2 500\n"
                 "2 1 1 700000\n2 2 2 1200\n",
                 structure.c_str());
    close(file);
}

}  // namespace

int main(int count, char** words) {
    if (count != 5) {
        std::fputs("usage: generate_pedigree ANIMALS METHOD sorted|shuffled FOLDER\n", stderr);
        return 1;
    }
    const std::int64_t n = std::strtoll(words[1], nullptr, 10);
    const std::string method = words[2], folder = words[4];
    if (n < 1 || n > 100000000) return 1;

    Herdbook book;
    book.animals.resize(static_cast<std::size_t>(n));
    breed(book);
    describe(book);
    std::vector<std::int32_t> order(static_cast<std::size_t>(n));
    std::iota(order.begin(), order.end(), 0);
    const bool shuffled = std::string(words[3]) == "shuffled";
    if (shuffled) std::shuffle(order.begin(), order.end(), random_bits);
    write_pedigree(book, order, method == "6", folder);
    if (shuffled) std::shuffle(order.begin(), order.end(), random_bits);
    write_data(book, order, folder);
    write_directives(folder + "/directives", "$VAR_STR 1 PED " + method + " ASCII pedigree\n");
    write_directives(folder + "/plain", "");
}
