// Stage place_effects_in_record: where each class effect stands in the recoded integer record. The
// record begins with the A absorbed effects (A is the most that any trait has), the F fixed class
// effects of all traits and the R identifying columns of all random matrices; the residual group,
// when there is one, follows.
//
// Moves the positions that the model holds, fixed effects 1..F and random effects 1..R, to their
// places in the record, in every list of MODEL and RMAT that holds one. A position of 0 (an effect
// without a column) stays 0. Sets the position of the residual group and, for random regressions,
// that of the nesting effect, and counts F in RECODED. To be called once.
//
// Reads KVEINT, MODEL and RMAT. Writes positions in MODEL and RMAT, and n_fixed_positions of
// RECODED. Nothing stops it.
#pragma once

namespace kve {

void place_effects_in_record();

}  // namespace kve
