// Pedigrees as random factors, from text files to matrix files, for tests of what stands in these.
#pragma once

#include "testing.h"

using Dense = std::vector<std::vector<double>>;
using Elements = std::map<std::pair<int, int>, double>;  // by row and column

constexpr double kRatio = 0.25;  // of the groups

struct Factor {
    int method;
    std::string pedigree;
    // Of a blended matrix; a file without content is not written.
    bool blended = false;
    std::string typed = {}, genomic = {};
    double weight = 0.0;
    bool adjust = false;
    std::vector<int> with_data = {5, 9001, 2, 9002};
};

// Animals 1..n, n no multiple of 37, in shuffled order, each born a day after the one before it.
// Parents are of the last 40 animals; one in six has one of the codes `strange`.
std::string random_pedigree(unsigned seed, int n, int first_day, const std::vector<int>& strange);

// The pedigrees as random factors 1, 2 and so on. By default four animals have data, two of them no
// record.
void process(const std::vector<Factor>& factors, int32_t task = 2);

// The animals in the order of their list; levels, 0 for an unknown parent.
struct Animal {
    int row, level, sire, dam;
};
std::vector<Animal> animals_of(int32_t k);

// The content of a matrix file, of which row and column must ascend.
Elements elements_of(const char* file);

// A by the tabular method; row and column 0, the unknown parent, are 0.
Dense relationships(const std::vector<Animal>& animals);
