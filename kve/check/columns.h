// What the first records of the data show of the columns that the model uses as numbers.
#pragma once

#include <cstdint>
#include <map>
#include <set>

namespace kve::companion {

// Of the values that are present.
struct RealColumn {
    int64_t n = 0;
    double mean = 0, squares = 0;  // of deviations from the mean
    double highest = 0;
    bool is_whole = true;     // all values
    std::set<double> values;  // as long as they are few
    static constexpr std::size_t kFew = 1000;

    void add(double value);
    double variance() const { return n > 1 ? squares / static_cast<double>(n - 1) : 0; }
};

// Traits and covariables by their real columns. Empty where the data cannot be read.
using RealColumns = std::map<int32_t, RealColumn>;
RealColumns sample_real_columns();

}  // namespace kve::companion
