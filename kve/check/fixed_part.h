// The fixed part of a model: which combinations of its levels stand in the data, and its rank.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "data/usability.h"

namespace kve::companion {

// Combinations of levels, each once: the rank of the fixed part is that of these.
class FixedCells {
 public:
    FixedCells(TraitPattern traits, std::vector<int32_t> effects, std::vector<int32_t> covariables);

    // The record that stands in RECORD.
    void take_record();

    TraitPattern traits() const { return traits_; }
    const std::vector<int32_t>& effects() const { return effects_; }          // integer columns
    const std::vector<int32_t>& covariables() const { return covariables_; }  // real columns
    int64_t count() const { return n_; }
    // There are more than are kept.
    bool is_too_many() const { return n_ > kMost; }
    int32_t level(int64_t cell, std::size_t effect) const {
        return keys_[static_cast<std::size_t>(cell) * effects_.size() + effect];
    }
    // The covariable has one value within each combination: this one.
    bool is_constant_within(std::size_t covariable) const { return !varies_[covariable]; }
    float value(int64_t cell, std::size_t covariable) const {
        return values_[static_cast<std::size_t>(cell) * covariables_.size() + covariable];
    }
    int64_t n_repeated() const { return n_repeated_; }  // records of combinations met before

    static constexpr int64_t kMost = 1'000'000;

 private:
    bool is_cell(int64_t cell) const;
    int64_t find_or_enter();
    void lengthen_table();

    TraitPattern traits_;
    std::vector<int32_t> effects_, covariables_;
    std::vector<int32_t> key_;     // of the record
    std::vector<int32_t> keys_;    // of all cells
    std::vector<float> values_;    // of their first records
    std::vector<uint32_t> table_;  // the cell and 1; 0 empty
    std::vector<bool> varies_;
    int64_t n_ = 0, last_ = -1, n_repeated_ = 0;
};

// Each level of effect `inner` stands with one level of effect `outer` only.
bool is_nested(const FixedCells& cells, std::size_t inner, std::size_t outer);

// Of the class effects and covariables with these places in the lists; nothing when there are too
// many levels beside those of the largest effect.
constexpr int64_t kMostOtherLevels = 1500;
struct Rank {
    int64_t n_levels;  // and covariables
    int64_t rank;
};
std::optional<Rank> rank_of(const FixedCells& cells, const std::vector<std::size_t>& effects,
                            const std::vector<std::size_t>& covariables);

}  // namespace kve::companion
