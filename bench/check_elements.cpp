// Checks a file of elements of the inverse relationship matrix against the dense tabular matrix of
// the pedigree: their product must be the identity. For some thousand animals, each born on a day
// of its own.
//
//     check_elements PEDIGREE 1|2 ELEMENTS
//
// Ends with 1 when the product is wrong, or when rows or columns do not ascend.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <map>
#include <vector>

namespace {

struct Animal {
    int id, sire, dam, birth;
};

// Row and column 0, the unknown parent, are 0.
struct Dense {
    std::size_t n;
    std::vector<double> values = std::vector<double>((n + 1) * (n + 1));
    double& operator()(std::size_t i, std::size_t j) { return values[i * (n + 1) + j]; }
};

std::vector<Animal> read_by_birth(const char* path) {
    std::vector<Animal> animals;
    std::FILE* file = std::fopen(path, "r");
    Animal a;
    while (file != nullptr &&
           std::fscanf(file, "%d %d %d %d", &a.id, &a.sire, &a.dam, &a.birth) == 4)
        animals.push_back(a);
    if (file != nullptr) std::fclose(file);
    std::sort(animals.begin(), animals.end(),
              [](const Animal& x, const Animal& y) { return x.birth < y.birth; });
    return animals;
}

Dense relationships(const std::vector<Animal>& animals, bool inbreeding) {
    Dense A{animals.size()};
    std::map<int, std::size_t> level{{0, 0}};
    for (std::size_t i = 1; i <= A.n; ++i) {
        std::size_t sire = level.at(animals[i - 1].sire), dam = level.at(animals[i - 1].dam);
        level[animals[i - 1].id] = i;
        for (std::size_t j = 1; j < i; ++j) A(i, j) = A(j, i) = 0.5 * (A(sire, j) + A(dam, j));
        double variance = 1 - 0.25 * ((sire != 0) + (dam != 0));
        A(i, i) = inbreeding ? 1 + 0.5 * A(sire, dam)
                             : variance + 0.25 * (A(sire, sire) + A(dam, dam) + 2 * A(sire, dam));
    }
    return A;
}

// Adds one element's part of the product. False for an element that is out of place.
bool multiply(const char* record, Dense& A, Dense& product) {
    static std::int64_t last = 0;
    std::int32_t head, column, row, tail;
    double value;
    std::memcpy(&head, record, 4);
    std::memcpy(&column, record + 4, 4);
    std::memcpy(&row, record + 8, 4);
    std::memcpy(&value, record + 12, 8);
    std::memcpy(&tail, record + 20, 4);
    std::int64_t place = (std::int64_t{row} << 32) + column;
    if (head != 16 || tail != 16 || column < 1 || row < column || place <= last ||
        row > static_cast<std::int64_t>(A.n))
        return false;
    last = place;
    auto r = static_cast<std::size_t>(row), c = static_cast<std::size_t>(column);
    for (std::size_t j = 1; j <= A.n; ++j) {
        product(r, j) += value * A(c, j);
        if (r != c) product(c, j) += value * A(r, j);
    }
    return true;
}

}  // namespace

int main(int count, char** words) {
    if (count != 4) return 2;
    std::vector<Animal> animals = read_by_birth(words[1]);
    Dense A = relationships(animals, *words[2] == '1');
    Dense product{A.n};
    std::FILE* file = std::fopen(words[3], "rb");
    if (file == nullptr || A.n == 0) return 2;
    char record[24];
    int elements = 0;
    for (std::size_t got; (got = std::fread(record, 1, sizeof record, file)) > 0; ++elements)
        if (got != sizeof record || !multiply(record, A, product)) {
            std::printf("element %d is out of place\n", elements + 1);
            return 1;
        }
    std::fclose(file);
    double worst = 0;
    for (std::size_t i = 1; i <= A.n; ++i)
        for (std::size_t j = 1; j <= A.n; ++j)
            worst = std::max(worst, std::abs(product(i, j) - (i == j)));
    double inbreeding = 0;
    for (std::size_t i = 1; i <= A.n; ++i) inbreeding += A(i, i) - 1;
    std::printf(
        "%zu animals, mean inbreeding %.4f, %d elements: off the identity by at most %.1e\n", A.n,
        inbreeding / static_cast<double>(A.n), elements, worst);
    return worst < 1e-8 ? 0 : 1;
}
