// Values of records that the model of a trait does not take: outside its range, weights of 0, codes
// of censoring, the order of absorbed effects.
#pragma once

#include <cstdint>
#include <limits>
#include <vector>

#include "kve/check/look.h"

namespace kve::companion {

class TraitValues {
 public:
    // Plans from MODEL, which must be complete.
    explicit TraitValues(Look& look);

    // Of the record that stands in RECORD; the trait has a value there.
    void look_at(int32_t trait, int64_t line);
    // Each absorbed column by itself must not fall from record to record; the first one that does
    // is told.
    void look_at_absorption(int64_t line);

 private:
    struct Bounds {
        double lowest = -std::numeric_limits<double>::infinity();
        double highest = std::numeric_limits<double>::infinity();
        bool above_lowest = false;  // the lowest itself is none
        bool whole = false;
        const char* words = nullptr;  // null without bounds

        bool have(double value) const;
    };
    // Places in RECORD, 0 none.
    struct Plan {
        int32_t dependent = 0, weight = 0;
        Bounds bounds;
        int32_t censoring_code = -1, upper_limit = 0;
    };
    struct Absorbed {
        int32_t column;
        int32_t last = 0;
        bool is_told = false;
    };

    static Bounds bounds_of(int32_t trait);
    void look_at_bounds(int32_t trait, const Plan& plan, int64_t line);
    void look_at_weight(int32_t trait, const Plan& plan, int64_t line);
    void look_at_censoring(int32_t trait, const Plan& plan, int64_t line);

    Look& look_;
    std::vector<Plan> plans_;
    std::vector<Absorbed> absorbed_;
};

}  // namespace kve::companion
