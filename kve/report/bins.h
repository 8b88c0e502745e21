// Histograms of a bounded number of bins.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "kve/report/moments.h"

namespace kve::companion {

// Bins of one width, whose limits are round numbers. Whole numbers of a small range have a bin
// each, with the number in its middle.
struct Bins {
    double first = 0.0, width = 1.0;
    bool is_discrete = false;
    int64_t n_below = 0, n_above = 0;
    std::vector<int64_t> counts;

    double start(std::size_t bin) const { return first + static_cast<double>(bin) * width; }
    double middle(std::size_t bin) const { return start(bin) + width / 2; }
    // Counted on to both sides. A value on a limit stays there, also when it was rounded to a
    // real32, such as 4.15 with limits at tenths of 0.5, and when the quotient is.
    double number(double value) const {
        constexpr double kRounding = 6e-8;
        return std::floor((value - first + kRounding * std::abs(value)) / width + 1e-9);
    }
    // The bin of a value, or that of the nearest one.
    std::size_t place(double value) const;
    void add(double value);
};

// For values of which the moments are known. What lies far from all others, beyond six standard
// deviations, is outside, so that one slip of the pen does not leave a single bar.
// Few values get few bins.
Bins choose_bins(const Moments& moments, int most);

// 1, 2 or 5 times a power of ten, at least `least`.
double round_width(double least);

// Counts that spread over powers of ten: 0, 1, 2, 3 to 4, 5 to 8 and so on.
struct Doublings {
    std::vector<int64_t> counts;

    void add(int64_t value);
    static std::string label(std::size_t place);
    static std::size_t place(int64_t value);
};

}  // namespace kve::companion
