// Relationship matrices that users give.
#pragma once

#include "directives/directives.h"
#include "kve/check/data_levels.h"
#include "kve/check/look.h"
#include "kve/check/pedigree_book.h"

namespace kve::companion {

// The inverse of a COR, DOM, ABS_QTL or GREL factor. `levels` are those of the data, `pedigree`
// that of the associated factor; each null when it is not known.
void look_at_inverse(Look& look, const VAR_STR_SPEC& spec, FactorLevels* levels,
                     PedigreeBook* pedigree);

// Typed animals and genomic relationships of a PGMIX factor.
void look_at_genomic(Look& look, const VAR_STR_SPEC& spec, FactorLevels* levels,
                     PedigreeBook& pedigree);

}  // namespace kve::companion
