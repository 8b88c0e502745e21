// One pass over the data.
#pragma once

#include "kve/check/data_figures.h"
#include "kve/check/look.h"

namespace kve::companion {

// Tells what is wrong with lines, items and single values.
DataFigures read_data(Look& look);

}  // namespace kve::companion
