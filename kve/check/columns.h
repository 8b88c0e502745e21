// What the data show of the columns that the model uses as numbers.
#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <vector>

namespace kve::companion {

// Different values, as long as they are few.
class FewValues {
 public:
    static constexpr std::size_t kMost = 1000;

    void add(double value) {
        if (n_ <= kMost && value != last_) enter(value);
        last_ = value;
    }
    std::size_t size() const { return n_; }  // kMost + 1: there are more

 private:
    void enter(double value);

    std::vector<double> slots_;  // not a number: empty
    std::size_t n_ = 0;
    double last_ = std::numeric_limits<double>::quiet_NaN();
};

struct Extreme {
    double value;
    int64_t n;
    int64_t line;  // of the first
};

// The different values at one end, the outermost first.
class Extremes {
 public:
    static constexpr std::size_t kMost = 8;

    // `sign` -1: the smallest values.
    explicit Extremes(double sign) : sign_(sign) {}

    void add(double value, int64_t line) {
        if (sign_ * value >= limit_) enter(value, line);
    }
    const std::vector<Extreme>& values() const { return values_; }

 private:
    void enter(double value, int64_t line);

    double sign_;
    double limit_ = -std::numeric_limits<double>::infinity();
    std::vector<Extreme> values_;
};

// Values in the order of the file, evenly spread over it.
class SpreadSample {
 public:
    static constexpr std::size_t kMost = 2048;
    struct Value {
        double value;
        int64_t line;
    };

    void add(double value, int64_t line) {
        if (++n_ == next_) enter(value, line);
    }
    const std::vector<Value>& values() const { return values_; }

 private:
    void enter(double value, int64_t line);

    std::vector<Value> values_;
    int64_t n_ = 0, next_ = 1, stride_ = 1;
};

// How many values lie where, in steps of less than a hundredth of the value.
class ValueSteps {
 public:
    struct Step {
        int64_t n = 0;
        int64_t first = 0, last = 0;  // lines
        float low = 0, high = 0;
    };

    void add(double value, int64_t line) {
        const auto number = static_cast<float>(value);
        const auto bits = std::bit_cast<uint32_t>(number);
        // Ascending with the value: sign, exponent and the first seven bits of the fraction.
        const uint32_t place = (bits ^ (bits >> 31 != 0 ? 0xFFFFFFFF : 0x80000000)) >> 16;
        std::unique_ptr<Page>& page = pages_[place / kOfPage];
        if (page == nullptr) [[unlikely]]
            page = std::make_unique<Page>();
        Step& step = (*page)[place % kOfPage];
        if (step.n++ == 0) step = {1, line, line, number, number};
        step.last = line;
        step.low = std::min(step.low, number);
        step.high = std::max(step.high, number);
    }
    std::vector<Step> steps() const;  // ascending, those with values

 private:
    static constexpr std::size_t kOfPage = 128, kPages = 512;
    using Page = std::array<Step, kOfPage>;

    std::vector<std::unique_ptr<Page>> pages_ = std::vector<std::unique_ptr<Page>>(kPages);
};

// A minority of the values that lies apart from all others.
struct ApartValues {
    int64_t n;
    double low, high;
    double low_of_others, high_of_others;
    int64_t first, last;  // lines
};

// Of the highest or the lowest values: the most that are apart from the others by more than twice
// the width of these. Skewed distributions, counts and columns that are mostly 0 have no such gap.
std::optional<ApartValues> find_apart(std::span<const ValueSteps::Step> steps, bool are_highest);

// Of positive values: is this one too high for a long tail of them?
bool is_above_tail(std::span<const ValueSteps::Step> steps, double value);

// Lines in the middle of the file where a column is of another size than before and after.
struct OddBlock {
    std::size_t begin, end;  // in the sample
    double median;
};
struct RealColumn;
std::optional<OddBlock> find_block(const RealColumn& column);

// Of the values that are present.
struct RealColumn {
    int64_t n = 0;
    double origin = 0, sum = 0, squares = 0;  // of distances from the first value
    bool is_whole = true;                     // all values
    FewValues values;
    Extremes highest{1}, lowest{-1};
    SpreadSample sample;
    ValueSteps steps;
    // Those that count as missing.
    int64_t n_missing = 0;
    double highest_missing = -std::numeric_limits<double>::infinity();
    double lowest_missing = std::numeric_limits<double>::infinity();
    FewValues missing_values;

    void add(double value, int64_t line) {
        if (n++ == 0) origin = value;
        const double distance = value - origin;
        sum += distance;
        squares += distance * distance;
        if (is_whole) is_whole = is_integer(value);
        values.add(value);
        highest.add(value, line);
        lowest.add(value, line);
        sample.add(value, line);
        steps.add(value, line);
    }
    void add_missing(double value) {
        ++n_missing;
        lowest_missing = std::min(lowest_missing, value);
        highest_missing = std::max(highest_missing, value);
        missing_values.add(value);
    }
    double variance() const;

    struct Middle {
        double median;
        double scale;  // the standard deviation of a normal distribution with these quartiles
    };
    // Nothing without enough values, or when nearly all are one.
    std::optional<Middle> middle() const;

 private:
    static bool is_integer(double value) {
        constexpr double kMost = 9e15;
        if (value > kMost || value < -kMost) return true;
        return static_cast<double>(static_cast<int64_t>(value)) == value;
    }
};

// By real columns: traits, covariables, weights and offsets.
using RealColumns = std::map<int32_t, RealColumn>;

}  // namespace kve::companion
