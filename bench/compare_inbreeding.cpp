// Compares ways to find the diagonals of A and L, A = L L', and ln |A| for one pedigree: CPU time,
// memory, and how far the results are apart.
//
//     compare_inbreeding PEDIGREE [SECONDS]
//
// PEDIGREE is as generate_pedigree writes it: every parent has a record of its own and is born
// before its progeny; codes below 1 are unknown parents. A way that needs more than SECONDS of CPU
// time, 600 by default, is given up.
//
//     families      find_inbreeding of KVE1: all mates of a sire at a time
//     descendants   L column by column, an animal's column going through its descendants only. The
//                   same operations in the same order as on whole columns, so AD, LD and ln |A|
//                   have the bits of the plain recursion.
//     ancestors     L row by row, an animal's row going through its ancestors
//
// Each way runs in a process of its own. Memory is what it adds to the list of the animals.
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <utility>
#include <vector>

#include "pedigree/inbreeding.h"
#include "store/big_tables.h"

namespace {

using kve::Parentage;
using kve::Vec;

WRITES(AD);
WRITES(LD);

[[noreturn]] void fail(const char* what) {
    std::fprintf(stderr, "compare_inbreeding: %s\n", what);
    std::exit(1);
}

template <class Table>
void allocate(Table& table, int64_t n) {
    if (table.allocate(n) != 0) fail("no memory");
}

struct Animal {
    int32_t id, sire, dam, birth;
};

std::vector<Animal> read_by_birth(const char* path) {
    std::vector<Animal> animals;
    std::FILE* file = std::fopen(path, "r");
    if (file == nullptr) fail("the pedigree cannot be opened");
    Animal a;
    while (std::fscanf(file, "%d %d %d %d", &a.id, &a.sire, &a.dam, &a.birth) == 4)
        animals.push_back(a);
    if (std::feof(file) == 0 || animals.empty()) fail("the pedigree is not as expected");
    std::fclose(file);
    std::stable_sort(animals.begin(), animals.end(),
                     [](const Animal& x, const Animal& y) { return x.birth < y.birth; });
    return animals;
}

// Levels follow the order of birth.
Vec<Parentage> link(const std::vector<Animal>& animals) {
    std::vector<std::pair<int32_t, int32_t>> places;  // by ID
    places.reserve(animals.size());
    for (const Animal& a : animals)
        places.emplace_back(a.id, static_cast<int32_t>(places.size() + 1));
    std::sort(places.begin(), places.end());
    Vec<Parentage> parentage;
    allocate(parentage, static_cast<int64_t>(animals.size()));
    int32_t own = 0;
    auto place_of = [&](int32_t parent) {
        if (parent <= 0) return 0;
        auto found = std::lower_bound(places.begin(), places.end(), std::pair{parent, 0});
        if (found == places.end() || found->first != parent) fail("a parent has no record");
        if (found->second >= own) fail("a parent is not older than its progeny");
        return found->second;
    };
    for (const Animal& a : animals) {
        ++own;
        parentage(own) = {own, place_of(a.sire), place_of(a.dam)};
    }
    return parentage;
}

// A set of places 1..n from which the first is taken: bits, and above each 64 of them one that
// tells whether any is set.
class PlaceSet {
 public:
    explicit PlaceSet(int64_t n) {
        do {
            n = n / 64 + 1;
            allocate(words_[n_levels_++], n);
        } while (n > 1);
    }

    void insert(int32_t place) {
        for (int level = 0; level < n_levels_; ++level, place /= 64)
            if (std::exchange(word(level, place), word(level, place) | bit(place)) != 0) return;
    }

    // 0 when the set is empty.
    int32_t take_first() {
        int32_t place = 0;
        for (int level = n_levels_ - 1; level >= 0; --level) {
            if (words_[level](place) == 0) return 0;
            place = place * 64 + std::countr_zero(words_[level](place));
        }
        int32_t taken = place;
        for (int level = 0; level < n_levels_; ++level, taken /= 64)
            if ((word(level, taken) &= ~bit(taken)) != 0) break;
        return place;
    }

 private:
    static uint64_t bit(int32_t place) { return uint64_t{1} << place % 64; }
    uint64_t& word(int level, int32_t place) { return words_[level](place / 64); }

    Vec<uint64_t, 0> words_[6];
    int n_levels_ = 0;
};

// The progeny of x are list(first(x)) to list(first(x + 1) - 1).
struct Progeny {
    Vec<int32_t, 0> first, list;

    explicit Progeny(const Vec<Parentage>& parentage) {
        allocate(first, parentage.size() + 2);
        allocate(list, 2 * parentage.size());
        for (const Parentage& p : parentage) ++first(p.sire), ++first(p.dam);
        int32_t behind = 0;
        for (int32_t& place : first) place = behind += place;
        for (int64_t x = parentage.size(); x >= 1; --x)
            for (int32_t parent : {parentage(x).sire, parentage(x).dam})
                list(--first(parent)) = parentage(x).animal;
    }
};

double diagonal_of_A(int32_t parent) { return parent == 0 ? 0.0 : AD(parent); }

double diagonal_of_L(const Parentage& p) {
    return std::sqrt(1.0 - (diagonal_of_A(p.sire) + diagonal_of_A(p.dam)) * 0.25);
}

double by_descendants(const Vec<Parentage>& parentage) {
    const int32_t n = static_cast<int32_t>(parentage.size());
    const Progeny progeny(parentage);
    PlaceSet waiting(n);
    Vec<double, 0> column;  // of L; 0 between the animals
    allocate(column, n + 1);
    std::vector<int32_t> line;
    double sum = 0.0;
    for (int32_t x = 1; x <= n; ++x) {
        LD(x) = diagonal_of_L(parentage(x));
        sum += std::log(LD(x));
        line.clear();
        for (int32_t r = x; r != 0; r = waiting.take_first()) {
            const Parentage& p = parentage(r);
            column(r) = r == x ? LD(x) : (column(p.sire) + column(p.dam)) * 0.5;
            AD(r) += column(r) * column(r);
            line.push_back(r);
            for (int32_t k = progeny.first(r); k < progeny.first(r + 1); ++k)
                waiting.insert(progeny.list(k));
        }
        for (int32_t r : line) column(r) = 0.0;
    }
    return 2.0 * sum;
}

double by_ancestors(const Vec<Parentage>& parentage) {
    const int32_t n = static_cast<int32_t>(parentage.size());
    PlaceSet waiting(n);   // places counted from the youngest
    Vec<double, 0> share;  // contribution of an ancestor to the animal; 0 between the animals
    allocate(share, n + 1);
    double sum = 0.0;
    for (int32_t x = 1; x <= n; ++x) {
        LD(x) = diagonal_of_L(parentage(x));
        sum += std::log(LD(x));
        share(x) = 1.0;
        waiting.insert(n + 1 - x);
        while (int32_t from_the_end = waiting.take_first()) {
            const int32_t a = n + 1 - from_the_end;
            const double element = share(a) * LD(a);
            AD(x) += element * element;
            for (int32_t parent : {parentage(a).sire, parentage(a).dam}) {
                if (parent == 0) continue;
                share(parent) += 0.5 * share(a);
                waiting.insert(n + 1 - parent);
            }
            share(a) = 0.0;
        }
    }
    return 2.0 * sum;
}

// What a process leaves in shared memory.
struct Figures {
    bool finished;
    double seconds, megabytes, log_det;
};
struct Outcome {
    const char* way;
    Figures* figures;
    double *ad, *ld;
};

template <class T>
T* shared(int64_t n) {
    void* memory = ::mmap(nullptr, static_cast<std::size_t>(n) * sizeof(T), PROT_READ | PROT_WRITE,
                          MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED) fail("no memory");
    return static_cast<T*>(memory);
}

double peak_megabytes() {
    rusage used;
    ::getrusage(RUSAGE_SELF, &used);
    return static_cast<double>(used.ru_maxrss) / 1024.0;
}

Outcome run(const char* way, double (*find)(const Vec<Parentage>&), const Vec<Parentage>& parentage,
            rlim_t limit) {
    const int64_t n = parentage.size();
    const Outcome outcome{way, shared<Figures>(1), shared<double>(n), shared<double>(n)};
    const pid_t child = ::fork();
    if (child == 0) {
        const rlimit limits{limit, limit};
        ::setrlimit(RLIMIT_CPU, &limits);
        const double before = peak_megabytes();
        const std::clock_t start = std::clock();
        allocate(AD, n);
        allocate(LD, n);
        const double log_det = find(parentage);
        const double seconds = static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC;
        *outcome.figures = {true, seconds, peak_megabytes() - before, log_det};
        std::copy(AD.begin(), AD.end(), outcome.ad);
        std::copy(LD.begin(), LD.end(), outcome.ld);
        ::_exit(0);
    }
    if (child < 0 || ::waitpid(child, nullptr, 0) != child) fail("a process cannot be run");
    if (outcome.figures->finished)
        std::printf("%-24s %9.2f %9.1f %22.15g\n", way, outcome.figures->seconds,
                    outcome.figures->megabytes, outcome.figures->log_det);
    else
        std::printf("%-24s given up\n", way);
    std::fflush(stdout);
    return outcome;
}

double largest_difference(const double* a, const double* b, int64_t n) {
    double largest = 0.0;
    for (int64_t k = 0; k < n; ++k) largest = std::max(largest, std::abs(a[k] - b[k]));
    return largest;
}

void compare(const Outcome& a, const Outcome& b, int64_t n) {
    if (!a.figures->finished || !b.figures->finished) return;
    const double difference = std::abs(a.figures->log_det - b.figures->log_det);
    std::printf("%-11s, %-11s %9.1e %9.1e %22.1e\n", a.way, b.way,
                largest_difference(a.ad, b.ad, n), largest_difference(a.ld, b.ld, n), difference);
}

}  // namespace

int main(int count, char** words) {
    if (count < 2 || count > 3) fail("usage: compare_inbreeding PEDIGREE [SECONDS]");
    const rlim_t limit = count == 3 ? std::strtoul(words[2], nullptr, 10) : 600;
    const Vec<Parentage> parentage = link(read_by_birth(words[1]));
    const int64_t n = parentage.size();
    std::printf("%-24s %9s %9s %22s\n", "way", "CPU s", "MB", "ln |A|");
    const Outcome families = run("families", kve::find_inbreeding, parentage, limit);
    const Outcome descendants = run("descendants", by_descendants, parentage, limit);
    const Outcome ancestors = run("ancestors", by_ancestors, parentage, limit);
    std::printf("\n%-24s %9s %9s %22s\n", "largest differences", "AD", "LD", "ln |A|");
    compare(families, descendants, n);
    compare(ancestors, descendants, n);
    compare(families, ancestors, n);
}
