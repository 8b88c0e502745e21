// Reads a file of matrix elements in text with the program's reader and does no more.
//
//     read_elements GENOMIC
#include <cstdio>

#include "matrices/element_file.h"

int main(int count, char** words) {
    kve::ElementFile file;
    if (count != 2 || file.open(words[1], kve::kAscii) != 0) return 1;
    double sum = 0;
    kve::MatrixElement e;
    while (file.read(e) == kve::FileAnswer::record) sum += e.id_1 + e.id_2 + e.value;
    std::printf("%g\n", sum);
}
