// Keyword lines that some tasks only know: generalized models, survival and censoring, output of
// residuals, deviations and solutions. Numbers that cannot be read stop the run where no numbered
// fault tells them.
//
// Each procedure reads the section that begins with the keyword line in `cinp`, after $ANALYSE,
// and returns the kind of the line after it.
#pragma once

#include "directives/catalogue.h"

namespace kve {

Keyword read_glmm_section();    // $GLMM trait VARF=text LINK=text [CF=value] [OFFSET=column]
Keyword read_cure_section();    // $CURE i1 i2 i3 i4
Keyword read_residuals_line();  // $RESIDUALS format
Keyword read_td_ptd_line();     // $TD_PTD factor type [opt1 [opt2]]
Keyword read_glmm_pred_line();  // $GLMM_PRED iterations criterion
Keyword read_sol_cov_line();    // $SOL_COV n e1 e2 ... en
Keyword read_cens_line();       // $CENS trait CENS = value [INT_MAX = value]

// The $CENS and $GLMM lines in ascending trait order, those of one trait as they stand.
void sort_by_trait();

}  // namespace kve
