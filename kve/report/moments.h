// What is known of a column of numbers, or of two of them, when they have passed by once.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>

namespace kve::companion {

// Running means (Welford 1962).
struct Moments {
    int64_t n = 0;
    int64_t n_odd = 0;  // infinite, or not a number
    double mean = 0.0, squares = 0.0;
    double smallest = std::numeric_limits<double>::infinity();
    double largest = -std::numeric_limits<double>::infinity();
    bool is_whole = true;  // integers only

    void add(double value) {
        if (!std::isfinite(value)) {
            ++n_odd;
            return;
        }
        ++n;
        const double difference = value - mean;
        mean += difference / static_cast<double>(n);
        squares += difference * (value - mean);
        smallest = std::min(smallest, value);
        largest = std::max(largest, value);
        is_whole = is_whole && value == std::nearbyint(value);
    }
    double deviation() const {
        return n > 1 ? std::sqrt(squares / static_cast<double>(n - 1)) : 0.0;
    }

    // As if all values of the other had been added, too.
    void join(const Moments& other) {
        if (other.n == 0) return;
        const auto a = static_cast<double>(n), b = static_cast<double>(other.n);
        const double difference = other.mean - mean;
        n += other.n;
        mean += difference * b / (a + b);
        squares += other.squares + difference * difference * a * b / (a + b);
        smallest = std::min(smallest, other.smallest);
        largest = std::max(largest, other.largest);
        is_whole = is_whole && other.is_whole;
    }
};

struct PairMoments {
    Moments x, y;
    double products = 0.0;

    void add(double a, double b) {
        if (!std::isfinite(a) || !std::isfinite(b)) return;
        const double difference = a - x.mean;
        x.add(a);
        y.add(b);
        products += difference * (b - y.mean);
    }
    int64_t n() const { return x.n; }
    // Not a number when one of the two does not vary.
    double correlation() const { return products / std::sqrt(x.squares * y.squares); }
};

}  // namespace kve::companion
