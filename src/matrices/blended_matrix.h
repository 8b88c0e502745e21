// The relationship matrix H of a PGMIX factor, pedigree and genomic relationships together.
//
//     inverse of H = inverse of A + (inverse of Gw - inverse of A11) at the typed animals
//
// Method: Legarra, Aguilar and Misztal (2009); Christensen and Lund (2010).
#pragma once

#include <cstdint>

#include "matrices/blended_pedigree.h"

namespace kve {

// To be called when the inverse of A has been formed and its ln |A| stands in log_det of RMAT(k),
// which becomes ln |H|. Reads `rel_file3`, the genomic matrix. Writes the matrix file PGMIX and
// sets n_ainv_rows. Stops on a file that cannot be opened or read, on the 21st animal of it that
// the pedigree lacks, when the memory does not hold the dense matrices, and when one of them is not
// positive definite.
void write_blended_inverse(int32_t k, BlendedCounts counts);

}  // namespace kve
