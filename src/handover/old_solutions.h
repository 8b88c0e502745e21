// Stage translate_old_solutions: solutions of an earlier run, translated to the levels of this one,
// for a later program to start from.
//
// Reads the user's old solutions (unit 2), the trees of levels and of animals. Writes oldsol (unit
// 58) and closes it, and OLDSOL_H2. Identities that this run does not know get rows in IFL and IDL,
// level 0; these tables do not grow here. Works only in tasks that solve with known (co)variances.
// Stops on a file without a usable header, when IFL or IDL has no more room, and on a file that
// cannot be read or written.
#pragma once

namespace kve {

void translate_old_solutions();

}  // namespace kve
