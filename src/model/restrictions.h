// Stage apply_restrictions: elements of the (co)variance matrices that the analysis keeps as they
// are, or ties to another matrix by a ratio.
//
// Does nothing without a file CVREST.DIR in the working directory, whoever has left it there. Else
// reads it, sets the flags l_cv_rest, l_cor_rest and l_vratio_... in RMAT, shows them on the
// listing and deletes the file. Stops, with the words on the listing and the file left on disk: a
// file that cannot be read; after the last line, if one is faulty or an element is restricted in
// two ways; a ratio of matrices that do not fit.
#pragma once

namespace kve {

void apply_restrictions();

}  // namespace kve
