// Covariables of curves.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <vector>

namespace kve::companion::prep {

// The polynomial of Legendre of this degree at t from -1 to 1, scaled so that its square has the
// integral 1: sqrt((2 k + 1) / 2) P(t).
inline double legendre(int degree, double t) {
    double before = 1.0, now = t;
    if (degree == 0) return std::sqrt(0.5);
    for (int k = 2; k <= degree; ++k) {
        const double next = ((2 * k - 1) * t * now - (k - 1) * before) / k;
        before = now;
        now = next;
    }
    return std::sqrt((2 * degree + 1) / 2.0) * now;
}

// How many B-splines of a degree the knots carry; those at the ends count as often as they must.
inline int n_splines(std::size_t n_knots, int degree) {
    return static_cast<int>(n_knots) - 1 + degree;
}

// What a spline gives to one of the next degree: its value, by the share of its width between x and
// one of its ends. Between knots that are equal there is nothing to give.
inline double share_of_spline(double value, double distance, double width) {
    return width > 0.0 ? distance / width * value : 0.0;
}

// B-spline number i, from 0, at x within the knots (de Boor's recursion). Degree 1: the share of
// knot i in a line from knot to knot. All splines add up to 1.
inline double b_spline(const std::vector<double>& knots, int degree, int i, double x) {
    const int last = static_cast<int>(knots.size()) - 1;
    const auto knot = [&](int k) {
        return knots[static_cast<std::size_t>(std::clamp(k - degree, 0, last))];
    };
    // The values of lower degrees take the places of those that they are made from.
    std::vector<double> n(static_cast<std::size_t>(degree) + 1);
    for (int j = 0; j <= degree; ++j) {
        const double low = knot(i + j), high = knot(i + j + 1);
        const bool is_last = x == knots.back() && high == knots.back() && low < high;
        n[static_cast<std::size_t>(j)] = low <= x && (x < high || is_last) ? 1.0 : 0.0;
    }
    for (int p = 1; p <= degree; ++p)
        for (int j = 0; j + p <= degree; ++j) {
            const double low = knot(i + j), high = knot(i + j + p + 1);
            double& value = n[static_cast<std::size_t>(j)];
            value = share_of_spline(value, x - low, knot(i + j + p) - low) +
                    share_of_spline(n[static_cast<std::size_t>(j) + 1], high - x,
                                    high - knot(i + j + 1));
        }
    return n[0];
}

}  // namespace kve::companion::prep
