#include "kve/report/bins.h"

#include <fmt/format.h>

#include <bit>

namespace kve::companion {

double round_width(double least) {
    const double power = std::pow(10.0, std::floor(std::log10(least)));
    for (const double step : {1.0, 2.0, 5.0})
        if (step * power >= least * (1.0 - 1e-9)) return step * power;
    return 10.0 * power;
}

std::size_t Bins::place(double value) const {
    return static_cast<std::size_t>(
        std::clamp(number(value), 0.0, static_cast<double>(counts.size()) - 1.0));
}

void Bins::add(double value) {
    const double n = number(value);
    if (n < 0.0)
        ++n_below;
    else if (n >= static_cast<double>(counts.size()))
        ++n_above;
    else
        ++counts[static_cast<std::size_t>(n)];
}

Bins choose_bins(const Moments& moments, int most) {
    constexpr double kFar = 6.0;
    Bins bins;
    if (moments.n == 0) return bins;
    constexpr int kFewest = 12;
    const double many = 3.0 * std::cbrt(static_cast<double>(moments.n));
    const int n_wanted =
        std::clamp(static_cast<int>(std::min(many, 1e6)), std::min(kFewest, most), most);
    const double spread = kFar * moments.deviation();
    const double low = std::max(moments.smallest, moments.mean - spread);
    const double high = std::min(moments.largest, moments.mean + spread);
    bins.is_discrete = moments.is_whole && high - low < most;
    if (bins.is_discrete) {
        bins.first = std::floor(low) - 0.5;
    } else if (high > low) {
        // The least step that a real32 of this size can tell is wide enough for a bin.
        const double least = std::max((high - low) / (n_wanted - 1), std::abs(high) * 1e-6);
        bins.width = std::max(round_width(least), moments.is_whole ? 1.0 : 0.0);
        bins.first = bins.number(low) * bins.width;
    } else {
        bins.width = round_width(std::max(std::abs(low), 1e-30) / n_wanted);
        bins.first = low - bins.width / 2;
    }
    const double n = bins.number(high) + 1.0;
    bins.counts.assign(static_cast<std::size_t>(std::max(n, 1.0)), 0);
    return bins;
}

std::size_t Doublings::place(int64_t value) {
    if (value <= 2) return static_cast<std::size_t>(std::max<int64_t>(value, 0));
    return static_cast<std::size_t>(std::bit_width(static_cast<uint64_t>(value - 1))) + 1;
}

std::string Doublings::label(std::size_t place) {
    if (place <= 2) return std::to_string(place);
    return fmt::format("{}–{}", (int64_t{1} << (place - 2)) + 1, int64_t{1} << (place - 1));
}

void Doublings::add(int64_t value) {
    const std::size_t at = place(value);
    if (at >= counts.size()) counts.resize(at + 1);
    ++counts[at];
}

}  // namespace kve::companion
