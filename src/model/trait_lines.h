// The first lines of the model section: number of traits, absorption lines, model lines with the
// class effects, weights.
//
// Reads the model text, ITASK, NI and NAME_I. Writes MODEL down to the class effects, the trait
// counters of KVEINT, TraitIdWithWeight; allocates H2, SPRE and LogicalZeroEltR0. Every fault is
// told in KVE_LOG and ends the run.
#pragma once

namespace kve {

class ModelLines;

// "nt", or "nt gauss censored categorical binary" for threshold tasks. Allocates MODEL and what has
// an entry per trait.
void read_trait_counts(ModelLines& lines);

// One record per trait, "n_absorb effect effect ...". The traits must agree on the effects, and the
// task must absorb at all.
void read_absorption_lines(ModelLines& lines);

// One line per trait, "trait weight n_ef effect(option)[count] ...".
void read_model_lines(ModelLines& lines);

// Only Gaussian traits may have a weight. Numbers the weighted traits.
void check_weights();

}  // namespace kve
