#include "kve/check/columns.h"

#include <algorithm>
#include <bit>
#include <cmath>

namespace kve::companion {

void FewValues::enter(double value) {
    constexpr std::size_t kSlots = 4096;
    constexpr uint64_t kMixer = 0x9E3779B97F4A7C15;  // the golden ratio, as a fraction of 2**64
    if (slots_.empty()) slots_.assign(kSlots, std::numeric_limits<double>::quiet_NaN());
    std::size_t at = std::bit_cast<uint64_t>(value + 0.0) * kMixer >> 52;
    for (; !std::isnan(slots_[at]); at = (at + 1) % kSlots)
        if (slots_[at] == value) return;
    slots_[at] = value;
    ++n_;
}

void Extremes::enter(double value, int64_t line) {
    const auto at = std::ranges::find_if(
        values_, [&](const Extreme& other) { return sign_ * other.value <= sign_ * value; });
    if (at != values_.end() && at->value == value) {
        ++at->n;
        return;
    }
    values_.insert(at, {value, 1, line});
    if (values_.size() > kMost) values_.pop_back();
    if (values_.size() == kMost) limit_ = sign_ * values_.back().value;
}

// When it is full every second value goes.
void SpreadSample::enter(double value, int64_t line) {
    values_.push_back({value, line});
    if (values_.size() == kMost) {
        for (std::size_t k = 0; 2 * k < kMost; ++k) values_[k] = values_[2 * k];
        values_.resize(kMost / 2);
        stride_ *= 2;
        next_ = 1 + stride_ * static_cast<int64_t>(kMost / 2);
    } else {
        next_ += stride_;
    }
}

double RealColumn::variance() const {
    if (n < 2) return 0;
    const auto count = static_cast<double>(n);
    return std::max((squares - sum * sum / count) / (count - 1), 0.0);
}

std::optional<RealColumn::Middle> RealColumn::middle() const {
    constexpr int64_t kFewest = 30;
    if (n < kFewest) return {};
    std::vector<double> sorted;
    for (const SpreadSample::Value& spread : sample.values()) sorted.push_back(spread.value);
    std::ranges::sort(sorted);
    const auto quantile = [&sorted](double p) {
        return sorted[static_cast<std::size_t>(p * static_cast<double>(sorted.size() - 1))];
    };
    double scale = (quantile(0.75) - quantile(0.25)) / 1.349;
    if (scale <= 0) scale = (quantile(0.95) - quantile(0.05)) / 3.29;
    if (scale <= 0) return {};
    return Middle{quantile(0.5), scale};
}

}  // namespace kve::companion
