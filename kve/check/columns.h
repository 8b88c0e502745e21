// What the data show of the columns that the model uses as numbers.
#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <map>
#include <optional>
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

// Of the values that are present.
struct RealColumn {
    int64_t n = 0;
    double origin = 0, sum = 0, squares = 0;  // of distances from the first value
    bool is_whole = true;                     // all values
    FewValues values;
    Extremes highest{1}, lowest{-1};
    SpreadSample sample;

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
