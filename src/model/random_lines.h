// The RANDOM lines of the model section and the reduced rank lines.
//
// Reads the model text, KVE1.reduce, NAME_I. Writes n_fixed, n_random, the arrays of fixed and
// random effects and `reduce` of MODEL, NRAMAT, MAX_N_RANDOM, MAX_N_FIXED. Every fault is told in
// KVE_LOG and ends the run.
#pragma once

namespace kve {

class ModelLines;

// One line per trait, "n_random matrix matrix ...": the last n_random effects of the model line are
// random. Numbers the columns of the fixed effects, trait by trait, from 1.
void read_random_lines(ModelLines& lines);

// One record per trait with the reduced rank position of each random effect.
void read_reduced_rank(ModelLines& lines);

}  // namespace kve
