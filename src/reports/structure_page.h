// The page that describes the (co)variance matrices.
#pragma once

namespace kve {

// The structure and the rows of the first 10 random matrices and of the residual. Of a matrix with
// more than 30 rows the middle ones are left out unless there is test print.
void report_structures();

}  // namespace kve
