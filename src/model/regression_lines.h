// The regression lines of the model section and the layout of the recoded real record.
//
// Reads the model text, NR, NAME_I, NAME_R, the effects of MODEL. Writes the regressions of MODEL,
// names and recoded columns of traits and weights, N_REG_TOTAL, MAX_N_REG, MAX_N_DIF_REG,
// N_REG_COLS, ColRegInInpAllTraitsHelp. Every fault is told in KVE_LOG and ends the run, a nesting
// effect out of range and a doubtful order of the regressions are only told.
#pragma once

namespace kve {

class ModelLines;

// One line per trait, "n_reg covariable covariable(effect effect ...) [first:last,effect,L] ...".
void read_regression_lines(ModelLines& lines);

// The recoded real record: covariables by ascending column, then the traits, then the weights.
void number_real_columns();

}  // namespace kve
