// The lists of CODE_TABLE in the order of the file: the one account by which it is written and
// read.
#pragma once

#include <cstdint>

#include "directives/directives.h"
#include "model/model_records.h"

namespace kve {

// Shows the lists to a visitor:
//
//     visitor.fixed_levels(i, j)    fixed class effect j of trait i
//     visitor.random_levels(k)      random factor k
//     visitor.animals(k, owner)     random factor k, with the animals of factor `owner`
//     visitor.residual_groups()
//
// `matrices` are the random ones and the residual.
template <class Visitor, class Traits, class Matrices>
void describe_code_table(Visitor& visitor, const Traits& traits, const Matrices& matrices) {
    int32_t i = 0, k = 0;
    for (const Model& m : traits) {
        ++i;
        for (int32_t j = 1; j <= m.n_fixed; ++j) visitor.fixed_levels(i, j);
    }
    const RMatrix* const residual = &*matrices.begin() + matrices.size() - 1;
    for (const RMatrix& r : matrices) {
        ++k;
        switch (r.structure) {
            case Structure::I:
            case Structure::COR:
            case Structure::GREL:
                if (&r != residual) visitor.random_levels(k);
                break;
            case Structure::PED:
            case Structure::PGMIX:
                visitor.animals(k, k);
                break;
            case Structure::DOM:
                visitor.animals(k, r.ass_rf);
                break;
            case Structure::GROUP:
                visitor.residual_groups();
                break;
            case Structure::ABS_QTL:  // those of the pedigree factor, which stand there
            case Structure::unknown:
                break;
        }
    }
}

}  // namespace kve
