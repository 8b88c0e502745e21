// The page that compares two runs.
#pragma once

#include "kve/report/page.h"
#include "kve/report/run_figures.h"

namespace kve::companion {

// What has changed comes first, in words. The bins of both runs are the same for columns of one
// name.
Page comparison_page(const RunFigures& before, const RunFigures& after);

}  // namespace kve::companion
