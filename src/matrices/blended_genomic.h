// G, the genomic part of a blended matrix: read from the file of the PGMIX factor, `rel_file3`.
#pragma once

#include <cstdint>

#include "base/arrays.h"
#include "base/helper_thread.h"
#include "matrices/blended_pedigree.h"
#include "matrices/element_file.h"
#include "matrices/typed_relationships.h"
#include "store/level_index.h"

namespace kve {

struct BlendedGenomicFile {
    int32_t factor;
    ElementFile file{};
    MatrixElement element{};                  // the one read last
    int open_status = 0;                      // the system's error number
    FileAnswer answer = FileAnswer::failure;  // how its reading went
};

// Opens the file and reads the first record, without a word about failures.
void open_blended_genomic(BlendedGenomicFile& genomic);

// Stops when the file was not opened, or its first record not read.
void require_blended_genomic(BlendedGenomicFile& genomic);

struct BlendedGenomicReading {
    BlendedGenomicFile& genomic;
    const ReducedPedigree& ped;
    TypedMatrices& both;
    LevelIndex positions{};      // in G, by ID; animals that are not typed are entered as they come
    Vec<int8_t> has_diagonal{};  // by typed animal
    HelperThread thread{};
};

// Begins to read the elements into G on a second thread, where there is one, as far as nothing is
// to be told of them. Until `read_blended_genomic` the file and G belong to that thread.
void start_blended_genomic(BlendedGenomicReading& reading);

// The elements into G, in either triangle; of a repeated element the last one stands. A record with
// an animal that is not typed is skipped, and so is one with an animal that the pedigree lacks, of
// which up to 20 are reported; one more stops the run. Stops on a record that cannot be read. Warns
// of typed animals without a diagonal element.
void read_blended_genomic(BlendedGenomicReading& reading);

}  // namespace kve
