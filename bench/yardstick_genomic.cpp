// The least that a program must do to get from a pedigree, typed animals and a genomic matrix in
// text to the elements that these add to the inverse relationship matrix. KVE1 is measured against
// it. It checks nothing, leaves inbreeding out and makes no inverse of A.
//
//     yardstick_genomic PEDIGREE TYPED GENOMIC OUTPUT
//     yardstick_genomic GENOMIC      parses the text and does no more; prints the sum of it
#include <cstdlib>
#include <fstream>

#include "pedigree_in_order.h"

extern "C" {
void dpotrf_(const char* uplo, const int* n, double* a, const int* lda, int* info,
             std::size_t uplo_length);
void dpotri_(const char* uplo, const int* n, double* a, const int* lda, int* info,
             std::size_t uplo_length);
}

namespace {

constexpr double kWeight = 0.05;

// Calls take(id_1, id_2, value) for each line.
template <class Take>
void read_elements(const char* path, Take take) {
    std::vector<char> buffer(kBuffer);
    const int file = ::open(path, O_RDONLY);
    std::size_t held = 0;
    for (ssize_t got; (got = ::read(file, buffer.data() + held, kBuffer - held)) > 0;) {
        const char* from = buffer.data();
        const char* end = from + held + got;
        while (auto* line_end = static_cast<const char*>(
                   std::memchr(from, '\n', static_cast<std::size_t>(end - from)))) {
            std::int32_t id[2];
            double value;
            for (std::int32_t& one : id) {
                while (*from == ' ') ++from;
                from = std::from_chars(from, line_end, one).ptr;
            }
            while (*from == ' ') ++from;
            std::from_chars(from, line_end, value);
            take(id[0], id[1], value);
            from = line_end + 1;
        }
        held = static_cast<std::size_t>(end - from);
        std::memmove(buffer.data(), from, held);
    }
    ::close(file);
}

int parse(const char* path) {
    double sum = 0;
    read_elements(path,
                  [&](std::int32_t a, std::int32_t b, double value) { sum += a + b + value; });
    std::printf("%g\n", sum);
    return 0;
}

struct Typed {
    std::vector<std::int32_t> ids, levels, places;  // in the order of birth
};

Typed read_typed(const char* path, const std::vector<Animal>& animals) {
    std::ifstream file(path);
    std::vector<std::int32_t> ids;
    for (std::int32_t id; file >> id;) ids.push_back(id);
    Levels is_typed(ids.size());
    for (std::int32_t id : ids) is_typed.enter(id, 1);
    Typed typed;
    for (std::size_t i = 0; i < animals.size(); ++i)
        if (is_typed.find(animals[i].id) != 0) {
            typed.ids.push_back(animals[i].id);
            typed.levels.push_back(static_cast<std::int32_t>(i + 1));
        }
    return typed;
}

// The typed animals and their ancestors, by place from 1.
std::vector<Parents> reduce(const std::vector<Parents>& parents, Typed& typed) {
    std::vector<std::int32_t> place(parents.size());
    for (std::int32_t level : typed.levels) place[at(level)] = 1;
    for (std::size_t i = parents.size() - 1; i > 0; --i)
        if (place[i] != 0) place[at(parents[i].sire)] = place[at(parents[i].dam)] = 1;
    place[0] = 0;
    std::vector<Parents> reduced(1);
    for (std::size_t i = 1; i < parents.size(); ++i)
        if (place[i] != 0) {
            place[i] = static_cast<std::int32_t>(reduced.size());
            reduced.push_back({place[at(parents[i].sire)], place[at(parents[i].dam)]});
        }
    for (std::int32_t level : typed.levels) typed.places.push_back(place[at(level)]);
    return reduced;
}

// Lower triangle, column after column, one vector at a time.
std::vector<double> typed_block(const std::vector<Parents>& parents, const Typed& typed) {
    const std::size_t n = typed.places.size();
    std::vector<double> block(n * n), q(parents.size());
    for (std::size_t t = 0; t < n; ++t) {
        const std::size_t last = at(typed.places[t]);
        std::fill(q.begin(), q.begin() + static_cast<std::ptrdiff_t>(last), 0.0);
        q[last] = 1;
        for (std::size_t i = last; i > 0; --i) {
            q[at(parents[i].sire)] += 0.5 * q[i];
            q[at(parents[i].dam)] += 0.5 * q[i];
        }
        q[0] = 0;
        for (std::size_t i = 1; i <= last; ++i) {
            const auto [sire, dam] = parents[i];
            const double share = 1 - 0.25 * ((sire != 0 ? 1 : 0) + (dam != 0 ? 1 : 0));
            q[i] = 0.5 * (q[at(sire)] + q[at(dam)]) + share * q[i];
        }
        for (std::size_t u = 0; u <= t; ++u) block[u * n + t] = q[at(typed.places[u])];
    }
    return block;
}

bool invert(std::vector<double>& matrix, int n) {
    int failed = 0;
    dpotrf_("L", &n, matrix.data(), &n, &failed, 1);
    if (failed == 0) dpotri_("L", &n, matrix.data(), &n, &failed, 1);
    return failed == 0;
}

bool blend(const char* genomic, const Typed& typed, std::vector<double>& a11, const char* output) {
    const std::size_t n = typed.ids.size();
    Levels places(n);
    for (std::size_t t = 0; t < n; ++t)
        places.enter(typed.ids[t], static_cast<std::int32_t>(t + 1));
    std::vector<double> g(n * n);
    read_elements(genomic, [&](std::int32_t id_1, std::int32_t id_2, double value) {
        const std::size_t a = at(places.find(id_1)), b = at(places.find(id_2));
        const std::size_t i = std::max(a, b), j = std::min(a, b);
        g[(j - 1) * n + i - 1] = value;
    });
    for (std::size_t k = 0; k < n * n; ++k) g[k] = (1 - kWeight) * g[k] + kWeight * a11[k];
    if (!invert(a11, static_cast<int>(n)) || !invert(g, static_cast<int>(n))) return false;
    ElementFile file(output);
    for (std::size_t i = 0; i < n; ++i)
        for (std::size_t j = 0; j <= i; ++j)
            file.write(typed.levels[j], typed.levels[i], g[j * n + i] - a11[j * n + i]);
    return file.close();
}

}  // namespace

int main(int count, char** words) {
    if (count == 2) return parse(words[1]);
    if (count != 5) return 1;
    std::vector<Animal> animals = read_pedigree(words[1]);
    sort_by_birth(animals);
    Typed typed = read_typed(words[2], animals);
    const std::vector<Parents> reduced = reduce(link(animals), typed);
    std::vector<double> a11 = typed_block(reduced, typed);
    return blend(words[3], typed, a11, words[4]) ? 0 : 1;
}
