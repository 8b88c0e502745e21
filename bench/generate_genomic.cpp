// Makes what a blended matrix needs beside a pedigree of generate_pedigree, for measuring.
//
//     generate_genomic TYPED FOLDER
//
// Reads FOLDER/pedigree. The typed animals are a random part of the younger half. Their genotypes
// at some hundred markers are dropped down the pedigree; G is made from them as usual, centred by
// the allele frequencies of the typed animals. It has far fewer markers than animals, so it needs
// blending. The same arguments give the same files:
//
//     typed, genomic                         text
//     pedigree.bin, typed.bin, genomic.bin   framed records
//     blended, blended.bin                   directives for either
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <map>
#include <numeric>
#include <random>
#include <string>
#include <vector>

#include "output.h"

namespace {

constexpr std::size_t kMarkers = 400;

struct Animal {
    std::int32_t id, sire, dam, birth;
};

std::mt19937 random_bits(31);

std::vector<Animal> read_pedigree(const std::string& path) {
    std::vector<Animal> animals;
    std::ifstream file(path);
    for (Animal a; file >> a.id >> a.sire >> a.dam >> a.birth;) animals.push_back(a);
    return animals;
}

using Genotype = std::vector<std::int8_t>;  // copies of the second allele, by marker

// One of a parent's two alleles at a marker, as copies of the second allele. An unknown parent,
// which has no genotype, has both alleles equally often.
int drop_allele(const Genotype* parent, std::size_t marker) {
    const int copies = parent == nullptr ? 1 : (*parent)[marker];
    return copies == 2 || (copies == 1 && random_bits() % 2 == 0) ? 1 : 0;
}

std::vector<Genotype> drop_alleles(const std::vector<Animal>& animals) {
    std::map<std::int32_t, std::size_t> place;
    std::vector<Genotype> genotypes(animals.size(), Genotype(kMarkers));
    for (std::size_t i = 0; i < animals.size(); ++i) {
        place[animals[i].id] = i;
        for (std::int32_t id : {animals[i].sire, animals[i].dam}) {
            const auto found = place.find(id);
            const Genotype* parent = found == place.end() ? nullptr : &genotypes[found->second];
            for (std::size_t m = 0; m < kMarkers; ++m)
                genotypes[i][m] =
                    static_cast<std::int8_t>(genotypes[i][m] + drop_allele(parent, m));
        }
    }
    return genotypes;
}

// Rows of the typed animals, centred and scaled so that their products are G.
std::vector<std::vector<float>> centred(const std::vector<Genotype>& genotypes,
                                        const std::vector<std::size_t>& typed) {
    std::vector<std::vector<float>> rows(typed.size(), std::vector<float>(kMarkers));
    double scale = 0;
    for (std::size_t m = 0; m < kMarkers; ++m) {
        double mean = 0;
        for (std::size_t t : typed) mean += genotypes[t][m];
        mean /= static_cast<double>(typed.size());
        scale += mean * (1 - mean / 2);
        for (std::size_t t = 0; t < typed.size(); ++t)
            rows[t][m] = static_cast<float>(genotypes[typed[t]][m] - mean);
    }
    for (auto& row : rows)
        for (float& x : row) x = static_cast<float>(x / std::sqrt(scale));
    return rows;
}

template <class Record>
void put_framed(std::FILE* file, const Record& record) {
    const auto length = static_cast<std::int32_t>(sizeof record);
    std::fwrite(&length, sizeof length, 1, file);
    std::fwrite(&record, sizeof record, 1, file);
    std::fwrite(&length, sizeof length, 1, file);
}

struct Element {
    std::int32_t id_1, id_2;
    double value;
};

void write_genomic(const std::vector<Animal>& animals, const std::vector<std::size_t>& typed,
                   const std::vector<std::vector<float>>& rows, const std::string& folder) {
    std::FILE* text = create(folder + "/genomic");
    std::FILE* binary = create(folder + "/genomic.bin");
    for (std::size_t i = 0; i < typed.size(); ++i)
        for (std::size_t j = 0; j <= i; ++j) {
            float sum = 0;
            for (std::size_t m = 0; m < kMarkers; ++m) sum += rows[i][m] * rows[j][m];
            char value[40];
            std::snprintf(value, sizeof value, "%.8f", static_cast<double>(sum));
            const Element element{animals[typed[i]].id, animals[typed[j]].id, std::atof(value)};
            std::fprintf(text, "%d %d %s\n", element.id_1, element.id_2, value);
            put_framed(binary, element);
        }
    close(text);
    close(binary);
}

void write_directives(const std::string& folder, const std::string& suffix,
                      const std::string& format) {
    std::ifstream plain(folder + "/plain");
    std::string all(std::istreambuf_iterator<char>(plain), {});
    all.insert(all.find("$PRIOR"), "$VAR_STR 1 PGMIX 1 " + format + " pedigree" + suffix +
                                       " typed" + suffix + " genomic" + suffix +
                                       " 0.05 G-ADJUST\n");
    std::ofstream(folder + "/blended" + suffix) << all;
}

}  // namespace

int main(int count, char** words) {
    if (count != 3) {
        std::fputs("usage: generate_genomic TYPED FOLDER\n", stderr);
        return 1;
    }
    const auto n = static_cast<std::size_t>(std::atoll(words[1]));
    const std::string folder = words[2];
    std::vector<Animal> animals = read_pedigree(folder + "/pedigree");
    if (n < 2 || 2 * n > animals.size()) return 1;
    std::FILE* pedigree = create(folder + "/pedigree.bin");
    for (const Animal& animal : animals) put_framed(pedigree, animal);
    close(pedigree);

    std::ranges::stable_sort(animals, {}, &Animal::birth);
    std::vector<std::size_t> typed(animals.size() / 2);
    std::iota(typed.begin(), typed.end(), animals.size() - typed.size());
    std::ranges::shuffle(typed, random_bits);
    typed.resize(n);
    std::ranges::sort(typed);
    std::FILE* text = create(folder + "/typed");
    std::FILE* binary = create(folder + "/typed.bin");
    for (std::size_t t : typed) {
        std::fprintf(text, "%d\n", animals[t].id);
        put_framed(binary, animals[t].id);
    }
    close(text);
    close(binary);
    write_genomic(animals, typed, centred(drop_alleles(animals), typed), folder);
    write_directives(folder, "", "ASCII");
    write_directives(folder, ".bin", "BINARY");
}
