// The typed animals of a PGMIX factor, and the reduced pedigree: they and their ancestors.
#pragma once

#include <cstdint>

#include "base/arrays.h"
#include "matrices/element_file.h"

namespace kve {

struct BlendedCounts {
    int32_t N_TYPED = 0;  // typed animals
    int32_t N_RPED = 0;   // animals of the reduced pedigree
};

// Reads the list of typed animals of factor k, `rel_file2`, and marks them (1) and their ancestors
// (-1) in column `mark` of IDL. The search goes 50 generations up, counted on the road by which an
// animal is met first, and stops there. The pedigree has its order (`order_pedigree`). Stops on a
// file that cannot be opened or read, and when the file has ended on animals that the pedigree
// lacks. Of an animal listed twice the second record is dropped with a warning.
BlendedCounts mark_typed_animals(int32_t k);

struct KnownParents {
    int32_t sire, dam;  // positions in the reduced pedigree, 0 unknown
};

// Position p in the reduced pedigree follows the list of the animals, so parents stand before
// progeny. Running number t of a typed animal, its position in G, does so too.
struct ReducedPedigree {
    Vec<KnownParents, 0> parents;  // by p, from 0, the unknown parent
    Vec<double, 0> share;          // by p: Mendelian sampling variance of the animal
    Vec<int32_t> position;         // by t: p
    Vec<int32_t> ID;               // by t
    Vec<int32_t> G_MAT_CN;         // by t: level number

    int32_t n_typed() const { return static_cast<int32_t>(ID.size()); }
    int32_t n_animals() const { return static_cast<int32_t>(share.size()) - 1; }
};

void allocate_reduced_pedigree(ReducedPedigree& ped, BlendedCounts counts);

// Numbers the marked animals: their marks become -p, and +p for a typed one. Reads AD, and `ad` of
// RMAT(k). At test print 2 lists the first animals. Warns when the inbreeding used, that in `ad` at
// the animal's level, is not the animal's own.
void number_reduced_pedigree(int32_t k, ReducedPedigree& ped);

// Animals that a file names and the pedigree lacks: they are reported one by one, up to 20.
struct UnknownAnimals {
    const char* which;  // the line of the report that names the file
    int64_t n = 0;

    // Counts one; false when it is the first that is not reported any more.
    bool report(int32_t id);
};

// The words around a file of factor k that cannot be used.
[[noreturn]] void stop_blended_file(const char* words, int32_t k);

[[noreturn]] void stop_unreadable_item(const char* what, const char* name, ElementFile& file);

// Kept: stops when factor k is no PGMIX, though no caller has another one.
void require_pgmix(int32_t k);

}  // namespace kve
