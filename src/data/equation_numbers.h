// Stage number_equations: places in the solution vector of the later programs: regressions, fixed
// class effects, random factors; within a factor level after level, `rank` rows each. Every place
// is the count of equations before the item.
//
// Reads KVEINT, MODEL, RMAT and NRALEV. Numbers the levels of the fixed class effects (HEAD_EF,
// NLEV, IFL) and writes NBEGREG, NBEGF, NBEGRA, NBEGRAT and, of the regressions in MODEL, reg_n_rci
// (0 for a general one, the position of the fixed nesting effect otherwise) and reg_r_number. Stops
// when an equation number passes 32 bits, and when memory runs out.
#pragma once

namespace kve {

void number_equations();

}  // namespace kve
