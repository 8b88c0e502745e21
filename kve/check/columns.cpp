#include "kve/check/columns.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <iterator>

#include "kve/check/thresholds.h"

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

std::vector<ValueSteps::Step> ValueSteps::steps() const {
    std::vector<Step> all;
    for (const auto& page : pages_) {
        if (page == nullptr) continue;
        std::ranges::copy_if(*page, std::back_inserter(all),
                             [](const Step& step) { return step.n > 0; });
    }
    return all;
}

double RealColumn::variance() const {
    if (n < 2) return 0;
    const auto count = static_cast<double>(n);
    return std::max((squares - sum * sum / count) / (count - 1), 0.0);
}

std::optional<RealColumn::Middle> RealColumn::middle() const {
    if (n < kFewestForQuartiles) return {};
    std::vector<double> sorted;
    for (const SpreadSample::Value& spread : sample.values()) sorted.push_back(spread.value);
    std::ranges::sort(sorted);
    const auto quantile = [&sorted](double p) {
        return sorted[static_cast<std::size_t>(p * static_cast<double>(sorted.size() - 1))];
    };
    double scale = (quantile(0.75) - quantile(0.25)) / kQuartilesOfNormal;
    if (scale <= 0) scale = (quantile(0.95) - quantile(0.05)) / kTwentiethsOfNormal;
    if (scale <= 0) return {};
    return Middle{quantile(0.5), scale};
}

// ---- Values apart

namespace {

using Steps = std::span<const ValueSteps::Step>;

int64_t count_values(Steps steps) {
    int64_t n = 0;
    for (const ValueSteps::Step& step : steps) n += step.n;
    return n;
}

struct Quartiles {
    double lower = 0, median = 0, upper = 0;

    double scale() const { return (upper - lower) / kQuartilesOfNormal; }
    double log_scale() const { return std::log(upper / lower) / kQuartilesOfNormal; }
};

Quartiles quartiles_of(Steps steps) {
    const auto n = static_cast<double>(count_values(steps));
    const auto at = [steps, n](double share) {
        int64_t below = 0;
        for (const ValueSteps::Step& step : steps)
            if (static_cast<double>(below += step.n) >= share * n)
                return (static_cast<double>(step.low) + static_cast<double>(step.high)) / 2;
        return 0.0;
    };
    return {at(0.25), at(0.5), at(0.75)};
}

Steps positive_ones(Steps steps) {
    const auto first =
        std::ranges::find_if(steps, [](const ValueSteps::Step& step) { return step.low > 0; });
    return steps.subspan(static_cast<std::size_t>(first - steps.begin()));
}

// `apart` is the nearest value of those above, or below, the others.
bool are_too_high(Steps others, double apart) {
    const double low = static_cast<double>(others.front().low);
    const double high = static_cast<double>(others.back().high);
    if (apart - high <= kApartWidths * (high - low)) return false;
    const Quartiles quartiles = quartiles_of(others);
    if (quartiles.scale() <= 0 || apart - quartiles.median <= kApartFar * quartiles.scale())
        return false;
    return low < 0 || (apart > kApartFactor * high && is_above_tail(others, apart));
}

// Where all values are above 0, a unit too large makes them tiny and their distances small.
bool are_too_low(Steps others, double apart) {
    const double low = static_cast<double>(others.front().low);
    const double high = static_cast<double>(others.back().high);
    const bool is_apart = low - apart > kApartWidths * (high - low);
    const bool is_tiny = apart > 0 && low > kApartFactor * apart &&
                         std::log(low / apart) > kApartWidths * std::log(high / low);
    if (!is_apart && !is_tiny) return false;
    const Quartiles quartiles = quartiles_of(others);
    if (quartiles.scale() <= 0) return false;
    if (is_tiny && low - apart > kTinyFar * quartiles.scale()) return true;
    return is_apart && quartiles.median - apart > kApartFar * quartiles.scale() &&
           (apart <= 0 || low > kApartFactor * apart);
}

}  // namespace

bool is_above_tail(Steps steps, double value) {
    const Steps positive = positive_ones(steps);
    if (positive.empty()) return true;
    const Quartiles quartiles = quartiles_of(positive);
    return std::log(value / quartiles.median) > kFarInLogs * quartiles.log_scale();
}

std::optional<ApartValues> find_apart(Steps all, bool are_highest) {
    const int64_t n_all = count_values(all);
    if (n_all < kFewestForQuartiles) return {};
    const auto limit = static_cast<int64_t>(kMostApart * static_cast<double>(n_all));
    std::size_t n_found = 0;
    int64_t n = 0;
    for (std::size_t k = 1; k < all.size(); ++k) {
        n += all[are_highest ? all.size() - k : k - 1].n;
        if (n > limit) break;
        if (are_highest ? are_too_high(all.first(all.size() - k),
                                       static_cast<double>(all[all.size() - k].low))
                        : are_too_low(all.subspan(k), static_cast<double>(all[k - 1].high)))
            n_found = k;
    }
    if (n_found == 0) return {};
    const std::size_t n_others = all.size() - n_found;
    const Steps apart = are_highest ? all.last(n_found) : all.first(n_found);
    const Steps others = are_highest ? all.first(n_others) : all.last(n_others);
    return ApartValues{
        .n = count_values(apart),
        .low = static_cast<double>(apart.front().low),
        .high = static_cast<double>(apart.back().high),
        .low_of_others = static_cast<double>(others.front().low),
        .high_of_others = static_cast<double>(others.back().high),
        .first = std::ranges::min(apart, {}, &ValueSteps::Step::first).first,
        .last = std::ranges::max(apart, {}, &ValueSteps::Step::last).last,
    };
}

// ---- Blocks

namespace {

constexpr std::size_t kOfWindow = 16;

// Of neighbours in the sample.
std::vector<double> medians_of_windows(const std::vector<SpreadSample::Value>& values) {
    std::vector<double> medians;
    for (std::size_t at = 0; at + kOfWindow <= values.size(); at += kOfWindow) {
        std::array<double, kOfWindow> window{};
        for (std::size_t k = 0; k < kOfWindow; ++k) window[k] = values[at + k].value;
        std::ranges::nth_element(window, window.begin() + kOfWindow / 2);
        medians.push_back(window[kOfWindow / 2]);
    }
    return medians;
}

// By the quartile that a block on the other side has left where it was.
double scale_without_block(const std::vector<SpreadSample::Value>& values,
                           const RealColumn::Middle& middle) {
    std::vector<double> sorted(values.size());
    std::ranges::transform(values, sorted.begin(), &SpreadSample::Value::value);
    std::ranges::sort(sorted);
    const std::size_t quarter = sorted.size() / 4;
    const double nearer = std::min(middle.median - sorted[quarter],
                                   sorted[sorted.size() - 1 - quarter] - middle.median);
    return nearer > 0 ? 2 * nearer / kQuartilesOfNormal : middle.scale;
}

}  // namespace

namespace {

// Whether a value is on the side of the block, of the line between the block and the rest.
struct BlockSide {
    double between;
    bool is_higher;

    bool has(const SpreadSample::Value& v) const { return (v.value > between) == is_higher; }
};

// From the windows that are far off to the values of which they consist.
void fit_ends(OddBlock& block, const std::vector<SpreadSample::Value>& values,
              const BlockSide& side) {
    while (block.begin > 0 && side.has(values[block.begin - 1])) --block.begin;
    while (!side.has(values[block.begin])) ++block.begin;
    while (block.end < values.size() && side.has(values[block.end])) ++block.end;
    while (!side.has(values[block.end - 1])) --block.end;
}

// The only row of windows that are far off, between others that are not; nothing else may be.
// Classes and ages that the file is sorted by change as well: they do so more than once, or step by
// step, or up to the end of the file.
template <class Distance>
std::optional<OddBlock> find_far_windows(const std::vector<double>& medians, Distance distance) {
    const auto is_far = [&distance](double value) { return std::abs(distance(value)) > kBlockFar; };
    const auto first = std::ranges::find_if(medians, is_far);
    const auto end = std::find_if_not(first, medians.end(), is_far);
    if (end - first < 2 || first - medians.begin() < 2 || medians.end() - end < 2) return {};
    if (std::any_of(end, medians.end(), is_far) || std::abs(distance(*(first - 2))) > kBlockNear ||
        std::abs(distance(*(end + 1))) > kBlockNear)
        return {};
    return OddBlock{.begin = static_cast<std::size_t>(first - medians.begin()) * kOfWindow,
                    .end = static_cast<std::size_t>(end - medians.begin()) * kOfWindow,
                    .median = *(first + (end - first) / 2)};
}

}  // namespace

std::optional<OddBlock> find_block(const RealColumn& column) {
    const std::vector<SpreadSample::Value>& values = column.sample.values();
    const std::optional<RealColumn::Middle> middle = column.middle();
    if (!middle) return {};
    const double usual = middle->median, scale = scale_without_block(values, *middle);
    std::optional<OddBlock> block =
        find_far_windows(medians_of_windows(values),
                         [usual, scale](double value) { return (value - usual) / scale; });
    if (!block) return {};
    const BlockSide side{(block->median + usual) / 2, block->median > usual};
    fit_ends(*block, values, side);
    const auto first = values.begin() + static_cast<std::ptrdiff_t>(block->begin),
               end = values.begin() + static_cast<std::ptrdiff_t>(block->end);
    const auto n = static_cast<double>(end - first);
    const auto n_clear = static_cast<double>(
        std::count_if(first, end, [&side](const auto& value) { return side.has(value); }));
    const double factor = side.is_higher ? block->median / usual : usual / block->median;
    const bool is_positive = column.lowest.values()[0].value > 0;
    if (n > kMostOfBlock * static_cast<double>(values.size()) || n_clear < kClearOfBlock * n ||
        (is_positive && factor < kBlockFactor))
        return {};
    return block;
}

}  // namespace kve::companion
